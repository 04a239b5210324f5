# cmake -DSOURCE_DIR=... -DWORK_DIR=... -DBUILD_DIR=... -DCOMPILER=... -P installed_test.cmake
#
# What is installed is all of the library and no more, and works from a folder with
# a blank in its name and after a move: by pkg-config, and by find_package, which
# takes what this version is compatible with.
file(REMOVE_RECURSE ${WORK_DIR})
set(installed "${WORK_DIR}/second place")

function(run)
  execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${WORK_DIR}
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE said)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN} failed:\n${output}${said}")
  endif()
  string(STRIP "${output}" output)
  set(output "${output}" PARENT_SCOPE)
endfunction()

file(MAKE_DIRECTORY ${WORK_DIR})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix "${WORK_DIR}/first place")
file(RENAME "${WORK_DIR}/first place" ${installed})

file(STRINGS ${BUILD_DIR}/CMakeCache.txt libdir REGEX "^CMAKE_INSTALL_LIBDIR:")
string(REGEX REPLACE ".*=" "" libdir "${libdir}")
run(sh -c [[cd "$1" && find . ! -type d -printf "%P\n" | "$2" "$3" runtime development catalogue tools]]
  sh ${installed} ${SOURCE_DIR}/tests/build/compare_installed ${libdir})

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

# The version of the project itself.
file(STRINGS ${BUILD_DIR}/CMakeCache.txt version REGEX "^CMAKE_PROJECT_VERSION:")
string(REGEX REPLACE ".*=" "" version "${version}")
set(ENV{PKG_CONFIG_PATH} ${installed}/${libdir}/pkgconfig)
run(pkg-config --modversion ZorvikPBProto)
if(NOT output STREQUAL version)
  message(FATAL_ERROR "pkg-config says ${output}, and not ${version}")
endif()
foreach(pair includedir/gimbalMessage.pb.h libdir/libZorvikPBProto.so schemadir/gimbalMessage.proto)
  cmake_path(GET pair PARENT_PATH variable)
  cmake_path(GET pair FILENAME file)
  run(sh -c "eval cd \"$(pkg-config --variable=${variable} ZorvikPBProto)\" && test -f ${file}")
endforeach()
run(sh -c "eval ${COMPILER} -std=c++17 ${SOURCE_DIR}/tests/build/subproject/program.cc -o program \
  $(pkg-config --cflags --libs ZorvikPBProto)")
run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${installed}/${libdir} ./program)

# A protobuf of another interface is refused, whether older or newer.
foreach(other 3.20.3 3.22.0)
  file(WRITE ${WORK_DIR}/other/protobuf.pc
    "Name: Protobuf\nDescription: another\nVersion: ${other}\n")
  execute_process(
    COMMAND ${CMAKE_COMMAND} -E env
      PKG_CONFIG_PATH=${WORK_DIR}/other:$ENV{PKG_CONFIG_PATH} pkg-config --libs ZorvikPBProto
    RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE said)
  if(result EQUAL 0 OR NOT said MATCHES "protobuf.*${other}")
    message(FATAL_ERROR "pkg-config takes protobuf ${other}:\n${said}")
  endif()
endforeach()

run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/build/consumer -B consumer -G Ninja
  -DVERSION=${version} -DCMAKE_PREFIX_PATH=${installed}
  -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_MAKE_PROGRAM=${NINJA})
