#!/usr/bin/env bash
# The main job: build, then show what Kestrabel reads from the bundled sample files.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh >/dev/null
shopt -s nullglob
samples=(tests/data/*.mp3 tests/data/*.m4a tests/data/*.flac tests/data/*.ogg tests/data/*.wav tests/data/*.aif* tests/data/*.jpg)
if [ ${#samples[@]} -eq 0 ]; then
  echo "no sample files found under tests/data" >&2
  exit 1
fi
./build/cli/kestrabel-tag show "${samples[@]}"
