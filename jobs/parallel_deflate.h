#pragma once
// Deflate on two cores. A file is deflated in pieces; each piece is split in
// two halves that are deflated side by side, the second primed with the last
// 32 KiB of the first as its dictionary (and the first with the 32 KiB before
// it), each half ending on a byte boundary (a sync flush) and the file's last
// half with the final block. Joined in order, the halves are one ordinary
// deflate stream that any inflater reads.
#include <zlib.h>

#include <cstdint>
#include <span>
#include <vector>

#include "helper_thread.h"

namespace morvane {

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

private:
    struct Lane {
        z_stream stream{};
        bool open = false;
        std::vector<std::uint8_t> out;
    };
    bool deflateHalf(Lane& lane, std::span<const std::uint8_t> dictionary, std::span<const std::uint8_t> input,
                     bool final);

    int level_;
    Lane lanes_[2];
    std::vector<std::uint8_t> history_;  // the last 32 KiB of the stream so far

    HelperThread helper_;
};

}  // namespace morvane
