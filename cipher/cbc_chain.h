#pragma once
// Cipher block chaining over runs of whole 8-byte blocks, in place. Each block
// is read as two big-endian halves L (bytes 0-3) and R (bytes 4-7).
#include <cstddef>
#include <cstdint>
#include <span>

#include "blowfish_engine.h"
#include "helper_thread.h"

namespace morvane::blowfish {

// The ciphertext block that precedes a run (two zero words before the first).
struct ChainBlock {
    std::uint32_t L = 0;
    std::uint32_t R = 0;
};

// Enciphers blocks.size() / 8 blocks in place, chaining from `previous`, which
// becomes the run's last ciphertext block. Enciphering is one sequential chain.
void cbcEncipher(const Tables& t, std::span<std::uint8_t> blocks, ChainBlock& previous);

// Plaintext words read from a buffer but not yet enciphered; see
// cbcEncipherShifted.
struct ShiftQueue {
    std::uint32_t words[3];
};

// Lays out and enciphers a cipher buffer in one pass. The buffer holds the
// plaintext at offset 0 and zeros up to its full length; the cipher buffer
// wants the 12 header bytes in front of it. The plaintext word stream is the
// three header words followed by the buffer's own words, so the block at
// offset 8k is made of stream words 2k and 2k+1 while the words at its own
// place are stream words 2k+3 and 2k+4: each block's place is read into the
// queue just before it is written, and the plaintext moves by 12 bytes with
// no second pass over the buffer. Start with the queue holding the three
// header words (big-endian, as block halves are read) and hand over the
// buffer in consecutive runs.
void cbcEncipherShifted(const Tables& t, std::span<std::uint8_t> blocks, ShiftQueue& queue, ChainBlock& previous);

// Deciphers blocks.size() / 8 blocks in place. Each plaintext block needs only
// ciphertext, so several blocks are deciphered side by side; every ciphertext
// block is read before its place is written. `previous` becomes the run's last
// ciphertext block.
void cbcDecipher(const Tables& t, std::span<std::uint8_t> blocks, ChainBlock& previous);

// Random access into a ciphertext: the whole blocks around bytes
// [offset, offset + length), and the ciphertext block before them that
// deciphering needs (two zero words before the first block, so none is read).
struct BlocksAround {
    std::uint64_t from;   // where reading starts: the block before the run, or 0
    std::uint64_t first;  // the run's first block
    std::uint64_t end;    // the end of its last block
    std::uint64_t offset;
    std::size_t length;

    BlocksAround(std::uint64_t offset, std::size_t length);
    // Bytes to read from `from` on.
    std::size_t readBytes() const { return static_cast<std::size_t>(end - from); }
};

// Deciphers `read`, the ciphertext bytes [from, end) of `around`, in place
// and gives the plaintext bytes [offset, offset + length) within it.
std::span<const std::uint8_t> cbcDecipherAround(const Tables& t, const BlocksAround& around,
                                                std::span<std::uint8_t> read);

// Deciphers long runs on two cores: the upper half of the run goes to a second
// thread that lives as long as this object, so one file or one buffer pays for
// starting it once. Short runs stay on the calling thread. The bytes written
// are those of cbcDecipher.
class ParallelDecipher {
public:
    void run(const Tables& t, std::span<std::uint8_t> blocks, ChainBlock& previous);

    // Runs shorter than this are not worth a hand-over to the other thread.
    static constexpr std::size_t kMinParallelBytes = 32 * 1024;

private:
    HelperThread helper_;
};

}  // namespace morvane::blowfish
