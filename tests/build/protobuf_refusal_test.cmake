# cmake -DSOURCE_DIR=... -DWORK_DIR=... -DBUILD_DIR=... -P protobuf_refusal_test.cmake
#
# Configuring stops with one sentence when the protobuf at hand does not fit:
# that of the library, and that of a project which uses the installed library. What
# the compiler warns of is shown.
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
fake_headers(3022000)
expect_refusal("ZorvikPBProto needs protobuf 3.21, but the headers in ${WORK_DIR}/include are of 3.22.0." ${SOURCE_DIR})
fake_headers(3021012)
expect_refusal("ZorvikPBProto needs compiler and runtime of one version, but ${WORK_DIR}/protoc is libprotoc 3.20.3 and the runtime's headers are of 3.21.12." ${SOURCE_DIR})
fake_compiler(3.21.9)
expect_refusal("is libprotoc 3.21.9 and the runtime's headers are of 3.21.12." ${SOURCE_DIR})

execute_process(
  COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/installed
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(WRITE ${WORK_DIR}/consumer/CMakeLists.txt
  "cmake_minimum_required(VERSION 3.25)\nproject(Consumer LANGUAGES CXX)\n"
  "find_package(ZorvikPBProto 2 REQUIRED CONFIG)\n")
fake_headers(3020003)
expect_refusal("ZorvikPBProto needs protobuf 3.21, but the headers in ${WORK_DIR}/include are of 3.20.3."
  ${WORK_DIR}/consumer -DCMAKE_PREFIX_PATH=${WORK_DIR}/installed)

# What the compiler says is shown, but for the one warning that is expected.
set(expected "upgradeMessage.proto:27:1: warning: Import google/protobuf/any.proto is unused.")
set(others
  "cameraMessage.proto:27:1: warning: Import google/protobuf/any.proto is unused.\n"
  "upgradeMessage.proto:28:1: warning: Import smcMessage.proto is unused.\n"
  "upgradeMessage.proto:29:1: warning: another\n")
list(JOIN others "" others)
foreach(status 0 1)
  file(WRITE ${WORK_DIR}/protoc "#!/bin/sh\ncat >&2 <<'END'\n${expected}\n${others}END\nexit ${status}\n")
  execute_process(
    COMMAND ${CMAKE_COMMAND} -P ${SOURCE_DIR}/cmake/RunProtoc.cmake -- ${WORK_DIR}/protoc
    RESULT_VARIABLE result OUTPUT_VARIABLE said ERROR_VARIABLE said)
  string(FIND "${said}" "${others}" at)
  if(NOT at EQUAL 0 OR NOT status STREQUAL result)
    message(FATAL_ERROR "a compiler that ends with ${status} gives ${result} and\n${said}")
  endif()
endforeach()
