# The library inside another project: built optimised though no build type is
# named, whole though that project hides symbols and optimises at link time,
# without a warning though that project asks for all of them, installed with it, and
# rebuilt exactly as far as an edited schema reaches.
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)
file(COPY ${CMAKE_CURRENT_LIST_DIR}/subproject/ DESTINATION ${WORK_DIR})
file(COPY ${SOURCE_DIR}/CMakeLists.txt ${SOURCE_DIR}/cmake ${SOURCE_DIR}/proto
  ${SOURCE_DIR}/scripts ${SOURCE_DIR}/tools
  DESTINATION ${WORK_DIR}/library)

run(${CMAKE_COMMAND} -S . -B build -G Ninja -DCMAKE_EXPORT_COMPILE_COMMANDS=ON)
run(${NINJA} -C build)
if(output MATCHES "warning:|Warning")
  message(FATAL_ERROR "the build is not quiet:\n${output}")
endif()
run(build/program)

file(STRINGS ${WORK_DIR}/build/compile_commands.json commands REGEX "\"command\"")
foreach(command IN LISTS commands)
  # Nor do warnings of the headers concern that project.
  if(NOT command MATCHES "-fno-lto -O2 .*\\.pb\\.cc|-isystem [^ ]*/generated .*program\\.cc"
      OR command MATCHES "hidden.*\\.pb\\.cc")
    message(FATAL_ERROR "not as the library wants to be compiled: ${command}")
  endif()
endforeach()

# It was asked for the install rules, and not for the catalogue.
run(${CMAKE_COMMAND} --install build --prefix installed)
expect_installed(installed lib runtime development)

# Expects that an edit of the schema regenerates the descriptor set, regenerates
# and recompiles the modules of the given schemas, and none else.
function(expect_rebuilt schema)
  file(TOUCH ${WORK_DIR}/library/proto/${schema}.proto)
  run(${NINJA} -C build -n)
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
  run(${NINJA} -C build)
endfunction()

expect_rebuilt(powerMessage powerMessage)
expect_rebuilt(sdkSubMessage positionMessage sdkSubMessage)
run(${NINJA} -C build)
if(NOT output MATCHES "no work to do")
  message(FATAL_ERROR "a second build does something:\n${output}")
endif()
