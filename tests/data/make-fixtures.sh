#!/usr/bin/env bash
# Regenerates every fixture in this folder with real encoders and taggers. Each make-*.sh beside
# this script makes the fixtures of one format; run one alone to regenerate just those.
set -euo pipefail
cd "$(dirname "$0")"
for script in make-*.sh; do
  [ "$script" = make-fixtures.sh ] && continue
  echo "== $script"
  bash "$script"
done
du -sh . | awk '{print "fixtures: " $1 " in all"}'
