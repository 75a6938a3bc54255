#!/usr/bin/env bash
# End-to-end test of the deployed site: installs the built program with its
# form, images, manual and sample configuration, serves it with the server
# named by the first argument (lighttpd, the default, or apache), drives
# Debian's headless Chromium through it (tests/browser/e2e.test.mjs), and
# finds no sanitizer report in the server's error log. Screenshots of the
# form, a report and an error page are left in the build folder.
set -euo pipefail
server="${1:-lighttpd}"
what="browser end-to-end test ($server)"
. "$(dirname "$0")/lib/site.sh"
browser_bin="${CHROMIUM:-/usr/bin/chromium}"
tests="$root/tests/browser"
need node npm "$([ "$server" = apache ] && echo apache2 || echo lighttpd)"
[ -x "$browser_bin" ] || skip "no browser at $browser_bin (Debian: chromium)"
[ -x "$build/loglantern" ] || fail "no program at $build/loglantern"
# playwright-core only drives the browser above; it never downloads its own.
[ -f "$tests/node_modules/playwright-core/package.json" ] ||
  (cd "$tests" && PLAYWRIGHT_SKIP_BROWSER_DOWNLOAD=1 npm ci --no-audit --no-fund >/dev/null) ||
  skip "npm ci in tests/browser failed"

start_site "$server" site
shots="$build"  # the Apache run keeps its screenshots apart
[ "$server" = lighttpd ] || { shots="$build/browser-$server"; mkdir -p "$shots"; }
log="$work/site/server/error.log"
LOGLANTERN_URL="$(cat "$work/site.ready")" LOGLANTERN_SITE_ENV="$work/site/${datadir:-share}/loglantern/site.env" \
  LOGLANTERN_SHOTS="$shots" CHROMIUM="$browser_bin" node --test "$tests/e2e.test.mjs" ||
  { echo "--- server error log ---" >&2; tail -n 50 "$log" >&2; fail "see above"; }
! grep -E 'AddressSanitizer|LeakSanitizer|runtime error:' "$log" || fail "the program reported sanitizer findings"
