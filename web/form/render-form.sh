#!/bin/sh
# Writes the report request form from its template, with the date fields set
# to a range of days ending on a given day (today by default). The form has no
# script, so its default dates are fixed when the page is written: install
# runs this once, and a site can run it daily (for example from cron) to keep
# "the last 30 days" current.
#
# Usage: render-form.sh TEMPLATE OUTPUT [--cgi-url URL] [--version TEXT]
#                       [--end YYYY-MM-DD] [--days N]
# The output is written to a temporary name beside it and renamed, so a web
# server never sends a half-written page.
set -eu

usage() {
  echo "usage: render-form.sh TEMPLATE OUTPUT [--cgi-url URL] [--version TEXT] [--end YYYY-MM-DD] [--days N]" >&2
  exit 2
}

[ $# -ge 2 ] || usage
template=$1
output=$2
shift 2
cgi_url=/cgi-bin/loglantern
version=
end=today
days=30
while [ $# -gt 0 ]; do
  [ $# -ge 2 ] || usage
  case "$1" in
    --cgi-url) cgi_url=$2 ;;
    --version) version=$2 ;;
    --end) end=$2 ;;
    --days) days=$2 ;;
    *) usage ;;
  esac
  shift 2
done
case "$days" in
  ''|*[!0-9]*|0) echo "render-form.sh: --days needs a positive number" >&2; exit 2 ;;
esac

# GNU date does the calendar arithmetic; noon keeps a daylight-saving change
# from moving the first day.
end_day=$(date -d "$end 12:00" +%Y-%m-%d) || { echo "render-form.sh: bad --end date '$end'" >&2; exit 2; }
start_day=$(date -d "$end_day 12:00 $((days - 1)) days ago" +%Y-%m-%d)

tmp="$output.tmp.$$"
trap 'rm -f "$tmp"' EXIT
awk -v start="$start_day" -v end="$end_day" -v cgi="$cgi_url" -v version="$version" -v days="$days" '
  function months(selected,   i, out) {
    split("January February March April May June July August September October November December", mname, " ")
    out = ""
    for (i = 1; i <= 12; i++)
      out = out sprintf("<option value=\"%02d\"%s>%s</option>\n", i, (i == selected ? " selected" : ""), mname[i])
    return out
  }
  function mdays(selected,   i, out) {
    out = ""
    for (i = 1; i <= 31; i++)
      out = out sprintf("<option value=\"%02d\"%s>%d</option>\n", i, (i == selected ? " selected" : ""), i)
    return out
  }
  # Replaces every @NAME@ by its value; values hold no "@" and no "&".
  function fill(line, key, text) {
    gsub("@" key "@", text, line)
    return line
  }
  BEGIN {
    split(start, s, "-"); split(end, e, "-")
    value["START_MONTH_OPTIONS"] = months(s[2] + 0)
    value["START_DAY_OPTIONS"] = mdays(s[3] + 0)
    value["START_YEAR"] = s[1]
    value["END_MONTH_OPTIONS"] = months(e[2] + 0)
    value["END_DAY_OPTIONS"] = mdays(e[3] + 0)
    value["END_YEAR"] = e[1]
    value["CGI_URL"] = cgi
    value["VERSION"] = version
    value["DAYS"] = days
  }
  {
    line = $0
    if (index(line, "@") > 0)
      for (key in value) line = fill(line, key, value[key])
    print line
  }
' "$template" > "$tmp"
chmod 644 "$tmp"
mv "$tmp" "$output"
trap - EXIT
