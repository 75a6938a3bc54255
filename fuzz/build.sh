#!/usr/bin/env bash
# Builds fuzz/*_fuzz.cpp (all, or the named ones) with libFuzzer, ASan and UBSan (Debian's clang) into
# build-fuzz/; run one as build-fuzz/<name>_fuzz -max_total_time=60 /tmp/<name>_corpus tests/corpus/<name>
set -euo pipefail
cd "$(dirname "$0")/.."
out=build-fuzz
mkdir -p "$out"
mapfile -t sources < <(find src -name '*.cpp' ! -name main.cpp | sort)
python3 scripts/agent_rules_to_cpp.py /usr/share/uap-core/regexes.yaml "$out/agent_rules.cpp" && sources+=("$out/agent_rules.cpp")
flags=(-std=c++20 -O1 -g -Isrc -fsanitize=fuzzer,address,undefined -fno-omit-frame-pointer)
targets=()
for name in "$@"; do targets+=("fuzz/${name%_fuzz}_fuzz.cpp"); done
[ ${#targets[@]} -gt 0 ] || targets=(fuzz/*_fuzz.cpp)
for target in "${targets[@]}"; do
  name=$(basename "$target" .cpp)
  extra=()
  [ "$name" = cgi_request_fuzz ] && extra=(-Wl,--wrap=exit)  # it catches the program's exit()
  echo "building $out/$name"
  clang++ "${flags[@]}" "$target" "${sources[@]}" -lcrypt -lpcre2-8 "${extra[@]}" -o "$out/$name"
done
