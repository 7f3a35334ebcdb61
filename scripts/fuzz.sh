#!/usr/bin/env bash
# Builds the libFuzzer harnesses (the fuzz preset) and runs each for a fixed
# time over its committed seed corpus.
#
#   scripts/fuzz.sh [SECONDS] [HARNESS...]
#
# SECONDS per harness (default 20); HARNESS is any of fuzz_read_off,
# fuzz_read_obj, fuzz_read_ply, fuzz_read_stl, fuzz_remesh (default: all).
# New inputs go to build/fuzz/corpus/<harness>, findings to
# build/fuzz/findings/; the committed corpus is only read. Exits non-zero on
# the first finding, naming the input that reproduces it.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-20}
shift || true
harnesses=("$@")
[ ${#harnesses[@]} -gt 0 ] || harnesses=(fuzz_read_off fuzz_read_obj fuzz_read_ply fuzz_read_stl fuzz_remesh)

scripts/install-fuzz-deps.sh
cmake --preset fuzz
cmake --build --preset fuzz --target "${harnesses[@]}"

mkdir -p build/fuzz/findings
for harness in "${harnesses[@]}"; do
  seeds=fuzz/corpus/${harness#fuzz_}
  work=build/fuzz/corpus/$harness
  mkdir -p "$work"
  echo "== $harness: $seconds s over $seeds"
  # -timeout: no single input may run for more than 10 s (the remesh
  # harness caps its inputs so that a healthy run takes milliseconds);
  # -rss_limit_mb: nor grow past 2 GB.
  ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
    "build/fuzz/fuzz/$harness" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=4096 \
    -print_final_stats=1 -artifact_prefix="build/fuzz/findings/$harness-" "$work" "$seeds"
done
