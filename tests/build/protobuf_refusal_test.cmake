# cmake -DSOURCE_DIR=... -DWORK_DIR=... -P protobuf_refusal_test.cmake
#
# Configuring stops with one sentence when the protobuf at hand does not fit.
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

function(expect_refusal sentence)
  execute_process(
    COMMAND ${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build -G Ninja --fresh
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
expect_refusal("ZorvikPBProto needs protobuf 3.21, but the headers in ${WORK_DIR}/include are of 3.20.3.")
fake_headers(3021012)
expect_refusal("ZorvikPBProto needs compiler and runtime of one version, but ${WORK_DIR}/protoc is libprotoc 3.20.3 and the runtime's headers are of 3.21.12.")
fake_compiler(3.21.9)
expect_refusal("is libprotoc 3.21.9 and the runtime's headers are of 3.21.12.")
