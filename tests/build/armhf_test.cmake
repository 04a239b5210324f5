# The library is what the aircraft's dynamic linker takes.
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)
run(${READELF} --wide --file-header --dynamic ${LIBRARY})
foreach(line
    "Class: +ELF32"
    "Data: +2's complement, little endian"
    "Machine: +ARM"
    "Flags: .*Version5 EABI, hard-float ABI"
    "\\(SONAME\\) +Library soname: \\[libZorvikPBProto\\.so\\.2\\]"
    "\\(NEEDED\\) +Shared library: \\[libprotobuf\\.so\\.32\\]"
    "\\(NEEDED\\) +Shared library: \\[libprotobuf-lite\\.so\\.32\\]")
  if(NOT output MATCHES "${line}")
    message(FATAL_ERROR "no line '${line}' in\n${output}")
  endif()
endforeach()
