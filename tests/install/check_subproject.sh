#!/usr/bin/env bash
# check_subproject.sh <source dir>
# Builds VORNLib as a subproject of an outside project, as a team that vendors
# it would, with GoogleTest and Google Benchmark made unfindable: only the
# library is built, without -Werror, and the outside program runs with it.
set -euo pipefail
source_dir=$(cd "$1" && pwd)
here="$source_dir/tests/install"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake -S "$here/subproject" -B "$work/build" -DVORN_SOURCE_DIR="$source_dir" \
  -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON -DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON \
  -DCMAKE_EXPORT_COMPILE_COMMANDS=ON --no-warn-unused-cli >"$work/configure.log" || {
  cat "$work/configure.log" >&2
  exit 1
}
targets=$(cmake --build "$work/build" --target help)
extra=$(grep -o -E '(vorn_demo|vorn_version_check|[a-z_]+_test|bench_[a-z_]+)$' <<<"$targets" || true)
if [ -n "$extra" ]; then
  echo "a subproject build has targets beyond the library:" "$extra" >&2
  exit 1
fi
if grep -q -- '-Werror' "$work/build/compile_commands.json"; then
  echo "a subproject build compiles with -Werror" >&2
  exit 1
fi
cmake --build "$work/build" -j2 >"$work/build.log" || {
  tail -n 40 "$work/build.log" >&2
  exit 1
}
export VORN_DATA_DIR="$work/data"
"$work/build/consumer"
