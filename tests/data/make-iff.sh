#!/usr/bin/env bash
# Regenerates the AIFF, AIFF-C and WAVE fixtures (README.md describes each).
set -euo pipefail
cd "$(dirname "$0")"
python=/usr/bin/python3
tone=(-f lavfi -i "sine=frequency=440:sample_rate=8000:duration=0.05" -ac 1)
ff() { ffmpeg -hide_banner -loglevel error -y "${tone[@]}" -fflags +bitexact "$@"; }

for kind in wav aiff aifc; do sox -R -n -r 8000 -c 1 -b 16 -t $kind no-tags.$kind synth 0.05 sine 440; done

ff -c:a pcm_s16le -write_bext 1 \
   -metadata description="A short test tone" -metadata originator="Kestrabel tests" \
   -metadata originator_reference="KESTRABEL0001" -metadata origination_date="2024-05-17" \
   -metadata origination_time="12:34:56" -metadata time_reference=8000 \
   -metadata umid=0x060A2B340101010101010F00130000000123456789ABCDEF0123456789ABCDEF \
   -metadata coding_history="A=PCM,F=8000,W=16,M=mono,T=ffmpeg" \
   bext.wav
# Without a coding history ffmpeg writes only the 602-byte fixed part.
ff -c:a pcm_s16le -write_bext 1 -metadata description="No history" bext-short.wav

# ffmpeg puts the "ID3 " chunk (ID3v2.4, odd size, so with a pad byte) last.
ff -c:a pcm_s16be -write_id3v2 1 -metadata title="Middle" -metadata artist="Kestrabel" \
   -metadata album="Fixtures" -metadata track="3/9" -metadata genre="Ambient" id3-end.aiff
cp id3-end.aiff id3-middle.aiff
trap 'rm -f id3-end.aiff' EXIT
cp no-tags.wav id3-lowercase.wav

ffmpeg -hide_banner -loglevel error -y "${tone[@]}" -c:a pcm_s16le -fflags +bitexact -f avi not-wave.wav

"$python" - <<'PY'
import struct
from mutagen.aiff import AIFFFile
from mutagen.id3 import TIT2
from mutagen.wave import WAVE

with open("id3-middle.aiff", "r+b") as f:
    iff = AIFFFile(f)
    iff.insert_chunk("ANNO", b"made by make-iff.sh")  # odd: padded
    iff.insert_chunk("APPL", b"kstrtest")
audio = WAVE("id3-lowercase.wav")
audio.add_tags()
audio.tags.add(TIT2(encoding=3, text="lower case chunk"))
audio.save()

read = lambda name: open(name, "rb").read()
write = lambda name, data: open(name, "wb").write(data)


with_size = lambda data, little: data[:4] + struct.pack("<I" if little else ">I", len(data) - 8) + data[8:]

def chunk(data, little, wanted):
    offset = 12
    while offset + 8 <= len(data):
        size = struct.unpack("<I" if little else ">I", data[offset + 4:offset + 8])[0]
        if data[offset:offset + 4] == wanted:
            return data[offset:offset + 8 + size + (size & 1)]
        offset += 8 + size + (size & 1)
    raise SystemExit("no chunk " + wanted.decode())

wav, aiff = read("no-tags.wav"), read("no-tags.aiff")
write("truncated-header.wav", wav[:10])
write("truncated-chunk-header.aiff", aiff[:12 + len(chunk(aiff, False, b"COMT")) + 4])  # the next chunk's ID only
write("data-past-end.wav", wav[:-100])

bext = read("bext.wav")
write("bext-twice.wav", with_size(bext + chunk(bext, True, b"bext"), True))

middle = read("id3-middle.aiff")
write("id3-twice.aiff", with_size(middle + chunk(middle, False, b"ID3 "), False))
write("id3-empty.aiff", with_size(aiff + b"ID3 \0\0\0\0", False))
write("pad-missing.aiff", with_size(read("id3-end.aiff")[:-1], False))
PY

