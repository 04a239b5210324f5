# Configuring stops with one sentence when the protobuf at hand does not fit:
# that of the library, and that of a project which uses the installed library. What
# the compiler warns of is shown.
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix installed)
file(WRITE ${WORK_DIR}/consumer/CMakeLists.txt
  "cmake_minimum_required(VERSION 3.25)\nproject(Consumer LANGUAGES CXX)\n"
  "find_package(ZorvikPBProto 2 REQUIRED CONFIG)\n")

# A protobuf compiler that does what the shell says.
function(fake_compiler commands)
  file(WRITE ${WORK_DIR}/protoc "#!/bin/sh\n${commands}\n")
  file(CHMOD ${WORK_DIR}/protoc PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
endfunction()

set(headers "needs protobuf 3.21, but the headers in ${WORK_DIR}/include are of")
set(both "needs compiler and runtime of one version, but ${WORK_DIR}/protoc is libprotoc")
file(WRITE ${WORK_DIR}/include/google/protobuf/service.h "")
foreach(case
    "${SOURCE_DIR}|3020003|3.20.3|${headers} 3.20.3."
    "${SOURCE_DIR}|3022000|3.20.3|${headers} 3.22.0."
    "${SOURCE_DIR}|3021012|3.20.3|${both} 3.20.3 and the runtime's headers are of 3.21.12."
    "${SOURCE_DIR}|3021012|3.21.9|${both} 3.21.9 and the runtime's headers are of 3.21.12. Protobuf_PROTOC_EXECUTABLE chooses the compiler,"
    "consumer|3020003|3.21.9|${headers} 3.20.3.")
  string(REPLACE "|" ";" case "${case}")
  list(POP_FRONT case source number compiler sentence)
  file(WRITE ${WORK_DIR}/include/google/protobuf/stubs/common.h
    "#define GOOGLE_PROTOBUF_VERSION ${number}\n")
  fake_compiler("echo libprotoc ${compiler}")
  run_refused("ZorvikPBProto ${sentence}" ${configure} -S ${source} -B build --fresh
    -DCMAKE_PREFIX_PATH=${WORK_DIR}/installed -DProtobuf_INCLUDE_DIR=${WORK_DIR}/include
    -DProtobuf_PROTOC_EXECUTABLE=${WORK_DIR}/protoc)
endforeach()

# What the compiler says is shown, but for the one warning that is expected.
set(others "cameraMessage.proto:27:1: warning: Import google/protobuf/any.proto is unused.
upgradeMessage.proto:28:1: warning: Import smcMessage.proto is unused.
upgradeMessage.proto:29:1: warning: another
")
foreach(status 0 1)
  fake_compiler("cat >&2 <<'END'
upgradeMessage.proto:27:1: warning: Import google/protobuf/any.proto is unused.
${others}END
exit ${status}")
  execute_process(
    COMMAND ${CMAKE_COMMAND} -P ${SOURCE_DIR}/cmake/RunProtoc.cmake -- ${WORK_DIR}/protoc
    RESULT_VARIABLE result OUTPUT_VARIABLE said ERROR_VARIABLE said)
  string(FIND "${said}" "${others}" at)
  if(NOT at EQUAL 0 OR NOT status STREQUAL result)
    message(FATAL_ERROR "a compiler that ends with ${status} gives ${result} and\n${said}")
  endif()
endforeach()
