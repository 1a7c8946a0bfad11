#!/usr/bin/env bash
# Regenerates tests/data/interop: files as today's taggers and encoders write them, each holding
# one thing a classic rule loses, corrupts or hides; runs after make-vorbis-interop.sh.
set -euo pipefail
cd "$(dirname "$0")"
mkdir -p interop
cd interop
python=/usr/bin/python3
ff() { ffmpeg -nostdin -hide_banner -loglevel error -y "$@"; }
tone=(-f lavfi -i "sine=frequency=440:sample_rate=8000:duration=0.3" -ac 1 -fflags +bitexact -flags:a +bitexact)

# Not bit-exact, so that the muxer writes its TSSE "Lavf..." frame as it does for every user.
ff -f lavfi -i "sine=frequency=440:sample_rate=8000:duration=0.3" -ac 1 -c:a libmp3lame -b:a 8k \
   -metadata title="Encoded by ffmpeg" ffmpeg-tsse.mp3
ff -i ffmpeg-tsse.mp3 -map_metadata -1 -c copy -write_xing 0 -id3v2_version 0 -fflags +bitexact scratch.mp3
ff -f lavfi -i "testsrc=size=16x16:rate=1" -frames:v 1 -q:v 10 -fflags +bitexact scratch.jpg
ff -f lavfi -i "testsrc=size=8x8:rate=1" -frames:v 1 -fflags +bitexact scratch.png
for kind in wav aiff; do sox -R -n -r 8000 -c 1 -b 16 scratch.$kind synth 0.05 sine 440; done
cp scratch.wav stray-bytes.wav
printf 'xyz' >> stray-bytes.wav

ff "${tone[@]}" -c:a aac -b:a 12k -metadata title="Fragments" -metadata artist="Kestrabel" \
   -movflags +frag_keyframe+empty_moov -frag_duration 100000 fragmented.m4a
ff "${tone[@]}" -c:a aac -b:a 12k -metadata title="Large mdat" mdat-64bit.m4a
ff "${tone[@]}" -c:a aac -b:a 12k -metadata title="Two" two-artists.m4a
cp two-artists.m4a two-covers.m4a

"$python" - <<'PY'
import shutil, struct
from mutagen.id3 import ID3, TIT2, TPE1, TALB, COMM, APIC, TCON, TDRC, TCMP, TSOP
from mutagen.aiff import AIFF
from mutagen.mp4 import MP4, MP4Cover

JPEG, PNG = open("scratch.jpg", "rb").read(), open("scratch.png", "rb").read()  # far more than 127 bytes

def mp3(name, frames, version=4):
    shutil.copy("scratch.mp3", name)
    tag = ID3()
    for frame in frames:
        tag.add(frame)
    tag.save(name, v2_version=version)

mp3("v24-cover-sizes.mp3", [TIT2(encoding=3, text="Short"), APIC(encoding=0, mime="image/jpeg", type=3, desc="", data=JPEG),
                            TPE1(encoding=3, text="Artist"), TALB(encoding=3, text="Album"),
                            COMM(encoding=3, lang="eng", desc="", text="A comment")])
mp3("v24-bare-genre.mp3", [TIT2(encoding=3, text="Genre by number"), TCON(encoding=3, text="13")])
mp3("itunes-comments.mp3", [TIT2(encoding=3, text="iTunes"), COMM(encoding=0, lang="eng", desc="iTunNORM", text=" 0000044E 00000000"),
                            COMM(encoding=0, lang="eng", desc="", text="The real comment")], version=3)

# mutagen sorts the comment first; iTunes writes its iTunNORM record before it.
data = open("itunes-comments.mp3", "rb").read()
size = data[6] << 21 | data[7] << 14 | data[8] << 7 | data[9]
frames, at = [], 10
while at + 10 <= 10 + size and data[at] != 0:
    length = struct.unpack(">I", data[at + 4:at + 8])[0]
    frames.append(data[at:at + 10 + length])
    at += 10 + length
frames.sort(key=lambda f: b"iTunNORM" not in f)
open("itunes-comments.mp3", "wb").write(data[:10] + b"".join(frames) + data[at:])

# mutagen writes no extended header: one of 6 bytes goes in front of its frames.
mp3("v24-ext-header.mp3", [TIT2(encoding=3, text="Behind an extended header"), TPE1(encoding=3, text="Artist")])
data = open("v24-ext-header.mp3", "rb").read()
synchsafe = lambda n: bytes([(n >> 21) & 0x7F, (n >> 14) & 0x7F, (n >> 7) & 0x7F, n & 0x7F])
size = data[6] << 21 | data[7] << 14 | data[8] << 7 | data[9]
body = synchsafe(6) + b"\x01\x00" + data[10:10 + size]
open("v24-ext-header.mp3", "wb").write(b"ID3\x04\x00\x40" + synchsafe(len(body)) + body + data[10 + size:])

shutil.copy("scratch.aiff", "aiff-v24-year.aiff")
aiff = AIFF("aiff-v24-year.aiff")
aiff.add_tags()
for frame in (TIT2(encoding=3, text="Year kept"), TDRC(encoding=3, text="2021"), TCMP(encoding=3, text="1"),
              TSOP(encoding=3, text="Sort Artist")):
    aiff.tags.add(frame)
aiff.save()

for name, key, values in [("two-artists.m4a", "\xa9ART", ["First", "Second"]),
                          ("two-covers.m4a", "covr", [MP4Cover(JPEG, MP4Cover.FORMAT_JPEG), MP4Cover(PNG, MP4Cover.FORMAT_PNG)])]:
    m = MP4(name)
    m[key] = values
    m.save()

# ffmpeg turns its free atom and mdat into one 64-bit mdat header once mdat passes 4 GiB.
b = bytearray(open("mdat-64bit.m4a", "rb").read())
at = b.index(b"free") - 4
assert struct.unpack(">I", b[at:at + 4])[0] == 8 and b[at + 12:at + 16] == b"mdat"
mdat = struct.unpack(">I", b[at + 8:at + 12])[0]
b[at:at + 16] = struct.pack(">I4sQ", 1, b"mdat", mdat + 8)
open("mdat-64bit.m4a", "wb").write(bytes(b))

b = bytearray(open("fragmented.m4a", "rb").read())
at = b.index(b"tfhd") - 4
b[at:at + 4] = struct.pack(">I", 0x7000)
open("fragment-bad-tfhd.m4a", "wb").write(bytes(b))
PY
sox -R -n -r 48000 -c 1 -b 16 scratch-opus.wav synth 0.2 sine 440
opusenc --quiet --serial 5160 --bitrate 12 --title "Opus Cover" --artist "Kestrabel" \
  --picture "3||front||../interop-front.jpg" scratch-opus.wav opus-cover.opus

rm -f scratch.mp3 scratch.wav scratch.aiff scratch.jpg scratch.png scratch-opus.wav
du -sh . | awk '{print "interop fixtures: " $1}'
