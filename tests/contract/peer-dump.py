#!/usr/bin/python3
# Prints what the peers read from a media file, one "peer:key=value" line each, sorted: every
# tag mutagen sees (pictures by type, MIME type and the image file of the arguments they equal,
# else their length and hash), ffprobe's format and stream tags, metaflac's or vorbiscomment's
# comments, a byte-level walk of FLAC comment blocks, the chunk list of a RIFF/IFF file, the
# validators' verdicts (flac -t, ogginfo) and the MD5 of the decoded audio. A peer that cannot
# read the file prints "peer:error=...". Several values of one key are joined by " | " (the
# pictures sorted).
# Usage: peer-dump.py FILE [TAGLIB_PEER [IMAGE...]]
import base64, hashlib, json, struct, subprocess, sys

path, taglib_peer, images = sys.argv[1], (sys.argv[2:3] or [""])[0], sys.argv[3:]
found = {}

def emit(key, value):
    found.setdefault(key, []).append(str(value).replace("\n", "\\n"))

def run(command):
    result = subprocess.run(command, capture_output=True)
    return result.returncode, result.stdout.decode("utf-8", "replace")

def image_name(data):
    for name in images:
        if open(name, "rb").read() == data:
            return name.rsplit("/", 1)[-1]
    return "%d bytes %s" % (len(data), hashlib.md5(data).hexdigest()[:12])

def value_text(value):
    data = getattr(value, "data", None)
    if isinstance(data, bytes):
        extra = {k: str(getattr(value, k)) for k in ("mime", "type", "desc") if hasattr(value, k)}
        return "%s %s" % (image_name(data), json.dumps(extra, sort_keys=True))
    if isinstance(value, list):
        return "[" + ", ".join(value_text(v) for v in value) + "]"
    return image_name(bytes(value)) if isinstance(value, (bytes, bytearray)) else str(value)

def picture_text(p):
    return "%d %s %s" % (p.type, p.mime, image_name(p.data))

data = open(path, "rb").read()
is_flac, is_ogg = data[:4] == b"fLaC", data[:4] == b"OggS"

try:
    import mutagen
    from mutagen.flac import Picture
    f = mutagen.File(path)
    tags = f.tags if f is not None else None
    if tags is not None and (is_flac or is_ogg):
        if getattr(tags, "vendor", None) is not None:
            emit("mutagen:vendor", tags.vendor)
        for key, value in tags:
            if key.lower() == "metadata_block_picture":
                emit("mutagen:picture", picture_text(Picture(base64.b64decode(value))))
            else:
                emit("mutagen:" + key.upper(), value)
    elif tags is not None:
        if hasattr(tags, "version"):
            emit("mutagen:id3-version", "%d.%d" % tags.version[:2])
        if hasattr(tags, "getall") and hasattr(tags, "values"):
            for frame in tags.values():
                emit("mutagen:" + frame.HashKey, value_text(frame) if isinstance(getattr(frame, "data", None), bytes) else str(frame))
        else:
            for key, value in tags.items():
                emit("mutagen:" + key, value_text(value))
    for p in getattr(f, "pictures", []):
        emit("mutagen:picture", picture_text(p))
    for block in getattr(f, "metadata_blocks", []):
        if block.code == 2 and getattr(block, "data", b"")[:8] == b"ESCNPIC1":
            emit("mutagen:escn", image_name(block.data[8:]))
except Exception as e:  # noqa: BLE001 - any failure is what we report
    emit("mutagen:error", type(e).__name__)

status, out = run(["ffprobe", "-v", "error", "-of", "json", "-show_entries", "format_tags:stream_tags", path])
if status != 0:
    emit("ffprobe:error", "exit %d" % status)
else:
    info = json.loads(out or "{}")
    for key, value in info.get("format", {}).get("tags", {}).items():
        emit("ffprobe:format.%s" % key.lower(), value)
    for i, stream in enumerate(info.get("streams", [])):
        for key, value in stream.get("tags", {}).items():
            emit("ffprobe:stream%d.%s" % (i, key.lower()), value)

status, out = run(["ffmpeg", "-nostdin", "-v", "error", "-i", path, "-map", "0:a", "-f", "md5", "-"])
emit("audio:md5", out.strip() if status == 0 and out.strip() else "error")
status, out = run(["ffmpeg", "-nostdin", "-v", "error", "-i", path, "-map", "0:v", "-c", "copy", "-f", "md5", "-"])
if status == 0 and out.strip():
    emit("ffmpeg:pictures", out.strip())

if taglib_peer:
    status, out = run([taglib_peer, path] + images)
    for line in out.splitlines():
        if line.startswith("taglib:"):
            key, _, value = line.partition("=")
            emit(key, value)
    if status:
        emit("taglib:error", "exit %d" % status)

if is_flac:
    status, out = run(["metaflac", "--export-tags-to=-", path])
    for line in out.splitlines():
        key, _, value = line.partition("=")
        emit("metaflac:" + key.upper(), value)
    emit("flac-t:exit", run(["flac", "-s", "-t", path])[0])
    # Every comment block, also those after the first that libFLAC-based readers skip.
    at, last, block = 4, False, 0
    while not last and at + 4 <= len(data):
        last, kind, length = data[at] & 0x80, data[at] & 0x7F, int.from_bytes(data[at + 1:at + 4], "big")
        body = data[at + 4:at + 4 + length]
        if kind == 4 and len(body) >= 8:
            vendor = struct.unpack("<I", body[:4])[0]
            count, i = struct.unpack("<I", body[4 + vendor:8 + vendor])[0], 8 + vendor
            for _ in range(count):
                if i + 4 > len(body):
                    break
                size = struct.unpack("<I", body[i:i + 4])[0]
                key, _, value = body[i + 4:i + 4 + size].partition(b"=")
                emit("block%d:%s" % (block, key.decode("utf-8", "replace").upper()), value.decode("utf-8", "replace"))
                i += 4 + size
            block += 1
        at += 4 + length
elif is_ogg:
    status, out = run(["vorbiscomment", "-l", path])
    for line in out.splitlines():
        key, _, value = line.partition("=")
        if key.lower() == "metadata_block_picture":
            emit("vorbiscomment:picture", picture_text(Picture(base64.b64decode(value))))
        else:
            emit("vorbiscomment:" + key.upper(), value)
    status, out = run(["ogginfo", path])
    emit("ogginfo:exit", "%d %d warnings" % (status, sum("warning" in l.lower() for l in out.splitlines())))
elif data[:4] in (b"RIFF", b"FORM"):
    offset, ids = 12, []
    while offset + 8 <= len(data):
        ids.append(data[offset:offset + 4].decode("latin-1"))
        size = struct.unpack("<I" if data[:4] == b"RIFF" else ">I", data[offset + 4:offset + 8])[0]
        offset += 8 + size + (size & 1)
    emit("chunks:ids", ",".join(ids))

# Pictures by what they are, not by where they stand: a replaced one may come back elsewhere.
print("\n".join(sorted("%s=%s" % (key, " | ".join(sorted(values) if key.endswith(":picture") else values))
                        for key, values in found.items())))
