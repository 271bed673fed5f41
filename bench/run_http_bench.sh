#!/usr/bin/env bash
# HTTP benchmark of the agent: authenticated GET /api/v1/ping through the
# real agent (with the simulated switch behind it), side by side with
# mhd_minimal, a bare libmicrohttpd server in the same external-select mode
# answering the same bytes, once with the plain request and once with the
# agent's (its session headers). Prints the request rates, the ratios, and the
# agent's resident memory (VmRSS) before and after 1,000,000 requests.
#
#   bench/run_http_bench.sh BUILD_DIR
#
# Builds nothing: BUILD_DIR must hold server/veltrum, sim/veltrum-simd,
# sim/veltrum-simctl and bench/mhd_minimal. Needs wrk and curl. Settings
# (environment): BENCH_DURATION seconds per rate run (10), BENCH_CONNECTIONS
# (8), BENCH_THREADS wrk threads (1), BENCH_REQUESTS for the memory check
# (1000000), BENCH_LOG_LEVEL of the agent (4; 7 logs every request line),
# BENCH_PATHS resources (under /api/v1/) whose authenticated GET is measured
# through the agent as well, after the ping runs (none), BENCH_MEMORY_PATH
# the requests of the memory run go to (/api/v1/ping; /api/v1/dai_intf_cfg
# walks every port through the platform). A cross build (armhf) runs under
# its emulator; the minimal server is then the emulated one too.
#
# The agent's port 8445 is fixed: the script takes the same lock as the
# integration tests (/tmp/veltrum-agent-port-8445.lock) while it runs.
set -euo pipefail

duration=${BENCH_DURATION:-10}
connections=${BENCH_CONNECTIONS:-8}
threads=${BENCH_THREADS:-1}
total_wanted=${BENCH_REQUESTS:-1000000}
log_level=${BENCH_LOG_LEVEL:-4}
minimal_port=8446
memory_path=${BENCH_MEMORY_PATH:-/api/v1/ping}

# shellcheck source=bench/agent_env.sh
source "$(dirname "$0")/agent_env.sh"
[ -x "${1:?usage: run_http_bench.sh BUILD_DIR}/bench/mhd_minimal" ] ||
  { echo "missing $1/bench/mhd_minimal (build it first)" >&2; exit 2; }
command -v wrk >/dev/null || { echo "wrk is not installed" >&2; exit 2; }
bench_start "$1" "$log_level"

"${emulator[@]}" "$build/bench/mhd_minimal" "$minimal_port" >"$root/minimal.log" 2>&1 &
pids+=($!)
wait_for "mhd_minimal" curl -s -o /dev/null "http://127.0.0.1:$minimal_port/api/v1/ping"

bench_login

agent_body=$(curl -s "${headers[@]}" http://127.0.0.1:8445/api/v1/ping)
minimal_body=$(curl -s "http://127.0.0.1:$minimal_port/api/v1/ping")
if [ "$agent_body" != '{"ping": ""}' ] || [ "$agent_body" != "$minimal_body" ]; then
  echo "unexpected answers: agent '$agent_body', minimal '$minimal_body'" >&2
  exit 1
fi

# wrk does not count 3xx answers as errors: the session is checked after
# each agent run instead. It was valid before, and a session that once fails
# is gone for good, so a 200 afterwards means every request in between was
# served authenticated.
session_still_valid() {
  local status
  status=$(curl -s -o /dev/null -w '%{http_code}' "${headers[@]}" http://127.0.0.1:8445/api/v1/ping)
  [ "$status" = 200 ] || { echo "the session stopped working (HTTP $status)" >&2; exit 1; }
}

# The agent's resident and private (clean and dirty) kB; under emulation
# also those of the emulated program alone: the mappings of its 32-bit
# address space, which qemu places below 4 GiB, without the emulator's own.
memory() {
  awk -v emulated="${#emulator[@]}" '
    /^[0-9a-f]+-[0-9a-f]+ / { split($1, range, "-"); guest = length(range[1]) <= 8; next }
    /^Rss:/ { rss += $2; if (guest) grss += $2 }
    /^Private_(Clean|Dirty):/ { private += $2; if (guest) gprivate += $2 }
    END {
      printf "resident %d kB, private %d kB", rss, private
      if (emulated) printf " (the emulated program: resident %d kB, private %d kB)", grss, gprivate
      printf "\n"
    }' "/proc/$agent/smaps"
}

# run_wrk URL SECONDS [HEADERS...]: prints "requests rate non2xx errors"
run_wrk() {
  local url=$1 seconds=$2; shift 2
  local out
  out=$(wrk -t "$threads" -c "$connections" -d "${seconds}s" "$@" "$url")
  local requests rate non2xx errors
  requests=$(printf '%s\n' "$out" | awk '/requests in/ { print $1 }')
  rate=$(printf '%s\n' "$out" | awk '/^Requests\/sec:/ { print $2 }')
  non2xx=$(printf '%s\n' "$out" | awk '/Non-2xx or 3xx responses:/ { print $5 }')
  errors=$(printf '%s\n' "$out" | awk '/Socket errors:/ { s = 0; for (i = 4; i <= NF; i += 2) s += $i; print s }')
  echo "$requests $rate ${non2xx:-0} ${errors:-0}"
}

memory_before=$(memory)
agent_total=0
agent_bad=0

echo "wrk: $threads thread(s), $connections connections, ${duration}s per run; agent log level $log_level"
read -r req_a rate_a bad_a err_a < <(run_wrk http://127.0.0.1:8445/api/v1/ping "$duration" "${headers[@]}")
agent_total=$((agent_total + req_a)); agent_bad=$((agent_bad + bad_a + err_a))
session_still_valid
read -r req_m rate_m bad_m err_m < <(run_wrk "http://127.0.0.1:$minimal_port/api/v1/ping" "$duration")
# The same request as the agent's, session headers included: the minimal
# server ignores them, but libmicrohttpd reads and stores them all the same.
read -r req_h rate_h bad_h err_h < <(run_wrk "http://127.0.0.1:$minimal_port/api/v1/ping" "$duration" "${headers[@]}")

printf '%-34s %12s req/s  (%s requests, %s non-2xx, %s socket errors)\n' \
  "agent, authenticated GET ping:" "$rate_a" "$req_a" "$bad_a" "$err_a"
printf '%-34s %12s req/s  (%s requests, %s non-2xx, %s socket errors)\n' \
  "mhd_minimal, GET ping:" "$rate_m" "$req_m" "$bad_m" "$err_m"
printf '%-34s %12s req/s  (%s requests, %s non-2xx, %s socket errors)\n' \
  "mhd_minimal, same headers:" "$rate_h" "$req_h" "$bad_h" "$err_h"
awk -v a="$rate_a" -v m="$rate_m" 'BEGIN { printf "%-34s %12.2f (agent / minimal)\n", "ratio:", a / m }'
awk -v a="$rate_a" -v m="$rate_h" 'BEGIN { printf "%-34s %12.2f (agent / minimal, same request)\n", "ratio, same request:", a / m }'

# Resources: each must answer with success before it is measured.
for path in ${BENCH_PATHS:-}; do
  answer=$(curl -s "${headers[@]}" "http://127.0.0.1:8445/api/v1/$path")
  case $answer in
    '{"resp":{"status":"success"'*) ;;
    *) echo "GET $path did not succeed: ${answer:0:200}" >&2; exit 1 ;;
  esac
  read -r req rate bad err < <(run_wrk "http://127.0.0.1:8445/api/v1/$path" "$duration" "${headers[@]}")
  session_still_valid
  printf '%-34s %12s req/s  (%s requests, %s non-2xx, %s socket errors, %s bytes each)\n' \
    "agent, GET $path:" "$rate" "$req" "$bad" "$err" "${#answer}"
done

# Memory: keep going until the agent has served the requests wanted.
memory_rate=$rate_a
while [ "$agent_total" -lt "$total_wanted" ]; do
  left=$((total_wanted - agent_total))
  seconds=$(awk -v left="$left" -v rate="$memory_rate" 'BEGIN { s = int(left / rate) + 1; if (s < 1) s = 1; print s }')
  read -r req memory_rate bad err < <(run_wrk "http://127.0.0.1:8445$memory_path" "$seconds" "${headers[@]}")
  agent_total=$((agent_total + req)); agent_bad=$((agent_bad + bad + err))
  session_still_valid
done
memory_after=$(memory)

echo "agent memory before: $memory_before"
echo "agent memory after $agent_total requests ($agent_bad non-2xx or socket errors; after the first run to $memory_path): $memory_after"
kill -0 "$agent" 2>/dev/null || { echo "the agent is gone" >&2; exit 1; }
