#!/usr/bin/env bash
# The test command: installs what is missing, builds the Release preset and
# runs the whole suite.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset release
cmake --build --preset release
ctest --preset release
