# Builds for 32-bit ARM, the watch's processor, with Debian's cross compiler. Headers and libraries
# come from a sysroot, a folder with an armhf system's /lib, /usr/lib and /usr/include: what
# MSG_TARVEL_SYSROOT names, a variable of CMake or of the environment, or else the one that
# script/cross-test makes.
if(NOT MSG_TARVEL_SYSROOT)
  if(DEFINED ENV{MSG_TARVEL_SYSROOT})
    set(MSG_TARVEL_SYSROOT "$ENV{MSG_TARVEL_SYSROOT}")
  else()
    get_filename_component(MSG_TARVEL_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../build/armhf-sysroot" ABSOLUTE)
  endif()
endif()
# Kept, for the environment may differ the next time; and told to try_compile, whose projects read
# this file anew.
set(MSG_TARVEL_SYSROOT "${MSG_TARVEL_SYSROOT}" CACHE PATH "Sysroot of the target")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MSG_TARVEL_SYSROOT)
if(MSG_TARVEL_SYSROOT MATCHES " ")
  message(FATAL_ERROR "The sysroot's path has a space, which compiler and pkg-config do not bear: "
    "\"${MSG_TARVEL_SYSROOT}\". Set MSG_TARVEL_SYSROOT to another place.")
endif()
if(NOT IS_DIRECTORY "${MSG_TARVEL_SYSROOT}/usr/include")
  message(FATAL_ERROR "No sysroot in \"${MSG_TARVEL_SYSROOT}\": script/cross-test makes one, or set "
    "MSG_TARVEL_SYSROOT")
endif()

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# Says nothing but that GCC 7 changed how some arguments are passed, in calls within one compilation.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

set(CMAKE_SYSROOT "${MSG_TARVEL_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${MSG_TARVEL_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR}
  "${MSG_TARVEL_SYSROOT}/usr/lib/arm-linux-gnueabihf/pkgconfig:${MSG_TARVEL_SYSROOT}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm-static -L "${MSG_TARVEL_SYSROOT}")
