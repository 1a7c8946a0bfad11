# The Python module against real fixtures: reading, a save round trip per kind, and errors.
# KESTRABEL_LIBRARY names the libkestrabel.so to test (the build tree's or an installed one).
import pathlib
import shutil
import subprocess

import pytest

import kestrabel

DATA = pathlib.Path(__file__).resolve().parents[2] / "tests" / "data"

# (fixture, kind, title, track number, a field the kind carries and the file lacks, if any)
FIXTURES = [
    ("id3v24-full.mp3", "MP3", "Full Title", 3, None),
    ("flac-tagged.flac", "FLAC", "Small Hours", 4, "Composer"),
    ("tagged.m4a", "MP4", "Tiny Tone", 3, None),
    ("vorbis-tagged.ogg", "Ogg", "Nächtliche Fahrt", 3, "Lyricist"),
]


@pytest.fixture
def copy(tmp_path):
    def make(name):
        target = tmp_path / name
        shutil.copyfile(DATA / name, target)
        return target
    return make


@pytest.mark.parametrize("name,kind,title,track,absent", FIXTURES)
def test_reads_and_saves_by_name_with_python_types(copy, name, kind, title, track, absent):
    path = copy(name)
    with kestrabel.open(path) as f:
        assert (f.kind, f["Title"], f["kMediaFileDataIDTrackNumber"], f["filename"]) == (kind, title, track, name)
        if absent:
            assert f.get(absent) is None and f.get(absent, "-") == "-"
        f["Title"] = "Über – new"
        f["Track Number"] = 11
        f.save()
    with kestrabel.open(path) as f:
        assert (f["Title"], f["Track Number"]) == ("Über – new", 11)


def test_bytes_round_trip(copy):
    path = copy("id3v24-full.mp3")
    jpeg = (DATA / "mp3-cover.jpg").read_bytes()
    with kestrabel.open(path) as f:
        assert f["Cover Art"].startswith(b"\x89PNG")
        f["Cover Art"] = jpeg
        f.save()
    with kestrabel.open(path) as f:
        assert f["Cover Art"] == jpeg
    if shutil.which("ffprobe"):
        subprocess.run(["ffprobe", "-v", "error", str(path)], check=True)


@pytest.mark.parametrize("action,status,name", [
    (lambda d: kestrabel.open(d / "missing.mp3"), -6755, "kMediaFileErrCantOpen"),
    (lambda d: kestrabel.open(d / "missing.ogg"), 2, "ENOENT"),
    (lambda d: kestrabel.open(d / "missing.flac"), -6802, "kMediaFileErrFLACErrorOpeningFile"),
    (lambda d: kestrabel.open(DATA / "vorbis-headerless.ogg"), 2003, "kOggVorbisErrNotVorbis"),
    (lambda d: kestrabel.open(DATA / "id3v24-full.mp3")["Network"], -6735, "kMediaFileErrUnsupported"),
    (lambda d: kestrabel.open(DATA / "id3v24-full.mp3").__setitem__("Year", "x"), -6717, "kMediaFileErrBadFormat"),
])
def test_errors_carry_the_status_name(tmp_path, action, status, name):
    with pytest.raises(kestrabel.KestrabelError) as caught:
        action(tmp_path)
    assert (caught.value.status, caught.value.name) == (status, name)
    assert name in str(caught.value)


def test_misuse_is_a_python_error(copy):
    with kestrabel.open(copy("flac-tagged.flac")) as f:
        with pytest.raises(KeyError):
            f["No Such Field"]
        with pytest.raises(TypeError):
            f["Title"] = 1.5
    with pytest.raises(ValueError):
        f["Title"]
    assert len(kestrabel.data_ids()) == 79
