#!/usr/bin/env bash
# Configures and builds the normal tree in build/. Extra arguments are CMake cache settings
# (the test script passes -DKESTRABEL_WERROR=ON); without any, an existing build/ is reused as is.
set -euo pipefail
cd "$(dirname "$0")/.."
if [ ! -f build/build.ninja ] || [ $# -gt 0 ]; then
  cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
fi
ninja -C build
