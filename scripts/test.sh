#!/usr/bin/env bash
# Sets everything up, builds, and runs every test through ctest.
set -euo pipefail
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$ROOT/scripts/setup.sh"
ctest --test-dir "$ROOT/build" --output-on-failure -j2
