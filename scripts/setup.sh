#!/usr/bin/env bash
# Installs the Debian packages the build needs (once, with apt-get), then
# configures and builds a Release build in build/. Used by run.sh and test.sh.
set -euo pipefail
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"

# Build, libraries, tests, the real zip programs the interoperability tests
# exchange archives with, and the desktop toolkit with the fonts its windows
# name ("Arial" and "Arial Narrow" are met by their metric twins).
PACKAGES=(g++ cmake ninja-build ccache pkg-config libgtest-dev libgmock-dev libbenchmark-dev libssl-dev
  libzip-dev zlib1g-dev libisal-dev 7zip zip unzip qt6-base-dev qt6-svg-dev fonts-liberation)

"$ROOT/scripts/install-packages.sh" "${PACKAGES[@]}"

cmake -S "$ROOT" -B "$ROOT/build" -G Ninja -DCMAKE_BUILD_TYPE=Release "$@" >/dev/null
cmake --build "$ROOT/build" -j2
