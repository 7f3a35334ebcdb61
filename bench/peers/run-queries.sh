#!/bin/sh
# Builds the spatial-query comparison with CGAL's AABB tree in a Release
# build of its own, installing CGAL first where it is missing, and runs it.
#   bench/peers/run-queries.sh [--queries N] [FACES ...]   (default: 200000; 50000 500000)
# BUILD_DIR chooses the build directory (default: build-peers at the root).
set -e
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
build=${BUILD_DIR:-$root/build-peers}
"$here/install-cgal.sh"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DQUORVEL_BUILD_TESTS=OFF -DQUORVEL_BUILD_TOOLS=ON \
    -DQUORVEL_BUILD_BENCHMARKS=ON -DQUORVEL_BUILD_PEER_BENCHMARKS=ON
cmake --build "$build" --target bench_peers_queries -j 2
exec "$build/bench/peers/bench_peers_queries" "$@"
