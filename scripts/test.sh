#!/usr/bin/env bash
# Builds Veltrum and runs every test: once in an optimised build, once with
# the address and undefined-behaviour sanitizers. Installs what is missing
# first (Debian packages), so it works on a fresh machine.
#
#   scripts/test.sh            both builds
#   scripts/test.sh --fast     the optimised build only
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

jobs=$(nproc 2>/dev/null || echo 2)
export CCACHE_DIR="${CCACHE_DIR:-$HOME/.cache/ccache}"
export CTEST_OUTPUT_ON_FAILURE=1

run_suite() {
  local dir=$1; shift
  cmake -S . -B "$dir" -G Ninja "$@" >/dev/null
  cmake --build "$dir" -j "$jobs"
  (cd "$dir" && ctest -j "$jobs" --timeout 600)
}

echo "== optimised build =="
run_suite build -DCMAKE_BUILD_TYPE=RelWithDebInfo

if [ "${1:-}" != "--fast" ]; then
  echo "== sanitizer build (address, undefined) =="
  export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1:strict_string_checks=1"
  export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
  run_suite build-asan -DCMAKE_BUILD_TYPE=Debug -DVELTRUM_SANITIZE=ON -DVELTRUM_BENCH=OFF
fi
