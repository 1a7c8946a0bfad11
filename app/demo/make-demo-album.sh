#!/usr/bin/env bash
# Makes the sample album that `kestrabel --demo` plays: three short MP3 tracks (MPEG-1, 32 kHz mono) of synthesised
# plucked chords with ID3v2.3 tags and a drawn front cover. Needs ffmpeg (with libmp3lame) and
# ImageMagick. Run it from anywhere; it writes next to itself.
set -euo pipefail
cd "$(dirname "$0")"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The cover: a dusk sky, a hovering kestrel and three tag lines.
convert -size 300x300 gradient:'#f0a33a'-'#b8442a' \
  -fill '#2b1d14' -draw 'polygon 40,170 100,118 150,140 200,118 260,170 200,152 150,166 100,152' \
  -draw 'polygon 140,140 150,116 160,140' \
  -fill '#2b1d14' -draw 'roundrectangle 70,205 230,215 5,5' \
  -draw 'roundrectangle 95,228 205,238 5,5' -draw 'roundrectangle 120,251 180,261 5,5' \
  -strip -quality 82 "$work/cover.jpg"

# title, three chord frequencies (Hz), track number
tracks=(
  "Hovering|220.00|277.18|329.63|1"
  "Stoop|196.00|246.94|293.66|2"
  "Thermal|174.61|220.00|261.63|3"
)
for entry in "${tracks[@]}"; do
  IFS='|' read -r title f1 f2 f3 number <<<"$entry"
  pluck="0.30*sin(2*PI*${f1}*t)*exp(-4*mod(t\,0.75))+0.22*sin(2*PI*${f2}*t)*exp(-4*mod(t+0.5\,0.75))+0.20*sin(2*PI*${f3}*t)*exp(-4*mod(t+0.25\,0.75))"
  file=$(printf '%02d %s.mp3' "$number" "$title")
  ffmpeg -nostdin -hide_banner -loglevel error -y \
    -f lavfi -i "aevalsrc=${pluck}:s=32000:d=12" -i "$work/cover.jpg" \
    -map 0:a -map 1:v -c:a libmp3lame -b:a 32k -ac 1 -c:v copy -id3v2_version 3 -write_xing 0 \
    -metadata title="$title" -metadata artist="The Kestrabel Ensemble" -metadata album="Demo Flight" \
    -metadata genre="Ambient" -metadata track="$number/3" -metadata date="2024" \
    -metadata:s:v title="Album cover" -metadata:s:v comment="Cover (front)" -disposition:v attached_pic \
    "$file"
done
ls -l ./*.mp3
