#!/usr/bin/env bash
# Builds the app and runs it.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake --preset dev >/dev/null
cmake --build --preset dev --target corvane-menubar
exec build/dev/CorvaneMenubar/corvane-menubar --print-menu --payload tests/data/sample-menu.json "$@"
