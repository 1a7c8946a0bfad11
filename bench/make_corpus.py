#!/usr/bin/python3
"""Generates the benchmark corpus: COUNT files per kind, each with about ten text fields and a
30 KB cover, tagged by mutagen so that neither side of the comparison wrote its own input. As in a
real library, ten tracks of an album share their cover and no two albums have the same one.

usage: make_corpus.py FOLDER [COUNT]
"""
import os
import shutil
import subprocess
import sys

from mutagen.aiff import AIFF
from mutagen.flac import FLAC, Picture
from mutagen.id3 import APIC, COMM, ID3, TALB, TCOM, TCON, TDRC, TIT2, TPE1, TPE2, TPOS, TRCK
from mutagen.mp4 import MP4, MP4Cover
from mutagen.oggvorbis import OggVorbis
from mutagen.wave import WAVE
import base64

KINDS = ["mp3-v23", "mp3-v24", "m4a", "flac", "ogg", "wav-bext", "aiff"]


def ffmpeg(*args):
    subprocess.run(["ffmpeg", "-v", "error", "-y", *args], check=True)


def make_bases(folder):
    tone = ["-f", "lavfi", "-i", "sine=frequency=440:duration=2:sample_rate=22050", "-ac", "1"]
    bases = {
        "mp3": ("base.mp3", tone + ["-c:a", "libmp3lame", "-b:a", "64k"]),
        "m4a": ("base.m4a", tone + ["-c:a", "aac", "-b:a", "48k"]),
        "flac": ("base.flac", tone + ["-c:a", "flac"]),
        "ogg": ("base.ogg", tone + ["-c:a", "libvorbis", "-q:a", "0"]),
        "wav-bext": ("base.wav", tone + ["-c:a", "pcm_s16le", "-write_bext", "1", "-metadata", "description=Benchmark take",
                                         "-metadata", "originator=Kestrabel", "-metadata", "origination_date=2026-11-21",
                                         # Without a coding history the chunk is too short to be a bext chunk.
                                         "-metadata", "coding_history=A=PCM,F=22050,W=16,M=mono,T=bench\r\n"]),
        "aiff": ("base.aiff", tone + ["-c:a", "pcm_s16be"]),
    }
    paths = {}
    for key, (name, args) in bases.items():
        path = os.path.join(folder, name)
        ffmpeg(*args, path)
        paths[key] = path
    cover = os.path.join(folder, "cover.jpg")
    # A noisy picture at high quality lands near 30 KB.
    ffmpeg("-f", "lavfi", "-i", "cellauto=s=200x150:rule=110", "-frames:v", "1", "-q:v", "2", cover)
    with open(cover, "rb") as f:
        return paths, f.read()


def album_cover(cover, i):
    """The cover of track i's album: the picture with a JPEG comment naming the album after SOI."""
    note = f"album {i // 10}".encode()
    return cover[:2] + b"\xff\xfe" + (len(note) + 2).to_bytes(2, "big") + note + cover[2:]


def texts(i):
    return {
        "title": f"Benchmark Title Number {i}",
        "artist": "The Benchmark Ensemble",
        "album": "Measurements, Volume One",
        "albumartist": "Various Benchmarkers",
        "composer": "A. Composer",
        "genre": "Electronic",
        "date": "2026",
        "comment": "Generated for the read benchmark",
        "track": f"{i % 20 + 1}/20",
        "disc": "1/2",
    }


def id3_frames(tag, t, cover):
    tag.add(TIT2(encoding=3, text=t["title"]))
    tag.add(TPE1(encoding=3, text=t["artist"]))
    tag.add(TALB(encoding=3, text=t["album"]))
    tag.add(TPE2(encoding=3, text=t["albumartist"]))
    tag.add(TCOM(encoding=3, text=t["composer"]))
    tag.add(TCON(encoding=3, text=t["genre"]))
    tag.add(TDRC(encoding=3, text=t["date"]))
    tag.add(COMM(encoding=3, lang="eng", desc="", text=t["comment"]))
    tag.add(TRCK(encoding=3, text=t["track"]))
    tag.add(TPOS(encoding=3, text=t["disc"]))
    tag.add(APIC(encoding=0, mime="image/jpeg", type=3, desc="", data=cover))


def vorbis_fields(tags, t):
    tags["TITLE"] = t["title"]
    tags["ARTIST"] = t["artist"]
    tags["ALBUM"] = t["album"]
    tags["ALBUMARTIST"] = t["albumartist"]
    tags["COMPOSER"] = t["composer"]
    tags["GENRE"] = t["genre"]
    tags["DATE"] = t["date"]
    tags["COMMENT"] = t["comment"]
    tags["TRACKNUMBER"] = t["track"].split("/")[0]
    tags["DISCNUMBER"] = t["disc"].split("/")[0]


def tag_file(kind, path, i, cover):
    t = texts(i)
    if kind.startswith("mp3"):
        tag = ID3()
        id3_frames(tag, t, cover)
        tag.save(path, v2_version=3 if kind == "mp3-v23" else 4)
    elif kind == "m4a":
        f = MP4(path)
        f["\xa9nam"], f["\xa9ART"], f["\xa9alb"] = t["title"], t["artist"], t["album"]
        f["aART"], f["\xa9wrt"], f["\xa9gen"], f["\xa9day"] = t["albumartist"], t["composer"], t["genre"], t["date"]
        f["\xa9cmt"] = t["comment"]
        f["trkn"] = [(i % 20 + 1, 20)]
        f["disk"] = [(1, 2)]
        f["covr"] = [MP4Cover(cover, imageformat=MP4Cover.FORMAT_JPEG)]
        f.save()
    elif kind == "flac":
        f = FLAC(path)
        vorbis_fields(f, t)
        pic = Picture()
        pic.type, pic.mime, pic.data = 3, "image/jpeg", cover
        f.add_picture(pic)
        f.save()
    elif kind == "ogg":
        f = OggVorbis(path)
        vorbis_fields(f, t)
        pic = Picture()
        pic.type, pic.mime, pic.data = 3, "image/jpeg", cover
        f["METADATA_BLOCK_PICTURE"] = [base64.b64encode(pic.write()).decode("ascii")]
        f.save()
    elif kind == "wav-bext":
        f = WAVE(path)
        f.add_tags()
        id3_frames(f.tags, t, cover)
        f.save()
    elif kind == "aiff":
        f = AIFF(path)
        f.add_tags()
        id3_frames(f.tags, t, cover)
        f.save()


def main():
    folder = sys.argv[1]
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 1000
    os.makedirs(folder, exist_ok=True)
    scratch = os.path.join(folder, ".bases")
    os.makedirs(scratch, exist_ok=True)
    bases, cover = make_bases(scratch)
    extension = {"mp3-v23": "mp3", "mp3-v24": "mp3", "m4a": "m4a", "flac": "flac", "ogg": "ogg", "wav-bext": "wav", "aiff": "aiff"}
    for kind in KINDS:
        target = os.path.join(folder, kind)
        os.makedirs(target, exist_ok=True)
        base = bases["mp3" if kind.startswith("mp3") else kind]
        for i in range(count):
            path = os.path.join(target, f"track{i:04d}.{extension[kind]}")
            shutil.copyfile(base, path)
            tag_file(kind, path, i, album_cover(cover, i))
        print(f"corpus: {kind}: {count} files", file=sys.stderr)
    shutil.rmtree(scratch)


if __name__ == "__main__":
    main()
