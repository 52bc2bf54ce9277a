#!/usr/bin/env bash
# Installs the built library into a scratch prefix, then builds and runs an
# outside project against it twice: through find_package(vorn) and through
# pkg-config. Also checks that only the library's interface is exported.
set -euo pipefail
build_dir=$1
source_dir=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build_dir" --prefix "$work/prefix" >/dev/null
libdir=$(find "$work/prefix" -name 'libvorn.so' -printf '%h\n' | head -n 1)
export LD_LIBRARY_PATH="$libdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
export VORN_DATA_DIR="$work/data"

echo "== find_package(vorn)"
cmake -S "$source_dir/consumer" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/consumer" >/dev/null
"$work/consumer/consumer"

echo "== pkg-config vorn"
export PKG_CONFIG_PATH="$libdir/pkgconfig"
# shellcheck disable=SC2046
c++ -o "$work/consumer-pc" "$source_dir/consumer/main.cpp" $(pkg-config --cflags --libs vorn)
rm -rf "$VORN_DATA_DIR"
"$work/consumer-pc"

echo "== exported symbols"
# Every exported C++ symbol of the library is one of its own classes or namespaces.
leaks=$(nm -D --defined-only -C "$libdir/libvorn.so" | awk '$2 ~ /[TWVBDR]/ {sub(/^[^ ]+ [^ ]+ /, ""); print}' |
  grep -v -E '^(_init|_fini|_edata|_end|__bss_start)$' |
  grep -v -E '(^|[ (,<*&])(vorn::|C[A-Z]*VORN|CVORN|CSQLiteUtil|MIRAsqlDB|GuardDB|BatchInserter|BaseTypeVector|vorn[A-Z])' |
  grep -v -E '^(typeinfo|vtable|VTT|guard variable) for (CVORN|CSQLiteUtil|MIRAsqlDB|GuardDB|BatchInserter|BaseTypeVector|vorn::)' || true)
if [ -n "$leaks" ]; then
  echo "symbols exported that are not the library's interface:" >&2
  echo "$leaks" | head -n 20 >&2
  exit 1
fi
echo "ok"
