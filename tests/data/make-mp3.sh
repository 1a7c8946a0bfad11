#!/usr/bin/env bash
# Regenerates the MP3 fixtures and those of the data-safety cases (README.md describes each):
# sox and lame make the audio, mutagen and ffmpeg the tags; what neither writes is built byte by
# byte below, and every such file that should parse is read back through mutagen first.
set -euo pipefail
cd "$(dirname "$0")"

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

sox -R -n -r 8000 -c 1 -b 16 "$scratch/tone8k.wav" synth 0.4 sine 440
sox -R -n -r 32000 -c 2 -b 16 "$scratch/tone32k.wav" synth 0.3 sine 440 sine 660
sox -R -n -r 32000 -c 1 -b 16 "$scratch/noise32k.wav" synth 0.5 pinknoise vol 0.3
sox -R -n -r 32000 -c 2 -b 16 "$scratch/noise32k2.wav" synth 0.3 pinknoise vol 0.3
sox -R -n -r 22050 -c 2 -b 16 "$scratch/noise22k.wav" synth 0.5 pinknoise vol 0.3

lame --quiet -b 8 -m m "$scratch/tone8k.wav" no-tags.mp3
lame --quiet -b 32 --resample 32 -m s "$scratch/tone32k.wav" mpeg1-cbr-stereo.mp3
lame --quiet -V 9 --resample 32 -m m "$scratch/noise32k.wav" vbr-xing-mono.mp3
lame --quiet -V 9 --resample 32 "$scratch/noise32k2.wav" vbr-xing-stereo.mp3
lame --quiet -V 9 "$scratch/noise22k.wav" vbr-xing-mpeg2.mp3

ffmpeg -nostdin -v error -y -f lavfi -i "testsrc=size=16x16:rate=1" -frames:v 1 -q:v 10 -fflags +bitexact mp3-cover.jpg

# ffmpeg's ID3v1 writer looks the values up by ID3v2 frame names, which it makes even without v2.
ffmpeg -nostdin -v error -y -i no-tags.mp3 -c copy -write_xing 0 \
  -metadata TIT2="V1 Title" -metadata TPE1="V1 Artist" -metadata TALB="V1 Album" \
  -metadata TDRC=1999 -metadata comment="V1 comment" -metadata TRCK=7 -metadata TCON=Jazz \
  -write_id3v1 1 -id3v2_version 0 id3v1-only.mp3

/usr/bin/python3 - <<'PYTHON'
import re, struct, zlib
from mutagen.id3 import (ID3, TIT2, TPE1, TPE2, TALB, TCOM, TENC, TSOP, TIT1, TIT3, TPUB, TSRC,
                         TDRC, TRCK, TPOS, TBPM, TCMP, TCON, COMM, USLT, APIC, TIPL)

audio = open("no-tags.mp3", "rb").read()
PNG = bytes.fromhex("89504e470d0a1a0a") + bytes(range(256)) * 2
JPEG = bytes.fromhex("ffd8ffe0") + b"JFIF" + bytes(range(255, -1, -1)) + bytes.fromhex("ffd9")

synchsafe = lambda n: bytes([(n >> 21) & 0x7F, (n >> 14) & 0x7F, (n >> 7) & 0x7F, n & 0x7F])
frame23 = lambda fid, body, flags=0: fid.encode() + struct.pack(">IH", len(body), flags) + body
frame24 = lambda fid, body, plain=False: fid.encode() + (struct.pack(">I", len(body)) if plain else synchsafe(len(body))) + b"\0\0" + body
frame22 = lambda fid, body: fid.encode() + struct.pack(">I", len(body))[1:] + body

def tag(major, frames, flags=0, padding=0, size=None):
    body = b"".join(frames) + b"\0" * padding
    return b"ID3" + bytes([major, 0, flags]) + (size if size is not None else synchsafe(len(body))) + body

unsynchronise = lambda data: re.sub(rb"\xff(?=[\x00\xe0-\xff]|\Z)", b"\xff\x00", data)

def v1(title=b"", artist=b"", album=b"", year=b"", comment=b"", track=None, genre=255, raw_comment=None):
    field = lambda text, n: text[:n].ljust(n, b"\0")
    tail = field(raw_comment, 30) if raw_comment is not None else field(comment, 28) + bytes([0, track or 0])
    return b"TAG" + field(title, 30) + field(artist, 30) + field(album, 30) + field(year, 4) + tail + bytes([genre])

def write(name, data, check=True):
    open(name, "wb").write(data)
    if check:
        ID3(name)  # every file that should parse must parse for mutagen too

def full(path, version):
    open(path, "wb").write(audio)
    t = ID3()
    for frame, encoding, text in [
            (TIT2, 0, "Full Title"), (TPE1, 1, "Ärtist ☃"), (TPE2, 0, "Band"), (TALB, 3 if version == 4 else 1, "Albüm"),
            (TCOM, 0, "Composer"), (TENC, 0, "Encoder"), (TSOP, 0, "Sort Artist"), (TIT1, 0, "Grouping"),
            (TIT3, 0, "Description"), (TPUB, 0, "Publisher"), (TSRC, 0, "USABC0000001"), (TDRC, 0, "1999"),
            (TRCK, 0, "3/12"), (TPOS, 0, "1/2"), (TBPM, 0, "120"), (TCMP, 0, "1"), (TCON, 0, "(17)" if version == 3 else "Chillout")]:
        t.add(frame(encoding=encoding, text=text))
    t.add(COMM(encoding=1, lang="eng", desc="", text="Comment ☃"))
    t.add(USLT(encoding=0, lang="eng", desc="", text="line one\r\nline two"))
    t.add(APIC(encoding=0, mime="image/png", type=3, desc="front", data=PNG))
    t.add(APIC(encoding=0, mime="image/jpeg", type=4, desc="", data=JPEG))
    t.add(TIPL(encoding=0, people=[["producer", "Pat"], ["mix", "Max"]]))
    t.save(path, v2_version=version, padding=lambda info: 100)

full("id3v23-full.mp3", 3)
full("id3v24-full.mp3", 4)

write("id3v1-and-v2.mp3", tag(3, [frame23("TIT2", b"\0V2 Title")], padding=20) + audio +
      v1(b"V1 Title", b"V1 Artist", b"V1 Album", b"2004", b"V1 comment", track=7, genre=17))

write("id3v10-long-comment.mp3", audio + v1(b"Thirty", b"Artist", year=b" 1987",
      raw_comment=b"abcdefghijklmnopqrstuvwxyz1234", genre=200), check=False)

pic22 = b"\0JPG" + bytes([3]) + b"cover\0" + JPEG
write("id3v22.mp3", tag(2, [
    frame22("TT2", b"\0Two Two"), frame22("TP1", b"\0Artist 22"), frame22("TAL", b"\0Album 22"),
    frame22("TRK", b"\x005/9"), frame22("TYE", b"\x001982"), frame22("TCO", b"\0(8)"),
    frame22("COM", b"\0eng\0Comment 22"), frame22("TRC", b"\0ISRC22"),
    frame22("ULT", b"\0eng\0words"), frame22("PIC", pic22), frame22("XYZ", b"\x01\x02\x03"),
], padding=30) + audio)

write("id3v23-ext-header.mp3", tag(3, [struct.pack(">IHI", 6, 0, 0), frame23("TIT2", b"\0Extended"),
      frame23("XTST", b"\x00\x01\xfe\xff unknown")], flags=0x40, padding=10) + audio)

tricky = bytes([0xFF, 0xE0, 0x11, 0xFF, 0x00, 0x22, 0xFF, 0xFB, 0xFF])
frames = frame23("TIT2", b"\0Unsync") + frame23("APIC", b"\0image/jpeg\0\3\0" + tricky)
body = unsynchronise(frames) + b"\0" * 10
write("id3v23-unsync.mp3", b"ID3\3\0\x80" + synchsafe(len(body)) + body + audio)

comm = b"\0eng\0" + b"compressed comment " * 8
packed = struct.pack(">I", len(comm)) + zlib.compress(comm)
write("id3v23-compressed.mp3", tag(3, [frame23("TIT2", b"\0Compressed"), frame23("COMM", packed, 0x0080)],
      padding=10) + audio)

write("id3v24-plain-sizes.mp3", tag(4, [frame24("TIT2", b"\3Plain Sizes", plain=True),
      frame24("COMM", b"\0eng\0" + b"x" * 295, plain=True), frame24("TALB", b"\3After", plain=True)],
      padding=10) + audio, check=False)

frames = frame23("TIT2", b"\0Top Bit") + frame23("TXXX", b"\0k\0" + b"v" * 110)
write("tag-size-top-bit.mp3", b"ID3\3\0\0" + struct.pack(">I", 144) + frames.ljust(144, b"\0") + audio, check=False)

# Damaged files, each named after its fault.
write("only-id3.mp3", b"ID3", check=False)
write("truncated-tag.mp3", (tag(3, [frame23("TIT2", b"\0Cut")], size=synchsafe(4000)) + audio)[:300], check=False)
write("frame-past-tag.mp3", tag(3, [frame23("TIT2", b"\0Big")[:4] + struct.pack(">I", 5000) + b"\0\0\0Big"],
      padding=10) + audio, check=False)
write("compressed-4gb.mp3", tag(3, [frame23("COMM", struct.pack(">I", 0xFFFFFFFF) + zlib.compress(b"small"), 0x0080)], padding=10) + audio, check=False)
write("apic-mime-unterminated.mp3", tag(3, [frame23("APIC", b"\0image/jpeg")], padding=10) + audio, check=False)
write("id3v25.mp3", tag(5, [frame23("TIT2", b"\0Five")]) + audio, check=False)

write("id3v24-extended-header.mp3", tag(4, [synchsafe(6) + b"\x01\x00", frame24("TIT2", b"\3Extended Title"), frame24("TALB", b"\3Kept Album"),
      frame24("TPE1", b"\3Kept Artist")], flags=0x40, padding=16) + audio)
assert str(ID3("id3v24-extended-header.mp3")["TALB"]) == "Kept Album"
comm = b"\0eng\0" + b"a comment that zlib squeezes " * 4
damaged = zlib.compress(comm)[:12] + b"\xff" * 12
write("comm-zlib-damaged.mp3", tag(3, [frame23("TIT2", b"\0Before Damage"), frame23("COMM", struct.pack(">I", len(comm)) + damaged, 0x0080),
      frame23("TALB", b"\0After Damage")], padding=16) + audio, check=False)
open("two-comm-two-apic.mp3", "wb").write(audio)
t = ID3()
cover = open("mp3-cover.jpg", "rb").read()
for frame in [TIT2(encoding=3, text="Two Of Each"), COMM(encoding=3, lang="eng", desc="", text="first comment"),
              COMM(encoding=3, lang="eng", desc="second", text="second comment"),
              APIC(encoding=0, mime="image/jpeg", type=3, desc="front", data=cover), APIC(encoding=0, mime="image/jpeg", type=4, desc="back", data=cover)]:
    t.add(frame)
t.save("two-comm-two-apic.mp3", v2_version=3)
PYTHON
