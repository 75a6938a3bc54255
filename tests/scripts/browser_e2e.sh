#!/usr/bin/env bash
# End-to-end test of the deployed site: installs the built program with its
# form, images, manual and sample configuration into a fresh folder, serves it
# on 127.0.0.1 (scripts/serve.sh) with the server named by the first argument
# (lighttpd, the default, or apache), and drives Debian's headless Chromium
# through it (tests/browser/e2e.test.mjs). Screenshots of the form, a report
# and an error page are left in the build folder.
#
# Without node, the server or the browser the test prints a SKIP line and
# passes on a developer's machine; under CI (CI=true) it fails instead.
set -euo pipefail
server="${1:-lighttpd}"
package="$server"
[ "$server" != apache ] || package=apache2

root="$(cd "$(dirname "$0")/../.." && pwd)"
if [ -n "${LOGLANTERN_BINARY:-}" ]; then
  build="$(cd "$(dirname "$LOGLANTERN_BINARY")" && pwd)"
else
  build="$root/build"
fi
browser_bin="${CHROMIUM:-/usr/bin/chromium}"
tests="$root/tests/browser"

skip() {
  if [ "${CI:-}" = true ]; then
    echo "browser_e2e: FAIL: $* (the browser test must run under CI)" >&2
    exit 1
  fi
  echo "SKIP: browser end-to-end test: $*"
  exit 0
}

command -v node >/dev/null || skip "node is not installed (Debian: nodejs)"
command -v npm >/dev/null || skip "npm is not installed (Debian: npm)"
{ command -v "$package" || [ -x "/usr/sbin/$package" ]; } >/dev/null || skip "$package is not installed"
[ -x "$browser_bin" ] || skip "no browser at $browser_bin (Debian: chromium)"
if [ ! -x "$build/loglantern" ]; then
  echo "browser_e2e: no program at $build/loglantern" >&2
  exit 1
fi

# playwright-core only drives the browser above; it never downloads its own.
if [ ! -f "$tests/node_modules/playwright-core/package.json" ]; then
  (cd "$tests" && PLAYWRIGHT_SKIP_BROWSER_DOWNLOAD=1 npm ci --no-audit --no-fund >/dev/null) ||
    skip "npm ci in tests/browser failed"
fi

work="$(mktemp -d "${TMPDIR:-/tmp}/loglantern-e2e.XXXXXX")"
chmod 755 "$work"  # the server may run the program as another user
serve_pid=""
cleanup() {
  if [ -n "$serve_pid" ] && kill -0 "$serve_pid" 2>/dev/null; then
    kill -TERM "$serve_pid" 2>/dev/null || true
    wait "$serve_pid" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

bash "$root/scripts/serve.sh" --server "$server" --build "$build" --no-build --prefix "$work/site" \
  --ready-file "$work/ready" >"$work/serve.log" 2>&1 &
serve_pid=$!
for _ in $(seq 1 300); do
  [ -f "$work/ready" ] && break
  if ! kill -0 "$serve_pid" 2>/dev/null; then
    cat "$work/serve.log" >&2
    echo "browser_e2e: the server did not start" >&2
    exit 1
  fi
  sleep 0.2
done
if [ ! -f "$work/ready" ]; then
  cat "$work/serve.log" >&2
  echo "browser_e2e: the server did not answer in time" >&2
  exit 1
fi

shots="$build"  # the Apache run keeps its screenshots apart
[ "$server" = lighttpd ] || { shots="$build/browser-$server"; mkdir -p "$shots"; }
datadir="$(sed -n 's/^CMAKE_INSTALL_DATADIR:[A-Z]*=//p' "$build/CMakeCache.txt")"
status=0
LOGLANTERN_URL="$(cat "$work/ready")" \
LOGLANTERN_SITE_ENV="$work/site/${datadir:-share}/loglantern/site.env" \
LOGLANTERN_SERVER_LOG="$work/site/server/error.log" \
LOGLANTERN_SHOTS="$shots" \
CHROMIUM="$browser_bin" \
  node --test "$tests/e2e.test.mjs" || status=$?
if [ "$status" != 0 ]; then
  echo "--- server error log ---" >&2
  tail -n 50 "$work/site/server/error.log" >&2 || true
fi
exit "$status"
