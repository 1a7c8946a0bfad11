#!/usr/bin/env bash
# Regenerates the audio-properties fixtures (README.md describes each): a short file per codec
# and container from the encoder users rip with, so that ffprobe's figures are compared on them.
set -euo pipefail
cd "$(dirname "$0")"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

ff() { ffmpeg -nostdin -v error -y "$@"; }

sox -R -n -r 44100 -c 2 -b 16 "$tmp/stereo.wav" synth 0.5 sine 440 sine 660
sox -R -n -r 22050 -c 1 -b 16 "$tmp/mono.wav" synth 0.6 pinknoise vol 0.4
sox -R -n -r 48000 -c 2 -b 16 "$tmp/stereo48.wav" synth 0.45 sine 330 sine 550

lame --quiet -V 6 --noreplaygain "$tmp/stereo.wav" props-lame-vbr.mp3
lame --quiet --cbr -b 32 -t "$tmp/mono.wav" props-lame-cbr-mpeg2-mono.mp3
sox -R -n -r 32000 -c 2 -b 16 "$tmp/mp2.wav" synth 0.4 sine 440 sine 660
ff -i "$tmp/mp2.wav" -c:a mp2 -b:a 64k -fflags +bitexact -flags:a +bitexact -f mp2 props-mp2.mp3

ff -i "$tmp/stereo.wav" -c:a aac -b:a 64k -fflags +bitexact -flags:a +bitexact props-aac.m4a
ff -i "$tmp/mono.wav" -c:a alac -fflags +bitexact -flags:a +bitexact props-alac.m4a

sox -R -n -r 8000 -c 2 -e floating-point -b 32 props-float.aifc synth 0.25 sine 440 sine 660
sox -R -n -r 8000 -c 6 -b 24 props-extensible-6ch-24bit.wav synth 0.2 sine 440
sox -R -n -r 8000 -c 1 -b 8 props-8bit-mono.aiff synth 0.3 sine 440

sox -R "$tmp/stereo48.wav" -b 24 "$tmp/stereo48-24.wav"
flac -s -f --best -o props-24bit.flac "$tmp/stereo48-24.wav"
oggenc -Q -q 2 --serial 4321 -o props-vorbis.ogg "$tmp/stereo.wav"

# A whole second of Opus: ffprobe does not take the pre-skip off its length, which on a shorter
# file alone would be more than 1 %.
sox -R -n -r 44100 -c 2 -b 16 "$tmp/opus-stereo.wav" synth 1.0 sine 440 sine 660
sox -R -n -r 48000 -c 1 -b 16 "$tmp/opus-mono.wav" synth 1.2 pinknoise vol 0.4
opusenc --quiet --serial 5150 --bitrate 24 --title "Opus Title" --artist "Opus Artist" \
  --comment "TRACKNUMBER=4" "$tmp/opus-stereo.wav" opus-tagged.opus
opusenc --quiet --serial 5151 --bitrate 12 "$tmp/opus-mono.wav" opus-mono-in-ogg.ogg
ff -i "$tmp/opus-stereo.wav" -c:a libopus -b:a 16k -fflags +bitexact -flags:a +bitexact \
  -metadata title="From ffmpeg" opus-ffmpeg.opus
