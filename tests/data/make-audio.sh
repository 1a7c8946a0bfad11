#!/usr/bin/env bash
# Regenerates the audio-properties fixtures of tests/data: bash tests/data/make-audio.sh
#
# One short file (0.4 to 0.6 s) per codec and container, each from the encoder users rip with,
# so that the properties are compared with ffprobe's on what those encoders really write:
# lame (VBR, Xing/LAME header), ffmpeg (AAC and ALAC in MP4), sox (AIFF-C, WAVE_FORMAT_EXTENSIBLE),
# flac, oggenc, opusenc. tests/data/README.md describes every file.
set -euo pipefail
cd "$(dirname "$0")"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

ff() { ffmpeg -nostdin -v error -y "$@"; }

sox -R -n -r 44100 -c 2 -b 16 "$tmp/stereo.wav" synth 0.5 sine 440 sine 660
sox -R -n -r 22050 -c 1 -b 16 "$tmp/mono.wav" synth 0.6 pinknoise vol 0.4
sox -R -n -r 48000 -c 2 -b 16 "$tmp/stereo48.wav" synth 0.45 sine 330 sine 550

# VBR with lame's Xing and LAME Info header: frame count, encoder delay and padding.
lame --quiet -V 6 --noreplaygain "$tmp/stereo.wav" props-lame-vbr.mp3
# Mono MPEG-2 (22.05 kHz) at a constant rate, no Xing header: the length comes from the size.
lame --quiet --cbr -b 32 -t "$tmp/mono.wav" props-lame-cbr-mpeg2-mono.mp3
# MPEG-1 Layer II from ffmpeg's encoder, as a bare stream named .mp3.
sox -R -n -r 32000 -c 2 -b 16 "$tmp/mp2.wav" synth 0.4 sine 440 sine 660
ff -i "$tmp/mp2.wav" -c:a mp2 -b:a 64k -fflags +bitexact -flags:a +bitexact -f mp2 props-mp2.mp3

ff -i "$tmp/stereo.wav" -c:a aac -b:a 64k -fflags +bitexact -flags:a +bitexact props-aac.m4a
ff -i "$tmp/mono.wav" -c:a alac -fflags +bitexact -flags:a +bitexact props-alac.m4a

# 32-bit float AIFF-C (compression fl32); 24-bit six-channel WAVE, which sox writes as
# WAVE_FORMAT_EXTENSIBLE.
sox -R -n -r 8000 -c 2 -e floating-point -b 32 props-float.aifc synth 0.25 sine 440 sine 660
sox -R -n -r 8000 -c 6 -b 24 props-extensible-6ch-24bit.wav synth 0.2 sine 440
sox -R -n -r 8000 -c 1 -b 8 props-8bit-mono.aiff synth 0.3 sine 440

sox -R "$tmp/stereo48.wav" -b 24 "$tmp/stereo48-24.wav"
flac -s -f --best -o props-24bit.flac "$tmp/stereo48-24.wav"
oggenc -Q -q 2 --serial 4321 -o props-vorbis.ogg "$tmp/stereo.wav"

# Opus: opusenc's own files, one named .ogg, and ffmpeg's libopus muxer with its own pre-skip.
# A whole second each: ffprobe does not take the pre-skip (6.5 ms) off its length, and on a
# shorter file that alone would be more than 1 %.
sox -R -n -r 44100 -c 2 -b 16 "$tmp/opus-stereo.wav" synth 1.0 sine 440 sine 660
sox -R -n -r 48000 -c 1 -b 16 "$tmp/opus-mono.wav" synth 1.2 pinknoise vol 0.4
opusenc --quiet --serial 5150 --bitrate 24 --title "Opus Title" --artist "Opus Artist" \
  --comment "TRACKNUMBER=4" "$tmp/opus-stereo.wav" opus-tagged.opus
opusenc --quiet --serial 5151 --bitrate 12 "$tmp/opus-mono.wav" opus-mono-in-ogg.ogg
ff -i "$tmp/opus-stereo.wav" -c:a libopus -b:a 16k -fflags +bitexact -flags:a +bitexact \
  -metadata title="From ffmpeg" opus-ffmpeg.opus
