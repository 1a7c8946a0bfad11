#!/usr/bin/env bash
# Regenerates every fixture in this folder with real encoders and taggers. Each make-*.sh beside
# this script makes the fixtures of one format; run one alone to regenerate just those.
set -euo pipefail
cd "$(dirname "$0")"
# In this order: make-vorbis-interop.sh starts from make-vorbis.sh's files, make-interop.sh from both.
for script in make-audio.sh make-iff.sh make-mp3.sh make-mp4.sh make-objects.sh \
              make-vorbis.sh make-vorbis-interop.sh make-interop.sh; do
  echo "== $script"
  bash "$script"
done
du -sh . | awk '{print "fixtures: " $1 " in all"}'
