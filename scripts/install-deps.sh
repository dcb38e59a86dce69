#!/usr/bin/env bash
# Installs the Debian packages that the build, the tests and the benchmarks need.
# Idempotent: returns at once when every package is already installed.
set -euo pipefail

packages=(
  build-essential cmake pkg-config
  libocct-foundation-dev libocct-modeling-data-dev libocct-modeling-algorithms-dev
  libocct-visualization-dev libocct-data-exchange-dev libtbb-dev libfontconfig-dev
  libjsoncpp-dev libsimdjson-dev libspdlog-dev libarchive-dev
  rapidjson-dev
  libgtest-dev libbenchmark-dev liborocos-kdl-dev
  clang libclang-rt-dev
  libarchive-tools p7zip-full xvfb xauth
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all ${#packages[@]} packages present"
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then
  SUDO="sudo"
fi

echo "install-deps: installing ${missing[*]}"
$SUDO apt-get update -qq
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
