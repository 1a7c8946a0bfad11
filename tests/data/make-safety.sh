#!/usr/bin/env bash
# Regenerates the fixtures of the data-safety cases: bash tests/data/make-safety.sh (after
# make-mp3.sh, whose no-tags.mp3 and mp3-cover.jpg it uses).
#
# Two MP3 files whose ID3v2 tag this library cannot read whole; neither mutagen nor ffmpeg writes
# them, so their tags are built byte by byte, and mutagen reads the extended-header file back
# before it is kept. One MP3 with two comments and two pictures, written by mutagen.
# tests/data/README.md describes every file.
set -euo pipefail
cd "$(dirname "$0")"

/usr/bin/python3 - <<'PYTHON'
import struct, zlib
from mutagen.id3 import ID3, COMM, APIC, TIT2

audio = open("no-tags.mp3", "rb").read()

def synchsafe(n):
    return bytes([(n >> 21) & 0x7F, (n >> 14) & 0x7F, (n >> 7) & 0x7F, n & 0x7F])

def tag(major, flags, body):
    return b"ID3" + bytes([major, 0, flags]) + synchsafe(len(body)) + body

def frame24(fid, body):
    return fid.encode() + synchsafe(len(body)) + b"\0\0" + body

def frame23(fid, body, flags=0):
    return fid.encode() + struct.pack(">IH", len(body), flags) + body

# ID3v2.4 with a 6-byte extended header (size, one flag byte, no flags set) before its frames.
ext = synchsafe(6) + b"\x01\x00"
frames = frame24("TIT2", b"\3Extended Title") + frame24("TALB", b"\3Kept Album") + frame24("TPE1", b"\3Kept Artist")
open("id3v24-extended-header.mp3", "wb").write(tag(4, 0x40, ext + frames + b"\0" * 16) + audio)
assert str(ID3("id3v24-extended-header.mp3")["TALB"]) == "Kept Album"

# ID3v2.3 whose compressed COMM (frame flag 0x0080) holds a zlib stream cut short and
# overwritten, between a title and an album that must survive.
comm = b"\0eng\0" + b"a comment that zlib squeezes " * 4
damaged = zlib.compress(comm)[:12] + b"\xff" * 12
frames = (frame23("TIT2", b"\0Before Damage") + frame23("COMM", struct.pack(">I", len(comm)) + damaged, 0x0080)
          + frame23("TALB", b"\0After Damage"))
open("comm-zlib-damaged.mp3", "wb").write(tag(3, 0, frames + b"\0" * 16) + audio)

# Two COMM frames (different descriptions) and two APIC frames (front cover, back cover): a
# removal must take every one that answers its data ID.
open("two-comm-two-apic.mp3", "wb").write(audio)
t = ID3()
t.add(TIT2(encoding=3, text="Two Of Each"))
t.add(COMM(encoding=3, lang="eng", desc="", text="first comment"))
t.add(COMM(encoding=3, lang="eng", desc="second", text="second comment"))
cover = open("mp3-cover.jpg", "rb").read()
t.add(APIC(encoding=0, mime="image/jpeg", type=3, desc="front", data=cover))
t.add(APIC(encoding=0, mime="image/jpeg", type=4, desc="back", data=cover))
t.save("two-comm-two-apic.mp3", v2_version=3)
PYTHON
