# Shared by scripts/demo, scripts/test, scripts/lint and scripts/fuzz: package checks and the CMake steps.
# shellcheck shell=bash

# Debian packages needed to build the library, its tests, benchmarks and demo.
VORN_BUILD_PACKAGES=(
  g++ cmake make pkg-config
  libsqlite3-dev   # the embedded store
  libpq-dev        # the PostgreSQL backend
  libmariadb-dev   # the MariaDB backend, and the tests' direct MariaDB client
  libace-dev       # ACE_Semaphore of the escaping singleton
  libspdlog-dev    # the logging adapter
  libgtest-dev     # the test suite
  libbenchmark-dev # the benchmark programs
  libsoci-dev      # the read benchmark's peer
)

# Debian packages of the throwaway test servers (scripts/pg-server,
# scripts/pg-cluster, scripts/mariadb-server), installed by scripts/test.
VORN_POSTGRESQL_SERVER_PACKAGES=(postgresql pgbouncer)
VORN_MARIADB_SERVER_PACKAGES=(mariadb-server) # brings the mariadb client too

# Debian packages scripts/lint needs on top of the build packages.
VORN_LINT_PACKAGES=(
  clang-tidy   # clang-tidy (LLVM 14 on Debian 12)
  clang-format # the formatting check
)

# Debian packages scripts/fuzz needs on top of the build packages.
VORN_FUZZ_PACKAGES=(
  clang              # clang/clang++ 14: the only compiler with libFuzzer (-fsanitize=fuzzer)
  libclang-rt-14-dev # clang 14's runtimes: libFuzzer, ASan and UBSan, FuzzedDataProvider.h
)

# Installs the missing packages (as root), or prints the apt-get line and stops.
vorn_ensure_packages() {
  local missing=()
  local pkg
  for pkg in "$@"; do
    if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed"; then
      missing+=("$pkg")
    fi
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  if [ "$(id -u)" -eq 0 ]; then
    echo "==> installing Debian packages: ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    apt-get install -y -qq --no-install-recommends "${missing[@]}"
  else
    echo "These Debian packages are missing. Install them as root, then run this again:" >&2
    echo "  sudo apt-get install -y ${missing[*]}" >&2
    exit 1
  fi
}

# Configures and builds one CMake preset (default, asan, tsan, fuzz).
vorn_build() {
  local preset=$1
  shift
  echo "==> configure and build ($preset)"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" "$@"
}
