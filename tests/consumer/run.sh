#!/usr/bin/env bash
# Builds and runs the consumer against a quorvel installed under PREFIX.
set -euo pipefail
prefix=$1
here=$(cd "$(dirname "$0")" && pwd)
build=$(mktemp -d)
cmake -S "$here" -B "$build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release
cmake --build "$build"
# No LD_LIBRARY_PATH: the installed libraries and the consumer must find each
# other through their own runpaths.
"$build/consumer"
