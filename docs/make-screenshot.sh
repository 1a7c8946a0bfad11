#!/usr/bin/env bash
# Photographs the control window for the README and the user guide: runs the end-to-end test
# (Xvfb, xcompmgr, mpv playing the sample album, kestrabel) with a screenshot path.
# usage: bash docs/make-screenshot.sh [BUILD-DIR]   (default: build)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
ninja -C "$build" app_e2e_tests kestrabel-app >/dev/null
KESTRABEL_SCREENSHOT="$PWD/docs/screenshot.png" "$build/tests/app/app_e2e_tests" \
  --gtest_filter='EndToEnd.*' >/dev/null
echo "wrote docs/screenshot.png"
