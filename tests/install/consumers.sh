# Shared by the installation checks: outside programs built against an
# installed VORNLib, the way a team adopting it would build theirs.
# shellcheck shell=bash

# The value of __cplusplus a consumer compiled as C++<std> reports.
vorn_cplusplus() {
  case $1 in
    17) echo 201703 ;;
    20) echo 202002 ;;
    *) return 1 ;;
  esac
}

# Runs a built consumer and checks that it worked and was compiled as C++<std>.
vorn_run_consumer() {
  local program=$1 std=$2 out
  out=$("$program")
  echo "   $out"
  if [[ $out != "C++ $(vorn_cplusplus "$std")"* ]]; then
    echo "a consumer asked for C++$std but was compiled as: $out" >&2
    return 1
  fi
}

# vorn_check_consumers <consumer source dir> <scratch dir> <prefix>
# Builds and runs the consumer as C++17 and C++20, once through
# find_package(vorn) and once through pkg-config; checks the CMake package's
# version rule; builds the installed examples and runs them; and checks that a
# program built for another minor version refuses the library at start-up.
# <prefix> is where the library is installed (/usr for the Debian packages).
vorn_check_consumers() {
  local source_dir=$1 work=$2 prefix=$3 std version major minor docdir
  export VORN_DATA_DIR="$work/data"
  export PKG_CONFIG_PATH
  PKG_CONFIG_PATH=$(dirname "$(find "$prefix/lib" -path '*/pkgconfig/vorn.pc' | head -n 1)")
  version=$(pkg-config --modversion vorn)
  major=${version%%.*}
  minor=${version#*.}
  minor=${minor%%.*}
  for std in 17 20; do
    echo "== C++$std consumer through find_package(vorn $major.$minor)"
    cmake -S "$source_dir" -B "$work/cmake$std" -DCMAKE_PREFIX_PATH="$prefix" \
      -DCMAKE_CXX_STANDARD="$std" -DVORN_REQUIRED_VERSION="$major.$minor" >/dev/null
    cmake --build "$work/cmake$std" >/dev/null
    vorn_run_consumer "$work/cmake$std/consumer" "$std"

    echo "== C++$std consumer through pkg-config (vorn $version)"
    # shellcheck disable=SC2046
    c++ -std=c++"$std" -o "$work/pkgconfig$std" "$source_dir/main.cpp" \
      $(pkg-config --cflags --libs vorn)
    vorn_run_consumer "$work/pkgconfig$std" "$std"
  done

  echo "== find_package(vorn $major.$((minor + 1))) refuses version $version"
  if cmake -S "$source_dir" -B "$work/newer" -DCMAKE_PREFIX_PATH="$prefix" \
    -DVORN_REQUIRED_VERSION="$major.$((minor + 1))" >"$work/newer.log" 2>&1; then
    echo "the CMake package accepted a request for a newer minor version" >&2
    return 1
  fi
  grep -q 'not compatible\|not found\|Could not find' "$work/newer.log"

  docdir=$(find "$prefix/share/doc" -maxdepth 1 -name 'vorn*' -type d | head -n 1)
  echo "== the installed examples ($docdir/examples)"
  cmake -S "$docdir/examples" -B "$work/examples" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
  cmake --build "$work/examples" >/dev/null
  "$work/examples/vorn_version_check"
  "$work/examples/vorn_demo" >"$work/demo.log" || {
    cat "$work/demo.log" >&2
    return 1
  }

  echo "== a program built for VORNLib $major.$((minor + 1)) refuses libvorn $version"
  local skew="$work/skew/vorn"
  mkdir -p "$skew"
  sed -e "s/^#define VORN_VERSION_MINOR .*/#define VORN_VERSION_MINOR $((minor + 1))/" \
    -e "s/^#define VORN_VERSION_STRING .*/#define VORN_VERSION_STRING \"$major.$((minor + 1)).0\"/" \
    "$(pkg-config --variable=includedir vorn)/vorn/version.h" >"$skew/version.h"
  # shellcheck disable=SC2046
  c++ -std=c++17 -I"$work/skew" -o "$work/skewed" "$docdir/examples/version_check.cpp" \
    $(pkg-config --cflags --libs vorn)
  if "$work/skewed" 2>"$work/skewed.log"; then
    echo "a program built for another minor version ran with libvorn $version" >&2
    return 1
  fi
  sed 's/^/   /' "$work/skewed.log"
}
