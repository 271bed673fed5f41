#!/usr/bin/env bash
# Web front end and file benchmark: the request rate of an authenticated
# GET /api/v1/http_config straight to the agent and through the device's web
# front end (lighttpd under lighttpdMon, HTTP and HTTPS), and the time of the
# slow operations: an HTTP export of the startup configuration, a
# certificate regeneration (restgen), and a reboot until the agent's
# platform calls succeed again.
#
#   bench/run_web_bench.sh BUILD_DIR
#
# Builds nothing. Needs wrk, curl, lighttpd. Settings (environment):
# BENCH_DURATION seconds per rate run (5), BENCH_CONNECTIONS (8),
# BENCH_REPEAT runs of each timed operation (5). Takes the agent port lock
# like the integration tests.
set -euo pipefail

build=${1:?usage: run_web_bench.sh BUILD_DIR}
build=$(cd "$build" && pwd)
duration=${BENCH_DURATION:-5}
connections=${BENCH_CONNECTIONS:-8}
repeat=${BENCH_REPEAT:-5}

exec 9>/tmp/veltrum-agent-port-8445.lock
flock 9

root=$(mktemp -d /tmp/veltrum-webbench-XXXXXX)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  for pid in "${pids[@]}"; do wait "$pid" 2>/dev/null || true; done
  rm -rf "$root"
}
trap cleanup EXIT

free_port() { python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])'; }
http_port=$(free_port)
https_port=$(free_port)
mkdir -p "$root/mnt/fastpath/veltrum"
echo "{\"httpPort\": $http_port, \"httpsPort\": $https_port}" > "$root/mnt/fastpath/veltrum/agent.cfg"

"$build/sim/veltrum-simd" --root "$root" >"$root/sim.log" 2>&1 &
pids+=($!)
until VELTRUM_ROOT=$root "$build/sim/veltrum-simctl" check >/dev/null 2>&1; do sleep 0.05; done
"$root/bin/restgen" >/dev/null 2>&1
VELTRUM_ROOT=$root VELTRUM_LOG_LEVEL=4 "$build/server/veltrum" >"$root/agent.log" 2>&1 &
pids+=($!)
VELTRUM_ROOT=$root "$root/bin/lighttpdMon" >"$root/monitor.log" 2>&1 &
pids+=($!)
until curl -sk -o /dev/null "https://127.0.0.1:$https_port/" && curl -s -o /dev/null http://127.0.0.1:8445/; do
  sleep 0.05
done

login=$(curl -s -b lhttpdsid=bench -d '{"login":{"username":"admin","password":"password"}}' \
  http://127.0.0.1:8445/api/v1/login)
token=$(sed -n 's/.*"token":"\([0-9A-F]*\)".*/\1/p' <<<"$login")
auth=(-H "Cookie: lhttpdsid=bench" -H "Authorization: Bearer $token")

rate() {  # rate URL: requests per second
  wrk -t1 -c"$connections" -d"${duration}s" "${auth[@]}" "$1" | awk '/Requests\/sec/ {print $2}'
}
echo "GET /api/v1/http_config, wrk 1 thread, $connections connections, ${duration} s:"
echo "  agent direct        $(rate http://127.0.0.1:8445/api/v1/http_config) req/s"
echo "  front end, HTTP     $(rate "http://127.0.0.1:$http_port/api/v1/http_config") req/s"
echo "  front end, HTTPS    $(rate "https://127.0.0.1:$https_port/api/v1/http_config") req/s"

timed() {  # timed REPEAT COMMAND...: mean milliseconds
  local n=$1; shift
  local start end
  start=$(date +%s%N)
  for _ in $(seq "$n"); do "$@" >/dev/null; done
  end=$(date +%s%N)
  echo $(((end - start) / n / 1000000))
}
post() { curl -sf "${auth[@]}" -d "$2" "http://127.0.0.1:8445/api/v1/$1"; }
echo "mgmt_http_file_export of the startup configuration: $(timed "$repeat" post mgmt_http_file_export \
  '{"http_file_export":{"fileType":5}}') ms"
echo "https_cert_mgmt operation 1 (restgen): $(timed "$repeat" post https_cert_mgmt \
  '{"https_cert_mgmt":{"operation":1}}') ms"

start=$(date +%s%N)
post device_reboot '{"deviceReboot":{}}' >/dev/null
ok() { curl -s "${auth[@]}" http://127.0.0.1:8445/api/v1/dai_global_cfg | grep -q '"respCode":0'; }
while ok; do sleep 0.02; done  # the job waits 5 s, then the switch goes away
until curl -s "${auth[@]}" http://127.0.0.1:8445/api/v1/dai_global_cfg | grep -q '"respCode":0'; do sleep 0.02; done
end=$(date +%s%N)
echo "device_reboot until the agent's platform calls succeed again: $(((end - start) / 1000000)) ms (5 s of it the job's wait)"
