#!/usr/bin/env bash
# Builds the quorvel tool in Release (installing what the build needs) and
# runs it with the given arguments; with none, it remeshes the built-in example.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset release > /dev/null
cmake --build --preset release --target quorvel_tool
[ $# -gt 0 ] || set -- remesh
exec build/release/tools/quorvel "$@"
