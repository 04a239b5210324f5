# What is installed is all of the library and no more, and works from a folder with
# a blank in its name and after a move: by pkg-config, and by find_package, which
# takes what this version is compatible with.
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)
set(installed "${WORK_DIR}/second place")
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix "${WORK_DIR}/first place")
file(RENAME "${WORK_DIR}/first place" ${installed})
read_cache(libdir ${BUILD_DIR} CMAKE_INSTALL_LIBDIR)
expect_installed(${installed} ${libdir} runtime development catalogue tools)
# Each component has what is its own; the catalogue belongs to the development one.
foreach(component runtime development tools)
  run(${CMAKE_COMMAND} --install ${BUILD_DIR} --component ${component} --prefix ${WORK_DIR}/${component})
  string(REPLACE development "development;catalogue" parts ${component})
  expect_installed(${WORK_DIR}/${component} ${libdir} ${parts})
endforeach()

run(${installed}/bin/zorvik ids 10404)
if(NOT output MATCHES "CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE")
  message(FATAL_ERROR "the installed program does not find its data:\n${output}")
endif()

# An edit of a schema reaches what is generated from all of them: that is made anew
# (|| is before what is only made earlier).
foreach(pair ZorvikPBProto.binpb=gimbalMessage.proto ZorvikPBProto.binpb=upgradeMessage.proto
    catalogue.json=ZorvikPBProto.binpb zorvik/pairings.h=ZorvikPBProto.binpb)
  string(REPLACE "=" ";" pair ${pair})
  list(POP_FRONT pair made from)
  run(${NINJA} -C ${BUILD_DIR} -t query generated/${made})
  if(NOT output MATCHES "\n    (\\| )?[^| ]*/${from}\n")
    message(FATAL_ERROR "${made} does not depend on ${from}:\n${output}")
  endif()
endforeach()

read_cache(version ${BUILD_DIR} CMAKE_PROJECT_VERSION)
set(ENV{PKG_CONFIG_PATH} ${installed}/${libdir}/pkgconfig)
run(pkg-config --exact-version=${version} ZorvikPBProto)
foreach(pair includedir/gimbalMessage.pb.h libdir/libZorvikPBProto.so schemadir/gimbalMessage.proto)
  cmake_path(GET pair PARENT_PATH variable)
  cmake_path(GET pair FILENAME file)
  run(sh -c "eval cd \"$(pkg-config --variable=${variable} ZorvikPBProto)\" && test -f ${file}")
endforeach()
run(sh -c "eval ${COMPILER} -std=c++17 ${CMAKE_CURRENT_LIST_DIR}/subproject/program.cc -o program \
  $(pkg-config --cflags --libs ZorvikPBProto)")
run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${installed}/${libdir} ./program)

# A protobuf of another interface is refused, whether older or newer.
foreach(other 3.20.3 3.22.0)
  file(WRITE ${WORK_DIR}/other/protobuf.pc
    "Name: Protobuf\nDescription: another\nVersion: ${other}\n")
  run_refused("has version '${other}'" ${CMAKE_COMMAND} -E env
    PKG_CONFIG_PATH=${WORK_DIR}/other:$ENV{PKG_CONFIG_PATH} pkg-config --libs ZorvikPBProto)
endforeach()

run(${configure} -S ${CMAKE_CURRENT_LIST_DIR}/consumer -B consumer
  -DVERSION=${version} -DCMAKE_PREFIX_PATH=${installed})
