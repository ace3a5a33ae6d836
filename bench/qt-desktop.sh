#!/usr/bin/env bash
# The Qt tray app's desktop figures, on demand (not part of the tests): under Xvfb with trayer as
# the tray host, the app on the simulator (--demo), side by side with a bare Qt 6 tray app
# (bench/qt/bareTray.cpp) started the same way in the same run:
#   start to icon    from the start to the item registered with a StatusNotifierItem host, and
#                    to the icon mapped inside an XEmbed tray (polled every 5 ms); the best of
#                    RUNS starts each
#   resident memory  VmRSS after 60 s with the menu closed
#   idle CPU         user + system time used over 120 s with the menu closed
# Usage: bench/qt-desktop.sh [APP [BARE]] (default: build/dev/CorvaneMenubar/corvane-menubar and
# build/dev/bench/qt/bench-bareTray). IDLE_SECONDS, SETTLE_SECONDS and RUNS shorten the runs.
set -euo pipefail
cd "$(dirname "$0")/.."
app=${1:-build/dev/CorvaneMenubar/corvane-menubar}
bare=${2:-build/dev/bench/qt/bench-bareTray}
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

ticks=$(getconf CLK_TCK)
cpuTicks() { awk '{ print $14 + $15 }' "/proc/$1/stat"; }
embedded() {  # CLASS
  local window
  for window in $(xdotool search --onlyvisible --classname "^$1\$" 2>/dev/null); do
    eval "$(xdotool getwindowgeometry --shell "$window")"
    ((WIDTH <= 64 && HEIGHT <= 64 && Y < 28)) && return 0
  done
  return 1
}

trayer --edge top --align right --widthtype request --height 28 --SetDockType false >/dev/null 2>&1 &
pids+=($!)
sleep 1

# Starts a tray app and waits for its icon: $lastStart is the time in ms; the app ($started) stays.
startToIcon() {  # NAME CLASS COMMAND...
  local name=$1 class=$2 start
  shift 2
  start=$(date +%s%N)
  "$@" >/dev/null 2>"$work/$name.err" &
  started=$!
  pids+=($started)
  until embedded "$class"; do
    (($(date +%s%N) - start > 15000000000)) && { echo "$name: the icon never embedded"; cat "$work/$name.err"; exit 1; }
    sleep 0.005
  done
  lastStart=$((($(date +%s%N) - start) / 1000000))
}

# On a desktop with a StatusNotifierItem host (the test suite's stand-in watcher on a private
# bus): ms from the start to the item's registration with the watcher (dbus-monitor's clock).
standIn=${STAND_IN:-build/dev/tests/CorvaneMenubar/platform/qt/sni-watcher-stand-in}
sniStart() {  # COMMAND...
  XDG_RUNTIME_DIR=$work/sni STAND_IN=$standIn LOG=$work/monitor dbus-run-session -- bash -c '
    "$STAND_IN" 10 >/dev/null 2>&1 &
    watcher=$!
    dbus-monitor --session --profile "member=RegisterStatusNotifierItem" >"$LOG" 2>/dev/null &
    monitor=$!
    sleep 1
    start=$(date +%s.%N)
    "$@" >/dev/null 2>&1 &
    app=$!
    for ((i = 0; i < 1000; i++)); do grep -q "^mc" "$LOG" && break; sleep 0.01; done
    awk -v start="$start" '"'"'/^mc/ { printf "%d\n", ($2 - start) * 1000; exit }'"'"' "$LOG"
    kill "$app" "$watcher" "$monitor" 2>/dev/null
    wait 2>/dev/null
    true' _ "$@" 2>/dev/null
}
mkdir -p "$work/sni" && chmod 700 "$work/sni"
sniBare= sniApp=
for ((r = 1; r <= ${RUNS:-5}; r++)); do
  ms=$(sniStart "$bare"); [[ -z $sniBare || $ms -lt $sniBare ]] && sniBare=$ms
  ms=$(sniStart "$app" --demo); [[ -z $sniApp || $ms -lt $sniApp ]] && sniApp=$ms
done
echo "start to StatusNotifierItem registered (best of ${RUNS:-5}): app $sniApp ms, bare Qt tray $sniBare ms ($(awk -v a="$sniApp" -v b="$sniBare" 'BEGIN { printf "%.2f", a / b }')x)"

# XEmbed (trayer), where the app first waits 1.5 s for a StatusNotifierItem host to come up with
# the tray (a bus is there: Qt starts one). The best of RUNS starts in $best; the last start stays running. The app and the bare tray take
# turns, so both meet the same machine load.
runs=${RUNS:-5} bareBest= appBest=
for ((r = 1; r <= runs; r++)); do
  for who in bare app; do
    if [[ $who == bare ]]; then startToIcon bare bench-bareTray "$bare"; else startToIcon app corvane-menubar "$app" --demo; fi
    if [[ $who == bare ]]; then
      [[ -z $bareBest || $lastStart -lt $bareBest ]] && bareBest=$lastStart
      bare_pid=$started
    else
      [[ -z $appBest || $lastStart -lt $appBest ]] && appBest=$lastStart
      app_pid=$started
    fi
    if ((r < runs)); then kill "$started"; wait "$started" 2>/dev/null || true; sleep 0.5; fi
  done
done
echo "start to icon embedded (best of $runs): app $appBest ms, bare Qt tray $bareBest ms ($(awk -v a="$appBest" -v b="$bareBest" 'BEGIN { printf "%.2f", a / b }')x)"

sleep "${SETTLE_SECONDS:-60}"
rss() { awk '/VmRSS/ { printf "%.1f MB", $2 / 1024 }' "/proc/$1/status"; }
echo "resident memory after ${SETTLE_SECONDS:-60} s, menu closed: app $(rss "$app_pid"), bare Qt tray $(rss "$bare_pid")"

idle=${IDLE_SECONDS:-120}
appBefore=$(cpuTicks "$app_pid") bareBefore=$(cpuTicks "$bare_pid")
sleep "$idle"
echo "CPU over ${idle} s idle, menu closed: app $((($(cpuTicks "$app_pid") - appBefore) * 1000 / ticks)) ms, bare Qt tray $((($(cpuTicks "$bare_pid") - bareBefore) * 1000 / ticks)) ms"
