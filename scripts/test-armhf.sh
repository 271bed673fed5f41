#!/usr/bin/env bash
# Builds Veltrum for the switch's processor (32-bit ARM, Debian's "armhf")
# and runs every test, unit and integration, under qemu's user-mode
# emulator. Installs the cross compiler, the armhf libraries (multi-arch)
# and qemu first.
#
#   scripts/test-armhf.sh
#
# The build lives in build-armhf/ (cmake/armhf-toolchain.cmake). ctest runs
# each test program through qemu-arm-static; the agent and simulator that
# the integration tests start are run through it as well
# (tests/common/launch.h), so no binfmt_misc registration is needed.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh armhf

jobs=$(nproc 2>/dev/null || echo 2)
export CCACHE_DIR="${CCACHE_DIR:-$HOME/.cache/ccache}"
export CTEST_OUTPUT_ON_FAILURE=1

echo "== armhf build (cross, tests under qemu-arm) =="
start=$SECONDS
cmake -S . -B build-armhf -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_TOOLCHAIN_FILE=cmake/armhf-toolchain.cmake >/dev/null
cmake --build build-armhf -j "$jobs"
kind=$(file -b build-armhf/server/veltrum)
[[ $kind == "ELF 32-bit LSB "*"ARM, EABI5"* ]] ||
  { echo "build-armhf/server/veltrum is not a 32-bit ARM program: $kind" >&2; exit 1; }
echo "armhf build: $((SECONDS - start)) s"
(cd build-armhf && ctest -j "$jobs" --timeout 600)
