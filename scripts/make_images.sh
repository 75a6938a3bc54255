#!/usr/bin/env bash
# Draws the images that the report, the error pages and the form show:
#   images/ll14-reg.gif     the logo in the report header (278x75)
#   images/red2x5.gif       bar of the charts, weekdays and hours (2x5)
#   images/blue2x5.gif      bar of the charts, weekend days (2x5)
#   errors/<n>.gif          banner of error page n, n = 1..11 (283x84)
# The pictures are drawn from shapes and text only, so the same ImageMagick
# and fonts give the same files. The results are kept in the repository under
# web/site/Loglantern; run this again after changing a drawing.
#
# Usage: scripts/make_images.sh [output-folder]
# Needs ImageMagick's convert (Debian: imagemagick) and the DejaVu fonts
# (Debian: fonts-dejavu-core).
set -euo pipefail

root="$(cd "$(dirname "$0")/.." && pwd)"
out="${1:-$root/web/site/Loglantern}"
convert_cmd="${CONVERT:-convert}"
bold=/usr/share/fonts/truetype/dejavu/DejaVuSans-Bold.ttf
plain=/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf

if ! "$convert_cmd" -version 2>/dev/null | grep -q ImageMagick; then
  echo "make_images: ImageMagick's convert is needed (apt-get install imagemagick)" >&2
  exit 1
fi
for font in "$bold" "$plain"; do
  [ -r "$font" ] || { echo "make_images: missing font $font (apt-get install fonts-dejavu-core)" >&2; exit 1; }
done
mkdir -p "$out/images" "$out/errors"

navy_top='#24395e'
navy_bottom='#0f1a2c'
brass='#c98a1c'
flame='#ffd866'
glow='#fff4c2'
gold_text='#f2c66b'

# The lantern drawn at horizontal offset $1 and vertical offset $2: a ring,
# a cap, a lit glass with two frame bars, and a foot. Prints -draw options.
lantern() {
  local x=$1 y=$2
  printf '%s\n' \
    -fill none -stroke '#f2b233' -strokewidth 3 \
    -draw "arc $((x + 4)),$((y + 3)) $((x + 30)),$((y + 23)) 180,360" \
    -stroke none -fill "$brass" \
    -draw "polygon $((x + 1)),$((y + 16)) $((x + 33)),$((y + 16)) $((x + 28)),$((y + 22)) $((x + 6)),$((y + 22))" \
    -fill "$flame" -stroke "$brass" -strokewidth 2 \
    -draw "roundrectangle $((x + 5)),$((y + 22)) $((x + 29)),$((y + 57)) 5,5" \
    -stroke none -fill "$glow" -draw "ellipse $((x + 17)),$((y + 40)) 6,10 0,360" \
    -stroke "$brass" -strokewidth 1 \
    -draw "line $((x + 10)),$((y + 24)) $((x + 10)),$((y + 55))" \
    -draw "line $((x + 24)),$((y + 24)) $((x + 24)),$((y + 55))" \
    -stroke none -fill "$brass" \
    -draw "polygon $((x + 3)),$((y + 57)) $((x + 31)),$((y + 57)) $((x + 34)),$((y + 64)) $((x + 0)),$((y + 64))"
}

# GIF options shared by every picture: a fixed palette size without
# dithering, and no comments or dates in the file.
finish=(+dither -colors 64 -strip)

make_logo() {
  local -a draw
  mapfile -t draw < <(lantern 15 0)
  "$convert_cmd" -size 278x75 "gradient:$navy_top-$navy_bottom" "${draw[@]}" \
    -font "$bold" -pointsize 31 -fill white -annotate +62+41 'Loglantern' \
    -font "$plain" -pointsize 12 -fill "$gold_text" -annotate +64+60 'web access-log analyzer' \
    "${finish[@]}" "$out/images/ll14-reg.gif"
}

# A bar segment 2 pixels wide and 5 high, lighter at the top so that a row
# of stretched bars reads as a rounded rod. $1 = name, $2 light, $3 dark.
make_bar() {
  "$convert_cmd" -size 2x5 "gradient:$2-$3" "${finish[@]}" "$out/images/$1"
}

# Short names of the error numbers, shown under "Error #n".
error_caption() {
  case "$1" in
    1) echo 'No form data posted' ;;
    2) echo 'Account name or password' ;;
    4) echo 'Account has no URL' ;;
    5) echo 'Account has no logs' ;;
    6) echo 'No start date' ;;
    7) echo 'Invalid date range' ;;
    8) echo 'No end date' ;;
    9) echo 'Configuration file missing' ;;
    10) echo 'Passwords file missing' ;;
    11) echo 'No log files found' ;;
    *) echo 'Request not completed' ;;
  esac
}

make_error() {
  local n=$1
  local -a draw
  mapfile -t draw < <(lantern 14 8)
  "$convert_cmd" -size 283x84 "gradient:$navy_top-$navy_bottom" "${draw[@]}" \
    -fill '#d84a3a' -draw 'rectangle 0,80 282,83' \
    -font "$bold" -pointsize 14 -fill "$gold_text" -annotate +62+24 'Loglantern' \
    -font "$bold" -pointsize 26 -fill white -annotate +62+53 "Error #$n" \
    -font "$plain" -pointsize 12 -fill "$gold_text" -annotate +63+71 "$(error_caption "$n")" \
    "${finish[@]}" "$out/errors/$n.gif"
}

make_logo
make_bar red2x5.gif '#ff7a6b' '#b0180c'
make_bar blue2x5.gif '#7ab8ff' '#1446a0'
for n in $(seq 1 11); do
  make_error "$n"
done
echo "make_images: wrote $out/images and $out/errors"
