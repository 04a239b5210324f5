# cmake -DSOURCE_DIR=... -DWORK_DIR=... -DBUILD_DIR=... -P pages_test.cmake
#
# What README.md and the guide to a first payload show is written from their text,
# built with the installed library, and run. The guide's project is configured,
# and its own schema compiled, with the sources of the library, too, and refused
# without a protobuf compiler.
file(REMOVE_RECURSE ${WORK_DIR})
set(installed ${WORK_DIR}/installed)

function(run folder)
  execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${folder}
    RESULT_VARIABLE result OUTPUT_VARIABLE said ERROR_VARIABLE said)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN} failed:\n${said}")
  endif()
endfunction()

run(${BUILD_DIR} ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${installed})
set(ENV{CMAKE_PREFIX_PATH} ${installed})
set(run_page ${SOURCE_DIR}/tests/examples/run_page)
set(guide ${WORK_DIR}/guide)
file(MAKE_DIRECTORY ${WORK_DIR}/readme ${guide})
run(${WORK_DIR}/readme ${run_page} ${SOURCE_DIR}/README.md - "Use it")
run(${guide} ${run_page} ${SOURCE_DIR}/docs/your-first-payload.md -)

file(READ ${guide}/CMakeLists.txt project)
set(with_package "find_package(ZorvikPBProto 2 REQUIRED CONFIG)")
set(with_folder "add_subdirectory(${SOURCE_DIR} library)")
set(with_content "include(FetchContent)
FetchContent_Declare(ZorvikPBProto SOURCE_DIR ${SOURCE_DIR})
FetchContent_MakeAvailable(ZorvikPBProto)")
foreach(way folder content)
  string(REPLACE "${with_package}"
    "set(ZORVIKPBPROTO_BUILD_CATALOGUE ON)\n${with_${way}}" changed "${project}")
  if(changed STREQUAL project)
    message(FATAL_ERROR "the guide has no ${with_package}")
  endif()
  file(WRITE ${guide}/CMakeLists.txt "${changed}")
  run(${guide} ${CMAKE_COMMAND} -S . -B ${way} -G Ninja)
  run(${guide} ${CMAKE_COMMAND} --build ${way} --target parachute.pb.h)
endforeach()

file(WRITE ${guide}/CMakeLists.txt "${project}")
execute_process(
  COMMAND ${CMAKE_COMMAND} -S ${guide} -B ${guide}/none -G Ninja
    -DProtobuf_PROTOC_EXECUTABLE=Protobuf_PROTOC_EXECUTABLE-NOTFOUND
    "-DCMAKE_IGNORE_PATH=/usr/bin;/bin" -DCMAKE_CXX_COMPILER=${COMPILER}
    -DCMAKE_MAKE_PROGRAM=${NINJA}
  RESULT_VARIABLE result OUTPUT_VARIABLE said ERROR_VARIABLE said)
string(REGEX REPLACE "[ \n]+" " " said "${said}")
if(result EQUAL 0 OR NOT said MATCHES "and no protoc was found \\(Debian: protobuf-compiler\\)")
  message(FATAL_ERROR "without a protobuf compiler CMake says:\n${said}")
endif()
