#!/usr/bin/env bash
# Installs what building, running and testing Veltrum needs, from Debian packages.
# Idempotent: packages already present are left alone. Needs root (or sudo).
#
#   scripts/install-deps.sh          the native build
#   scripts/install-deps.sh armhf    also the 32-bit ARM cross build: Debian's
#                                    cross compiler, the armhf libraries beside
#                                    the native ones (multi-arch) and qemu's
#                                    user-mode emulator (scripts/test-armhf.sh)
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config ccache git
  libmicrohttpd-dev libjson-c-dev libssl-dev libcrypt-dev
  libgtest-dev libgmock-dev libbenchmark-dev libcurl4-openssl-dev
  iputils-ping traceroute curl openssl wrk procps psmisc mawk lighttpd lighttpd-mod-openssl
)

# The libraries the build links, for the target architecture.
armhf_libraries=(
  libmicrohttpd-dev libjson-c-dev libssl-dev libcrypt-dev
  libgtest-dev libgmock-dev libbenchmark-dev libcurl4-openssl-dev
)
armhf_tools=(g++-arm-linux-gnueabihf binutils-arm-linux-gnueabihf qemu-user-static file)

cross=""
case "${1:-}" in
  "") ;;
  armhf) cross=armhf ;;
  *) echo "usage: $0 [armhf]" >&2; exit 2 ;;
esac

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive

installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "install ok installed"; }

wanted=("${packages[@]}")
if [ -n "$cross" ]; then
  wanted+=("${armhf_tools[@]}")
  for p in "${armhf_libraries[@]}"; do wanted+=("$p:armhf"); done
fi

missing=()
for p in "${wanted[@]}"; do
  installed "$p" || missing+=("$p")
done

if [ "${#missing[@]}" -eq 0 ]; then
  exit 0
fi

echo "install-deps: installing ${missing[*]}"
if [ -n "$cross" ] && ! dpkg --print-foreign-architectures | grep -qx armhf; then
  $SUDO dpkg --add-architecture armhf
fi
# A mirror that fails one index still leaves the others usable: go on, and
# let the install below say what is missing.
$SUDO apt-get update -qq || echo "install-deps: apt-get update reported errors; going on" >&2

# Multi-arch libraries ("Multi-Arch: same") must have the same version on
# both architectures. When the two architectures' indexes disagree (a
# security update seen for amd64 but not yet for armhf, say), apt does not
# look past the candidate versions and gives up; so every such library of
# the armhf set whose amd64 twin is installed is named with the armhf
# version, for both architectures.
aligned=()
if [ -n "$cross" ]; then
  closure=$(apt-cache depends --recurse --no-recommends --no-suggests --no-conflicts --no-breaks \
              --no-replaces --no-enhances "${armhf_libraries[@]/%/:armhf}" 2>/dev/null |
            grep -E '^[a-z0-9][^ ]*:armhf$' | sort -u)
  # the installed native packages that are Multi-Arch: same, and the armhf candidates
  host=$(dpkg --print-architecture)
  declare -A native
  while read -r p v; do native[$p]=$v; done < <(
    dpkg-query -W -f='${Package} ${Architecture} ${Version} ${Multi-Arch} ${db:Status-Abbrev}\n' 2>/dev/null |
      awk -v host="$host" '$2 == host && $4 == "same" && $5 == "ii" {print $1, $3}')
  while read -r p target; do
    if [ -n "${native[$p]:-}" ] && [ "$target" != "(none)" ]; then
      aligned+=("$p:$host=$target" "$p:armhf=$target")
    fi
  done < <(apt-cache policy $closure | awk '/^[^ ].*:$/ {sub(/:armhf:$/, ""); p = $0} /Candidate:/ {print p, $2}')
  [ "${#aligned[@]}" -eq 0 ] || echo "install-deps: same version on both architectures: ${aligned[*]}"
fi

$SUDO apt-get install -y -q --no-install-recommends --allow-downgrades "${missing[@]}" "${aligned[@]}"

# The lighttpd package starts a site of its own on port 80; the project runs
# lighttpd itself, as the device's web front end, so that site is stopped.
if printf '%s\n' "${missing[@]}" | grep -qx lighttpd; then
  { $SUDO systemctl disable --now lighttpd || $SUDO service lighttpd stop; } >/dev/null 2>&1 || true
fi
