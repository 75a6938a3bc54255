#!/usr/bin/env bash
# Serves an installed Loglantern site on 127.0.0.1: builds the program,
# installs it with the form, images, manual, sample configuration and sample
# logs into a fresh temporary folder, starts lighttpd (mod_cgi) or Apache
# httpd (event MPM, mod_cgid) on a free port, prints the address of the form
# and runs until Ctrl-C, which stops the server and removes the folder.
#
# Usage: scripts/serve.sh [--server lighttpd|apache] [--build DIR] [--no-build]
#                         [--prefix DIR] [--port N] [--ready-file FILE]
#   --server NAME      lighttpd (default) or apache
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
server=lighttpd

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
    --server) server="${2:?--server needs lighttpd or apache}"; shift ;;
    -h|--help) sed -n '2,18s/^# \{0,1\}//p' "$0"; exit 0 ;;
    *) die "unknown option $1 (see --help)" ;;
  esac
  shift
done

case "$server" in
  lighttpd) package=lighttpd ;;
  apache) package=apache2 ;;
  *) die "unknown server $server (lighttpd or apache)" ;;
esac
server_bin="$(command -v "$package" || true)"
if [ -z "$server_bin" ] && [ -x "/usr/sbin/$package" ]; then
  server_bin="/usr/sbin/$package"
fi
[ -n "$server_bin" ] || die "$package is not installed (Debian: apt-get install $package)"

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
  chmod 755 "$prefix"  # the web server's user may not be this user
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

# Error pages name the server's administrator (SERVER_ADMIN) as the one to
# contact. Apache always passes its ServerAdmin; lighttpd is given the same
# address, so that both servers write the same pages.
SERVER_ADMIN="webmaster@localhost"

# Variables that the CGI program should see: the servers pass on only the
# CGI variables, so the time zone and sanitizer options are named here.
cgi_env=""
for name in TZ ASAN_OPTIONS UBSAN_OPTIONS LSAN_OPTIONS SERVER_ADMIN; do
  if [ -n "${!name:-}" ]; then
    if [ "$server" = lighttpd ]; then
      cgi_env+="${cgi_env:+, }\"$name\" => \"${!name}\""
    elif [ "$name" != SERVER_ADMIN ]; then
      cgi_env+="${cgi_env:+$'\n'}SetEnv $name \"${!name}\""
    fi
  fi
done
[ -z "$cgi_env" ] || [ "$server" != lighttpd ] || cgi_env="setenv.add-environment = ( $cgi_env )"

# Apache started by root hands its requests to www-data, Debian's web server
# user, which must read the site and write the summary files and the error
# log in the data folder.
user_group=""
if [ "$server" = apache ] && [ "$(id -u)" = 0 ]; then
  user_group=$'User www-data\nGroup www-data'
  chown -R www-data:www-data "$LOGLANTERN_DATA_DIR"
  runuser -u www-data -- test -x "$LOGLANTERN_CGI_DIR/loglantern" ||
    die "www-data cannot reach $prefix; make its folders readable (chmod o+rx) and try again"
fi

if [ "$server" = lighttpd ]; then
  template="$(cat "$LOGLANTERN_SHARE_DIR/lighttpd.conf.in")"
  config="$run_dir/lighttpd.conf"
else
  template="$(cat "$LOGLANTERN_SHARE_DIR/apache2.conf.in")"
  config="$run_dir/apache2.conf"
fi

# Writes the server configuration for port $1.
write_config() {
  local text="$template"
  text="${text//@PORT@/"$1"}"
  text="${text//@WEB_ROOT@/"$LOGLANTERN_WEB_DIR"}"
  text="${text//@CGI_DIR@/"$LOGLANTERN_CGI_DIR"}"
  text="${text//@RUN_DIR@/"$run_dir"}"
  text="${text//@CGI_ENV@/"$cgi_env"}"
  text="${text//@MODULES@//usr/lib/apache2/modules}"
  text="${text//@USER_GROUP@/"$user_group"}"
  text="${text//@SERVER_ADMIN@/"$SERVER_ADMIN"}"
  printf '%s\n' "$text" >"$config"
}

check_config() {
  if [ "$server" = lighttpd ]; then
    "$server_bin" -tt -f "$config"
  else
    "$server_bin" -t -f "$config"
  fi
}

run_server() {
  if [ "$server" = lighttpd ]; then
    exec "$server_bin" -D -f "$config"
  else
    exec "$server_bin" -f "$config" -DFOREGROUND
  fi
}

port_answers() {
  (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null
}

# Starts the server on port $1; succeeds once the port answers, fails when the
# server ends first (port taken meanwhile, or a configuration error).
start_server() {
  write_config "$1"
  check_config >"$run_dir/check.log" 2>&1 ||
    { cat "$run_dir/check.log" >&2; die "$package refused the configuration"; }
  run_server >>"$run_dir/error.log" 2>&1 &
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
  start_server "$port" || { cat "$run_dir/error.log" >&2; die "$package could not serve port $port"; }
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
  [ "$started" = 1 ] || { cat "$run_dir/error.log" >&2; die "$package did not start"; }
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
die "$package stopped by itself; see $run_dir/error.log"
