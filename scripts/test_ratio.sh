#!/usr/bin/env bash
# Keeps the tests in proportion to the code: fails when the lines of test code
# (sources and scripts under tests/ and fuzz/; golden pages, corpora and lock
# files are data and do not count) exceed a third of the lines under src/.
set -euo pipefail
cd "$(dirname "$0")/.."

code_files='\.(c|cc|cpp|cxx|h|hh|hpp|mjs|js|ts|sh|py|cmake)$|(^|/)CMakeLists\.txt$'
lines() { git ls-files -- "$@" | grep -E "$code_files" | grep -v package-lock | xargs -r cat | wc -l; }

tests=$(lines tests fuzz)
code=$(lines src)
echo "test code: ${tests} lines, product code: ${code} lines"
if [ $((tests * 3)) -gt "$code" ]; then
  echo "the tests are more than a third of the code: make them smaller" >&2
  exit 1
fi
