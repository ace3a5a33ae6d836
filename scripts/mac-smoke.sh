#!/usr/bin/env bash
# Usage: scripts/mac-smoke.sh BUILD_DIR        (macOS only, with a logged-in session: a CI runner)
# Launches the Corvane.app that BUILD_DIR holds the way Finder does (open, through LaunchServices),
# with the bundled simulator as its CLI and the environment "ci-smoke", and checks what a user
# would notice first:
#   1. it stays up and its log records the launch poll, with a -psn_0_1 argument (which
#      LaunchServices passes a quarantined app) ignored;
#   2. a quit Apple Event (as at logout) ends it, and is not answered "cancelled";
#   3. SIGTERM ends it within 4 s, its log's last line complete;
#   4. --unregister-login-item exits 0.
set -euo pipefail
build=${1:?usage: mac-smoke.sh BUILD_DIR}
build=$(cd "$build" && pwd)
app=$(find "$build" -maxdepth 4 -name Corvane.app -type d | head -n 1)
sim=$(find "$build" -maxdepth 3 -name corvane-sim -type f -perm -u+x | head -n 1)
[[ -n $app && -n $sim ]] || { echo "no Corvane.app or corvane-sim under $build" >&2; exit 1; }
bundle_id=$(plutil -extract CFBundleIdentifier raw -o - "$app/Contents/Info.plist")
logs=$HOME/Library/Logs/Corvane/ci-smoke
fail() { echo "FAIL $*" >&2; exit 1; }
running() { pgrep -f "$app/Contents/MacOS/Corvane" > /dev/null; }
launch() {
  open -n --env CORVANE_MENUBAR_ENV=ci-smoke --env "CORVANE_CLI_PATH=$sim" "$app" --args "$@"
  for _ in $(seq 1 50); do running && return 0; sleep 0.2; done
  fail "the app did not start"
}
wait_gone() {  # seconds
  local tenths=$(($1 * 10))
  for _ in $(seq 1 "$tenths"); do running || return 0; sleep 0.1; done
  return 1
}
rm -rf "$logs"

# 1. Up, polled, -psn_ ignored.
launch -psn_0_1
sleep 5
running || fail "the app quit within 5 s of its launch (a -psn_0_1 argument must be ignored)"
grep -qE '"trigger": ?"launch"' "$logs"/menubar-refresh.jsonl || fail "no launch poll in $logs/menubar-refresh.jsonl"
echo "ok   launched with -psn_0_1, still up, launch poll logged"

# 2. Quit Apple Event, as logout sends.
if ! answer=$(osascript -e "tell application id \"$bundle_id\" to quit" 2>&1); then
  fail "the quit Apple Event was answered: $answer"
fi
wait_gone 5 || fail "the app is still running 5 s after the quit Apple Event"
echo "ok   quit Apple Event accepted; the app left"

# 3. SIGTERM.
launch
sleep 3
pid=$(pgrep -f "$app/Contents/MacOS/Corvane" | head -n 1)
kill -TERM "$pid"
wait_gone 4 || fail "the app is still running 4 s after SIGTERM"
tail -n 1 "$logs"/menubar-refresh.jsonl | python3 -c 'import json, sys; json.loads(sys.stdin.read())' ||
  fail "the refresh log's last line is not a complete JSON line"
echo "ok   SIGTERM ended it within 4 s; the log's last line is complete"

# 4. Uninstallers.
CORVANE_MENUBAR_ENV=ci-smoke "$app/Contents/MacOS/Corvane" --unregister-login-item || fail "--unregister-login-item exited $?"
echo "ok   --unregister-login-item exited 0"
echo "Corvane.app: smoke launch passed"
