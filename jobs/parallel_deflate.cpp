#include "parallel_deflate.h"

#include <algorithm>

namespace morvane {

namespace {

constexpr std::size_t kWindowBytes = 32 * 1024;
constexpr std::size_t kLargestStoredBlock = 65535;
constexpr std::size_t kStoredBlockHeader = 5;  // the block header byte, LEN and NLEN

// Each sample is deflated on its own at the fastest level; when together
// they do not come out at least this much smaller (in 1/64ths), the half is
// taken for incompressible.
constexpr std::size_t kSampleBytes = 4 * 1024;
constexpr std::size_t kSamples = 4;
constexpr std::size_t kShrinkSixtyFourths = 62;

}  // namespace

std::size_t storedBlocksSize(std::size_t length) {
    const std::size_t blocks = std::max<std::size_t>(1, (length + kLargestStoredBlock - 1) / kLargestStoredBlock);
    return length + blocks * kStoredBlockHeader;
}

void appendStoredBlocks(std::span<const std::uint8_t> input, bool final, std::vector<std::uint8_t>& out) {
    out.reserve(out.size() + storedBlocksSize(input.size()));
    do {
        const std::size_t length = std::min(input.size(), kLargestStoredBlock);
        const bool lastBlock = length == input.size();
        // BFINAL in the lowest bit, BTYPE 00 (stored) above it, then up to the
        // byte boundary: the stream already stands on one.
        out.push_back(final && lastBlock ? 1 : 0);
        out.push_back(static_cast<std::uint8_t>(length));
        out.push_back(static_cast<std::uint8_t>(length >> 8));
        out.push_back(static_cast<std::uint8_t>(~length));
        out.push_back(static_cast<std::uint8_t>(~length >> 8));
        out.insert(out.end(), input.begin(), input.begin() + static_cast<std::ptrdiff_t>(length));
        input = input.subspan(length);
    } while (!input.empty());
}

ParallelDeflater::ParallelDeflater(int level) : level_(level) {}

ParallelDeflater::~ParallelDeflater() {
    for (Lane& lane : lanes_) {
        if (lane.open) deflateEnd(&lane.stream);
        if (lane.samplerOpen) deflateEnd(&lane.sampler);
    }
}

bool ParallelDeflater::reset() {
    history_.clear();
    for (Lane& lane : lanes_) {
        if (!lane.open) {
            if (deflateInit2(&lane.stream, level_, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK) return false;
            lane.open = true;
        }
        if (!lane.samplerOpen) {
            if (deflateInit2(&lane.sampler, 1, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK) return false;
            lane.samplerOpen = true;
            lane.sampleOut.resize(deflateBound(&lane.sampler, kSampleBytes) + 64);
        }
    }
    return true;
}

bool ParallelDeflater::shrinks(Lane& lane, std::span<const std::uint8_t> input) {
    if (input.size() < kMinSampledBytes) return true;
    std::size_t in = 0, out = 0;
    const std::size_t stride = (input.size() - kSampleBytes) / (kSamples - 1);
    for (std::size_t i = 0; i < kSamples; ++i) {
        const auto sample = input.subspan(i * stride, kSampleBytes);
        z_stream& z = lane.sampler;
        if (deflateReset(&z) != Z_OK) return true;
        z.next_in = const_cast<Bytef*>(sample.data());
        z.avail_in = static_cast<uInt>(sample.size());
        z.next_out = lane.sampleOut.data();
        z.avail_out = static_cast<uInt>(lane.sampleOut.size());
        if (deflate(&z, Z_FINISH) != Z_STREAM_END) return true;
        in += sample.size();
        out += lane.sampleOut.size() - z.avail_out;
    }
    return out * 64 < in * kShrinkSixtyFourths;
}

bool ParallelDeflater::deflateHalf(Lane& lane, std::span<const std::uint8_t> dictionary,
                                   std::span<const std::uint8_t> input, bool final) {
    lane.out.clear();
    if (!shrinks(lane, input)) {
        appendStoredBlocks(input, final, lane.out);
        return true;
    }
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
    if (!input.empty() && lane.out.size() > storedBlocksSize(input.size())) {
        lane.out.clear();
        appendStoredBlocks(input, final, lane.out);
    }
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
