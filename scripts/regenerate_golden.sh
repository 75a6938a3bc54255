#!/usr/bin/env bash
# Rewrites one kept page of the whole-page tests from what the program
# writes today, with the run-dependent parts put back as placeholders:
#   scripts/regenerate_golden.sh NAME      (NAME as in tests/e2e/golden/NAME.html)
# Review the change with `git diff tests/e2e/golden/` before committing it:
# a kept page is the product's expected output, not a snapshot to refresh.
set -euo pipefail
cd "$(dirname "$0")/.."
name=${1:?usage: $0 NAME}
cmake -S . -B build >/dev/null
cmake --build build --target test_e2e loglantern -j"$(nproc)" >/dev/null
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
TZ=UTC LC_ALL=C TEST_TMPDIR="$out/" LOGLANTERN_BINARY="$PWD/build/loglantern" \
  LOGLANTERN_SOURCE_DIR="$PWD" LOGLANTERN_SHARED_DIR="$PWD/../shared" \
  build/tests/test_e2e --gtest_filter="Scenarios/GoldenPage.MatchesTheKeptPage/$name" >/dev/null || true
actual="$out/loglantern-$name.actual.html"
if [ ! -f "$actual" ]; then
  echo "the page already matches (or the scenario $name does not exist)"
  exit 0
fi
python3 - "$actual" "tests/e2e/golden/$name.html" <<'PY'
import grp, os, pwd, sys
page = open(sys.argv[1], "rb").read()
credits = open("tests/e2e/golden/credits.inc", "rb").read()
page = page.replace(credits, b"@CREDITS@").replace(b"\x95", b"@BULLET@")
user = pwd.getpwuid(os.getuid()).pw_name.encode()
group = grp.getgrgid(os.getgid()).gr_name.encode()
page = page.replace(b"<b>User:</b> " + user, b"<b>User:</b> @USER@")
page = page.replace(b"<b>Group:</b> " + group, b"<b>Group:</b> @GROUP@")
tmp = sys.argv[2] + ".tmp"
open(tmp, "wb").write(page)
os.replace(tmp, sys.argv[2])
PY
echo "wrote tests/e2e/golden/$name.html"
