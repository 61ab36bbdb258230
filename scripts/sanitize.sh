#!/usr/bin/env bash
# Builds the toolkit-free libraries and their tests with AddressSanitizer and
# UndefinedBehaviorSanitizer in build-sanitize/ and runs the tests.
set -euo pipefail
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$ROOT/scripts/install-packages.sh" g++ cmake ninja-build ccache pkg-config libgtest-dev libgmock-dev \
  libzip-dev zlib1g-dev libisal-dev 7zip zip unzip
cmake -S "$ROOT" -B "$ROOT/build-sanitize" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DMORVANE_SANITIZE=ON -DMORVANE_TOOLKIT_FREE_ONLY=ON -DMORVANE_BENCH=OFF >/dev/null
cmake --build "$ROOT/build-sanitize" -j2
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  LSAN_OPTIONS="suppressions=$ROOT/scripts/lsan-suppressions.txt" \
  ctest --test-dir "$ROOT/build-sanitize" --output-on-failure -j2
