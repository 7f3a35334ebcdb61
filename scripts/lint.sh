#!/usr/bin/env bash
# The house style. Without arguments: formats every tracked C++ file in place
# with clang-format-14. With --check (as CI runs it): changes nothing, and
# fails when a file is not formatted or clang-tidy-14 (.clang-tidy) finds
# anything; --check --tests tidies the test units too.
#
# clang-tidy reads the compile database of the Release build,
# build/release/compile_commands.json (the release preset exports it), so
# configure that preset first: cmake --preset release. It needs no build.
#
# Which units are tidied: every unit of the compile database except the
# explicit instantiations of all but one mesh type, and except the tests
# unless --tests is given. The 24 mesh types (and the four spatial-index
# types) compile the same template bodies, so one of each finds what all of
# them would. The test units take more than half of the processor time of
# the whole pass (GoogleTest's macros under the static analyzer). Summed
# over the units, measured one by one on this two-core machine: about 8
# processor-minutes for the check (4 minutes on the two cores), about 23
# with --tests, about 25 for every unit of the database.
set -euo pipefail
cd "$(dirname "$0")/.."

mode=format
tests=no
for argument in "$@"; do
  case "$argument" in
    --check) mode=check ;;
    --tests) tests=yes ;;
    *) echo "usage: scripts/lint.sh [--check [--tests]]" >&2; exit 2 ;;
  esac
done

for tool in clang-format-14 clang-tidy-14; do
  if ! command -v "$tool" > /dev/null; then
    echo "lint.sh: $tool is missing: scripts/install-deps.sh installs it" >&2
    exit 2
  fi
done

mapfile -t sources < <(git ls-files '*.h' '*.cpp')

if [ "$mode" = format ]; then
  clang-format-14 -i "${sources[@]}"
  exit 0
fi

status=0
echo "-- clang-format-14: ${#sources[@]} files"
clang-format-14 --dry-run -Werror "${sources[@]}" || status=1

database=build/release/compile_commands.json
if [ ! -f "$database" ]; then
  echo "lint.sh: $database is missing: run cmake --preset release first" >&2
  exit 2
fi
# The one mesh type and spatial-index type that stand for all of them.
kept='instantiations/(Mesh_double_VertexPN_Index32|MeshTree_double_VertexPN)\.cpp$'
mapfile -t units < <(/usr/bin/python3 - "$database" "$kept" "$tests" "$PWD" <<'EOF'
import json, re, sys
kept = re.compile(sys.argv[2])
root = sys.argv[4] + "/"
for entry in json.load(open(sys.argv[1])):
    name = entry["file"]
    if "/instantiations/Mesh" in name and not kept.search(name):
        continue
    if sys.argv[3] == "no" and name.startswith(root + "tests/"):
        continue
    print(name)
EOF
)
echo "-- clang-tidy-14: ${#units[@]} units on $(nproc) cores"
start=$SECONDS
if command -v run-clang-tidy-14 > /dev/null; then
  # Each unit's findings are printed together, not interleaved.
  patterns=()
  for unit in "${units[@]}"; do
    patterns+=("^$(printf '%s' "$unit" | sed 's/[][\.*^$+?(){}|]/\\&/g')\$")
  done
  log=build/release/clang-tidy.log
  run-clang-tidy-14 -quiet -p build/release -j "$(nproc)" "${patterns[@]}" > "$log" 2>&1 || status=1
  # It always asks for colour; the log is for reading in a file.
  sed -i 's/\x1b\[[0-9;]*m//g' "$log"
  # A header's findings come once per unit that includes it: each once here,
  # in context in the log.
  grep -E '(warning|error):' "$log" | sort -u || true
  [ "$status" -eq 0 ] || echo "-- clang-tidy-14: findings in context: $log"
else
  printf '%s\n' "${units[@]}" | xargs -P "$(nproc)" -n 1 clang-tidy-14 --quiet -p build/release || status=1
fi
echo "-- clang-tidy-14: $((SECONDS - start)) s"
[ "$status" -eq 0 ] && echo "-- style: clean"
exit "$status"
