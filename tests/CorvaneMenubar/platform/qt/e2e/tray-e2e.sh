#!/usr/bin/env bash
# The tray app end to end on a real X server: Xvfb, trayer as the XEmbed tray host, xdotool as the
# user's hand, ImageMagick for screenshots and xclip for the clipboard.
#   1. the app starts on the simulator (--demo) with no session bus, so its icon goes to the
#      XEmbed tray, and the icon embeds;
#   2. a second start asks the running one to open its menu and exits 0 at once;
#   3. a click on the icon opens the popup: its screenshot is kept in ARTIFACTS and compared with
#      REFERENCE (RMSE within a tolerance; sizes must match within a few pixels);
#   4. choosing "Copy machine ID" with the keyboard puts the simulator's machine id on the clipboard;
#   5. Quit (in the "More" submenu) ends the process with status 0 and a complete log;
#   6. a build-folder start left autostart alone, and --unregister-login-item removes an entry;
#   7. --window shows the menu in an ordinary window (screenshot kept), and SIGTERM ends it with 0.
# Usage: tray-e2e.sh APP REFERENCE.png ARTIFACTS_DIR. Exit 77 (skipped) when a tool is missing;
# UPDATE_REFERENCE=1 copies the new screenshot over the reference instead of comparing.
set -euo pipefail
app=$1 reference=$2 artifacts=$3
for tool in Xvfb trayer xdotool xclip import compare xwininfo python3; do
  command -v "$tool" >/dev/null || { echo "skipped: $tool is not installed"; exit 77; }
done
mkdir -p "$artifacts"
work=$(mktemp -d)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
fail() {
  echo "FAIL: $*"
  echo "--- app stderr"; cat "$work/app.err" 2>/dev/null || true
  exit 1
}
# Waits up to $1 seconds (in tenths) for the command after it to succeed.
waitFor() {
  local tenths=$(($1 * 10)); shift
  for ((i = 0; i < tenths; i++)); do "$@" && return 0; sleep 0.1; done
  return 1
}

# A private home: no autostart entry, defaults, log or instance lock of the user's is touched.
export HOME=$work/home XDG_CONFIG_HOME=$work/config XDG_STATE_HOME=$work/state XDG_RUNTIME_DIR=$work/run
mkdir -p "$HOME" "$XDG_CONFIG_HOME" "$XDG_STATE_HOME" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
unset DBUS_SESSION_BUS_ADDRESS WAYLAND_DISPLAY CORVANE_MENUBAR_ENV CORVANE_CLI_PATH TERMINAL
# In the sanitizer build the app's exit is judged by its status: the caches Qt's libraries keep
# to the end (fonts, D-Bus, X) would read as leaks of the app. Our own leaks are the unit tests'.
export ASAN_OPTIONS="${ASAN_OPTIONS:+$ASAN_OPTIONS:}detect_leaks=0"
export QT_QPA_PLATFORM=xcb LANG=C.UTF-8 QT_SCALE_FACTOR=1

Xvfb -displayfd 3 -screen 0 1280x1024x24 -nolisten tcp 3>"$work/display" 2>"$work/xvfb.err" &
pids+=($!)
waitFor 10 test -s "$work/display" || fail "Xvfb did not start"
export DISPLAY=:$(cat "$work/display")
xsetroot -solid '#3c4a5a' 2>/dev/null || true
trayer --edge top --align right --widthtype request --height 28 --SetDockType false --transparent false \
  >"$work/trayer.log" 2>&1 &
pids+=($!)
waitFor 10 sh -c 'xwininfo -root -tree | grep -q "\"panel\": (\"panel\" \"trayer\")"' || fail "trayer did not start"

"$app" --demo >"$work/app.out" 2>"$work/app.err" &
app_pid=$!
pids+=($app_pid)

# The icon: our window inside the tray's panel.
iconWindow() {
  local window
  for window in $(xdotool search --onlyvisible --classname '^corvane-menubar$' 2>/dev/null); do
    eval "$(xdotool getwindowgeometry --shell "$window")"
    ((WIDTH <= 64 && HEIGHT <= 64 && Y < 28 && X > 640)) && { echo "$window"; return 0; }
  done
  return 1
}
waitFor 15 iconWindow >/dev/null || fail "the icon did not embed in the tray"
icon=$(iconWindow)
eval "$(xdotool getwindowgeometry --shell "$icon")"
iconX=$((X + WIDTH / 2)) iconY=$((Y + HEIGHT / 2))
echo "icon embedded at ${X},${Y} (${WIDTH}x${HEIGHT})"

# The popup: our largest visible top-level window below the panel.
popupWindow() {
  local window best="" bestArea=0
  for window in $(xdotool search --onlyvisible --classname '^corvane-menubar$' 2>/dev/null); do
    eval "$(xdotool getwindowgeometry --shell "$window")"
    ((WIDTH > 100 && HEIGHT > 100 && WIDTH * HEIGHT > bestArea)) && { best=$window; bestArea=$((WIDTH * HEIGHT)); }
  done
  [[ -n $best ]] && echo "$best"
}
closeMenu() { xdotool key Escape; waitFor 5 bash -c '! popupWindow' 2>/dev/null || true; sleep 0.3; }
export -f popupWindow

# A second start hands over to the running instance, which opens its menu.
"$app" --demo >"$work/second.out" 2>&1 || fail "a second start exited with $?"
waitFor 5 popupWindow >/dev/null || fail "a second start did not open the running app's menu"
kill -0 "$app_pid" || fail "the running app ended"
closeMenu

# The demo's first poll has landed once the header names the agents; give it time to settle.
sleep 2
xdotool mousemove "$iconX" "$iconY" click 1
waitFor 5 popupWindow >/dev/null || fail "a click on the icon opened no popup"
sleep 1  # painted
popup=$(popupWindow)
import -window root "$artifacts/desktop.png"
import -window "$popup" "$artifacts/popup.png"
echo "popup: $artifacts/popup.png"
if [[ ${UPDATE_REFERENCE:-0} == 1 ]]; then
  cp "$artifacts/popup.png" "$reference"
  echo "reference updated: $reference"
else
  read -r width height < <(identify -format '%w %h\n' "$artifacts/popup.png")
  read -r refWidth refHeight < <(identify -format '%w %h\n' "$reference")
  ((${width} - refWidth <= 8 && refWidth - width <= 8 && height - refHeight <= 8 && refHeight - height <= 8)) ||
    fail "the popup is ${width}x${height}, the reference ${refWidth}x${refHeight}"
  size="$((width > refWidth ? width : refWidth))x$((height > refHeight ? height : refHeight))"
  # Text rendering and the demo's ages vary a little; a missing or misdrawn row does not.
  convert "$artifacts/popup.png" -background white -extent "$size" "$work/shot.png"
  convert "$reference" -background white -extent "$size" "$work/reference.png"
  score=$(compare -metric RMSE "$work/shot.png" "$work/reference.png" "$artifacts/popup-diff.png" 2>&1 |
    sed -E 's/.*\(([0-9.e+-]+)\).*/\1/') || true
  echo "popup differs from the reference by RMSE $score"
  python3 -c "import sys; sys.exit(0 if float('$score') < ${TOLERANCE:-0.03} else 1)" ||
    fail "the popup differs from the reference (RMSE $score; see $artifacts/popup-diff.png)"
fi

# "Copy machine ID" with the keyboard: Up from no highlight starts at the last row ("More", then
# "Harnesses"), so three Ups reach it.
printf '' | xclip -selection clipboard
xdotool key --delay 80 Up Up Up
import -window "$popup" "$artifacts/popup-copy-row.png"
xdotool key Return
waitFor 5 sh -c '[ "$(xclip -o -selection clipboard 2>/dev/null)" = sim-machine-0001 ]' ||
  fail "the clipboard holds '$(xclip -o -selection clipboard 2>/dev/null)', not the machine id"
echo "copy row: the clipboard holds sim-machine-0001"

# Quit: the last row of the "More" submenu (the last row of the menu).
xdotool mousemove "$iconX" "$iconY" click 1
waitFor 5 popupWindow >/dev/null || fail "the popup did not open again"
sleep 0.5
xdotool key --delay 150 Up Right Up
sleep 0.5
import -window root "$artifacts/quit-row.png"
xdotool key Return
waitFor 10 sh -c "! kill -0 $app_pid 2>/dev/null" || fail "Quit did not end the app"
wait "$app_pid" && status=0 || status=$?
((status == 0)) || fail "the app exited with $status"
logFolder=$XDG_STATE_HOME/corvane/logs/production
python3 - "$logFolder/menubar-refresh.jsonl" <<'PY' || fail "the log is missing or not complete"
import json, sys
lines = open(sys.argv[1], encoding="utf-8").read().split("\n")
assert lines[-1] == "", "the last line is not finished"
records = [json.loads(line) for line in lines[:-1]]
assert records, "no refresh was logged"
PY
echo "quit: exit 0, $(($(wc -l <"$logFolder/menubar-refresh.jsonl"))) refresh lines logged"

# Run from a build folder, the first launch did not register itself to start at login; the
# uninstaller's flag removes an entry without needing a display.
entry=$XDG_CONFIG_HOME/autostart/com.usecorvane.Menubar.desktop
[[ ! -e $entry ]] || fail "a build-folder run registered itself at login"
mkdir -p "$(dirname "$entry")"
printf '[Desktop Entry]\nType=Application\nName=Corvane\nExec=corvane-menubar\n' >"$entry"
env -u DISPLAY "$app" --unregister-login-item >"$work/unregister.out" 2>&1 || fail "--unregister-login-item exited with $?"
[[ ! -e $entry ]] || fail "--unregister-login-item left the autostart entry"
echo "unregister: the autostart entry is gone"

# --window: the same menu in an ordinary window (what a desktop without a tray gets after 10 s).
"$app" --demo --window >"$work/window.out" 2>"$work/app.err" &
window_pid=$!
pids+=($window_pid)
waitFor 10 bash -c 'popupWindow >/dev/null' || fail "--window showed no window"
sleep 1.5  # the first poll's rows
import -window "$(popupWindow)" "$artifacts/window.png"
echo "window: $artifacts/window.png"
kill -TERM "$window_pid"
wait "$window_pid" && status=0 || status=$?
((status == 0)) || fail "the window app exited with $status on SIGTERM"
echo "window: SIGTERM ended it with status 0"
