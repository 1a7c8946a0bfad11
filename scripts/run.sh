#!/usr/bin/env bash
# The main job: build, then open the control window on the bundled sample album, played by mpv.
# Without a display the window cannot open, so it shows what Kestrabel reads from the album instead.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh >/dev/null

have_display() {
  [ -n "${WAYLAND_DISPLAY:-}" ] && return 0
  [ -n "${DISPLAY:-}" ] || return 1
  if command -v xdpyinfo >/dev/null 2>&1; then
    xdpyinfo >/dev/null 2>&1
  fi
}

if have_display; then
  # The window finds the player on the session bus; a bare login or container may have none.
  if [ -z "${DBUS_SESSION_BUS_ADDRESS:-}" ] && command -v dbus-run-session >/dev/null 2>&1; then
    exec dbus-run-session -- ./build/app/kestrabel --demo
  fi
  exec ./build/app/kestrabel --demo
fi

echo "No display is available, so the window cannot open." >&2
echo "This is what Kestrabel reads from the sample album that 'kestrabel --demo' plays:" >&2
exec ./build/cli/kestrabel-tag show app/demo/*.mp3
