#!/usr/bin/env bash
# The library as other programs see it: libkestrabel.so exports the C interface and nothing
# else; `cmake --install` to a fresh prefix; the example built out of tree with pkg-config and
# with find_package and run against the installed copy on a copy of a fixture; the Python module
# over the installed library.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}

library=$build/taglib/libkestrabel.so
exported=$(nm -D --defined-only "$library" | awk '{print $3}')
stray=$(grep -v '^MediaFile' <<<"$exported" || true)
if [ -n "$stray" ] || ! grep -qx MediaFileOpen <<<"$exported"; then
  echo "libkestrabel.so exports more than the C interface:" >&2
  echo "$stray" >&2
  exit 1
fi
soname=$(readelf -d "$library" | sed -n 's/.*Library soname: \[\(.*\)\]/\1/p')
[ "$soname" = libkestrabel.so.0 ] || { echo "SONAME is '$soname'" >&2; exit 1; }
for header in include/kestrabel/*.h; do
  echo "#include <kestrabel/$(basename "$header")>" | cc -std=c99 -Wall -Wextra -Werror -pedantic -Iinclude -x c -fsyntax-only -
done

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null
libdir=$(dirname "$(find "$prefix" -name libkestrabel.so.0 -print -quit)")
[ -f "$prefix/include/kestrabel/MediaFile.h" ] || { echo "no installed header" >&2; exit 1; }
if find "$prefix/include" -type f ! -path '*/kestrabel/*' | grep -q .; then
  echo "headers outside include/kestrabel were installed" >&2
  exit 1
fi

run_example() {
  local program=$1 song=$work/song.mp3
  cp tests/data/id3v24-full.mp3 "$song"
  [ "$("$program" "$song" "Installed")" = "Full Title" ]
  [ "$("$program" "$song")" = "Installed" ]
}
export PKG_CONFIG_PATH=$libdir/pkgconfig
# shellcheck disable=SC2046
cc -Wall -Werror examples/title.c $(pkg-config --cflags --libs kestrabel) -Wl,-rpath,"$libdir" -o "$work/title-pc"
run_example "$work/title-pc"
cmake -S examples -B "$work/example" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/example" >/dev/null
run_example "$work/example/title"
"$prefix/bin/kestrabel-tag" --version >/dev/null

# Debian's interpreter, which python3-pytest serves, also where another python3 comes first.
python=python3
[ -x /usr/bin/python3 ] && python=/usr/bin/python3
KESTRABEL_LIBRARY=$libdir/libkestrabel.so.0 PYTHONPATH=$(dirname "$(find "$prefix" -type d -name kestrabel -path '*packages*' -print -quit)") \
  "$python" -m pytest -q -p no:cacheprovider python/tests
# The static archive, where a static build tree is given: the same example, linked with what the
# archive needs (pkg-config --static, and the CMake package's link interface).
if [ -n "${2:-}" ]; then
  static=$work/static
  cmake --install "$2" --prefix "$static" >/dev/null
  archive=$(find "$static" -name libkestrabel.a -print -quit)
  [ -n "$archive" ] || { echo "no libkestrabel.a installed" >&2; exit 1; }
  # shellcheck disable=SC2046
  cc -Wall -Werror examples/title.c $(PKG_CONFIG_PATH=$(dirname "$archive")/pkgconfig pkg-config --static --cflags --libs kestrabel) \
    -o "$work/title-static"
  run_example "$work/title-static"
  cmake -S examples -B "$work/example-static" -G Ninja -DCMAKE_PREFIX_PATH="$static" >/dev/null
  cmake --build "$work/example-static" >/dev/null
  run_example "$work/example-static/title"
fi
echo "installed library: exports, pkg-config, CMake package, example and Python module all fine"
