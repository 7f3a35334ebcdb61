#!/usr/bin/env bash
# Builds and runs the consumer against a quorvel installed under PREFIX.
set -euo pipefail
prefix=$1
here=$(cd "$(dirname "$0")" && pwd)
build=$(mktemp -d)
# Headers live below include/quorvel only (nothing generic like include/maths
# for a client's own folders to collide with), and no template body or
# internal header is installed.
include="$prefix/include"
[ -f "$include/Quorvel.h" ] && [ -f "$include/quorvel/meshes/TMesh.h" ] || { echo "consumer: headers missing"; exit 1; }
stray=$(find "$include" -mindepth 1 -maxdepth 1 ! -name quorvel ! -name Quorvel.h)
internal=$(find "$include/quorvel" -name '*_impl.h' -o -path '*/editing/preserving*')
[ -z "$stray$internal" ] || { echo "consumer: unexpected headers installed: $stray $internal"; exit 1; }
cmake -S "$here" -B "$build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release
cmake --build "$build"
# No LD_LIBRARY_PATH: the installed libraries and the consumer must find each
# other through their own runpaths.
"$build/consumer"
