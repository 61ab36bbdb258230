#!/usr/bin/env bash
# Sets everything up, builds, and starts Morvane with the arguments given.
set -euo pipefail
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$ROOT/scripts/setup.sh"
exec "$ROOT/build/morvane" "$@"
