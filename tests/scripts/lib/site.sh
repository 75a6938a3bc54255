# Sourced by the server-level tests: installs the built program into scratch
# sites served on 127.0.0.1 by scripts/serve.sh. The caller sets `what` (its
# name in messages). A missing tool prints a SKIP line and passes on a
# developer's machine; under CI (CI=true) it fails instead.
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/../../.." && pwd)"
build="$root/build"
[ -z "${LOGLANTERN_BINARY:-}" ] || build="$(cd "$(dirname "$LOGLANTERN_BINARY")" && pwd)"
datadir="$(sed -n 's/^CMAKE_INSTALL_DATADIR:[A-Z]*=//p' "$build/CMakeCache.txt" 2>/dev/null)"

fail() { echo "$what: FAIL: $*" >&2; exit 1; }
skip() { [ "${CI:-}" != true ] || fail "$*"; echo "SKIP: $what: $*"; exit 0; }
need() { for tool in "$@"; do command -v "$tool" >/dev/null || [ -x "/usr/sbin/$tool" ] || skip "no $tool"; done; }

work="$(mktemp -d "${TMPDIR:-/tmp}/loglantern-test.XXXXXX")"
chmod 755 "$work"  # the server may run the program as another user
pids=()
cleanup() { for pid in "${pids[@]}"; do { kill "$pid" && wait "$pid"; } 2>/dev/null || true; done; rm -rf "$work"; }
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# start_site SERVER NAME: installs under $work/NAME and serves it; its
# address is then in $work/NAME.ready.
start_site() {
  bash "$root/scripts/serve.sh" --server "$1" --build "$build" --no-build --prefix "$work/$2" \
    --ready-file "$work/$2.ready" >"$work/$2.log" 2>&1 &
  pids+=($!)
  for _ in $(seq 600); do [ -f "$work/$2.ready" ] && return 0; sleep 0.1; done
  cat "$work/$2.log" >&2 && fail "$1 did not start"
}
