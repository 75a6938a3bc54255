#!/usr/bin/env bash
# End-to-end test of the installed site, served by the server named by the
# first argument (lighttpd, the default, or apache): Debian's headless Chromium
# goes through it (tests/browser/e2e.test.mjs), leaving screenshots in the build
# folder, and the program's error log must hold no sanitizer report.
set -euo pipefail
server="${1:-lighttpd}"
what="browser end-to-end test ($server)"
. "$(dirname "$0")/lib/site.sh"
browser_bin="${CHROMIUM:-/usr/bin/chromium}"
tests="$root/tests/browser"
need node npm "$([ "$server" = apache ] && echo apache2 || echo lighttpd)"
[ -x "$browser_bin" ] || skip "no browser at $browser_bin (Debian: chromium)"
# playwright-core only drives the browser above; it never downloads its own.
[ -f "$tests/node_modules/playwright-core/package.json" ] ||
  (cd "$tests" && PLAYWRIGHT_SKIP_BROWSER_DOWNLOAD=1 npm ci --no-audit --no-fund >/dev/null) ||
  skip "npm ci in tests/browser failed"

start_site "$server" site
shots="$build"  # the Apache run keeps its screenshots apart
[ "$server" = lighttpd ] || { shots="$build/browser-$server"; mkdir -p "$shots"; }
log="$work/site/server/error.log"
LOGLANTERN_URL="$(cat "$work/site.ready")" LOGLANTERN_SITE_ENV="$work/site/${datadir:-share}/loglantern/site.env" \
  LOGLANTERN_SHOTS="$shots" CHROMIUM="$browser_bin" node --test "$tests/e2e.test.mjs" || { tail -n 50 "$log" >&2; fail "see above"; }
! grep -E 'AddressSanitizer|LeakSanitizer|runtime error:' "$log" || fail "the program reported sanitizer findings"
