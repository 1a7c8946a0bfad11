"""What the peer tools read from an Ogg Vorbis or FLAC file, one "TAG<tab>peer<tab>value" line
each: mutagen, ffprobe, metaflac or vorbiscomment, a lenient byte-level walk of the FLAC comment
blocks, the decoded audio's MD5 (ffmpeg) and the validator's verdict (flac -t, ogginfo).
Pictures are named by the image file of the arguments they equal. Usage: path image..."""
import base64
import hashlib
import struct
import subprocess
import sys

path, images = sys.argv[1], sys.argv[2:]
lines = []


def emit(tag, peer, value):
    lines.append('%s\t%s\t%s' % (tag.upper(), peer, str(value).replace('\n', '\\n')))


def image_name(data):
    for name in images:
        if open(name, 'rb').read() == data:
            return name.rsplit('/', 1)[-1]
    return 'md5:' + hashlib.md5(data).hexdigest()


def picture(peer, p):
    emit('PICTURE', peer, '%d %s %s' % (p.type, p.mime, image_name(p.data)))


def run(command):
    result = subprocess.run(command, capture_output=True)
    return result.returncode, result.stdout.decode('utf-8', 'replace') + result.stderr.decode('utf-8', 'replace')


is_flac = open(path, 'rb').read(4) == b'fLaC'

try:
    import mutagen
    from mutagen.flac import Picture
    f = mutagen.File(path)
    if getattr(f.tags, 'vendor', None) is not None:
        emit('VENDOR', 'mutagen', f.tags.vendor)
    for key, values in (f.tags or {}).items():
        for value in values:
            if key.lower() == 'metadata_block_picture':
                picture('mutagen', Picture(base64.b64decode(value)))
            else:
                emit(key, 'mutagen', value)
    for p in getattr(f, 'pictures', []):
        picture('mutagen', p)
    for block in getattr(f, 'metadata_blocks', []):
        data = getattr(block, 'data', b'')
        if block.code == 2 and data[:8] == b'ESCNPIC1':
            emit('ESCN', 'mutagen', image_name(data[8:]))
except Exception as error:  # a file mutagen refuses is part of what is compared
    emit('ERROR', 'mutagen', type(error).__name__)

status, out = run(['ffprobe', '-v', 'error', '-show_entries', 'stream=index,codec_name:stream_tags:format_tags',
                   '-of', 'flat', path])
for line in out.splitlines():
    key, _, value = line.partition('=')
    parts = key.split('.')
    if parts[0] == 'streams' and parts[2] != '0':
        emit('PICTURE', 'ffprobe', line)  # attached pictures are the streams after the audio
    elif parts[-2:-1] == ['tags']:
        emit(parts[-1], 'ffprobe', value.strip('"'))

if is_flac:
    status, out = run(['metaflac', '--export-tags-to=-', path])
    for line in out.splitlines():
        key, _, value = line.partition('=')
        emit(key, 'metaflac', value)
    data = open(path, 'rb').read()
    at, last, block = 4, False, 0
    while not last and at + 4 <= len(data):
        last, kind, length = data[at] & 0x80, data[at] & 0x7F, int.from_bytes(data[at + 1:at + 4], 'big')
        body = data[at + 4:at + 4 + length]
        if kind == 4:
            vendor = struct.unpack('<I', body[:4])[0]
            count, i = struct.unpack('<I', body[4 + vendor:8 + vendor])[0], 8 + vendor
            for _ in range(count):
                if i + 4 > len(body):
                    break
                size = struct.unpack('<I', body[i:i + 4])[0]
                key, _, value = body[i + 4:i + 4 + size].partition(b'=')
                emit(key.decode('utf-8', 'replace'), 'block%d' % block, repr(value))
                i += 4 + size
            block += 1
        at += 4 + length
    status, out = run(['flac', '-s', '-t', path])
    emit('VALID', 'flac -t', status)
else:
    status, out = run(['vorbiscomment', '-l', path])
    for line in out.splitlines():
        key, _, value = line.partition('=')
        if key.lower() == 'metadata_block_picture':
            picture('vorbiscomment', Picture(base64.b64decode(value)))
        else:
            emit(key, 'vorbiscomment', value)
    status, out = run(['ogginfo', path])
    bad = [l for l in out.splitlines() if 'warning' in l.lower() or 'error' in l.lower()]
    emit('VALID', 'ogginfo', '%d %s' % (status, bad))

status, out = run(['ffmpeg', '-v', 'error', '-i', path, '-map', '0:a', '-f', 'md5', '-'])
emit('AUDIO', 'ffmpeg', out.strip())
print('\n'.join(sorted(lines)))
