#!/usr/bin/env bash
# Fails when a C++ file is not formatted with the repository's .clang-format.
set -euo pipefail
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$ROOT"
command -v clang-format >/dev/null || "$ROOT/scripts/install-packages.sh" clang-format
git ls-files '*.cpp' '*.h' | grep -v '^cipher/blowfish_constants.cpp$' | xargs clang-format --dry-run --Werror
