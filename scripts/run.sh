#!/usr/bin/env bash
# Builds Veltrum and runs it against the simulated switch.
#
# The simulated switch and the agent share a private device root
# (.run/root in the checkout, kept between runs so the saved configuration
# survives). The agent serves http://127.0.0.1:8445/api/v1/ until Ctrl-C.
# Log in with user "admin", password "password" (the factory default).
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

jobs=$(nproc 2>/dev/null || echo 2)
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j "$jobs" --target veltrum veltrum-simd veltrum-simctl

root="$PWD/.run/root"
mkdir -p "$root"
export VELTRUM_ROOT="$root"

pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
}
trap cleanup EXIT INT TERM

build/sim/veltrum-simd --root "$root" &
pids+=($!)
until build/sim/veltrum-simctl check 2>/dev/null; do sleep 0.1; done

# The web front end's monitor, which the agent signals after settings change.
"$root/bin/lighttpdMon" &
pids+=($!)

echo "Simulated switch up (device root $root)."
echo "Agent on http://127.0.0.1:8445/api/v1/ ; log in as admin / password, e.g.:"
echo "  curl -s -b lhttpdsid=dev -d '{\"login\":{\"username\":\"admin\",\"password\":\"password\"}}' http://127.0.0.1:8445/api/v1/login"
echo "Steer the simulator with: VELTRUM_ROOT=$root build/sim/veltrum-simctl ..."
build/core/veltrum &
pids+=($!)
wait "${pids[-1]}"
