# The protobuf that the library is built with and used with. Part of the build
# and of the installed package, so that both refuse the same versions.

# Sets <out> to one sentence that says what is wrong with the protobuf headers
# at hand, or to nothing, and ZorvikPBProto_PROTOBUF_VERSION to their version.
function(zorvik_check_protobuf_headers out)
  set(${out} "" PARENT_SCOPE)
  find_path(Protobuf_INCLUDE_DIR google/protobuf/service.h)
  set(header ${Protobuf_INCLUDE_DIR}/google/protobuf/stubs/common.h)
  if(NOT EXISTS ${header})
    set(${out} "ZorvikPBProto needs protobuf 3.21, and no protobuf headers were found (Debian: libprotobuf-dev)." PARENT_SCOPE)
    return()
  endif()
  file(STRINGS ${header} line REGEX "define GOOGLE_PROTOBUF_VERSION ")
  string(REGEX MATCH "[0-9]+" number "${line}")
  math(EXPR major "${number} / 1000000")
  math(EXPR minor "${number} / 1000 % 1000")
  math(EXPR patch "${number} % 1000")
  set(ZorvikPBProto_PROTOBUF_VERSION ${major}.${minor}.${patch} PARENT_SCOPE)
  if(NOT "${major}.${minor}" STREQUAL "3.21")
    set(${out} "ZorvikPBProto needs protobuf 3.21, but the headers in ${Protobuf_INCLUDE_DIR} are of ${major}.${minor}.${patch}." PARENT_SCOPE)
  endif()
endfunction()

# Stops the configuration unless compiler, headers and runtime fit. Afterwards
# the calling folder has protobuf_generate().
function(zorvik_require_protobuf_compiler)
  zorvik_check_protobuf_headers(problem)
  if(problem)
    message(FATAL_ERROR "${problem}")
  endif()
  find_program(Protobuf_PROTOC_EXECUTABLE protoc)
  if(NOT Protobuf_PROTOC_EXECUTABLE)
    message(FATAL_ERROR "ZorvikPBProto needs the protobuf compiler, and no protoc was found (Debian: protobuf-compiler). Protobuf_PROTOC_EXECUTABLE names one elsewhere.")
  endif()
  execute_process(
    COMMAND ${Protobuf_PROTOC_EXECUTABLE} --version
    OUTPUT_VARIABLE protoc_version OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT protoc_version STREQUAL "libprotoc ${ZorvikPBProto_PROTOBUF_VERSION}")
    message(FATAL_ERROR "ZorvikPBProto needs compiler and runtime of one version, but ${Protobuf_PROTOC_EXECUTABLE} is ${protoc_version} and the runtime's headers are of ${ZorvikPBProto_PROTOBUF_VERSION}. Protobuf_PROTOC_EXECUTABLE chooses the compiler, Protobuf_INCLUDE_DIR the headers.")
  endif()
  find_package(Protobuf MODULE QUIET REQUIRED)
endfunction()

# Links a library by name even where nothing refers to it and the linker would
# drop it; what follows on the link line is left as it was.
set(CMAKE_CXX_LINK_LIBRARY_USING_zorvik_always_needed
  "LINKER:--push-state,--no-as-needed" "<LINK_ITEM>" "LINKER:--pop-state")
set(CMAKE_CXX_LINK_LIBRARY_USING_zorvik_always_needed_SUPPORTED TRUE)
