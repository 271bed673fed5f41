#!/usr/bin/env bash
# Installs what building, running and testing Veltrum needs, from Debian packages.
# Idempotent: packages already present are left alone. Needs root (or sudo).
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config ccache git
  libmicrohttpd-dev libjson-c-dev libssl-dev libcrypt-dev
  libgtest-dev libgmock-dev libbenchmark-dev libcurl4-openssl-dev
  iputils-ping traceroute curl openssl wrk procps psmisc mawk lighttpd lighttpd-mod-openssl
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ "${#missing[@]}" -eq 0 ]; then
  exit 0
fi

echo "install-deps: installing ${missing[*]}"
SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"

# The lighttpd package starts a site of its own on port 80; the project runs
# lighttpd itself, as the device's web front end, so that site is stopped.
if printf '%s\n' "${missing[@]}" | grep -qx lighttpd; then
  { $SUDO systemctl disable --now lighttpd || $SUDO service lighttpd stop; } >/dev/null 2>&1 || true
fi
