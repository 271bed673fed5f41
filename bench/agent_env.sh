# Shared by the HTTP benchmarks: starts the simulated switch and the agent
# under a fresh device root, holding the lock of port 8445 (the one the
# integration tests take), and logs in.
#
#   source bench/agent_env.sh
#   bench_start BUILD_DIR [LOG_LEVEL]   sets $build, $root, $agent, pids and
#                                       $emulator; everything stops when the
#                                       script exits
#
# A cross build (armhf) runs its programs under the emulator its CMake cache
# names (CMAKE_CROSSCOMPILING_EMULATOR); $emulator holds it, empty natively.
#   bench_login                         sets the array $headers (cookie, token)
#
# Needs curl; BUILD_DIR must hold server/veltrum, sim/veltrum-simd and
# sim/veltrum-simctl.

wait_for() {  # wait_for DESCRIPTION COMMAND...
  local what=$1; shift
  for _ in $(seq 1 500); do
    if "$@" >/dev/null 2>&1; then return 0; fi
    sleep 0.02
  done
  echo "$what did not come up" >&2
  exit 1
}

bench_start() {
  build=$(cd "${1:?usage: bench_start BUILD_DIR [LOG_LEVEL]}" && pwd)
  local log_level=${2:-4}
  for f in server/veltrum sim/veltrum-simd sim/veltrum-simctl; do
    [ -x "$build/$f" ] || { echo "missing $build/$f (build it first)" >&2; exit 2; }
  done
  command -v curl >/dev/null || { echo "curl is not installed" >&2; exit 2; }
  emulator=()
  read -r -a emulator < <(sed -n 's/^CMAKE_CROSSCOMPILING_EMULATOR:[A-Z]*=//p' "$build/CMakeCache.txt" | tr ';' ' ') || true

  exec 9>/tmp/veltrum-agent-port-8445.lock
  flock 9

  root=$(mktemp -d /tmp/veltrum-bench-XXXXXX)
  pids=()
  trap bench_cleanup EXIT

  if curl -s -o /dev/null --max-time 1 http://127.0.0.1:8445/; then
    echo "something already listens on 127.0.0.1:8445" >&2
    exit 1
  fi

  "${emulator[@]}" "$build/sim/veltrum-simd" --root "$root" >"$root/sim.log" 2>&1 &
  pids+=($!)
  wait_for "the simulator" "${emulator[@]}" "$build/sim/veltrum-simctl" --root "$root" check

  VELTRUM_ROOT=$root VELTRUM_LOG_LEVEL=$log_level "${emulator[@]}" "$build/server/veltrum" >"$root/agent.log" 2>&1 &
  agent=$!
  pids+=($agent)
  wait_for "the agent" curl -s -o /dev/null http://127.0.0.1:8445/api/v1/setup
}

bench_cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  for pid in "${pids[@]}"; do wait "$pid" 2>/dev/null || true; done
  rm -rf "$root"
}

bench_login() {
  local cookie="bench$$" login token
  login=$(curl -s -b "lhttpdsid=$cookie" \
    -d '{"login": {"username": "admin", "password": "password"}}' http://127.0.0.1:8445/api/v1/login)
  token=$(printf '%s' "$login" | sed -n 's/.*"token":"\([0-9A-F]*\)".*/\1/p')
  [ -n "$token" ] || { echo "login failed: $login" >&2; exit 1; }
  headers=(-H "Cookie: lhttpdsid=$cookie" -H "Authorization: Bearer $token")
}
