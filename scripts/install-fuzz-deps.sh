#!/usr/bin/env bash
# Installs what the fuzz harnesses need on top of scripts/install-deps.sh:
# clang 14 and its runtime libraries (libFuzzer and the sanitizers), when they
# are missing. Runs as root (or through sudo) on Debian 12.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

packages=(clang-14 libclang-rt-14-dev)
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
