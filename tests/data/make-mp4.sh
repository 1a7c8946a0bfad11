#!/usr/bin/env bash
# Regenerates the MP4 fixtures (README.md describes each): ffmpeg's bit-exact AAC with its own
# or mutagen's tags, and copies with a few bytes changed by the Python below.
set -euo pipefail
cd "$(dirname "$0")"

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

ff() { ffmpeg -nostdin -v error -y "$@"; }
tone() { echo "sine=frequency=$1:sample_rate=8000:duration=0.5"; }
aac=(-ac 1 -c:a aac -b:a 12k -fflags +bitexact -flags:a +bitexact)
tags=(
  -metadata title="Tiny Tone" -metadata artist="Test Artist" -metadata album="Test Album"
  -metadata album_artist="Album Artist" -metadata composer="Composer" -metadata date=2021
  -metadata comment="A comment" -metadata genre="Chillout" -metadata grouping="Group"
  -metadata lyrics=$'line one\nline two' -metadata track=3/12 -metadata disc=1/2
  -metadata description="Desc" -metadata show="Show" -metadata network="Net"
  -metadata episode_id="E1" -metadata season_number=4 -metadata media_type=1
  -metadata compilation=1 -metadata tmpo=120
)

ff -f lavfi -i "testsrc=size=16x16:rate=1" -frames:v 1 -q:v 10 -fflags +bitexact m4a-cover.jpg

ff -f lavfi -i "$(tone 440)" "${aac[@]}" -map_metadata -1 no-tags.m4a
ff -f lavfi -i "$(tone 440)" "${aac[@]}" "${tags[@]}" tagged.m4a
ff -f lavfi -i "$(tone 440)" -i m4a-cover.jpg -map 0:a -map 1:v "${aac[@]}" -c:v copy \
  -disposition:v attached_pic -metadata title="With Cover" cover.m4a

two=(-f lavfi -i "$(tone 440)" -f lavfi -i "$(tone 660)" -map 0 -map 1)
ff "${two[@]}" "${aac[@]}" "${tags[@]}" -movflags +faststart tagged-faststart.m4a
ff "${two[@]}" "${aac[@]}" -map_metadata -1 -movflags +faststart -f 3gp no-udta-faststart.m4a

cp no-udta-faststart.m4a ilst-then-free.m4a
/usr/bin/python3 - <<'EOF'
from mutagen.mp4 import MP4
f = MP4("ilst-then-free.m4a")
f["\xa9nam"] = ["Padded"]
f.save()
EOF

: >empty.m4a

/usr/bin/python3 - <<'EOF'
import struct

CONTAINERS = {b"moov", b"trak", b"mdia", b"minf", b"stbl", b"udta", b"ilst", b"dinf"}

def atoms(b, start, end, path=""):
    """Yields (path, offset, size) of every atom, in file order."""
    off = start
    while off + 8 <= end:
        size, kind = struct.unpack(">I4s", b[off:off + 8])
        name = path + "." + kind.decode("latin1")
        yield name, off, size
        if kind in CONTAINERS or (path.endswith(".ilst") and kind != b"----"):
            yield from atoms(b, off + 8, off + size, name)
        elif kind == b"meta":
            yield from atoms(b, off + 12, off + size, name)
        off += size

find = lambda b, path: next((o, s) for p, o, s in atoms(b, 0, len(b)) if p == path)

put32 = lambda b, at, value: b.__setitem__(slice(at, at + 4), struct.pack(">I", value))

def append_to_moov(b, blob):
    """Appends blob as the last child of moov, which must end the file."""
    o, s = find(b, ".moov")
    put32(b, o, s + len(blob))
    b[o + s:o + s] = blob

load = lambda name: bytearray(open(name, "rb").read())
save = lambda name, b: open(name, "wb").write(bytes(b))

b = load("tagged-faststart.m4a")
tables = [(o, s) for p, o, s in atoms(b, 0, len(b)) if p.endswith(".stco")]
growth = sum(s - 16 for o, s in tables)
for o, s in reversed(tables):
    count = struct.unpack(">I", b[o + 12:o + 16])[0]
    entries = struct.unpack(">%dI" % count, b[o + 16:o + s])
    new = struct.pack(">I4sI I", 16 + 8 * count, b"co64", 0, count) + b"".join(struct.pack(">Q", e + growth) for e in entries)
    for p, po, ps in list(atoms(b, 0, len(b))):
        if p in (".moov", ".moov.trak", ".moov.trak.mdia", ".moov.trak.mdia.minf",
                 ".moov.trak.mdia.minf.stbl") and po < o < po + ps:
            put32(b, po, ps + len(new) - s)
    b[o:o + s] = new
save("co64-faststart.m4a", b)

# An atom with its 64-bit size before the type, as this reader takes it.
b = load("no-tags.m4a")
append_to_moov(b, struct.pack(">IQ4s", 1, 24, b"kbtx") + b"12345678")
save("large-size-header.m4a", b)

b = load("no-tags.m4a")
uuid = bytes(range(0x10, 0x20))
append_to_moov(b, struct.pack(">I4s", 28, b"uuid") + uuid + b"moov")
o, _ = find(b, ".moov")
b[o:o] = struct.pack(">I4s", 28, b"uuid") + uuid + b"file"
save("uuid-atoms.m4a", b)

# Damaged and unusual copies, a row each: the file made, its source, the atom and the change.
for name, source, path, change in [
    ("truncated-moov.m4a", "tagged.m4a", ".moov", lambda b, o, s: b.__delitem__(slice(o + s // 2, None))),
    ("child-past-parent.m4a", "tagged-faststart.m4a", ".moov.trak.mdia.minf.stbl.sbgp", lambda b, o, s: put32(b, o, s + 16)),
    ("atom-size-over-limit.m4a", "tagged.m4a", ".mdat", lambda b, o, s: put32(b, o, 0x80000000)),
    ("atom-smaller-than-header.m4a", "no-tags.m4a", ".moov.mvhd", lambda b, o, s: put32(b, o, 4)),
    ("moov-short-tail.m4a", "no-tags.m4a", ".moov", lambda b, o, s: (put32(b, o, s + 4), b.extend(bytes(4)))),
    ("data-version-1.m4a", "tagged.m4a", ".moov.udta.meta.ilst.\xa9nam.data", lambda b, o, s: b.__setitem__(o + 8, 1)),
    ("data-reserved-set.m4a", "tagged.m4a", ".moov.udta.meta.ilst.\xa9nam.data", lambda b, o, s: b.__setitem__(o + 15, 1)),
    ("meta-version-1.m4a", "tagged.m4a", ".moov.udta.meta", lambda b, o, s: b.__setitem__(o + 8, 1)),
    ("stco-count-mismatch.m4a", "tagged-faststart.m4a", ".moov.trak.mdia.minf.stbl.stco", lambda b, o, s: put32(b, o + 12, 6)),
]:
    b = load(source)
    change(b, *find(b, path))
    save(name, b)
EOF

ls -l ./*.m4a m4a-cover.jpg
