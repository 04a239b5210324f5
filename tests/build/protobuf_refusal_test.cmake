# cmake -DSOURCE_DIR=... -DWORK_DIR=... -DBUILD_DIR=... -P protobuf_refusal_test.cmake
#
# Configuring stops with one sentence when the protobuf at hand does not fit:
# that of the library, and that of a project which uses the installed library.
file(REMOVE_RECURSE ${WORK_DIR})

# A protobuf that consists of a version number.
function(fake_headers version_number)
  file(WRITE ${WORK_DIR}/include/google/protobuf/service.h "")
  file(WRITE ${WORK_DIR}/include/google/protobuf/stubs/common.h
    "#define GOOGLE_PROTOBUF_VERSION ${version_number}\n")
endfunction()

function(fake_compiler version)
  file(WRITE ${WORK_DIR}/protoc "#!/bin/sh\necho libprotoc ${version}\n")
  file(CHMOD ${WORK_DIR}/protoc PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
endfunction()

# Further arguments go to CMake.
function(expect_refusal sentence source)
  execute_process(
    COMMAND ${CMAKE_COMMAND} -S ${source} -B ${WORK_DIR}/build -G Ninja --fresh
      ${ARGN}
      -DProtobuf_INCLUDE_DIR=${WORK_DIR}/include
      -DProtobuf_PROTOC_EXECUTABLE=${WORK_DIR}/protoc
    RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE said)
  # CMake breaks lines where it likes.
  string(REGEX REPLACE "[ \n]+" " " said "${said}")
  string(FIND "${said}" "${sentence}" at)
  if(result EQUAL 0 OR at EQUAL -1 OR said MATCHES "Warning")
    message(FATAL_ERROR "expected: ${sentence}\nsaid: ${said}")
  endif()
endfunction()

fake_headers(3020003)
fake_compiler(3.20.3)
expect_refusal("ZorvikPBProto needs protobuf 3.21, but the headers in ${WORK_DIR}/include are of 3.20.3." ${SOURCE_DIR})
fake_headers(3021012)
expect_refusal("ZorvikPBProto needs compiler and runtime of one version, but ${WORK_DIR}/protoc is libprotoc 3.20.3 and the runtime's headers are of 3.21.12." ${SOURCE_DIR})
fake_compiler(3.21.9)
expect_refusal("is libprotoc 3.21.9 and the runtime's headers are of 3.21.12." ${SOURCE_DIR})

execute_process(
  COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/installed
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
function(consumer version)
  file(WRITE ${WORK_DIR}/consumer/CMakeLists.txt
    "cmake_minimum_required(VERSION 3.25)\nproject(Consumer LANGUAGES CXX)\n"
    "find_package(ZorvikPBProto ${version} REQUIRED CONFIG)\n")
endfunction()
consumer(3)
expect_refusal("compatible with requested version \"3\"" ${WORK_DIR}/consumer
  -DCMAKE_PREFIX_PATH=${WORK_DIR}/installed)
consumer(2)
fake_headers(3020003)
expect_refusal("ZorvikPBProto needs protobuf 3.21, but the headers in ${WORK_DIR}/include are of 3.20.3."
  ${WORK_DIR}/consumer -DCMAKE_PREFIX_PATH=${WORK_DIR}/installed)
