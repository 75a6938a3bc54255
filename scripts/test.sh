#!/usr/bin/env bash
# Builds Loglantern and runs every test.
#   scripts/test.sh              normal build in build/
#   scripts/test.sh --sanitize   AddressSanitizer + UndefinedBehaviorSanitizer build in build-asan/
set -euo pipefail
cd "$(dirname "$0")/.."

# The tests stay within a third of the code's size.
scripts/test_ratio.sh

build=build
flags=()
if [ "${1:-}" = "--sanitize" ]; then
  build=build-asan
  flags=(-DLOGLANTERN_SANITIZE=ON -DLOGLANTERN_BENCH=OFF -DCMAKE_BUILD_TYPE=Debug)
fi

cmake -S . -B "$build" "${flags[@]}"
cmake --build "$build" -j"$(nproc)"
# Any sanitizer report ends the test that caused it with a failure.
export ASAN_OPTIONS="abort_on_error=1:detect_leaks=1:strict_string_checks=1"
export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1"
ctest --test-dir "$build" --output-on-failure -j"$(nproc)"
