#!/usr/bin/env bash
# Builds the app and runs it in the headless shell (frames on stdout, commands on stdin: open,
# close, pick N, quit). It talks to the installed Corvane CLI when the locator finds one, and to
# the bundled simulator (--demo) otherwise.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake --preset dev >/dev/null
cmake --build --preset dev --target corvane-menubar corvane-sim
app=build/dev/CorvaneMenubar/corvane-menubar
status=0
"$app" --print-menu >/dev/null 2>&1 || status=$?
if [ "$status" -eq 2 ]; then
  exec "$app" --headless --demo "$@"
fi
exec "$app" --headless "$@"
