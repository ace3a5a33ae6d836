#!/usr/bin/env bash
# The StatusNotifierItem path: on a private session bus with a stand-in watcher (as a panel's tray
# provides), the app registers its item, offers its icon at every tray size, and exports the
# plain-text mirror of its menu over dbusmenu with the demo's rows; opening that menu as a panel
# does keeps every row's id and sends no layout signal when nothing came or went, and the "More"
# submenu answers its rows.
# Usage: sni-e2e.sh APP STAND_IN. Exit 77 (skipped) when a tool is missing.
set -euo pipefail
app=$1 standIn=$2
for tool in Xvfb dbus-run-session dbus-send; do
  command -v "$tool" >/dev/null || { echo "skipped: $tool is not installed"; exit 77; }
done
work=$(mktemp -d)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
export HOME=$work/home XDG_CONFIG_HOME=$work/config XDG_STATE_HOME=$work/state XDG_RUNTIME_DIR=$work/run
mkdir -p "$HOME" "$XDG_CONFIG_HOME" "$XDG_STATE_HOME" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
unset WAYLAND_DISPLAY CORVANE_MENUBAR_ENV CORVANE_CLI_PATH
# In the sanitizer build the app's exit is judged by its status: the caches Qt's libraries keep
# to the end (fonts, D-Bus, X) would read as leaks of the app. Our own leaks are the unit tests'.
export ASAN_OPTIONS="${ASAN_OPTIONS:+$ASAN_OPTIONS:}detect_leaks=0"
export QT_QPA_PLATFORM=xcb LANG=C.UTF-8

Xvfb -displayfd 3 -screen 0 640x480x24 -nolisten tcp 3>"$work/display" 2>"$work/xvfb.err" &
pids+=($!)
for ((i = 0; i < 100; i++)); do [[ -s $work/display ]] && break; sleep 0.1; done
export DISPLAY=:$(cat "$work/display")

# Inside the private bus: the watcher first (the app looks for it when it starts), then the app.
export APP=$app STAND_IN=$standIn WORK=$work
dbus-run-session -- bash -c '
  "$STAND_IN" 30 "Copy machine ID" >"$WORK/found" 2>"$WORK/stand-in.err" &
  watcher=$!
  for ((i = 0; i < 50; i++)); do
    dbus-send --session --print-reply --dest=org.freedesktop.DBus /org/freedesktop/DBus \
      org.freedesktop.DBus.NameHasOwner string:org.kde.StatusNotifierWatcher 2>/dev/null | grep -q "boolean true" && break
    sleep 0.1
  done
  "$APP" --demo >"$WORK/app.out" 2>"$WORK/app.err" &
  app=$!
  wait "$watcher"; status=$?
  kill "$app"; wait "$app" || true
  exit $status
' || { echo "FAIL: no item with the demo menu registered"; cat "$work/stand-in.err" "$work/app.err"; exit 1; }

cat "$work/found"
fail=0
expect() { grep -qxE -- "$1" "$work/found" || { echo "FAIL: missing: $1"; fail=1; }; }
# Every tray size, and the 2x forms a HiDPI panel picks.
for size in 16 22 24 32 48 64; do expect "icon ${size}x${size}"; done
expect "icon 44x44"
# Custom rows as their one-line text; the app rows at the end of the "More" submenu; the demo is
# taller than a panel menu's top level may be, so the end of its actions sits in a fold.
for row in "row   Copy machine ID" "row [0-9]+ more" "row Sessions synced — 3 sessions" "row Fix flaky login test · .* — Working · .*" \
  "row GitHub: connected, checked .*" "row More" "row   Quit Corvane"; do
  expect "$row"
done
expect "iconThemePath answered"
expect "opening: layout-updated 0, rows kept ([0-9]+) of \1"
expect "submenu More: ([5-9]|[1-9][0-9]) rows"
grep -q '^item ' "$work/found" || { echo "FAIL: no item"; fail=1; }
exit $fail
