#!/usr/bin/env bash
# file_memory.sh: peak memory of morvane-cipher over a 1 GiB file. Enciphers
# and deciphers a file of random bytes with the Release build's tool
# (build/tools/morvane-cipher), prints the maximum resident set size of each
# run in MiB, checks that the round trip gives the file back, and fails when
# either peak reaches 64 MiB: the file cipher streams, so memory must stay flat
# whatever the file's size.
set -euo pipefail
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
BUILD="$ROOT/build"
LIMIT_MIB=64
KEY="file memory check"

[ -x /usr/bin/time ] || "$ROOT/scripts/install-packages.sh" time
if [ ! -f "$BUILD/CMakeCache.txt" ]; then
  cmake -S "$ROOT" -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
fi
cmake --build "$BUILD" -j2 --target morvane-cipher
TOOL="$BUILD/tools/morvane-cipher"

WORK="$(mktemp -d "${TMPDIR:-/tmp}/morvane-memory.XXXXXX")"
trap 'rm -rf "$WORK"' EXIT

echo "Writing 1 GiB of random bytes..."
head -c 1G /dev/urandom >"$WORK/plain"

# Runs the tool under GNU time; prints the peak resident set size in KiB.
peak_kib() {
  local log="$WORK/time.log"
  if ! /usr/bin/time -v -o "$log" "$TOOL" "$@"; then
    echo "file_memory.sh: morvane-cipher $1 failed" >&2
    exit 1
  fi
  awk -F': ' '/Maximum resident set size/ {print $2}' "$log"
}

failed=0
report() {
  local what="$1" kib="$2" seconds="$3"
  local mib
  mib="$(awk -v k="$kib" 'BEGIN {printf "%.1f", k / 1024}')"
  if awk -v k="$kib" -v l="$LIMIT_MIB" 'BEGIN {exit !(k < l * 1024)}'; then
    echo "$what: maximum resident set size $mib MiB ($kib KiB), $seconds s  PASS (< $LIMIT_MIB MiB)"
  else
    echo "$what: maximum resident set size $mib MiB ($kib KiB), $seconds s  FAIL (>= $LIMIT_MIB MiB)"
    failed=1
  fi
}

start=$(date +%s.%N)
encrypt_kib="$(peak_kib encrypt-file "$KEY" "$WORK/plain" "$WORK/plain.enz")"
middle=$(date +%s.%N)
decrypt_kib="$(peak_kib decrypt-file "$KEY" "$WORK/plain.enz" "$WORK/plain.out")"
end=$(date +%s.%N)

echo "input $(stat -c %s "$WORK/plain") bytes, enciphered $(stat -c %s "$WORK/plain.enz") bytes"
report "encrypt-file" "$encrypt_kib" "$(awk -v a="$start" -v b="$middle" 'BEGIN {printf "%.1f", b - a}')"
report "decrypt-file" "$decrypt_kib" "$(awk -v a="$middle" -v b="$end" 'BEGIN {printf "%.1f", b - a}')"

if cmp -s "$WORK/plain" "$WORK/plain.out"; then
  echo "round trip: identical"
else
  echo "round trip: the deciphered file differs from the input  FAIL"
  failed=1
fi
exit "$failed"
