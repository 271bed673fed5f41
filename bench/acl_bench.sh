#!/usr/bin/env bash
# ACL benchmark: the cost of rule lists through the real agent and the
# simulated switch. Creates LISTS named extended IPv4 lists, then posts RULES
# rules of seven matches to each (one request per list, each rule resolves
# its list, adds its action and seven matches: nine platform calls), reads
# every rule back (one GET), reads one list ("aclName"), and replaces the
# port set of a binding (36 ports bound, then 1). Prints the time of each
# step: the mean of REPEAT requests where a step is repeated.
#
#   bench/acl_bench.sh BUILD_DIR
#
# Settings (environment): BENCH_LISTS (20), BENCH_RULES (50), BENCH_REPEAT (20).
set -euo pipefail

lists=${BENCH_LISTS:-20}
rules=${BENCH_RULES:-50}
repeat=${BENCH_REPEAT:-20}

# shellcheck source=bench/agent_env.sh
source "$(dirname "$0")/agent_env.sh"
bench_start "${1:?usage: acl_bench.sh BUILD_DIR}"
bench_login

api=http://127.0.0.1:8445/api/v1

# request METHOD RESOURCE [BODY]: the seconds it took; fails unless it succeeded.
request() {
  local out
  out=$(curl -s -X "$1" "${headers[@]}" -w '\n%{time_total}' ${3:+--data-binary "$3"} "$api/$2")
  case "$out" in
    *'"status":"success"'*) ;;
    *) echo "$1 $2 failed: ${out%$'\n'*}" >&2; exit 1 ;;
  esac
  printf '%s\n' "${out##*$'\n'}"
}
mean_ms() { awk '{ s += $1; n++ } END { printf "%.2f ms", 1000 * s / n }'; }

elements=""
for l in $(seq 1 "$lists"); do elements+="${elements:+,}{\"type\":1,\"name\":\"bench$l\"}"; done
printf '%-52s %s\n' "POST acl_cfg, $lists lists:" "$(request POST acl_cfg "{\"acl_cfg\":[$elements]}" | mean_ms)"

post_times=()
for l in $(seq 1 "$lists"); do
  body=""
  for r in $(seq 1 "$rules"); do
    body+="${body:+,}{\"pri\":$r,\"act\":1,\"asq\":2,\"logging\":1,\"proto\":6,\"sip\":\"10.$l.$r.0\","
    body+="\"smask\":\"255.255.255.0\",\"sl4PortAct\":1,\"sl4PortS\":1024,\"sl4PortE\":2048,"
    body+="\"dip\":\"192.168.0.$r\",\"dmask\":\"255.255.255.255\",\"dl4PortAct\":0,\"dl4Port\":443}"
  done
  post_times+=("$(request POST ipextended_aclrule_cfg "{\"ip_aclrule_cfg\":[{\"name\":\"bench$l\",\"aclrules\":[$body]}]}")")
done
printf '%-52s %s\n' "POST ipextended_aclrule_cfg, $rules rules (mean):" "$(printf '%s\n' "${post_times[@]}" | mean_ms)"

printf '%-52s %s\n' "GET ipextended_aclrule_cfg, $((lists * rules)) rules (mean):" \
  "$(for _ in $(seq 1 "$repeat"); do request GET ipextended_aclrule_cfg; done | mean_ms)"
printf '%-52s %s\n' "GET ipextended_aclrule_cfg?aclName, $rules rules (mean):" \
  "$(for _ in $(seq 1 "$repeat"); do request GET "ipextended_aclrule_cfg?aclName=bench$lists"; done | mean_ms)"

all_ports=""
for p in $(seq 1 28) $(seq 33 40); do all_ports+="${all_ports:+,}{\"port_id\":$p}"; done
binding() { echo "{\"acl_binding\":{\"aclname\":\"bench1\",\"type\":1,\"direction\":0,\"ports\":[$1]}}"; }
printf '%-52s %s\n' "POST acl_binding: 36 ports, then 1 (mean of both):" \
  "$(for _ in $(seq 1 "$repeat"); do request POST acl_binding "$(binding "$all_ports")"; \
     request POST acl_binding "$(binding '{"port_id":1}')"; done | mean_ms)"
kill -0 "$agent" 2>/dev/null || { echo "the agent is gone" >&2; exit 1; }
