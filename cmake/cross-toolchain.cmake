# Builds for ARM Linux, 32-bit with the hard-float ABI or 64-bit, with Debian's
# cross compilers. For the library and for the projects that use it.
#
# ZORVIKPBPROTO_SYSROOT is the folder that holds what is linked to, as make-root
# makes it. What is in it decides for which of the two.
if(NOT ZORVIKPBPROTO_SYSROOT)
  message(FATAL_ERROR "Set ZORVIKPBPROTO_SYSROOT to a folder made by make-root.")
endif()
if(DEFINED CACHE{ZORVIKPBPROTO_SYSROOT})
  # As a path it is taken from where CMake is called.
  set(ZORVIKPBPROTO_SYSROOT "" CACHE PATH "Folder made by make-root")
endif()
cmake_path(ABSOLUTE_PATH ZORVIKPBPROTO_SYSROOT NORMALIZE)

set(CMAKE_SYSTEM_NAME Linux)
if(IS_DIRECTORY ${ZORVIKPBPROTO_SYSROOT}/usr/lib/arm-linux-gnueabihf)
  set(CMAKE_SYSTEM_PROCESSOR armv7l)
  set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
  set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L ${ZORVIKPBPROTO_SYSROOT})
elseif(IS_DIRECTORY ${ZORVIKPBPROTO_SYSROOT}/usr/lib/aarch64-linux-gnu)
  set(CMAKE_SYSTEM_PROCESSOR aarch64)
  set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
  set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L ${ZORVIKPBPROTO_SYSROOT})
else()
  message(FATAL_ERROR "ZORVIKPBPROTO_SYSROOT holds libraries of neither armhf nor arm64: ${ZORVIKPBPROTO_SYSROOT}")
endif()
set(CMAKE_C_COMPILER ${CMAKE_LIBRARY_ARCHITECTURE}-gcc)
set(CMAKE_CXX_COMPILER ${CMAKE_LIBRARY_ARCHITECTURE}-g++)

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
