# Builds for 32-bit ARM Linux with the hard-float ABI, with Debian's cross
# compiler. For the library and for the projects that use it.
#
# ZORVIKPBPROTO_SYSROOT is the folder that holds what is linked to, as
# scripts/make-root makes it.
if(NOT ZORVIKPBPROTO_SYSROOT)
  message(FATAL_ERROR "Set ZORVIKPBPROTO_SYSROOT to a folder made by scripts/make-root.")
endif()
cmake_path(ABSOLUTE_PATH ZORVIKPBPROTO_SYSROOT NORMALIZE)

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

# A sysroot, not only a place to search: the linker has to find the libraries
# that libraries need. The checks of the compiler read this file again and know
# only the variables named here.
set(CMAKE_SYSROOT ${ZORVIKPBPROTO_SYSROOT})
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZORVIKPBPROTO_SYSROOT)

# Tools are the host's, all else the target's.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L ${ZORVIKPBPROTO_SYSROOT})
