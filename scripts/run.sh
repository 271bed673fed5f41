#!/usr/bin/env bash
# Builds Veltrum and runs it against the simulated switch.
#
# The simulated switch and the agent share a private device root
# (.run/root in the checkout, kept between runs so the saved configuration
# survives). The agent serves http://127.0.0.1:8445/api/v1/ until Ctrl-C,
# behind the device's web front end (lighttpd under its monitor lighttpdMon)
# on the loopback: HTTP on port 80 and HTTPS on port 443 as the agent's
# settings say, 8080 and 8443 when not run as root. The HTTPS certificate is
# made on the first start. Log in with user "admin", password "password"
# (the factory default).
#
# A local firmware update server runs beside them (HTTPS on 127.0.0.1:8446,
# with a certificate of a CA of its own that the device root trusts, files
# in .run/update-server/www): it serves a firmware image newer than the
# switch's, which the simulated platform offers to the agent.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

jobs=$(nproc 2>/dev/null || echo 2)
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j "$jobs" --target veltrum veltrum-simd veltrum-simctl veltrum-lighttpdmon veltrum-fwimage

root="$PWD/.run/root"
mkdir -p "$root"
export VELTRUM_ROOT="$root"

pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
}
trap cleanup EXIT INT TERM

# The update server, its CA trusted by the switch, and a newer firmware on
# it: for the simulated model's directory and channel ("vsw2428", "prod",
# fetched by fw_download and devicefirmwareupdate) and at the top (for a
# device_fw_update by URL).
update_server="$PWD/.run/update-server"
update_port=8446
fw_version=7.8.12.1
fw_file="vsw2428-$fw_version.vfw"
scripts/update-server.sh setup "$update_server" "$update_port"
mkdir -p "$root/mnt/fastpath/nimbrel_certs" "$root/etc/veltrum" "$update_server/www/vsw2428/prod"
cp "$update_server/ca.pem" "$root/mnt/fastpath/nimbrel_certs/mozilla_cacert.pem"
echo "https://127.0.0.1:$update_port" > "$root/etc/veltrum/update_server"
build/sim/veltrum-fwimage build --version "$fw_version" --description "Release 7.8, maintenance 12" \
  --payload-size 1048576 --out "$update_server/www/vsw2428/prod/$fw_file"
cp "$update_server/www/vsw2428/prod/$fw_file" "$update_server/www/$fw_file"
scripts/update-server.sh serve "$update_server" &
pids+=($!)

build/sim/veltrum-simd --root "$root" &
pids+=($!)
until build/sim/veltrum-simctl check 2>/dev/null; do sleep 0.1; done
build/sim/veltrum-simctl set firmware_offer "$(build/sim/veltrum-fwimage offer "$update_server/www/vsw2428/prod/$fw_file")"

# The HTTPS certificate of the web front end, made once.
if [ ! -e "$root/mnt/fastpath/lighttpd/ssl/https_cert.cer" ]; then
  echo "Making the web front end's HTTPS certificate..."
  "$root/bin/restgen" >/dev/null 2>&1 || echo "restgen failed: HTTPS stays off" >&2
fi

build/server/veltrum &
agent=$!
pids+=($agent)

# The web front end: its monitor runs lighttpd and reloads it when the
# agent's listener settings change.
rm -f "$root/run/lighttpd/listeners"
"$root/bin/lighttpdMon" 2>>"$root/var/log/lighttpdMon.log" &
pids+=($!)
listeners="$root/run/lighttpd/listeners"
for _ in $(seq 50); do
  grep -q '^https://' "$listeners" 2>/dev/null && break
  sleep 0.1
done
https=$(grep -m1 '^https://' "$listeners" 2>/dev/null || true)

echo "Simulated switch up (device root $root)."
echo "Agent on http://127.0.0.1:8445/api/v1/ ; web front end on:"
sed 's/^/  /' "$listeners" 2>/dev/null || true
if [ -n "$https" ]; then
  echo "Log in through the front end over HTTPS as admin / password, e.g.:"
  echo "  curl -sk -b lhttpdsid=dev -d '{\"login\":{\"username\":\"admin\",\"password\":\"password\"}}' ${https}api/v1/login"
fi
echo "Steer the simulator with: VELTRUM_ROOT=$root build/sim/veltrum-simctl ..."
echo "Firmware $fw_version is on the update server https://127.0.0.1:$update_port/: GET fw_update_check,"
echo "then POST devicefirmwareupdate {\"devicefirmwareupdate\":{\"rebootNow\":true}}, or by URL:"
echo "  POST device_fw_update {\"deviceFirmwareUpdate\":{\"rebootNow\":false,\"fwUrl\":\"https://127.0.0.1:$update_port/$fw_file\",\"fwDownloadTimeout\":0}}"
wait "$agent"
