#!/usr/bin/env bash
# The whole test suite: the normal build with every test, the sanitizer build of the tag
# library with its tests, and short libFuzzer runs of every file parser.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)
fuzz_seconds=${KESTRABEL_FUZZ_SECONDS:-30}
# Every build of the suite treats a compiler warning as an error.
werror=-DKESTRABEL_WERROR=ON

echo "== normal build"
bash scripts/build.sh "$werror"
ctest --test-dir build --output-on-failure -j"$jobs" --timeout 600

echo "== the installed library (shared and static), its example and the Python module"
if [ ! -f build-static/build.ninja ]; then
  cmake -S . -B build-static -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKESTRABEL_SHARED=OFF -DKESTRABEL_GUI=OFF \
    -DKESTRABEL_TESTS=OFF "$werror" >/dev/null
fi
ninja -C build-static >/dev/null
bash scripts/check-install.sh build build-static

echo "== AddressSanitizer + UndefinedBehaviorSanitizer build"
if [ ! -f build-asan/build.ninja ]; then
  cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DKESTRABEL_SANITIZE=ON -DKESTRABEL_GUI=OFF "$werror" >/dev/null
fi
ninja -C build-asan
KESTRABEL_SANITIZED=1 ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --test-dir build-asan --output-on-failure -j"$jobs" --timeout 900

echo "== fuzz targets, ${fuzz_seconds}s each"
if [ ! -f build-fuzz/build.ninja ]; then
  CC=clang-14 CXX=clang++-14 cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DKESTRABEL_FUZZ=ON -DKESTRABEL_GUI=OFF -DKESTRABEL_TESTS=OFF "$werror" >/dev/null
fi
ninja -C build-fuzz
bash fuzz/run.sh "$fuzz_seconds" build-fuzz
