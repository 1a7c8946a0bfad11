#!/usr/bin/env bash
# Regenerates the fixtures of the object-layer tests in objects/ (README.md describes each).
set -euo pipefail
cd "$(dirname "$0")"
mkdir -p objects
cd objects
python=/usr/bin/python3
tone=(-f lavfi -i "sine=frequency=440:sample_rate=8000:duration=0.1" -ac 1)
ff() { ffmpeg -hide_banner -loglevel error -y -fflags +bitexact "$@"; }

card=(-f lavfi -i "testsrc=size=24x16:rate=1" -frames:v 1)
ff "${card[@]}" -q:v 2 cover.jpg
ff "${card[@]}" -vf format=rgba,colorchannelmixer=aa=0.5 cover.png
for image in cover.gif cover.bmp; do ff "${card[@]}" $image; done
printf 'This is a text file with an image name.\n' > not-an-image.png

# MPEG 2.5 frames at 8 kHz hold 72 ms: half a second gives the audio scan a few frames.
sox -R -n -r 8000 -c 1 -b 16 tone.wav synth 0.5 sine 440
lame --quiet -m m -b 8 --resample 8 --noreplaygain tone.wav plain.mp3
ff "${tone[@]}" -c:a aac -b:a 16k -map_metadata -1 plain.m4a
sox -R -n -r 8000 -c 1 -b 16 plain.aiff synth 0.1 sine 440
sox -R -n -r 8000 -c 1 -b 16 plain.wav synth 0.1 sine 440
sox -R -n -r 8000 -c 1 -b 16 tone.wav synth 0.1 sine 440
oggenc --quiet -q 0 -o plain.ogg tone.wav
flac --silent --force -o plain.flac tone.wav
rm tone.wav

for kind in mp3 m4a aiff ogg flac; do cp plain.$kind tagged.$kind; done
# WAVE: a Broadcast Wave bext chunk (mutagen would write its ID3 as a lowercase "id3 " chunk).
ff "${tone[@]}" -c:a pcm_s16le -write_bext 1 \
   -metadata description="Kestrel take" -metadata originator="Kestrabel tests" \
   -metadata originator_reference="KST0001" -metadata origination_date="2004-05-06" \
   -metadata origination_time="07:08:09" -metadata coding_history="A=PCM,F=8000,W=16,M=mono" \
   tagged.wav

"$python" - <<'PY'
from mutagen.id3 import ID3, TIT2, TPE1, TALB, TCON, COMM, TCOM, TRCK, TPOS, TYER, TBPM, APIC
from mutagen.aiff import AIFF
from mutagen.mp4 import MP4, MP4Cover
from mutagen.oggvorbis import OggVorbis
from mutagen.flac import FLAC, MetadataBlock

cover = open("cover.jpg", "rb").read()

def id3_frames(tags):
    for frame, text in [(TIT2, "Kestrel Song"), (TPE1, "Falco Tinnunculus"), (TALB, "Birds of Prey"), (TCON, "Ambient")]:
        tags.add(frame(encoding=3, text=text))
    tags.add(COMM(encoding=3, lang="eng", desc="", text="made for tests"))
    for frame, text in [(TCOM, "Hovering"), (TRCK, "3/12"), (TPOS, "1/2"), (TYER, "2004"), (TBPM, "120")]:
        tags.add(frame(encoding=3, text=text))
    tags.add(APIC(encoding=0, mime="image/jpeg", type=3, desc="", data=cover))

tags = ID3()
id3_frames(tags)
tags.save("tagged.mp3", v2_version=3)

aiff = AIFF("tagged.aiff")
aiff.add_tags()
id3_frames(aiff.tags)
aiff.save(v2_version=3)

mp4 = MP4("tagged.m4a")
mp4.update({"\xa9nam": "Kestrel Song", "\xa9ART": "Falco Tinnunculus", "\xa9alb": "Birds of Prey", "\xa9gen": "Ambient",
            "\xa9cmt": "made for tests", "\xa9wrt": "Hovering", "trkn": [(3, 12)], "disk": [(1, 2)], "\xa9day": "2004",
            "tmpo": [120], "covr": [MP4Cover(cover, imageformat=MP4Cover.FORMAT_JPEG)]})
mp4.save()

def vorbis_fields(tags, total_name):
    for key, value in [("TITLE", "Kestrel Song"), ("ARTIST", "Falco Tinnunculus"), ("ALBUM", "Birds of Prey"), ("GENRE", "Ambient"),
                       ("COMMENT", "made for tests"), ("COMPOSER", "Hovering"), ("TRACKNUMBER", "3"), (total_name, "12"),
                       ("DISC", "1"), ("DISCC", "2"), ("YEAR", "2004"), ("BPM", "120")]:
        tags[key] = value

ogg = OggVorbis("tagged.ogg")
vorbis_fields(ogg, "TRACKTOTAL")
ogg.save()

flac = FLAC("tagged.flac")
vorbis_fields(flac, "TOTALTRACKS")
escn = MetadataBlock(b"ESCN" + b"PIC1" + cover)
escn.code = 2
flac.metadata_blocks.append(escn)
flac.save()
PY

ff -f lavfi -i "testsrc=size=16x16:rate=1" -frames:v 1 -q:v 5 camera.jpg
exiftool -q -overwrite_original -Make="Kestrabel Optics" -Model="Hover 1" \
   -DateTimeOriginal="2004:05:06 07:08:09" -Copyright="Falco" camera.jpg

"$python" - <<'PY'
import plistlib

def record(title, album, track, **changes):
    r = {"kMediaFileDataExportKey": "KESTRABEL MEDIA FILE DATA EXPORT", "kKestrabelVersionKey": "0.0.1",
         "kMediaFileDataIDTitle": title, "kMediaFileDataIDAlbum": album, "kMediaFileDataIDArtist": "",
         "kMediaFileDataIDComment": "from plistlib", "kMediaFileDataIDFilename": "elsewhere.mp3",
         "kMediaFileDataIDFilenameClean": "elsewhere", "kMediaFileDataIDTrackNumber": track,
         "kMediaFileDataIDTotalTracks": 9, "kMediaFileDataIDYear": 1999, **changes}
    return {k: v for k, v in r.items() if v is not None}

def dump(name, value, **options):
    open(name, "wb").write(plistlib.dumps(value, **options))

dump("export-by-plistlib.plist", record("Written by plistlib", "Foreign Album", 5, kMediaFileDataIDArtwork=open("cover.png", "rb").read()))
dump("archive-by-plistlib.plist", {"plain": record("Archived plain", "Archive Album", 7), "tagged": record("Archived tagged", "Archive Album", 8)})
dump("wrong-marker.plist", record("Wrong marker", "Wrong Album", 1, kMediaFileDataExportKey="SOME OTHER EXPORT"))
dump("no-marker.plist", record("No marker", "Unmarked Album", 2, kMediaFileDataExportKey=None))
# Texts with a NUL inside, which libplist's getters abort on.
open("nul-in-string.plist", "wb").write(plistlib.dumps({"kMediaFileDataIDTitle": "before"}).replace(b"before", b"bef\0re"))
dump("nul-in-key-binary.plist", {"kMediaFileDataID\0Title": "x"}, fmt=plistlib.FMT_BINARY)
PY
