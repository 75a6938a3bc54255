#!/usr/bin/env bash
# The main job: builds Loglantern and writes report.html at the repository's
# root, the report a site owner would ask for over the bundled sample logs
# (sample/logs, made by sample/generate_logs.py) and sample configuration.
set -euo pipefail
cd "$(dirname "$0")/.."

cmake -S . -B build >/dev/null
cmake --build build --target loglantern -j"$(nproc)" >/dev/null

# The whole site (find "/" with everything below it), every section, over
# the week that the sample covers.  Command-line words are the same
# name=value pairs that the report request form posts.
request=(
  config=sample/loglantern.conf
  username=sample password=sample
  date=03042024,03102024
  find=/ subdirs=1
  requests=1,25 referrers=1,20 search=1,10 browsers=1,15
  badurls=1,20 badurl_referrers=1 badreferrers=1,20
  domains=1,20 domaintypes=1,20
  dailytotals=1 hitsperdayofweek=1 hitsperhour=1
  visitors=1 pages=1,20 statuscodes=1 browserfamilies=1,15 robots=1,10
)

tmp=$(mktemp report.html.XXXXXX)
trap 'rm -f "$tmp"' EXIT
build/loglantern "${request[@]}" >"$tmp"
chmod 644 "$tmp"
mv "$tmp" report.html
trap - EXIT
echo "The report is in $(pwd)/report.html"
