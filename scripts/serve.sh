#!/usr/bin/env bash
# Serves an installed Loglantern site with lighttpd on 127.0.0.1: builds the
# program, installs it with the form, images, manual, sample configuration and
# sample logs into a fresh temporary folder, starts lighttpd (mod_cgi) on a
# free port, prints the address of the form and runs until Ctrl-C, which stops
# the server and removes the temporary folder.
#
# Usage: scripts/serve.sh [--build DIR] [--no-build] [--prefix DIR] [--port N]
#                         [--ready-file FILE]
#   --build DIR        build folder (default: build/ of the source tree)
#   --no-build         use the program as it is in the build folder
#   --prefix DIR       install into DIR and keep it afterwards (default: a
#                      temporary folder that is removed at the end)
#   --port N           listen on port N (default: a free port)
#   --ready-file FILE  once the server answers, write its base address
#                      (http://127.0.0.1:PORT) to FILE; for tests
set -euo pipefail

root="$(cd "$(dirname "$0")/.." && pwd)"
build="$root/build"
do_build=1
prefix=""
port=""
ready_file=""

die() {
  echo "serve.sh: $*" >&2
  exit 1
}

while [ $# -gt 0 ]; do
  case "$1" in
    --build) build="${2:?--build needs a folder}"; shift ;;
    --no-build) do_build=0 ;;
    --prefix) prefix="${2:?--prefix needs a folder}"; shift ;;
    --port) port="${2:?--port needs a number}"; shift ;;
    --ready-file) ready_file="${2:?--ready-file needs a file}"; shift ;;
    -h|--help) sed -n '2,17s/^# \{0,1\}//p' "$0"; exit 0 ;;
    *) die "unknown option $1 (see --help)" ;;
  esac
  shift
done

lighttpd_bin="$(command -v lighttpd || true)"
if [ -z "$lighttpd_bin" ] && [ -x /usr/sbin/lighttpd ]; then
  lighttpd_bin=/usr/sbin/lighttpd
fi
[ -n "$lighttpd_bin" ] || die "lighttpd is not installed (Debian: apt-get install lighttpd)"

if [ "$do_build" = 1 ]; then
  [ -f "$build/CMakeCache.txt" ] || cmake -S "$root" -B "$build" >/dev/null
  cmake --build "$build" --target loglantern
fi
[ -x "$build/loglantern" ] || die "no program at $build/loglantern; build it first"
[ -f "$build/CMakeCache.txt" ] || die "$build is not a configured build folder"

cache_value() {
  sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"
}

# Absolute site folders would make the install write outside the temporary
# folder, into the real site.
for var in LOGLANTERN_CGI_DIR LOGLANTERN_WEB_DIR LOGLANTERN_DATA_DIR CMAKE_INSTALL_DATADIR; do
  case "$(cache_value "$var")" in
    /*) die "$var is an absolute path in $build; serve.sh needs a build folder with the default, relative folders" ;;
  esac
done

created_prefix=0
if [ -z "$prefix" ]; then
  prefix="$(mktemp -d "${TMPDIR:-/tmp}/loglantern-site.XXXXXX")"
  created_prefix=1
fi
mkdir -p "$prefix"
prefix="$(cd "$prefix" && pwd)"
server_pid=""

cleanup() {
  trap - EXIT INT TERM
  if [ -n "$server_pid" ] && kill -0 "$server_pid" 2>/dev/null; then
    kill "$server_pid" 2>/dev/null || true
    wait "$server_pid" 2>/dev/null || true
  fi
  if [ -n "$ready_file" ]; then
    rm -f "$ready_file"
  fi
  if [ "$created_prefix" = 1 ]; then
    rm -rf "$prefix"
  fi
}
trap cleanup EXIT
trap 'echo; echo "serve.sh: stopping"; exit 130' INT
trap 'exit 143' TERM

run_dir="$prefix/server"
mkdir -p "$run_dir"
if ! cmake --install "$build" --prefix "$prefix" >"$run_dir/install.log" 2>&1; then
  cat "$run_dir/install.log" >&2
  die "install into $prefix failed"
fi

datadir="$(cache_value CMAKE_INSTALL_DATADIR)"
site_env="$prefix/${datadir:-share}/loglantern/site.env"
[ -f "$site_env" ] || die "the install wrote no $site_env"
# shellcheck source=/dev/null
. "$site_env"

# Variables that the CGI program should see: lighttpd passes on only the
# CGI variables, so the time zone and sanitizer options are named here.
cgi_env=""
for name in TZ ASAN_OPTIONS UBSAN_OPTIONS LSAN_OPTIONS; do
  if [ -n "${!name:-}" ]; then
    cgi_env+="${cgi_env:+, }\"$name\" => \"${!name}\""
  fi
done
[ -z "$cgi_env" ] || cgi_env="setenv.add-environment = ( $cgi_env )"

template="$(cat "$LOGLANTERN_SHARE_DIR/lighttpd.conf.in")"

# Writes the server configuration for port $1.
write_config() {
  local text="$template"
  text="${text//@PORT@/"$1"}"
  text="${text//@WEB_ROOT@/"$LOGLANTERN_WEB_DIR"}"
  text="${text//@CGI_DIR@/"$LOGLANTERN_CGI_DIR"}"
  text="${text//@RUN_DIR@/"$run_dir"}"
  text="${text//@CGI_ENV@/"$cgi_env"}"
  printf '%s\n' "$text" >"$run_dir/lighttpd.conf"
}

port_answers() {
  (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null
}

# Starts lighttpd on port $1; succeeds once the port answers, fails when the
# server ends first (port taken meanwhile, or a configuration error).
start_server() {
  write_config "$1"
  "$lighttpd_bin" -tt -f "$run_dir/lighttpd.conf" >"$run_dir/check.log" 2>&1 ||
    { cat "$run_dir/check.log" >&2; die "lighttpd refused the configuration"; }
  "$lighttpd_bin" -D -f "$run_dir/lighttpd.conf" >>"$run_dir/error.log" 2>&1 &
  server_pid=$!
  for _ in $(seq 1 100); do
    if ! kill -0 "$server_pid" 2>/dev/null; then
      wait "$server_pid" 2>/dev/null || true
      server_pid=""
      return 1
    fi
    if port_answers "$1"; then
      return 0
    fi
    sleep 0.1
  done
  return 1
}

if [ -n "$port" ]; then
  start_server "$port" || { cat "$run_dir/error.log" >&2; die "lighttpd could not serve port $port"; }
else
  started=0
  for _ in $(seq 1 20); do
    port=$((20000 + RANDOM % 40000))
    port_answers "$port" && continue
    if start_server "$port"; then
      started=1
      break
    fi
  done
  [ "$started" = 1 ] || { cat "$run_dir/error.log" >&2; die "lighttpd did not start"; }
fi

base="http://127.0.0.1:$port"
if [ -n "$ready_file" ]; then
  printf '%s\n' "$base" >"$ready_file.tmp"
  mv "$ready_file.tmp" "$ready_file"
fi
cat <<EOF
Loglantern is served at $base/Loglantern/
  report request form:  $base/Loglantern/
  manual:               $base/Loglantern/manual/
  sample account:       sample (password: sample), logs of 4 to 10 March 2024:
                        choose days in that week on the form
  installed site:       $prefix$([ "$created_prefix" = 1 ] && echo " (removed when the server stops)")
  server logs:          $run_dir
Press Ctrl-C to stop the server.
EOF

wait "$server_pid" || true
server_pid=""
die "lighttpd stopped by itself; see $run_dir/error.log"
