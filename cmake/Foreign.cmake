# Builds for another of Debian's architectures, MOXSUPPLY_ARCHITECTURE, with its cross compiler and
# the libraries in build-sysroot/ (script/foreign makes them). The programs name the loader and the
# libraries of that folder, so that they run from the build tree as if they were of this machine.
set(MOXSUPPLY_ARCHITECTURE "" CACHE STRING "arm64, armhf, i386 or s390x")
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MOXSUPPLY_ARCHITECTURE)

set(compiler_arm64 aarch64-linux-gnu)
set(compiler_armhf arm-linux-gnueabihf)
set(compiler_i386 i686-linux-gnu)
set(compiler_s390x s390x-linux-gnu)
set(loader_arm64 ld-linux-aarch64.so.1)
set(loader_armhf ld-linux-armhf.so.3)
set(loader_i386 ld-linux.so.2)
set(loader_s390x ld64.so.1)
set(compiler "${compiler_${MOXSUPPLY_ARCHITECTURE}}")
string(REPLACE i686 i386 libraries "${compiler}")
string(REGEX MATCH "^[^-]+" processor "${compiler}")

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR "${processor}")
set(CMAKE_CXX_COMPILER "${compiler}-g++")
# No notes on armhf of how gcc 6 passed some arguments.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

cmake_path(SET CMAKE_SYSROOT NORMALIZE
  "${CMAKE_CURRENT_LIST_DIR}/../build-sysroot/${MOXSUPPLY_ARCHITECTURE}")
set(CMAKE_FIND_ROOT_PATH "${CMAKE_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR}
  "${CMAKE_SYSROOT}/usr/lib/${libraries}/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig")

# RPATH, unlike RUNPATH, is where the libraries' own libraries are looked for, too.
string(JOIN "," from_there -Wl
  "--dynamic-linker=${CMAKE_SYSROOT}/lib/${loader_${MOXSUPPLY_ARCHITECTURE}}"
  "--disable-new-dtags"
  "-rpath=${CMAKE_SYSROOT}/lib/${libraries}:${CMAKE_SYSROOT}/usr/lib/${libraries}")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${from_there}")
