#!/usr/bin/env bash
# Installs what building, running and testing Veltrum needs, from Debian packages.
# Idempotent: packages already present are left alone. Needs root (or sudo).
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config ccache git
  libmicrohttpd-dev libjson-c-dev libssl-dev
  libgtest-dev libgmock-dev libbenchmark-dev libcurl4-openssl-dev
  iputils-ping traceroute curl openssl wrk procps psmisc
  lighttpd lighttpd-mod-openssl
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
