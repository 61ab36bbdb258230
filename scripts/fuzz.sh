#!/usr/bin/env bash
# fuzz.sh [SECONDS [TARGET...]]: builds the libFuzzer targets of fuzz/ with clang,
# AddressSanitizer and UndefinedBehaviorSanitizer in build-fuzz/, then runs
# each target for SECONDS (default 600), one after another. Each keeps its
# corpus in build-fuzz/corpus-NAME (so later runs go on from it) and its log in
# build-fuzz/fuzz-NAME.log; a crashing input lands in build-fuzz/artifacts/.
# Prints each run's final "Done N runs in S second(s)" line; exits 1 when a
# target crashed or found a mismatch.
set -euo pipefail
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
BUILD="$ROOT/build-fuzz"
RUN_SECONDS="${1:-600}"
case "$RUN_SECONDS" in
  '' | *[!0-9]*) echo "usage: scripts/fuzz.sh [SECONDS [TARGET...]]" >&2; exit 2 ;;
esac
shift || true
ONLY=("$@")  # no names: every target

# Target name and the longest input it is given. Hexadecimal texts and
# buffers above 64 KiB reach the two-core deciphering path.
TARGETS=(
  "fuzz_decrypt_string_hex 131072"
  "fuzz_hex_to_bytes 4096"
  "fuzz_decipher_buffer 131072"
  "fuzz_command_line 4096"
  "fuzz_password_database 16384"
  "fuzz_winzip_aes_reader 300000"
  "fuzz_zip_extraction 70000"
)

"$ROOT/scripts/install-packages.sh" clang libclang-rt-14-dev cmake ninja-build
CC=clang CXX=clang++ cmake -S "$ROOT" -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_CXX_COMPILER=clang++ -DMORVANE_SANITIZE=ON -DMORVANE_FUZZ=ON -DMORVANE_TOOLKIT_FREE_ONLY=ON \
  -DMORVANE_TESTS=OFF -DMORVANE_BENCH=OFF >/dev/null
if [ ${#ONLY[@]} -gt 0 ]; then
  chosen=()
  for entry in "${TARGETS[@]}"; do
    for name in "${ONLY[@]}"; do [ "${entry%% *}" = "$name" ] && chosen+=("$entry"); done
  done
  TARGETS=("${chosen[@]}")
fi
names=()
for entry in "${TARGETS[@]}"; do names+=("${entry%% *}"); done
cmake --build "$BUILD" -j2 --target "${names[@]}"

mkdir -p "$BUILD/artifacts"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
status=0
for entry in "${TARGETS[@]}"; do
  name="${entry%% *}"
  max_len="${entry##* }"
  corpus="$BUILD/corpus-$name"
  log="$BUILD/fuzz-$name.log"
  mkdir -p "$corpus"
  echo "== $name: $RUN_SECONDS s, inputs up to $max_len bytes"
  if "$BUILD/fuzz/$name" "$corpus" -max_total_time="$RUN_SECONDS" -max_len="$max_len" \
    -artifact_prefix="$BUILD/artifacts/$name-" -print_final_stats=1 >"$log" 2>&1; then
    grep -E '^Done [0-9]+ runs' "$log" || echo "$name: no final stats line; see $log"
  else
    code=$?
    echo "$name: FAILED (exit $code); the end of $log:"
    tail -n 40 "$log"
    status=1
  fi
done
exit "$status"
