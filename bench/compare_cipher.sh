#!/usr/bin/env bash
# compare_cipher.sh [BENCHMARK OPTION...]: builds and runs cipher_bench once in
# the Release build (build/) and sets Morvane's cipher against OpenSSL's
# Blowfish on the same machine, per buffer size:
#   enciphering throughput  Morvane / OpenSSL    at least 1.0
#   deciphering throughput  Morvane / OpenSSL    at least 2.5
#   key schedule time       Morvane / OpenSSL    at most 1.0
# Each line is marked PASS or FAIL; the exit status is 1 when one fails.
# Medians of 5 repetitions are compared. Other work on the machine shows in
# the figures: the load average is printed first.
set -euo pipefail
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
BUILD="$ROOT/build"

if [ ! -f "$BUILD/CMakeCache.txt" ]; then
  cmake -S "$ROOT" -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
fi
cmake --build "$BUILD" -j2 --target cipher_bench
BENCH="$BUILD/bench/cipher_bench"
if [ ! -x "$BENCH" ]; then
  echo "compare_cipher.sh: $BENCH was not built (Google Benchmark or OpenSSL missing?)" >&2
  exit 2
fi

RESULTS="$(mktemp "${TMPDIR:-/tmp}/cipher_bench.XXXXXX.json")"
trap 'rm -f "$RESULTS"' EXIT

echo "load average: $(cut -d' ' -f1-3 /proc/loadavg)"
"$BENCH" --benchmark_repetitions=5 --benchmark_report_aggregates_only=true \
  --benchmark_out="$RESULTS" --benchmark_out_format=json "$@"
echo

python3 - "$RESULTS" <<'PY'
import json
import re
import sys

SCALE = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}

with open(sys.argv[1]) as f:
    report = json.load(f)

# Medians by benchmark family and size: ("Encipher_Morvane", 65536) -> entry.
median = {}
for entry in report["benchmarks"]:
    if entry.get("aggregate_name") != "median":
        continue
    match = re.match(r"([A-Za-z_]+)(?:/bytes:(\d+))?", entry["run_name"])
    size = int(match.group(2)) if match.group(2) else None
    median[(match.group(1), size)] = entry

def throughput(family, size):
    return median[(family, size)]["bytes_per_second"]

def seconds(family):
    entry = median[(family, None)]
    return entry["real_time"] * SCALE[entry["time_unit"]]

def size_text(size):
    return f"{size >> 20} MiB" if size >= 1 << 20 else f"{size >> 10} KiB"

def mark(ok):
    return "PASS" if ok else "FAIL"

failed = False
sizes = sorted({size for (_, size) in median if size is not None})
for size in sizes:
    print(f"{size_text(size)}:")
    for direction, target in (("Encipher", 1.0), ("Decipher", 2.5)):
        ours = throughput(f"{direction}_Morvane", size)
        theirs = throughput(f"{direction}_OpenSSL", size)
        ratio = ours / theirs
        ok = ratio >= target
        failed |= not ok
        print(f"  {direction.lower()}ing: Morvane {ours / 2**20:8.1f} MiB/s, OpenSSL {theirs / 2**20:8.1f} MiB/s, "
              f"Morvane/OpenSSL = {ratio:.3f} (target >= {target})  {mark(ok)}")

ours, theirs = seconds("KeySchedule_Morvane"), seconds("KeySchedule_OpenSSL")
ratio = ours / theirs
ok = ratio <= 1.0
failed |= not ok
print(f"key schedule: Morvane {ours * 1e6:.2f} us, OpenSSL BF_set_key {theirs * 1e6:.2f} us: "
      f"Morvane key schedule time = {ratio:.3f} x OpenSSL's (target <= 1.0)  {mark(ok)}")
sys.exit(1 if failed else 0)
PY
