#!/usr/bin/env bash
# Installs the Debian packages that building, testing and linting quorvel
# need, when they are missing, and any further packages named as arguments.
# Runs as root (or through sudo) on Debian 12.
set -euo pipefail

packages=(cmake ninja-build g++ ccache libgtest-dev libgmock-dev libbenchmark-dev libomp-dev
  python3-dev python3-numpy pybind11-dev python3-pytest python3-meshio python3-pip python3-setuptools python3-wheel
  python3-distributed clang-format-14 clang-tidy-14 "$@")
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  sudo_cmd=""
  [ "$(id -u)" -eq 0 ] || sudo_cmd="sudo"
  $sudo_cmd apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq "${missing[@]}"
fi
