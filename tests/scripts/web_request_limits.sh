#!/usr/bin/env bash
# The real servers of scripts/serve.sh, one layer at a time: both refuse a 70 kB
# body; without that limit the program takes such a body for none, and a 60 kB
# one naming /dev/stdin as the configuration gets no report either; the
# program's header lines arrive unchanged; the files beside it stay hidden; and
# POST ?username%3Dsample gives one error page through both (Apache hands a
# query without '=' to the program as argument words).
set -euo pipefail
what="web request limits"
. "$(dirname "$0")/lib/site.sh"
need lighttpd apache2 curl
start_site lighttpd site
start_site apache apache
base="$(cat "$work/site.ready")"
. "$work/site/${datadir:-share}/loglantern/site.env"
cgi="$LOGLANTERN_CGI_URL"

# The lighttpd site without the size limit, on a third port.
port2=$((20000 + RANDOM % 40000))
sed -e '/^server.max-request-size/d' -e "s/^server.port = .*/server.port = $port2/" \
  "$work/site/server/lighttpd.conf" >"$work/unlimited.conf"
"$(command -v lighttpd || echo /usr/sbin/lighttpd)" -D -f "$work/unlimited.conf" >>"$work/site/server/error.log" 2>&1 &
pids+=($!)
for _ in $(seq 100); do curl -s -o /dev/null "http://127.0.0.1:$port2/" && break; sleep 0.1; done

# An account that the body itself would define, over a planted log.
mkdir -p "$work/planted"
echo '192.0.2.1 - - [01/Jan/2000:10:00:00 +0000] "GET /secret.html HTTP/1.0" 200 10' >"$work/planted/a.log"
post() {  # server, body size, expected status: a body of that size naming /dev/stdin
  local form="config=%2Fdev%2Fstdin&username=x&date=01012000%2C01022000&pad="
  local account=$'\nuser=x;password=*;url=http://h;logs='"$work/planted"$'/*.log\n'
  head -c "$(($2 - ${#form} - ${#account}))" /dev/zero | tr '\0' 'a' |
    { printf '%s' "$form"; cat; printf '%s' "$account"; } >"$work/body"
  code="$(curl -s --max-time 60 -o "$work/page" -w '%{http_code}' --data-binary @"$work/body" \
    -H 'Content-Type: application/x-www-form-urlencoded' "$1$cgi")"
  [ "$code" = "$3" ] || fail "$2 bytes to $1: status $code"
  [ "$3" = 413 ] || grep -q 'Loglantern Error #' "$work/page" || fail "$2 bytes to $1: no error page"
  ! grep -q 'secret.html\|URL Analyzed' "$work/page" || fail "$2 bytes to $1: a report from the body's account"
}
post "$base" 70000 413
post "$(cat "$work/apache.ready")" 70000 413
post "http://127.0.0.1:$port2" 70000 200
post "$base" 60000 200

curl -s --max-time 60 -D "$work/headers" -o /dev/null "$base$cgi?about"
for line in "Content-type: text/html" \
  "Content-Security-Policy: default-src 'none'; img-src 'self'; style-src 'self'; form-action 'self'; base-uri 'self'; frame-ancestors 'none'; sandbox allow-forms allow-same-origin allow-popups allow-popups-to-escape-sandbox" \
  "X-Content-Type-Options: nosniff" "Referrer-Policy: no-referrer"; do
  [ "$(tr -d '\r' <"$work/headers" | grep -cixF "$line")" = 1 ] || fail "header not once as sent: $line"
done

for server in site apache; do
  b="$(cat "$work/$server.ready")"
  for f in ll14-reg red2x5 blue2x5; do
    [ "$(curl -s -o /dev/null -w '%{http_code} %{content_type}' "$b/loglantern/$f.gif")" = "200 image/gif" ] || fail "$b: no $f.gif"
  done
  for f in loglantern.conf{,.sample}; do [ "$(curl -s -o /dev/null -w '%{http_code}' "$b/cgi-bin/$f")" = 403 ] || fail "$b: $f shown"; done
  curl -s --max-time 60 --data-binary "" -o "$work/$server.page" "$b$cgi?username%3Dsample"
  grep -q 'Loglantern Error #2' "$work/$server.page" || fail "$server: no error 2 page"
done
diff "$work/site.page" "$work/apache.page" >&2 || fail "lighttpd and Apache gave different pages"
# The manual has the help that each error page links to, and no script.
curl -s --max-time 60 -o "$work/errors.html" "$base/Loglantern/manual/errors.html"
[ "$(grep -o 'id="error[0-9]*"' "$work/errors.html" | sort -u | wc -l)" = 11 ] || fail "the manual lacks an error's help"
! grep -qi '<script' "$work/errors.html" || fail "the manual holds a script"
echo "web request limits: all layers hold, and both servers give the same page"
