#!/usr/bin/python3
# Prints what the peers read from a media file, one "peer:key=value" line each, sorted: every
# tag mutagen sees (pictures by length and hash), ffprobe's format and stream tags, the chunk
# list of a RIFF/IFF file, and the MD5 of the decoded audio. A peer that cannot read the file
# prints "peer:error=...". Usage: peer-dump.py FILE
import hashlib, json, struct, subprocess, sys

path = sys.argv[1]
lines = []

def value_text(value):
    data = getattr(value, "data", None)
    if isinstance(data, bytes):
        extra = {k: str(getattr(value, k)) for k in ("mime", "type", "desc") if hasattr(value, k)}
        return "%d bytes %s %s" % (len(data), hashlib.md5(data).hexdigest()[:12], json.dumps(extra, sort_keys=True))
    if isinstance(value, (bytes, bytearray)):
        return "%d bytes %s" % (len(value), hashlib.md5(bytes(value)).hexdigest()[:12])
    if isinstance(value, list):
        return "[" + ", ".join(value_text(v) for v in value) + "]"
    return str(value)

try:
    import mutagen
    f = mutagen.File(path)
    tags = f.tags if f is not None else None
    if tags is not None:
        if hasattr(tags, "version"):
            lines.append("mutagen:id3-version=%d.%d" % tags.version[:2])
        if hasattr(tags, "getall") and hasattr(tags, "values"):
            for frame in tags.values():
                lines.append("mutagen:%s=%s" % (frame.HashKey, value_text(frame) if hasattr(frame, "data") and isinstance(frame.data, bytes) else str(frame)))
        else:
            for key, value in tags.items():
                lines.append("mutagen:%s=%s" % (key, value_text(value)))
except Exception as e:  # noqa: BLE001 - any failure is what we report
    lines.append("mutagen:error=%s" % type(e).__name__)

probe = subprocess.run(["ffprobe", "-v", "error", "-of", "json", "-show_entries", "format_tags:stream_tags", path],
                       capture_output=True, text=True)
if probe.returncode != 0:
    lines.append("ffprobe:error=exit %d" % probe.returncode)
else:
    info = json.loads(probe.stdout or "{}")
    for key, value in info.get("format", {}).get("tags", {}).items():
        lines.append("ffprobe:format.%s=%s" % (key.lower(), value))
    for i, stream in enumerate(info.get("streams", [])):
        for key, value in stream.get("tags", {}).items():
            lines.append("ffprobe:stream%d.%s=%s" % (i, key.lower(), value))

audio = subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-i", path, "-map", "0:a", "-f", "md5", "-"],
                       capture_output=True, text=True)
lines.append("audio:md5=%s" % (audio.stdout.strip() if audio.returncode == 0 and audio.stdout.strip() else "error"))

pictures = subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-i", path, "-map", "0:v", "-c", "copy", "-f", "md5", "-"],
                          capture_output=True, text=True)
if pictures.returncode == 0 and pictures.stdout.strip():
    lines.append("ffmpeg:pictures=%s" % pictures.stdout.strip())

if len(sys.argv) > 2 and sys.argv[2]:
    taglib = subprocess.run([sys.argv[2], path], capture_output=True, text=True, errors="replace")
    lines.extend(l for l in taglib.stdout.splitlines() if l.startswith("taglib:"))
    if taglib.returncode != 0:
        lines.append("taglib:error=exit %d" % taglib.returncode)

with open(path, "rb") as file:
    head = file.read(12)
    if head[:4] in (b"RIFF", b"FORM"):
        fmt = "<I" if head[:4] == b"RIFF" else ">I"
        rest = file.read()
        offset, ids = 0, []
        while offset + 8 <= len(rest):
            ids.append(rest[offset:offset + 4].decode("latin-1"))
            size = struct.unpack(fmt, rest[offset + 4:offset + 8])[0]
            offset += 8 + size + (size & 1)
        lines.append("chunks:ids=" + ",".join(ids))

print("\n".join(sorted(lines)))
