# cmake -DCOMPILER=... -DFLAGS=... -DSOURCE=... -P wrong_programs_test.cmake
#
# Each wrong program of the source is refused with the words below its number as
# the first error, and the right one only before C++17.
file(READ ${SOURCE} source)
function(compile number standard)
  execute_process(
    COMMAND ${COMPILER} ${FLAGS} -std=${standard} -fsyntax-only -DWRONG=${number} ${SOURCE}
    RESULT_VARIABLE result OUTPUT_VARIABLE said ERROR_VARIABLE said)
  set(result "${result}" PARENT_SCOPE)
  set(said "${said}" PARENT_SCOPE)
endfunction()

function(expect_refused number words)
  string(REGEX MATCH "error: [^\n]+" first_error "${said}")
  string(FIND "${first_error}" "${words}" at)
  if(result EQUAL 0 OR at EQUAL -1)
    message(FATAL_ERROR "program ${number} is not refused with '${words}' but:\n${said}")
  endif()
endfunction()

compile(0 c++17)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "the right program is refused:\n${said}")
endif()
compile(0 c++14)
expect_refused(0 "zorvik/topics.h needs C++17, for example -std=c++17")
string(REGEX MATCHALL "#elif WRONG" wrong_programs "${source}")
list(LENGTH wrong_programs count)
foreach(number RANGE 1 ${count})
  if(NOT source MATCHES "WRONG == ${number}\n((  // [^\n]+\n)+)")
    message(FATAL_ERROR "program ${number} is missing, or has no words")
  endif()
  string(REGEX REPLACE "\n? +// " " " words "${CMAKE_MATCH_1}")
  string(STRIP "${words}" words)
  compile(${number} c++17)
  expect_refused(${number} "${words}")
endforeach()
