# cmake -DSOURCE_DIR=... -DWORK_DIR=... -P subproject_test.cmake
#
# The library inside another project: built optimised though no build type is
# named, whole though that project hides symbols and optimises at link time,
# without a warning though that project asks for all of them, installed with it, and
# rebuilt exactly as far as an edited schema reaches.
file(REMOVE_RECURSE ${WORK_DIR})
file(COPY ${CMAKE_CURRENT_LIST_DIR}/subproject/ DESTINATION ${WORK_DIR})
file(COPY ${SOURCE_DIR}/CMakeLists.txt ${SOURCE_DIR}/cmake ${SOURCE_DIR}/proto
  DESTINATION ${WORK_DIR}/library)
set(build ${WORK_DIR}/build)

function(run)
  execute_process(COMMAND ${ARGN}
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN} failed:\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} -S ${WORK_DIR} -B ${build} -G Ninja -DCMAKE_EXPORT_COMPILE_COMMANDS=ON)
run(${CMAKE_COMMAND} --build ${build})
if(output MATCHES "warning:|Warning")
  message(FATAL_ERROR "the build is not quiet:\n${output}")
endif()
run(${build}/program)

file(STRINGS ${build}/compile_commands.json commands REGEX "\"command\".*\\.pb\\.cc")
foreach(command IN LISTS commands)
  if(NOT command MATCHES "-O2" OR NOT command MATCHES "-fno-lto" OR command MATCHES "hidden")
    message(FATAL_ERROR "not as the library wants to be compiled: ${command}")
  endif()
endforeach()
# Nor do warnings of the headers concern that project.
file(STRINGS ${build}/compile_commands.json command REGEX "\"command\".*program\\.cc")
if(NOT command MATCHES "-isystem [^ ]*/generated ")
  message(FATAL_ERROR "the headers are not those of a system: ${command}")
endif()

# It was asked for the install rules, and not for the catalogue.
run(${CMAKE_COMMAND} --install ${build} --prefix ${WORK_DIR}/installed)
run(sh -c [[cd "$1" && find . ! -type d -printf "%P\n" | "$2" lib runtime development]]
  sh ${WORK_DIR}/installed ${SOURCE_DIR}/tests/build/compare_installed)

# Expects that an edit of the schema regenerates the descriptor set, regenerates
# and recompiles the modules of the given schemas, and none else.
function(expect_rebuilt schema)
  file(TOUCH ${WORK_DIR}/library/proto/${schema}.proto)
  run(${CMAKE_COMMAND} --build ${build} -- -n)
  if(NOT output MATCHES "Generating ZorvikPBProto\\.binpb")
    message(FATAL_ERROR "an edit of ${schema}.proto leaves the descriptor set as it was")
  endif()
  foreach(step "Generating ([A-Za-z]+)\\.pb\\.cc" "Building CXX object [^ ]*/([A-Za-z]+)\\.pb\\.cc\\.o")
    string(REGEX MATCHALL "${step}" lines "${output}")
    list(TRANSFORM lines REPLACE "${step}" "\\1")
    list(SORT lines)
    if(NOT lines STREQUAL "${ARGN}")
      message(FATAL_ERROR "an edit of ${schema}.proto rebuilds ${lines} and not ${ARGN}")
    endif()
  endforeach()
  run(${CMAKE_COMMAND} --build ${build})
endfunction()

expect_rebuilt(powerMessage powerMessage)
expect_rebuilt(sdkSubMessage positionMessage sdkSubMessage)
run(${CMAKE_COMMAND} --build ${build})
if(NOT output MATCHES "no work to do")
  message(FATAL_ERROR "a second build does something:\n${output}")
endif()
