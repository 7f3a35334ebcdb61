#!/bin/sh
# Builds the peer comparison in a Release build of its own, installing CGAL
# first where it is missing, and runs it.
#   bench/peers/run.sh [FACES ...]      (default: 50000 500000)
# BUILD_DIR chooses the build directory (default: build-peers at the root).
set -e
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
build=${BUILD_DIR:-$root/build-peers}
"$here/install-cgal.sh"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DQUORVEL_BUILD_TESTS=OFF -DQUORVEL_BUILD_TOOLS=ON \
    -DQUORVEL_BUILD_BENCHMARKS=OFF -DQUORVEL_BUILD_PEER_BENCHMARKS=ON
cmake --build "$build" --target bench_peers_remesh -j "$(nproc)"
# Threads waiting for the next parallel loop sleep rather than spin, as in
# the quorvel tool: on a machine shared with other work a spinning thread takes
# the core that the serial passes need (an environment that sets it wins).
export OMP_WAIT_POLICY="${OMP_WAIT_POLICY:-passive}"
exec "$build/bench/peers/bench_peers_remesh" "$@"
