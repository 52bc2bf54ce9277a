#!/usr/bin/env bash
# check_debian_packages.sh <source dir>
# Makes the Debian packages (scripts/package), checks their metadata, installs
# them on this machine with apt-get, builds and runs the outside programs of
# consumers.sh against /usr, then purges the packages and checks that they
# left nothing behind. Needs root; exits 77 (skipped) with the reason when it
# cannot install packages here, or when a libvorn package is installed already.
set -euo pipefail
source_dir=$(cd "$1" && pwd)
here="$source_dir/tests/install"
# shellcheck source=tests/install/consumers.sh
source "$here/consumers.sh"

if [ "$(id -u)" -ne 0 ]; then
  echo "skipped: installing Debian packages needs root"
  exit 77
fi
if dpkg-query -W -f='${Package}\n' 'libvorn*' 2>/dev/null | grep -q .; then
  echo "skipped: a libvorn package is installed already; this check would replace it"
  exit 77
fi
work=$(mktemp -d)
packages=()
cleanup() {
  if [ ${#packages[@]} -gt 0 ]; then
    dpkg --purge "${packages[@]}" >/dev/null || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT

"$source_dir/scripts/package" >"$work/debs" 2>"$work/package.log" || {
  cat "$work/package.log" >&2
  exit 1
}
mapfile -t debs <"$work/debs"
[ ${#debs[@]} -eq 2 ] || {
  echo "scripts/package made ${#debs[@]} packages, not 2: ${debs[*]}" >&2
  exit 1
}
runtime=$(printf '%s\n' "${debs[@]}" | grep -v -- '-dev_')
dev=$(printf '%s\n' "${debs[@]}" | grep -- '-dev_')
runtime_name=$(dpkg-deb -f "$runtime" Package)
version=$(dpkg-deb -f "$runtime" Version)

echo "== package metadata"
# The runtime package is named after the SONAME it ships, its dependencies
# come from the library's links, and the -dev package wants exactly it.
soname=$(dpkg-deb -c "$runtime" | grep -o 'libvorn\.so\.[0-9.]*' | sort | head -n 1)
if [ "$runtime_name" != "libvorn${soname#libvorn.so.}" ]; then
  echo "the runtime package $runtime_name does not match the SONAME $soname" >&2
  exit 1
fi
runtime_depends=$(dpkg-deb -f "$runtime" Depends)
for needed in libsqlite3-0 libpq5 libspdlog libace libstdc++6; do
  grep -q "$needed" <<<"$runtime_depends" || {
    echo "$runtime_name does not depend on $needed: $runtime_depends" >&2
    exit 1
  }
done
grep -q "$runtime_name (= $version)" <<<"$(dpkg-deb -f "$dev" Depends)" || {
  echo "libvorn-dev does not depend on $runtime_name (= $version)" >&2
  exit 1
}
if dpkg-deb -c "$runtime" | grep -q -E 'include/|\.so$'; then
  echo "$runtime_name carries development files" >&2
  exit 1
fi
echo "   $runtime_name $version ($soname), libvorn-dev; Depends: $runtime_depends"

echo "== apt-get install ${debs[*]##*/}"
packages=(libvorn-dev "$runtime_name")
DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${debs[@]}" \
  >"$work/apt.log" 2>&1 || {
  cat "$work/apt.log" >&2
  exit 1
}
vorn_check_consumers "$here/consumer" "$work" /usr

echo "== dpkg --purge"
mapfile -t files < <(dpkg -L "${packages[@]}" | grep -E '/(libvorn|vorn)[^/]*$')
dpkg --purge "${packages[@]}" >/dev/null
packages=()
for file in "${files[@]}"; do
  if [ -e "$file" ]; then
    echo "$file is still there after the packages were purged" >&2
    exit 1
  fi
done
echo "   nothing of the ${#files[@]} vorn files and folders left"
