#!/usr/bin/env bash
# Installs every Debian package that the build, the tests, the fixtures and the benchmarks need.
# Idempotent: when everything is already there it says nothing and exits at once.
set -euo pipefail

packages=(
  # build
  build-essential cmake ninja-build pkg-config ccache clang-14 libclang-rt-14-dev lld-14
  # the tag library's own dependencies
  zlib1g-dev libogg-dev libvorbis-dev libflac-dev libexif-dev libplist-dev
  # tests
  libgtest-dev googletest
  # objects, player bridge, desktop application
  qt6-base-dev qt6-base-dev-tools qt6-svg-dev qt6-image-formats-plugins qt6-wayland libxcb1-dev libx11-dev
  # real encoders, validators and peers used by fixtures and interop tests
  ffmpeg lame sox flac vorbis-tools opus-tools libimage-exiftool-perl python3 python3-mutagen python3-pytest
  # checks of the generated shell completions and man page
  zsh groff-base man-db
  # a real session bus and a real player for the player bridge
  dbus dbus-x11 mpv mpv-mpris xdg-utils
  # a second real player for the desktop end-to-end run (headless, SDL output)
  audacious audacious-plugins libsdl2-2.0-0
  # the desktop end-to-end run
  xvfb xauth xdotool xcompmgr imagemagick x11-utils
  # benchmarks against the peers
  libtag1-dev time
  # the big-file save on a loop-mounted XFS image with reflink
  xfsprogs
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "setup: installing ${#missing[@]} missing package(s): ${missing[*]}" >&2
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
echo "setup: done" >&2
