#!/usr/bin/env bash
# Builds the app and runs it in the headless shell (frames on stdout, commands on stdin: open,
# close, pick N, quit). It talks to the installed Corvane CLI when the locator finds one, and to
# the bundled simulator (--demo) otherwise.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake --preset dev >/dev/null
if [[ "$(uname -s)" == "Darwin" ]]; then
  # The menu bar app itself, run from its bundle so that its Info keys apply; Ctrl-C quits it.
  cmake --build --preset dev --target Corvane corvane-sim
  exec build/dev/CorvaneMenubar/macos/Corvane.app/Contents/MacOS/Corvane "$@"
fi
cmake --build --preset dev --target corvane-menubar corvane-sim
app=build/dev/CorvaneMenubar/corvane-menubar
status=0
"$app" --print-menu >/dev/null 2>&1 || status=$?
if [ "$status" -eq 2 ]; then
  exec "$app" --headless --demo "$@"
fi
exec "$app" --headless "$@"
