#!/usr/bin/env bash
# Installs every Debian package the build, the tests and the tools need.
# Idempotent and non-interactive; run as root (or it re-runs itself through sudo).
set -euo pipefail

packages=(
  # toolchain
  build-essential cmake ninja-build pkg-config clang-format
  # libraries (docs/dependencies.md says why each is here)
  nlohmann-json3-dev libcurl4-openssl-dev libplist-dev libfmt-dev
  libgtest-dev libgmock-dev libbenchmark-dev libcpp-httplib-dev libcli11-dev
  libsecret-1-dev libicu-dev
  # independent readers and services the tests start
  libplist-utils python3 dbus gnome-keyring openssl
)

if [ "$(id -u)" -ne 0 ]; then
  exec sudo --preserve-env=DEBIAN_FRONTEND "$0" "$@"
fi

missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" ||
    missing+=("$package")
done

if [ "${#missing[@]}" -eq 0 ]; then
  echo "bootstrap: every package is already installed"
  exit 0
fi

export DEBIAN_FRONTEND=noninteractive
apt-get update
apt-get install -y --no-install-recommends "${missing[@]}"
echo "bootstrap: installed ${missing[*]}"
