#!/usr/bin/env bash
# check_installed_package.sh <build dir> <this directory>
# Installs the built library into a scratch prefix the way `cmake --install`
# does for a user, then:
#   - checks the install tree: the SONAME, no internal header installed, and
#     exactly the library's interface exported (exported-symbols.txt);
#   - builds and runs outside programs against it (consumers.sh).
# With VORN_UPDATE_SYMBOLS=1 it rewrites exported-symbols.txt instead of
# failing on a difference: do that only for a deliberate change of the interface.
set -euo pipefail
build_dir=$1
here=$2
# shellcheck source=tests/install/consumers.sh
source "$here/consumers.sh"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

prefix="$work/prefix"
cmake --install "$build_dir" --prefix "$prefix" >/dev/null
libdir=$(dirname "$(find "$prefix" -name 'libvorn.so' | head -n 1)")
export LD_LIBRARY_PATH="$libdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"

echo "== the install tree"
version=$(PKG_CONFIG_PATH="$libdir/pkgconfig" pkg-config --modversion vorn)
soname=$(objdump -p "$libdir/libvorn.so" | awk '$1 == "SONAME" {print $2}')
expected_soname="libvorn.so.${version%.*}"
[[ $version == 0.* ]] || expected_soname="libvorn.so.${version%%.*}"
if [ "$soname" != "$expected_soname" ]; then
  echo "version $version should have the SONAME $expected_soname, not $soname" >&2
  exit 1
fi
for internal in safe_c.h string_helpers.h type_registry.h; do
  if [ -e "$prefix/include/vorn/platform/$internal" ]; then
    echo "the internal header vorn/platform/$internal was installed" >&2
    exit 1
  fi
done
echo "   vorn $version, SONAME $soname, no internal header"

echo "== exported symbols"
# Every exported symbol, demangled, without the linker's own; std::string is
# written short to keep the list readable.
nm -D --defined-only -C "$libdir/libvorn.so" | cut -d' ' -f3- |
  grep -v -x -E '_init|_fini|_edata|_end|__bss_start' |
  sed 's/std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >/std::string/g' |
  LC_ALL=C sort -u >"$work/symbols"
# Standard-library instantiations, the bounds-checked C functions and ACE are
# never part of the interface, whatever the list below says.
if grep -E '^(std::|(typeinfo|typeinfo name|vtable|VTT|guard variable) for std::)|(^|[^A-Za-z])(ACE_|[a-z]+_s\()' \
  "$work/symbols"; then
  echo "these symbols must not be exported" >&2
  exit 1
fi
if [ "${VORN_UPDATE_SYMBOLS:-0}" = 1 ]; then
  cp "$work/symbols" "$here/exported-symbols.txt"
  echo "   exported-symbols.txt rewritten ($(wc -l <"$work/symbols") symbols)"
elif ! diff -u "$here/exported-symbols.txt" "$work/symbols"; then
  echo "The exported symbols differ from tests/install/exported-symbols.txt (+ exported now," \
    "- no longer). Hide what is not interface (VORN_LOCAL, cmake/vorn.map); for a deliberate" \
    "change of the interface run this check again with VORN_UPDATE_SYMBOLS=1." >&2
  exit 1
fi
echo "   $(wc -l <"$work/symbols") symbols, all in exported-symbols.txt"

vorn_check_consumers "$here/consumer" "$work" "$prefix"
