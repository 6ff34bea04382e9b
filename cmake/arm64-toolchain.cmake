# Cross-compiles for arm64 with Debian's compiler against the sysroot that cmake/sysroot
# makes, and runs the programs with an emulator of the instructions alone: the kernel is the machine's.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

cmake_path(SET CMAKE_SYSROOT NORMALIZE "${CMAKE_CURRENT_LIST_DIR}/../build/arm64-sysroot")
# Pointers are signed by a quick code of the emulator's own: the architecture's makes each call take a
# microsecond.
set(CMAKE_CROSSCOMPILING_EMULATOR
  qemu-aarch64-static -cpu max,pauth-impdef=on -L "${CMAKE_SYSROOT}")

# Tools are the machine's, everything else is the sysroot's.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
unset(ENV{PKG_CONFIG_PATH})
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR}
  "${CMAKE_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig")
