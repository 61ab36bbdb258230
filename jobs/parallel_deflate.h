#pragma once
// Deflate on two cores. A file is deflated in pieces; each piece is split in
// two halves that are deflated side by side, the second primed with the last
// 32 KiB of the first as its dictionary (and the first with the 32 KiB before
// it), each half ending on a byte boundary (a sync flush) and the file's last
// half with the final block. Joined in order, the halves are one ordinary
// deflate stream that any inflater reads.
//
// A half that deflate cannot shrink goes into stored blocks instead, as zip
// tools do: a few small samples of it are deflated first, and when they do
// not shrink the half is not deflated at all. A half deflated to more bytes
// than its stored blocks take is stored as well.
#include <zlib.h>

#include <cstdint>
#include <span>
#include <vector>

#include "helper_thread.h"

namespace morvane {

// Appends `input` to `out` as stored deflate blocks (at most 65,535 bytes
// each), the last of them marked final when `final`. The stream must stand on
// a byte boundary, as it does at its start and after a sync flush.
void appendStoredBlocks(std::span<const std::uint8_t> input, bool final, std::vector<std::uint8_t>& out);

// The bytes appendStoredBlocks writes for `length` input bytes.
std::size_t storedBlocksSize(std::size_t length);

class ParallelDeflater {
public:
    explicit ParallelDeflater(int level);
    ~ParallelDeflater();
    ParallelDeflater(const ParallelDeflater&) = delete;
    ParallelDeflater& operator=(const ParallelDeflater&) = delete;

    // Starts a new stream (a new file).
    bool reset();

    // Deflates the next piece of the stream and appends the result to `out`;
    // `last` for the stream's final piece.
    bool deflatePiece(std::span<const std::uint8_t> piece, bool last, std::vector<std::uint8_t>& out);

    // Below this size a piece is deflated on one core.
    static constexpr std::size_t kMinSplitBytes = 64 * 1024;

    // Halves of at least this size are sampled before they are deflated.
    static constexpr std::size_t kMinSampledBytes = 32 * 1024;

private:
    struct Lane {
        z_stream stream{};
        bool open = false;
        z_stream sampler{};
        bool samplerOpen = false;
        std::vector<std::uint8_t> out;
        std::vector<std::uint8_t> sampleOut;
    };
    bool deflateHalf(Lane& lane, std::span<const std::uint8_t> dictionary, std::span<const std::uint8_t> input,
                     bool final);
    bool shrinks(Lane& lane, std::span<const std::uint8_t> input);

    int level_;
    Lane lanes_[2];
    std::vector<std::uint8_t> history_;  // the last 32 KiB of the stream so far

    HelperThread helper_;
};

}  // namespace morvane
