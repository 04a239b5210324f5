# cmake -P RunProtoc.cmake -- <protoc and its arguments>
#
# Runs the protobuf compiler and passes on what it says, but for the one warning
# that is expected: upgradeMessage.proto imports any.proto without using it, so
# that its descriptor names that dependency.
math(EXPR last "${CMAKE_ARGC} - 1")
foreach(i RANGE 4 ${last})
  list(APPEND command "${CMAKE_ARGV${i}}")
endforeach()
execute_process(COMMAND ${command} RESULT_VARIABLE result ERROR_VARIABLE said)
string(REGEX REPLACE
  "[^\n]*upgradeMessage\\.proto:[0-9:]+ warning: Import google/protobuf/any\\.proto is unused\\.\n"
  "" said "${said}")
if(NOT said STREQUAL "")
  message(NOTICE "${said}")
endif()
if(NOT result EQUAL 0)
  message(FATAL_ERROR "The protobuf compiler failed.")
endif()
