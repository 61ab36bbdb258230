// Speed of the cipher core next to OpenSSL's Blowfish, both in CBC mode, on
// the same machine in the same program. Every benchmark runs over 64 KiB and
// 16 MiB; the names pair up as {Encipher,Decipher,KeySchedule}_{Morvane,OpenSSL}
// with the same "bytes:" argument. Throughput is counted in plaintext bytes.
//
// The *_MorvaneChain and Decipher_MorvaneParallel variants time the raw
// chaining code under the cipher buffer, without its header, size check,
// moves and progress reports.
#include <benchmark/benchmark.h>
#include <openssl/blowfish.h>

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "blowfish_engine.h"
#include "cbc_chain.h"
#include "clsBlowfish.h"

namespace {

constexpr std::string_view kPassword = "correct horse battery staple";
constexpr std::int64_t kSmall = 64 << 10;
constexpr std::int64_t kLarge = 16 << 20;

// Bytes of a cipher buffer around n plaintext bytes.
std::size_t cipherLength(std::size_t n) { return (n + 12 + 7) / 8 * 8; }

std::vector<std::uint8_t> plaintext(std::size_t n) {
    std::vector<std::uint8_t> bytes(n);
    std::uint32_t x = 0x12345678;
    for (auto& b : bytes) {
        x = x * 1664525u + 1013904223u;
        b = static_cast<std::uint8_t>(x >> 24);
    }
    return bytes;
}

const unsigned char* passwordBytes() { return reinterpret_cast<const unsigned char*>(kPassword.data()); }

void setBytes(benchmark::State& state, std::size_t n) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(n));
}

// --- Enciphering -------------------------------------------------------------

// The cipher buffer as EncryptString and the file cipher use it: header,
// plaintext move, CBC chain and progress. The buffer is cut back to the
// plaintext length each time; its capacity stays, so nothing is reallocated.
void Encipher_Morvane(benchmark::State& state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    morvane::clsBlowfish cipher;
    cipher.key(kPassword);
    std::vector<std::uint8_t> buffer = plaintext(n);
    buffer.reserve(cipherLength(n));
    for (auto _ : state) {
        buffer.resize(n);
        cipher.encipherBuffer(buffer);
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
    setBytes(state, n);
}

void Encipher_MorvaneChain(benchmark::State& state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    morvane::clsBlowfish cipher;
    cipher.key(kPassword);
    std::vector<std::uint8_t> buffer = plaintext(n);
    for (auto _ : state) {
        morvane::blowfish::ChainBlock previous;
        morvane::blowfish::cbcEncipher(cipher.tables(), buffer, previous);
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
    setBytes(state, n);
}

void Encipher_OpenSSL(benchmark::State& state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    BF_KEY key;
    BF_set_key(&key, static_cast<int>(kPassword.size()), passwordBytes());
    std::vector<std::uint8_t> buffer = plaintext(n);
    for (auto _ : state) {
        unsigned char iv[8] = {};
        BF_cbc_encrypt(buffer.data(), buffer.data(), static_cast<long>(n), &key, iv, BF_ENCRYPT);
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
    setBytes(state, n);
}

// --- Deciphering -------------------------------------------------------------

// decipherBuffer over the cipher buffer of n plaintext bytes. The first pass
// finds the right size and shrinks the buffer; it is grown back within its
// capacity, and from then on the same bytes are deciphered again in place:
// deciphering meaningless bytes costs the same, and a failed size check
// leaves the buffer at its whole length.
void Decipher_Morvane(benchmark::State& state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    const std::size_t total = cipherLength(n);
    morvane::clsBlowfish cipher;
    cipher.key(kPassword);
    std::vector<std::uint8_t> buffer = plaintext(n);
    buffer.reserve(total);
    cipher.encipherBuffer(buffer);
    for (auto _ : state) {
        buffer.resize(total);
        cipher.decipherBuffer(buffer);
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
    setBytes(state, n);
}

void Decipher_MorvaneParallel(benchmark::State& state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    morvane::clsBlowfish cipher;
    cipher.key(kPassword);
    morvane::blowfish::ParallelDecipher decipher;
    std::vector<std::uint8_t> buffer = plaintext(n);
    for (auto _ : state) {
        morvane::blowfish::ChainBlock previous;
        decipher.run(cipher.tables(), buffer, previous);
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
    setBytes(state, n);
}

void Decipher_MorvaneChain(benchmark::State& state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    morvane::clsBlowfish cipher;
    cipher.key(kPassword);
    std::vector<std::uint8_t> buffer = plaintext(n);
    for (auto _ : state) {
        morvane::blowfish::ChainBlock previous;
        morvane::blowfish::cbcDecipher(cipher.tables(), buffer, previous);
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
    setBytes(state, n);
}

void Decipher_OpenSSL(benchmark::State& state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    BF_KEY key;
    BF_set_key(&key, static_cast<int>(kPassword.size()), passwordBytes());
    std::vector<std::uint8_t> buffer = plaintext(n);
    for (auto _ : state) {
        unsigned char iv[8] = {};
        BF_cbc_encrypt(buffer.data(), buffer.data(), static_cast<long>(n), &key, iv, BF_DECRYPT);
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
    setBytes(state, n);
}

// --- Key schedule ------------------------------------------------------------

// A fresh cipher object per key, as every operation of the program makes one;
// BF_set_key likewise starts from the constants each time.
void KeySchedule_Morvane(benchmark::State& state) {
    for (auto _ : state) {
        morvane::clsBlowfish cipher;
        cipher.key(kPassword);
        benchmark::DoNotOptimize(cipher.tables());
        benchmark::ClobberMemory();
    }
}

// The schedule alone, on a copy of the initial tables.
void KeySchedule_MorvaneTables(benchmark::State& state) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(kPassword.data());
    for (auto _ : state) {
        morvane::blowfish::Tables tables = morvane::blowfish::initialTables();
        morvane::blowfish::scheduleKey(tables, {bytes, kPassword.size()});
        benchmark::DoNotOptimize(tables);
        benchmark::ClobberMemory();
    }
}

void KeySchedule_OpenSSL(benchmark::State& state) {
    BF_KEY key;
    for (auto _ : state) {
        BF_set_key(&key, static_cast<int>(kPassword.size()), passwordBytes());
        benchmark::DoNotOptimize(key);
        benchmark::ClobberMemory();
    }
}

void sizes(benchmark::internal::Benchmark* b) { b->ArgName("bytes")->Arg(kSmall)->Arg(kLarge); }

}  // namespace

BENCHMARK(Encipher_Morvane)->Apply(sizes)->Unit(benchmark::kMicrosecond);
BENCHMARK(Encipher_MorvaneChain)->Apply(sizes)->Unit(benchmark::kMicrosecond);
BENCHMARK(Encipher_OpenSSL)->Apply(sizes)->Unit(benchmark::kMicrosecond);

// decipherBuffer hands half of each run to a second thread: wall-clock time.
BENCHMARK(Decipher_Morvane)->Apply(sizes)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(Decipher_MorvaneParallel)->Apply(sizes)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(Decipher_MorvaneChain)->Apply(sizes)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(Decipher_OpenSSL)->Apply(sizes)->Unit(benchmark::kMicrosecond)->UseRealTime();

BENCHMARK(KeySchedule_Morvane)->Unit(benchmark::kMicrosecond);
BENCHMARK(KeySchedule_MorvaneTables)->Unit(benchmark::kMicrosecond);
BENCHMARK(KeySchedule_OpenSSL)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
