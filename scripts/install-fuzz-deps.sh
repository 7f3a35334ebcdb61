#!/usr/bin/env bash
# Installs what the fuzz harnesses need on top of scripts/install-deps.sh:
# clang 14 and its runtime libraries (libFuzzer and the sanitizers), when they
# are missing. Runs as root (or through sudo) on Debian 12.
set -euo pipefail
cd "$(dirname "$0")/.."
exec scripts/install-deps.sh clang-14 libclang-rt-14-dev
