# What the tests of the build share. Each begins with an empty WORK_DIR.
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
set(configure ${CMAKE_COMMAND} -G Ninja
  -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_MAKE_PROGRAM=${NINJA})

# The command has to succeed. Sets output.
function(run)
  execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${WORK_DIR}
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN} failed:\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

# The command has to fail and to say this, without a warning. CMake breaks lines
# where it likes.
function(run_refused sentence)
  execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${WORK_DIR}
    RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE said)
  string(REGEX REPLACE "[ \n]+" " " said "${said}")
  string(FIND "${said}" "${sentence}" at)
  if(result EQUAL 0 OR at EQUAL -1 OR said MATCHES "Warning")
    message(FATAL_ERROR "expected: ${sentence}\nsaid: ${said}")
  endif()
endfunction()

# Sets a variable to what the cache of a build has for a name.
function(read_cache variable build name)
  file(STRINGS ${build}/CMakeCache.txt line REGEX "^${name}:")
  string(REGEX REPLACE "^[^=]*=" "" line "${line}")
  set(${variable} "${line}" PARENT_SCOPE)
endfunction()

# The files of an installation have to be those of these parts.
function(expect_installed prefix libdir)
  run(sh -c [[cd "$1" && shift && find . ! -type d -printf "%P\n" | "$@"]]
    sh ${prefix} ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/compare_installed ${libdir} ${ARGN})
endfunction()
