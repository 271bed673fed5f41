# Cross build for the switch's processor: 32-bit ARM, hard-float EABI
# (Debian's "armhf"), with Debian's cross compiler and the armhf libraries
# installed beside the native ones (multi-arch: scripts/install-deps.sh armhf).
#
#   cmake -S . -B build-armhf -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/armhf-toolchain.cmake
#
# Programs of the build run under qemu's user-mode emulator
# (CMAKE_CROSSCOMPILING_EMULATOR: ctest and GoogleTest's test discovery use
# it); scripts/test-armhf.sh builds and runs the whole suite this way.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# GCC notes that passing some standard-library types by value changed in
# GCC 7.1 on ARM: it matters only when linking code of older compilers.
set(CMAKE_CXX_FLAGS_INIT "-Wno-psabi")

# Debian's cross compiler searches the multi-arch directories
# (/usr/include/arm-linux-gnueabihf, /usr/lib/arm-linux-gnueabihf) itself;
# CMake's searches take the same architecture directories from
# CMAKE_LIBRARY_ARCHITECTURE, so no separate sysroot is needed.

# pkg-config answers for the armhf .pc files of the multi-arch directories.
set(ENV{PKG_CONFIG_LIBDIR} "/usr/lib/arm-linux-gnueabihf/pkgconfig:/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")

# How the build's programs run on this machine; kept in the cache, where
# scripts read it (bench/run_http_bench.sh). On an ARM machine, configure
# with -DCMAKE_CROSSCOMPILING_EMULATOR= to run them directly.
if(NOT DEFINED CMAKE_CROSSCOMPILING_EMULATOR)
  find_program(VELTRUM_QEMU_ARM NAMES qemu-arm-static qemu-arm REQUIRED)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${VELTRUM_QEMU_ARM} CACHE STRING "Runs the build's programs")
endif()
