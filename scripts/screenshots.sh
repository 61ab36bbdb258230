#!/usr/bin/env bash
# Sets everything up, then renders every window and dialog of the program,
# with sample content, to PNG files in build/screenshots/.
set -euo pipefail
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$ROOT/scripts/setup.sh"
mkdir -p "$ROOT/build/screenshots"
QT_QPA_PLATFORM=offscreen "$ROOT/build/tests/gui/morvane_screenshots" "$ROOT/build/screenshots" 2>/dev/null
