#!/usr/bin/env bash
# Builds the app and runs it: the desktop shell when this build has one and a display is present,
# otherwise the headless shell (the menu drawn in the terminal; commands on stdin: open, close,
# pick PATH, quit). It talks to the installed Corvane CLI when the locator finds one, and to the
# bundled simulator (--demo) otherwise. Extra arguments go to the app (--headless, --json, …).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake --preset dev >/dev/null
cmake --build --preset dev --target corvane-menubar corvane-sim
app=build/dev/CorvaneMenubar/corvane-menubar
status=0
"$app" --print-menu >/dev/null 2>&1 || status=$?
if [ "$status" -eq 2 ]; then
  exec "$app" --demo "$@"
fi
exec "$app" "$@"
