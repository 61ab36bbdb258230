#!/usr/bin/env bash
# Sets everything up, then renders every window and dialog of the program,
# with sample content, to PNG files in build/screenshots/ (the main window
# also at its minimum size), and all of them again at 2x in build/screenshots/2x/.
set -euo pipefail
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$ROOT/scripts/setup.sh"
mkdir -p "$ROOT/build/screenshots"
# At 1x, then every window again at 2x (a high-density screen) in 2x/.
QT_QPA_PLATFORM=offscreen "$ROOT/build/tests/gui/morvane_screenshots" "$ROOT/build/screenshots" 2>/dev/null
mkdir -p "$ROOT/build/screenshots/2x"
QT_QPA_PLATFORM=offscreen QT_SCALE_FACTOR=2 "$ROOT/build/tests/gui/morvane_screenshots" \
  "$ROOT/build/screenshots/2x" 2>/dev/null
