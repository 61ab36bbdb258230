#!/usr/bin/env bash
# compare_container.sh: the combined archive next to 7-Zip making and opening
# one AES-256 zip of the same files, and next to the standard tools that do
# the same two layers, on the same machine and the same files.
#
#   making it   morvane-cipher pack    vs  7zz a -tzip -mx=4 -mem=AES256 -mmt=2   at most 0.80
#   opening it  morvane-cipher unpack  vs  7zz x                                   at most 0.90
#   making it with "remove source" (morvane -e -od, read back before deleting)
#                                      vs  7zz a                                   at most 1.0
#   the command line's jobs (morvane -e, morvane -d) vs morvane-cipher pack and unpack
#                                                                                  at most 1.05
#   making it   morvane-cipher pack    vs  zip -4 -P, then openssl enc -bf-cbc     at most 1.0
#   opening it  morvane-cipher unpack  vs  openssl enc -d -bf-cbc, then unzip -P   at most 0.7
#   1000 files  morvane-cipher pack    vs  zip -4 -P alone                         at most 1.2
#   peak resident memory of pack, unpack and the program                          under 64 MiB
#
# BUILD=dir measures the programs built in another build directory (an older
# version, for figures before and after a change).
#
# The program itself then makes the archive of the 8 files from its command
# line as a batch file does, once keeping the sources and once with "remove
# source" (-od, which reads the archive back and checks it before any source
# is deleted); the sources are copied back outside the timing. Both are shown
# against zip + openssl, and the second against the first: the price of the
# check.
#
# The files (made by make_corpus.sh in a directory under /tmp, deleted at the
# end) are 8 of 32 MiB, half log-like text and half random bytes, and 1000 of
# 256 KiB, text and random in turn. Each command is run once to warm the page
# cache and the programs, then RUNS times (3 unless set in the environment),
# Morvane and the peers in turn; dirty pages are flushed with sync before each
# run and outputs deleted between runs, outside the timing. Medians are
# compared; for the peers, the two commands of one run are added up first.
# Both outputs of the round trip are compared with the input files.
# The exit status is 1 when a target is missed. Other work on the machine shows
# in the figures: the load average is printed before and after.
set -euo pipefail
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
BUILD="${BUILD:-$ROOT/build}"
RUNS="${RUNS:-3}"
PASSWORD="bench Passw0rd"
LIMIT_MIB=64

"$ROOT/scripts/install-packages.sh" zip unzip openssl time 7zip
if [ ! -f "$BUILD/CMakeCache.txt" ]; then
  cmake -S "$ROOT" -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
fi
cmake --build "$BUILD" -j2 --target morvane-cipher morvane
TOOL="$BUILD/tools/morvane-cipher"
# Blowfish sits in OpenSSL 3's legacy provider. One PBKDF2 iteration keeps the
# key derivation out of the figures.
OPENSSL_BF=(openssl enc -bf-cbc -provider legacy -provider default -pbkdf2 -iter 1 -pass "pass:$PASSWORD")

# No "-" in the path: the program's command line is split at "-".
WORK="$(mktemp -d /tmp/mvbenchXXXXXXXX)"
trap 'rm -rf "$WORK"' EXIT
mkdir "$WORK/times"

# The program in a directory of its own (its log goes there), with its
# settings in the work directory and its use agreement accepted.
mkdir -p "$WORK/prog" "$WORK/config/morvane" "$WORK/data"
cp "$BUILD/morvane" "$WORK/prog/morvane"
printf 'software\\\\Morvane\tAgreement\taccepted\n' >"$WORK/config/morvane/registry"
PROGRAM=(env XDG_CONFIG_HOME="$WORK/config" XDG_DATA_HOME="$WORK/data" "$WORK/prog/morvane")

echo "load average before: $(cut -d' ' -f1-3 /proc/loadavg)"
echo "Writing the files (506 MiB)..."
"$ROOT/bench/make_corpus.sh" "$WORK/corpus"
BIG=("$WORK/corpus/big/"*)
MANY=("$WORK/corpus/many/"*)

# timed KEY COMMAND...: runs COMMAND under GNU time after flushing dirty pages
# and appends "wall-ns peak-rss-KiB user-s system-s" to times/KEY.
timed() {
  local key="$1"
  shift
  sync
  local start end
  start=$(date +%s%N)
  if ! /usr/bin/time -f "%M %U %S" -o "$WORK/time.log" "$@" >/dev/null; then
    echo "compare_container.sh: failed: $*" >&2
    exit 1
  fi
  end=$(date +%s%N)
  echo "$((end - start)) $(cat "$WORK/time.log")" >>"$WORK/times/$key"
}

# Run 0 is the warm-up: timed like the others, left out of the figures.
echo "Making and opening the archive of 8 files, $RUNS runs after a warm-up..."
for _ in $(seq 0 "$RUNS"); do
  rm -f "$WORK/out.enz"
  timed morvane_pack "$TOOL" pack "$PASSWORD" "$WORK/out.enz" "${BIG[@]}"
  rm -f "$WORK/peer.zip" "$WORK/peer.enc"
  timed zip_pack zip -q -j -4 -P "$PASSWORD" "$WORK/peer.zip" "${BIG[@]}"
  timed openssl_enc "${OPENSSL_BF[@]}" -in "$WORK/peer.zip" -out "$WORK/peer.enc"
  rm -f "$WORK/seven.zip"
  timed seven_pack 7zz a -tzip -mx=4 -mem=AES256 -mmt=2 "-p$PASSWORD" "$WORK/seven.zip" "${BIG[@]}"

  rm -rf "$WORK/out" && mkdir "$WORK/out"
  timed morvane_unpack "$TOOL" unpack "$PASSWORD" "$WORK/out.enz" "$WORK/out/"
  rm -rf "$WORK/out2" "$WORK/peer2.zip"
  timed openssl_dec "${OPENSSL_BF[@]}" -d -in "$WORK/peer.enc" -out "$WORK/peer2.zip"
  timed unzip_unpack unzip -q -P "$PASSWORD" "$WORK/peer2.zip" -d "$WORK/out2"
  rm -rf "$WORK/out7"
  timed seven_unpack 7zz x "-p$PASSWORD" "-o$WORK/out7" "$WORK/seven.zip"
done

echo "Making the archive with the program, keeping and removing the sources, $RUNS runs after a warm-up..."
mkdir "$WORK/src"
for _ in $(seq 0 "$RUNS"); do
  rm -f "$WORK/keep.enz" "$WORK/src/"*
  cp "${BIG[@]}" "$WORK/src/"
  # Keeping its sources, the job packs the very files the developer tool packs.
  timed morvane_keep "${PROGRAM[@]}" -e "-p$PASSWORD" "-s$WORK/corpus/big/*" "-d$WORK/keep.enz" -os
  rm -f "$WORK/remove.enz"
  timed morvane_remove "${PROGRAM[@]}" -e "-p$PASSWORD" "-s$WORK/src/*" "-d$WORK/remove.enz" -os,d
  if [ -n "$(ls -A "$WORK/src")" ]; then
    echo "compare_container.sh: the program left sources behind with -od" >&2
    exit 1
  fi
done
for _ in $(seq 0 "$RUNS"); do
  rm -rf "$WORK/out3" && mkdir "$WORK/out3"
  timed morvane_open "${PROGRAM[@]}" -d "-p$PASSWORD" "-s$WORK/remove.enz" "-d$WORK/out3/" -os
done
rm -f "$WORK/keep.enz" "$WORK/remove.enz"

roundtrip_ok=1
# same_files INPUTDIR OUTPUTDIR: whether OUTPUTDIR holds exactly INPUTDIR's files, byte for byte.
same_files() {
  local input="$1" output="$2" file
  [ "$(find "$input" -mindepth 1 | wc -l)" -eq "$(find "$output" -mindepth 1 | wc -l)" ] || return 1
  for file in "$input"/*; do
    cmp -s "$file" "$output/$(basename "$file")" || return 1
  done
}
same_files "$WORK/corpus/big" "$WORK/out" || { echo "morvane-cipher unpack: the files differ from the input" >&2; roundtrip_ok=0; }
same_files "$WORK/corpus/big" "$WORK/out2" || { echo "unzip: the files differ from the input" >&2; roundtrip_ok=0; }
same_files "$WORK/corpus/big" "$WORK/out3" || { echo "morvane -e -od: the files differ from the input" >&2; roundtrip_ok=0; }
same_files "$WORK/corpus/big" "$WORK/out7" || { echo "7zz x: the files differ from the input" >&2; roundtrip_ok=0; }
SIZES=("$(stat -c %s "$WORK/out.enz")" "$(stat -c %s "$WORK/peer.enc")")
SIZES+=("$(stat -c %s "$WORK/seven.zip")")
rm -rf "$WORK/out" "$WORK/out2" "$WORK/out3" "$WORK/out7" "$WORK/peer2.zip" "$WORK/peer.zip" "$WORK/peer.enc" \
  "$WORK/out.enz" "$WORK/seven.zip"

echo "Packing 1000 files of 256 KiB, $RUNS runs after a warm-up..."
for _ in $(seq 0 "$RUNS"); do
  rm -f "$WORK/many.enz"
  timed morvane_many "$TOOL" pack "$PASSWORD" "$WORK/many.enz" "${MANY[@]}"
  rm -f "$WORK/many.zip"
  timed zip_many zip -q -j -4 -P "$PASSWORD" "$WORK/many.zip" "${MANY[@]}"
done
mkdir "$WORK/outmany"
"$TOOL" unpack "$PASSWORD" "$WORK/many.enz" "$WORK/outmany/"
same_files "$WORK/corpus/many" "$WORK/outmany" ||
  { echo "morvane-cipher unpack: the 1000 files differ from the input" >&2; roundtrip_ok=0; }
SIZES+=("$(stat -c %s "$WORK/many.enz")" "$(stat -c %s "$WORK/many.zip")")
echo "load average after: $(cut -d' ' -f1-3 /proc/loadavg)"
echo

python3 - "$WORK/times" "$RUNS" "$LIMIT_MIB" "$roundtrip_ok" "${SIZES[@]}" <<'PY'
import os
import statistics
import sys

times_dir, runs, limit_mib, roundtrip_ok = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), sys.argv[4] == "1"
enz, enc, seven, many_enz, many_zip = (int(s) for s in sys.argv[5:10])


def load(key):
    """The runs after the warm-up: [(wall s, peak KiB, user s, system s)]."""
    with open(os.path.join(times_dir, key)) as f:
        rows = [line.split() for line in f]
    return [(int(r[0]) / 1e9, int(r[1]), float(r[2]), float(r[3])) for r in rows[1:]]


def pair(a, b):
    """Two commands run one after the other, added up run by run."""
    return [(x[0] + y[0], max(x[1], y[1]), x[2] + y[2], x[3] + y[3]) for x, y in zip(load(a), load(b))]


def median(rows, column):
    return statistics.median(r[column] for r in rows)


rows = [
    ("pack, 8 files", "morvane-cipher pack", load("morvane_pack")),
    ("", "zip -4 -P", load("zip_pack")),
    ("", "openssl enc -bf-cbc", load("openssl_enc")),
    ("", "zip + openssl", pair("zip_pack", "openssl_enc")),
    ("", "7zz a -mx=4 AES-256", load("seven_pack")),
    ("unpack, 8 files", "morvane-cipher unpack", load("morvane_unpack")),
    ("", "openssl enc -d -bf-cbc", load("openssl_dec")),
    ("", "unzip -P", load("unzip_unpack")),
    ("", "openssl + unzip", pair("openssl_dec", "unzip_unpack")),
    ("", "7zz x", load("seven_unpack")),
    ("program, 8 files", "morvane -e", load("morvane_keep")),
    ("", "morvane -e -od", load("morvane_remove")),
    ("", "morvane -d", load("morvane_open")),
    ("pack, 1000 files", "morvane-cipher pack", load("morvane_many")),
    ("", "zip -4 -P", load("zip_many")),
]
table = {}
header = f"{'':17}{'command':24}" + "".join(f"{'run ' + str(i + 1):>8}" for i in range(runs))
header += f"{'median':>9}{'user':>8}{'sys':>7}{'peak RSS':>11}"
print("wall-clock seconds (user and system: medians; peak RSS: highest of the runs)")
print(header)
for group, name, data in rows:
    table[(group or last_group, name)] = data
    last_group = group or last_group
    cells = "".join(f"{r[0]:8.2f}" for r in data)
    peak = max(r[1] for r in data) / 1024
    print(f"{group:17}{name:24}{cells}{median(data, 0):9.2f}{median(data, 2):8.2f}{median(data, 3):7.2f}"
          f"{peak:8.1f} MiB")
print()
print(f"sizes: out.enz {enz / 2**20:.1f} MiB, peer.enc {enc / 2**20:.1f} MiB, 7-Zip's zip {seven / 2**20:.1f} MiB; "
      f"many.enz {many_enz / 2**20:.1f} MiB, many.zip {many_zip / 2**20:.1f} MiB (inputs 256 and 250 MiB)")
print()

failed = False


def mark(ok):
    global failed
    failed |= not ok
    return "PASS" if ok else "FAIL"


def ratio(label, ours, theirs, target):
    r = median(table[ours], 0) / median(table[theirs], 0)
    print(f"{label:48} {r:6.3f}  (target <= {target})  {mark(r <= target)}")


ratio("pack: morvane-cipher pack / 7zz a", ("pack, 8 files", "morvane-cipher pack"),
      ("pack, 8 files", "7zz a -mx=4 AES-256"), 0.80)
ratio("unpack: morvane-cipher unpack / 7zz x", ("unpack, 8 files", "morvane-cipher unpack"),
      ("unpack, 8 files", "7zz x"), 0.90)
ratio("remove source: morvane -e -od / 7zz a", ("program, 8 files", "morvane -e -od"),
      ("pack, 8 files", "7zz a -mx=4 AES-256"), 1.0)
ratio("command line: morvane -e / morvane-cipher pack", ("program, 8 files", "morvane -e"),
      ("pack, 8 files", "morvane-cipher pack"), 1.05)
ratio("command line: morvane -d / morvane-cipher unpack", ("program, 8 files", "morvane -d"),
      ("unpack, 8 files", "morvane-cipher unpack"), 1.05)
ratio("pack: Morvane / (zip + openssl enc)", ("pack, 8 files", "morvane-cipher pack"),
      ("pack, 8 files", "zip + openssl"), 1.0)
ratio("unpack: Morvane / (openssl enc -d + unzip)", ("unpack, 8 files", "morvane-cipher unpack"),
      ("unpack, 8 files", "openssl + unzip"), 0.7)
ratio("pack of 1000 files: Morvane / zip", ("pack, 1000 files", "morvane-cipher pack"),
      ("pack, 1000 files", "zip -4 -P"), 1.2)
ratio("program: morvane -e / (zip + openssl enc)", ("program, 8 files", "morvane -e"),
      ("pack, 8 files", "zip + openssl"), 1.0)
ratio("program, remove source: -e -od / (zip + openssl)", ("program, 8 files", "morvane -e -od"),
      ("pack, 8 files", "zip + openssl"), 1.0)
r = median(table[("program, 8 files", "morvane -e -od")], 0) / median(table[("program, 8 files", "morvane -e")], 0)
print(f"{'the check before removing: -e -od / -e':48} {r:6.3f}  (shown, no target)")
for label, key in (("pack", ("pack, 8 files", "morvane-cipher pack")),
                   ("unpack", ("unpack, 8 files", "morvane-cipher unpack")),
                   ("morvane -e -od", ("program, 8 files", "morvane -e -od")),
                   ("morvane -d", ("program, 8 files", "morvane -d"))):
    peak = max(r[1] for r in table[key])
    print(f"{'peak resident memory of ' + label:48} {peak / 1024:6.1f} MiB ({peak} KiB)  "
          f"(target < {limit_mib} MiB)  {mark(peak < limit_mib * 1024)}")
print(f"{'round trips give the files back':48} {'yes' if roundtrip_ok else 'no':>6}  {mark(roundtrip_ok)}")
sys.exit(1 if failed else 0)
PY
