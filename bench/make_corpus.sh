#!/usr/bin/env bash
# make_corpus.sh DIR: writes the files the container benchmark packs.
#   DIR/big/   8 files of 32 MiB (256 MiB): text-1..4.log, log-like lines that
#              deflate shrinks about 3 times, and random-1..4.bin, bytes from
#              the system's random source that do not compress at all
#   DIR/many/  1000 files of 256 KiB (250 MiB): f0000.log, f0001.bin, ...
#              text and random bytes in turn
# The text comes from a fixed seed, so it is the same from run to run; the
# random files differ each time, which does not matter to deflate.
set -euo pipefail
if [ $# -ne 1 ]; then
  echo "usage: make_corpus.sh DIR" >&2
  exit 2
fi
DIR="$1"
mkdir -p "$DIR/big" "$DIR/many"

python3 - "$DIR" <<'PY'
import os
import random
import sys

MIB = 1 << 20
root = sys.argv[1]
rng = random.Random(20240501)

# A vocabulary of made-up words with Zipf-like frequencies, so the text has
# the repeats and the spread of real prose or logs: not so repetitive that
# deflate meets it in long matches only, not so varied that it cannot shrink.
syllables = ["ka", "to", "ri", "men", "sa", "lo", "ver", "an", "ti", "po", "ne", "dar", "el", "us", "qu",
             "is", "mo", "fra", "gen", "st", "or", "al", "bi", "che", "ul", "ry", "xe", "vo", "ing", "ed"]
vocabulary, seen = [], set()
while len(vocabulary) < 6000:
    word = "".join(rng.choice(syllables) for _ in range(rng.choice((1, 2, 2, 3, 3, 4))))
    if word not in seen:
        seen.add(word)
        vocabulary.append(word)
weights, total = [], 0.0
for rank in range(len(vocabulary)):
    total += 1.0 / (rank + 1.5) ** 1.05
    weights.append(total)
levels = ["INFO", "INFO", "INFO", "DEBUG", "WARN", "ERROR"]
components = ["scheduler", "io.reader", "net.peer", "cache", "auth", "store.index", "http", "queue"]

clock = 0
words, used = [], 0


def text(n):
    """n bytes of log lines."""
    global clock, words, used
    lines, size = [], 0
    while size < n:
        count = rng.randint(6, 18)
        if used + count > len(words):
            words, used = rng.choices(vocabulary, cum_weights=weights, k=200000), 0
        clock += rng.randint(0, 3)
        line = "2024-05-%02d %02d:%02d:%02d.%03d %-5s [%s] %s id=%d took=%dms\n" % (
            1 + clock // 86400 % 28, clock // 3600 % 24, clock // 60 % 60, clock % 60, rng.randint(0, 999),
            rng.choice(levels), rng.choice(components), " ".join(words[used:used + count]),
            rng.randint(1, 999999), rng.randint(0, 5000))
        used += count
        lines.append(line)
        size += len(line)
    return "".join(lines).encode()[:n]


def write(path, make, n, chunk=MIB):
    with open(path, "wb") as f:
        left = n
        while left > 0:
            f.write(make(min(chunk, left)))
            left -= chunk


for i in range(1, 5):
    write(os.path.join(root, "big", "text-%d.log" % i), text, 32 * MIB)
    write(os.path.join(root, "big", "random-%d.bin" % i), os.urandom, 32 * MIB)
for i in range(1000):
    if i % 2 == 0:
        write(os.path.join(root, "many", "f%04d.log" % i), text, 256 << 10)
    else:
        write(os.path.join(root, "many", "f%04d.bin" % i), os.urandom, 256 << 10)
PY
