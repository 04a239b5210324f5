# What README.md, docs/install.md on pkg-config and the guide to a first payload show
# is written from their text, built with the installed library, and run. The guide's project is configured,
# and its own schema compiled, with the sources of the library, too, and refused
# without a protobuf compiler.
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)
set(guide ${WORK_DIR}/guide)
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix installed)
set(ENV{CMAKE_PREFIX_PATH} ${WORK_DIR}/installed)
file(MAKE_DIRECTORY ${WORK_DIR}/readme ${guide})
set(run_page ${SOURCE_DIR}/tests/examples/run_page)
run(${CMAKE_COMMAND} -E chdir readme ${run_page} ${SOURCE_DIR}/README.md "Use it")
file(GLOB_RECURSE pc ${WORK_DIR}/installed/*/ZorvikPBProto.pc)
cmake_path(GET pc PARENT_PATH pc)
set(ENV{PKG_CONFIG_PATH} ${pc})
cmake_path(GET pc PARENT_PATH libraries)
set(ENV{LD_LIBRARY_PATH} ${libraries})
run(${CMAKE_COMMAND} -E chdir readme ${run_page} ${SOURCE_DIR}/docs/install.md "With pkg-config")
# The lines that docs/performance.md shows are the body of a function.
file(READ ${SOURCE_DIR}/docs/performance.md page)
if(NOT page MATCHES "```cpp\n([^`]*)```")
  message(FATAL_ERROR "docs/performance.md has no code")
endif()
file(WRITE ${WORK_DIR}/merge.cc "#include \"sdkSubMessage.pb.h\"
bool Merge(const std::string& bytes, zorvik::sdksub::hardSync& message) {
${CMAKE_MATCH_1}  return true;\n}\n")
run(sh -c "${COMPILER} -std=c++17 -fsyntax-only merge.cc $(pkg-config --cflags ZorvikPBProto)")

run(${CMAKE_COMMAND} -E chdir guide ${run_page} ${SOURCE_DIR}/docs/your-first-payload.md)

run_refused("and no protoc was found (Debian: protobuf-compiler). Protobuf_PROTOC_EXECUTABLE names one" ${configure} -S guide -B none
  -DProtobuf_PROTOC_EXECUTABLE=Protobuf_PROTOC_EXECUTABLE-NOTFOUND
  "-DCMAKE_IGNORE_PATH=/usr/bin\\;/bin")

file(READ ${guide}/CMakeLists.txt project)
set(with_package "find_package(ZorvikPBProto 2 REQUIRED CONFIG)")
set(with_folder "add_subdirectory(${SOURCE_DIR} library)")
set(with_content "include(FetchContent)
FetchContent_Declare(ZorvikPBProto SOURCE_DIR ${SOURCE_DIR})
FetchContent_MakeAvailable(ZorvikPBProto)")
foreach(way folder content)
  string(REPLACE "${with_package}"
    "set(ZORVIKPBPROTO_BUILD_CATALOGUE ON)\n${with_${way}}" changed "${project}")
  if(changed STREQUAL project)
    message(FATAL_ERROR "the guide has no ${with_package}")
  endif()
  file(WRITE ${guide}/CMakeLists.txt "${changed}")
  run(${configure} -S guide -B ${way})
  run(${NINJA} -C ${way} parachute.pb.h)
endforeach()
