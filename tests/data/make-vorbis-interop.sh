#!/usr/bin/env bash
# The Ogg Vorbis and FLAC files of the interop rows, as today's tools write them; runs after
# make-vorbis.sh, whose FLAC files and escn-cover.jpg it starts from.
set -euo pipefail
cd "$(dirname "$0")"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

sox -R -n -r 8000 -c 1 -b 16 "$tmp/tone.wav" synth 0.2 sine 440
ffmpeg -v error -y -f lavfi -i color=c=0x2288aa:s=8x8 -frames:v 1 -fflags +bitexact interop-front.jpg
ffmpeg -v error -y -f lavfi -i color=c=0xaa8822:s=8x4 -frames:v 1 -fflags +bitexact interop-back.png

# vorbiscomment keeps the order it is given: ALBUMARTIST before ALBUM.
oggenc -Q -q 0 --serial 301 -o interop-albumartist.ogg "$tmp/tone.wav"
vorbiscomment -w -t "TITLE=Album Artist Row" -t "ALBUMARTIST=Various Artists" -t "ALBUM=Sampler" \
  -t "GENRE=Jazz" -t "GENRE=Blues" interop-albumartist.ogg

oggenc -Q -q 0 --serial 302 -o interop-names.ogg "$tmp/tone.wav"
/usr/bin/python3 - <<'PY'
from mutagen.oggvorbis import OggVorbis
f = OggVorbis('interop-names.ogg')
for key, value in [('title', 'Common Names'), ('tracknumber', '3'), ('totaltracks', '12'), ('discnumber', '2'), ('disctotal', '3'), ('date', '2019-04-02')]:
    f[key] = value
f.save()
PY

# mutagen's Picard recipe for METADATA_BLOCK_PICTURE comments.
oggenc -Q -q 0 --serial 303 -o interop-pictures.ogg -c "TITLE=Two Pictures" "$tmp/tone.wav"
oggenc -Q -q 0 --serial 304 -o interop-no-picture.ogg -c "TITLE=No Picture" "$tmp/tone.wav"
/usr/bin/python3 - <<'PY'
import base64
from mutagen.flac import Picture
from mutagen.oggvorbis import OggVorbis
f = OggVorbis('interop-pictures.ogg')
pictures = []
for kind, mime, name in ((3, 'image/jpeg', 'interop-front.jpg'), (4, 'image/png', 'interop-back.png')):
    p = Picture()
    p.type, p.mime, p.desc, p.data = kind, mime, name, open(name, 'rb').read()
    pictures.append(base64.b64encode(p.write()).decode('ascii'))
f['metadata_block_picture'] = pictures
f.save()
PY

flac -s -f --padding=1024 -o interop-names.flac -T "TITLE=Common Names" -T "ALBUMARTIST=Various Artists" \
  -T "ALBUM=Sampler" -T "TRACKNUMBER=3" -T "TRACKTOTAL=12" -T "DISCNUMBER=2" -T "DISCTOTAL=3" \
  -T "DATE=2020" "$tmp/tone.wav"

flac -s -f --padding=1024 -o interop-pictures.flac -T "TITLE=Two Pictures" "$tmp/tone.wav"
metaflac --import-picture-from="4|image/png|back||interop-back.png" \
  --import-picture-from="3|image/jpeg|front||interop-front.jpg" interop-pictures.flac

flac -s -f --padding=1024 -o interop-no-picture.flac -T "TITLE=No Picture" "$tmp/tone.wav"

cp flac-escn-picture.flac interop-escn-and-picture.flac
metaflac --import-picture-from="3|image/jpeg|front||escn-cover.jpg" interop-escn-and-picture.flac

# Comment blocks made byte by byte: two of them; one whose second entry runs past its end; one
# with an entry without "=", as found in the wild (flac-entry-without-equals.flac).
/usr/bin/python3 - <<'PY'
import struct
counted = lambda text: struct.pack('<I', len(text)) + text
comment_block = lambda entries: counted(b'hand made') + struct.pack('<I', len(entries)) + b''.join(map(counted, entries))
block = lambda kind, body: bytes([kind]) + len(body).to_bytes(3, 'big') + body
data = open('flac-no-tags.flac', 'rb').read()
assert data[:4] == b'fLaC' and data[4] & 0x7F == 0
first = block(4, comment_block([b'TITLE=First Block', b'ARTIST=First Artist']))
second = block(4, comment_block([b'TITLE=Second Block', b'ALBUM=Second Album']))
open('interop-two-comment-blocks.flac', 'wb').write(data[:42] + first + second + data[42:])
body = bytearray(comment_block([b'TITLE=Readable', b'ARTIST=Cut Short', b'ALBUM=Never Read']))
at = 4 + len(b'hand made') + 4 + 4 + len(b'TITLE=Readable')
body[at:at + 4] = struct.pack('<I', 500)
open('interop-comment-past-block.flac', 'wb').write(data[:42] + block(4, bytes(body)) + data[42:])
open('flac-entry-without-equals.flac', 'wb').write(data[:42] + block(4, comment_block([b'TITLE', b'ARTIST=Has Equals'])) + data[42:])
PY
