# cmake -DLIBRARY=... -DREADELF=... -P armhf_test.cmake
#
# The library is what the aircraft's dynamic linker takes.
execute_process(COMMAND ${READELF} --wide --file-header --dynamic ${LIBRARY}
  OUTPUT_VARIABLE elf COMMAND_ERROR_IS_FATAL ANY)
foreach(line
    "Class: +ELF32"
    "Data: +2's complement, little endian"
    "Machine: +ARM"
    "Flags: .*Version5 EABI, hard-float ABI"
    "\\(SONAME\\) +Library soname: \\[libZorvikPBProto\\.so\\.2\\]"
    "\\(NEEDED\\) +Shared library: \\[libprotobuf\\.so\\.32\\]"
    "\\(NEEDED\\) +Shared library: \\[libprotobuf-lite\\.so\\.32\\]")
  if(NOT elf MATCHES "${line}")
    message(FATAL_ERROR "no line '${line}' in\n${elf}")
  endif()
endforeach()
