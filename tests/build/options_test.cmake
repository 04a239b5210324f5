# cmake -DSOURCE_DIR=... -DWORK_DIR=... -DCOMPILER=... -DNINJA=... -P options_test.cmake
#
# The options have the defaults that README.md states, by itself and in a
# subproject, where nothing is installed unless it is asked for; what the command
# line says holds, and what does not fit together is refused.
file(REMOVE_RECURSE ${WORK_DIR})
set(sub ${WORK_DIR}/sub)
file(WRITE ${sub}/CMakeLists.txt "
cmake_minimum_required(VERSION 3.25)
project(Sub LANGUAGES CXX)
add_subdirectory(${SOURCE_DIR} library)
")

# Further arguments go to CMake. Sets result and said.
function(configure source build)
  execute_process(
    COMMAND ${CMAKE_COMMAND} -S ${source} -B ${build} -G Ninja ${ARGN}
      -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_MAKE_PROGRAM=${NINJA}
    RESULT_VARIABLE result OUTPUT_VARIABLE said ERROR_VARIABLE said)
  set(result ${result} PARENT_SCOPE)
  set(said "${said}" PARENT_SCOPE)
endfunction()

function(expect_option build option value)
  file(STRINGS ${build}/CMakeCache.txt line REGEX "^${option}:")
  if(NOT line MATCHES "=${value}$")
    message(FATAL_ERROR "${option} has to be ${value} in ${build}: ${line}")
  endif()
endfunction()

configure(${SOURCE_DIR} ${WORK_DIR}/top)
configure(${sub} ${sub}/build)
file(STRINGS ${SOURCE_DIR}/README.md rows REGEX "^\\| `ZORVIKPBPROTO_")
foreach(row IN LISTS rows)
  string(REGEX MATCH "^\\| `([A-Z_]+)` \\| ([^|]*) \\|" _ "${row}")
  set(option ${CMAKE_MATCH_1})
  set(default ${CMAKE_MATCH_2})
  if(option STREQUAL "ZORVIKPBPROTO_EXAMPLES_BROKER")
    continue()  # Known only where examples are built.
  elseif(default STREQUAL "on, in a subproject off")
    set(values ON OFF)
  else()
    string(TOUPPER ${default} default)
    set(values ${default} ${default})
  endif()
  list(POP_FRONT values top_value sub_value)
  expect_option(${WORK_DIR}/top ${option} ${top_value})
  expect_option(${sub}/build ${option} ${sub_value})
endforeach()
if(NOT option)
  message(FATAL_ERROR "README.md has no table of options")
endif()

function(install_sub)
  execute_process(COMMAND ${CMAKE_COMMAND} --install ${sub}/build --prefix ${sub}/installed
    RESULT_VARIABLE result OUTPUT_VARIABLE said ERROR_VARIABLE said)
  set(result ${result} PARENT_SCOPE)
  file(GLOB_RECURSE files ${sub}/installed/*)
  set(files "${files}" PARENT_SCOPE)
endfunction()

install_sub()
if(NOT result EQUAL 0 OR files)
  message(FATAL_ERROR "a parent installs ${files}: ${result}")
endif()

configure(${sub} ${sub}/build -DZORVIKPBPROTO_INSTALL=ON -DZORVIKPBPROTO_BUILD_CATALOGUE=ON)
install_sub()
execute_process(COMMAND ${NINJA} -C ${sub}/build -n ZorvikPBProto_catalogue
  RESULT_VARIABLE has_catalogue OUTPUT_QUIET ERROR_QUIET)
# It is not built, so the rules to install it have to fail.
if(result EQUAL 0 OR NOT has_catalogue EQUAL 0)
  message(FATAL_ERROR "the options of the command line are not followed")
endif()

foreach(part BENCHMARKS EXAMPLES FUZZ TOOLS)
  configure(${SOURCE_DIR} ${WORK_DIR}/top
    -DZORVIKPBPROTO_BUILD_CATALOGUE=OFF -DZORVIKPBPROTO_BUILD_${part}=ON)
  if(result EQUAL 0 OR NOT said MATCHES "ZORVIKPBPROTO_BUILD_${part} needs ZORVIKPBPROTO_BUILD_CATALOGUE")
    message(FATAL_ERROR "${part} without the catalogue is not refused:\n${said}")
  endif()
  file(REMOVE ${WORK_DIR}/top/CMakeCache.txt)
endforeach()
