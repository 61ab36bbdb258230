#include "parallel_deflate.h"

#include <algorithm>

namespace morvane {

namespace {

constexpr std::size_t kWindowBytes = 32 * 1024;

}  // namespace

ParallelDeflater::ParallelDeflater(int level) : level_(level) {}

ParallelDeflater::~ParallelDeflater() {
    for (Lane& lane : lanes_)
        if (lane.open) deflateEnd(&lane.stream);
}

bool ParallelDeflater::reset() {
    history_.clear();
    for (Lane& lane : lanes_) {
        if (!lane.open) {
            if (deflateInit2(&lane.stream, level_, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK) return false;
            lane.open = true;
        }
    }
    return true;
}

bool ParallelDeflater::deflateHalf(Lane& lane, std::span<const std::uint8_t> dictionary,
                                   std::span<const std::uint8_t> input, bool final) {
    z_stream& z = lane.stream;
    if (deflateReset(&z) != Z_OK) return false;
    if (!dictionary.empty() &&
        deflateSetDictionary(&z, dictionary.data(), static_cast<uInt>(dictionary.size())) != Z_OK)
        return false;
    lane.out.resize(deflateBound(&z, static_cast<uLong>(input.size())) + 64);
    z.next_in = const_cast<Bytef*>(input.data());
    z.avail_in = static_cast<uInt>(input.size());
    z.next_out = lane.out.data();
    z.avail_out = static_cast<uInt>(lane.out.size());
    const int result = deflate(&z, final ? Z_FINISH : Z_SYNC_FLUSH);
    if ((final && result != Z_STREAM_END) || (!final && result != Z_OK) || z.avail_in != 0) return false;
    // A flush that used up all the room may still hold output back: never cut a stream short.
    if (!final && z.avail_out == 0) return false;
    lane.out.resize(lane.out.size() - z.avail_out);
    return true;
}

bool ParallelDeflater::deflatePiece(std::span<const std::uint8_t> piece, bool last, std::vector<std::uint8_t>& out) {
    if (piece.size() < kMinSplitBytes) {
        if (!deflateHalf(lanes_[0], history_, piece, last)) return false;
        out.insert(out.end(), lanes_[0].out.begin(), lanes_[0].out.end());
    } else {
        const std::size_t half = piece.size() / 2;
        const auto first = piece.first(half);
        const auto second = piece.subspan(half);
        const auto secondDictionary = first.last(std::min(kWindowBytes, first.size()));
        struct SecondHalf {
            ParallelDeflater* deflater;
            std::span<const std::uint8_t> dictionary, input;
            bool last, done;
        } job{this, secondDictionary, second, last, false};
        helper_.start(
            [](void* context) {
                auto* half = static_cast<SecondHalf*>(context);
                half->done =
                    half->deflater->deflateHalf(half->deflater->lanes_[1], half->dictionary, half->input, half->last);
            },
            &job);
        const bool firstDone = deflateHalf(lanes_[0], history_, first, false);
        helper_.wait();
        const bool secondDone = job.done;
        if (!firstDone || !secondDone) return false;
        out.insert(out.end(), lanes_[0].out.begin(), lanes_[0].out.end());
        out.insert(out.end(), lanes_[1].out.begin(), lanes_[1].out.end());
    }
    // The stream's last 32 KiB primes the next piece.
    if (piece.size() >= kWindowBytes) {
        history_.assign(piece.end() - kWindowBytes, piece.end());
    } else {
        history_.insert(history_.end(), piece.begin(), piece.end());
        if (history_.size() > kWindowBytes)
            history_.erase(history_.begin(), history_.end() - static_cast<std::ptrdiff_t>(kWindowBytes));
    }
    return true;
}

}  // namespace morvane
