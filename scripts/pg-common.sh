# Shared by scripts/pg-server and scripts/pg-cluster: the server binaries, the
# account that runs a cluster, free ports. scripts/mariadb-server uses die,
# as_owner and pick_port.
# shellcheck shell=bash

die() {
  echo "$(basename "$0"): $*" >&2
  exit 1
}

# The bin directory of the newest installed server version, or "".
find_bindir() {
  local dir
  # sort -V, since the glob's order puts "10" before "9".
  for dir in /usr/lib/postgresql/*/bin; do
    if [ -x "$dir/initdb" ] && [ -x "$dir/pg_ctl" ] && [ -x "$dir/postgres" ]; then
      echo "$dir"
    fi
  done | sort -V | tail -n 1
}

# The account that owns and runs the cluster.
cluster_user() {
  if [ "$(id -u)" -ne 0 ]; then
    id -un
  elif getent passwd postgres >/dev/null; then
    echo postgres
  else
    echo nobody
  fi
}

# Runs a command as the cluster's owner.
as_owner() {
  local user=$1
  shift
  if [ "$(id -un)" = "$user" ]; then
    "$@"
  else
    runuser -u "$user" -- "$@"
  fi
}

# True when something accepts TCP connections on 127.0.0.1:$1.
port_in_use() {
  (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null
}

pick_port() {
  local port attempt
  for attempt in $(seq 1 200); do
    port=$((20000 + (RANDOM * 32768 + RANDOM) % 40000))
    if ! port_in_use "$port"; then
      echo "$port"
      return 0
    fi
    : "$attempt"
  done
  return 1
}
