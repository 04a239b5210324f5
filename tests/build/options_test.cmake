# The options have the defaults that docs/install.md states, by itself and in a
# subproject, where nothing is installed unless it is asked for; what the command
# line says holds, and what does not fit together is refused.
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)
file(WRITE ${WORK_DIR}/CMakeLists.txt
  "cmake_minimum_required(VERSION 3.25)\nproject(Sub LANGUAGES CXX)\n"
  "add_subdirectory(${SOURCE_DIR} library)\n")
run(${configure} -S ${SOURCE_DIR} -B top)
run(${configure} -S . -B sub)
file(STRINGS ${SOURCE_DIR}/docs/install.md rows REGEX "^\\| `ZORVIKPBPROTO_")
foreach(row IN LISTS rows)
  string(REGEX MATCH "^\\| `([A-Z_]+)` \\| ([^|]*) \\|" _ "${row}")
  set(option ${CMAKE_MATCH_1})
  string(TOUPPER "${CMAKE_MATCH_2}" default)
  read_cache(top ${WORK_DIR}/top ${option})
  read_cache(sub ${WORK_DIR}/sub ${option})
  if(NOT top STREQUAL sub)
    string(APPEND top ", IN A SUBPROJECT ${sub}")
  endif()
  # One is known only where examples are built.
  if(NOT top STREQUAL default AND NOT option STREQUAL "ZORVIKPBPROTO_EXAMPLES_BROKER")
    message(FATAL_ERROR "${option} is ${top}, and not ${default}")
  endif()
endforeach()
if(NOT option)
  message(FATAL_ERROR "docs/install.md has no table of options")
endif()

run(${CMAKE_COMMAND} --install sub --prefix installed)
if(EXISTS ${WORK_DIR}/installed)
  message(FATAL_ERROR "a parent installs files")
endif()
run(${configure} -S . -B sub -DZORVIKPBPROTO_INSTALL=ON -DZORVIKPBPROTO_BUILD_CATALOGUE=ON)
run(${NINJA} -C sub -n ZorvikPBProto_catalogue)
# It is not built, so the rules to install it have to fail.
run_refused("file INSTALL cannot find" ${CMAKE_COMMAND} --install sub --prefix installed)

foreach(part BENCHMARKS EXAMPLES FUZZ TOOLS)
  run_refused("ZORVIKPBPROTO_BUILD_${part} needs ZORVIKPBPROTO_BUILD_CATALOGUE." ${configure}
    -S ${SOURCE_DIR} -B top --fresh
    -DZORVIKPBPROTO_BUILD_CATALOGUE=OFF -DZORVIKPBPROTO_BUILD_${part}=ON)
endforeach()

run(${configure} -S . -B sub -DBUILD_SHARED_LIBS=OFF)
if(NOT output MATCHES "ZorvikPBProto is a shared library also without BUILD_SHARED_LIBS")
  message(FATAL_ERROR "that there is no static form is not said:\n${output}")
endif()
file(COPY ${SOURCE_DIR}/CMakeLists.txt DESTINATION ${WORK_DIR}/inside)
run_refused("Build in another folder: cmake -S . -B build/plain." ${configure} -S inside -B inside)
