#!/usr/bin/env bash
# The Qt tray app's desktop figures, on demand (not part of the tests): under Xvfb with trayer as
# the tray host, the app on the simulator (--demo).
#   start to icon    from the app's start to its icon mapped inside the tray (polled every 5 ms)
#   resident memory  VmRSS after 60 s with the menu closed
#   idle CPU         user + system time the app used over 120 s with the menu closed
# Usage: bench/qt-desktop.sh [APP] (default: build/dev/CorvaneMenubar/corvane-menubar).
# IDLE_SECONDS and SETTLE_SECONDS shorten the runs.
set -euo pipefail
cd "$(dirname "$0")/.."
app=${1:-build/dev/CorvaneMenubar/corvane-menubar}
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
unset DBUS_SESSION_BUS_ADDRESS WAYLAND_DISPLAY
export QT_QPA_PLATFORM=xcb

Xvfb -displayfd 3 -screen 0 800x600x24 -nolisten tcp 3>"$work/display" 2>/dev/null &
pids+=($!)
for ((i = 0; i < 100; i++)); do [[ -s $work/display ]] && break; sleep 0.1; done
export DISPLAY=:$(cat "$work/display")
trayer --edge top --align right --widthtype request --height 28 --SetDockType false >/dev/null 2>&1 &
pids+=($!)
sleep 1

ticks=$(getconf CLK_TCK)
cpuTicks() { awk '{ print $14 + $15 }' "/proc/$1/stat"; }
embedded() {
  local window
  for window in $(xdotool search --onlyvisible --classname '^corvane-menubar$' 2>/dev/null); do
    eval "$(xdotool getwindowgeometry --shell "$window")"
    ((WIDTH <= 64 && HEIGHT <= 64 && Y < 28)) && return 0
  done
  return 1
}

start=$(date +%s%N)
"$app" --demo >/dev/null 2>"$work/app.err" &
app_pid=$!
pids+=($app_pid)
until embedded; do
  (($(date +%s%N) - start > 15000000000)) && { echo "the icon never embedded"; cat "$work/app.err"; exit 1; }
  sleep 0.005
done
echo "start to icon embedded: $((($(date +%s%N) - start) / 1000000)) ms"

sleep "${SETTLE_SECONDS:-60}"
echo "resident memory after ${SETTLE_SECONDS:-60} s, menu closed: $(awk '/VmRSS/ { printf "%.1f MB", $2 / 1024 }' "/proc/$app_pid/status")"

idle=${IDLE_SECONDS:-120}
before=$(cpuTicks "$app_pid")
sleep "$idle"
after=$(cpuTicks "$app_pid")
echo "CPU over ${idle} s idle, menu closed: $(((after - before) * 1000 / ticks)) ms"
