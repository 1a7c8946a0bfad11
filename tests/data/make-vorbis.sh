#!/usr/bin/env bash
# Regenerates the Ogg Vorbis, FLAC, EXIF and QuickTime fixtures (README.md describes each) from
# short, low-rate noise or tones, so that the files stay a few kilobytes each.
set -euo pipefail
cd "$(dirname "$0")"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

sox -R -n -r 11025 -c 1 -b 16 "$tmp/noise.wav" synth 3 pinknoise vol 0.5
sox -R -n -r 8000 -c 1 -b 16 "$tmp/tone.wav" synth 0.3 sine 440
sox -R -n -r 8000 -c 1 -b 16 "$tmp/tone2.wav" synth 0.2 sine 660

oggenc -Q -q 0 --serial 1234 -o vorbis-tagged.ogg \
  -c "TITLE=Nächtliche Fahrt" -c "ARTIST=Kestrel Quartet" -c "ALBUM=Small Hours" \
  -c "GENRE=Jazz" -c "DATE=2019-04-02" -c "YEAR=2019" -c "TRACKNUMBER=3" -c "TRACKTOTAL=12" \
  -c "DISC=1" -c "DISCC=2" -c "COMPILATION=1" -c "BPM=96" -c "COMMENT=recorded live" \
  -c "COMPOSER=A. Composer" -c "ISRC=USRC17607839" -c "COPYRIGHT=2019 Kestrel" \
  -c "PERFORMER=The Quartet" -c "DESCRIPTION=Late set" "$tmp/noise.wav"

oggenc -Q -q 0 --serial 77 -o vorbis-no-comments.ogg "$tmp/tone.wav"
oggenc -Q -q 0 --serial 78 -o vorbis-aliases.ogg -c "TOTALTRACKS=12" -c "DISCNUMBER=2" "$tmp/tone.wav"
oggenc -Q -q 0 --serial 79 -o vorbis-discc-before-disc.ogg -c "DISCC=5" -c "DISC=1" "$tmp/tone.wav"
oggenc -Q -q 0 --serial 101 -o "$tmp/first.ogg" -c "TITLE=First" "$tmp/tone.wav"
oggenc -Q -q 0 --serial 202 -o "$tmp/second.ogg" -c "TITLE=Second" "$tmp/tone2.wav"
cat "$tmp/first.ogg" "$tmp/second.ogg" > vorbis-chained.ogg

# ffmpeg's muxer writes a page every 40 ms.
sox -R -n -r 11025 -c 1 -b 16 "$tmp/noise2.wav" synth 2 pinknoise vol 0.5
ffmpeg -v error -y -i "$tmp/noise2.wav" -c:a libvorbis -q:a 0 -page_duration 40000 -fflags +bitexact -flags:a +bitexact \
  vorbis-small-pages.ogg
ffmpeg -v error -y -i "$tmp/tone.wav" -i "$tmp/tone2.wav" -map 0:a -map 1:a -c:a libvorbis -q:a 0 \
  -fflags +bitexact -flags:a +bitexact -metadata:s:a:0 title="Main" vorbis-multiplexed.ogg
sox -R -n -r 44100 -c 2 -b 16 "$tmp/stereo.wav" synth 0.1 sine 440 sine 660
oggenc -Q --managed -m 128 -b 160 -M 192 --serial 80 -o vorbis-managed-bitrate.ogg "$tmp/stereo.wav"
ffmpeg -v error -y -i "$tmp/tone.wav" -c:a libvorbis -q:a 0 -fflags +bitexact -flags:a +bitexact \
  -metadata title="From ffmpeg" -metadata artist="Encoder Test" vorbis-ffmpeg.ogg
flac -s -f --ogg --serial-number=5 -o ogg-flac-not-vorbis.ogg "$tmp/tone.wav"

head -c 20 vorbis-tagged.ogg > ogg-truncated-first-page.ogg
head -c 1500 vorbis-tagged.ogg > vorbis-truncated-headers.ogg
/usr/bin/python3 - <<'PY'
data, start = bytearray(open('vorbis-tagged.ogg', 'rb').read()), 0
for _ in range(2):  # to the third page
    start += 27 + data[start + 26] + sum(data[start + 27:start + 27 + data[start + 26]])
open('vorbis-headerless.ogg', 'wb').write(data[start:])
data[start + 27 + data[start + 26] + sum(data[start + 27:start + 27 + data[start + 26]]) - 10] ^= 0xFF
open('vorbis-bad-crc-page.ogg', 'wb').write(data)
PY

flac -s -f --padding=512 -o flac-tagged.flac \
  -T "TITLE=Small Hours" -T "ARTIST=Kestrel Quartet" -T "ALBUM=Field Recordings" -T "GENRE=Ambient" \
  -T "TRACKNUMBER=4" -T "TOTALTRACKS=9" -T "DISC=1" -T "DISCC=2" -T "YEAR=2021" -T "BPM=120" \
  -T "COMPILATION=1" -T "COMMENT=ünïcödé comment" -T "DATE=2021-06-01" "$tmp/stereo.wav"
flac -s -f --padding=512 -o flac-no-tags.flac "$tmp/tone.wav"
metaflac --remove --block-type=VORBIS_COMMENT --dont-use-padding flac-no-tags.flac
flac -s -f --no-padding -o flac-no-tags-no-padding.flac "$tmp/tone.wav"
metaflac --remove --block-type=VORBIS_COMMENT,SEEKTABLE --dont-use-padding flac-no-tags-no-padding.flac
flac -s -f --padding=256 -o flac-duplicate-artist.flac \
  -T "ARTIST=First Artist" -T "TITLE=Two Artists" -T "ARTIST=Second Artist" "$tmp/tone.wav"

# The old application-block picture: ID "ESCN", data "PIC1" and the JPEG.
ffmpeg -v error -y -f lavfi -i color=c=0x336699:s=16x16 -frames:v 1 -fflags +bitexact "$tmp/cover.jpg"
flac -s -f --padding=256 -o flac-escn-picture.flac -T "TITLE=With Picture" "$tmp/tone.wav"
/usr/bin/python3 - "$tmp/cover.jpg" <<'PY'
import sys
from mutagen.flac import FLAC, MetadataBlock
class Application(MetadataBlock):
    code = 2
f = FLAC('flac-escn-picture.flac')
f.metadata_blocks.append(Application(b'ESCN' + b'PIC1' + open(sys.argv[1], 'rb').read()))
f.save()
PY
cp "$tmp/cover.jpg" escn-cover.jpg

head -c 120 flac-tagged.flac > flac-truncated-metadata.flac

ffmpeg -v error -y -f lavfi -i color=c=0x884422:s=16x16 -frames:v 1 -fflags +bitexact no-exif.jpg
cp no-exif.jpg exif-camera.jpg
exiftool -q -overwrite_original -Make="Kestrabel Optics" -Model="KB-1 Mark II" \
  -Copyright="(c) 2024 Field Recordist" -DateTimeOriginal="2024:05:06 07:08:09" exif-camera.jpg
cp no-exif.jpg exif-no-original-date.jpg
exiftool -q -overwrite_original -Make="Kestrabel Optics" -Model="KB-2" \
  -ModifyDate="2023:01:02 03:04:05" exif-no-original-date.jpg
ffmpeg -v error -y -f lavfi -i color=c=0x224488:s=16x16:d=0.1:r=10 -c:v mjpeg -fflags +bitexact \
  -f mov quicktime-tiny.mov
head -c 24 quicktime-tiny.mov > quicktime-broken.mov
