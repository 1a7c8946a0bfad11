"""What the peer tools read from an Ogg or FLAC file, one "TAG<tab>peer<tab>value" line each:
mutagen, ffprobe, metaflac or vorbiscomment, the decoded audio's MD5 (ffmpeg) and the
validator's verdict (flac -t, ogginfo). Usage: path"""
import subprocess
import sys

path = sys.argv[1]
lines = []


def emit(tag, peer, value):
    lines.append('%s\t%s\t%s' % (tag.upper(), peer, str(value).replace('\n', '\\n')))


def run(command):
    result = subprocess.run(command, capture_output=True)
    return result.returncode, result.stdout.decode('utf-8', 'replace') + result.stderr.decode('utf-8', 'replace')


def tag_lines(peer, command):
    for line in run(command)[1].splitlines():
        key, _, value = line.partition('=')
        emit(key, peer, value)


is_flac = open(path, 'rb').read(4) == b'fLaC'
try:
    import mutagen
    f = mutagen.File(path)
    if getattr(f.tags, 'vendor', None) is not None:
        emit('VENDOR', 'mutagen', f.tags.vendor)
    for key, values in (f.tags or {}).items():
        for value in values:
            emit(key, 'mutagen', value)
except Exception as error:  # a file mutagen refuses is part of what is compared
    emit('ERROR', 'mutagen', type(error).__name__)

for line in run(['ffprobe', '-v', 'error', '-show_entries', 'stream_tags:format_tags', '-of', 'flat', path])[1].splitlines():
    key, _, value = line.partition('=')
    emit(key.split('.')[-1], 'ffprobe', value.strip('"'))
if is_flac:
    tag_lines('metaflac', ['metaflac', '--export-tags-to=-', path])
    emit('VALID', 'flac -t', run(['flac', '-s', '-t', path])[0])
else:
    tag_lines('vorbiscomment', ['vorbiscomment', '-l', path])
    status, out = run(['ogginfo', path])
    emit('VALID', 'ogginfo', '%d %s' % (status, [l for l in out.splitlines() if 'warning' in l.lower() or 'error' in l.lower()]))
emit('AUDIO', 'ffmpeg', run(['ffmpeg', '-v', 'error', '-i', path, '-map', '0:a', '-f', 'md5', '-'])[1].strip())
print('\n'.join(sorted(lines)))
