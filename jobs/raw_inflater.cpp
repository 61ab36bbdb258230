#include "raw_inflater.h"

#include <isa-l/igzip_lib.h>

namespace morvane {

namespace {

constexpr std::size_t kOutputBytes = 1 << 18;

}  // namespace

RawInflater::RawInflater() : state_(std::make_unique<inflate_state>()), buffer_(kOutputBytes) { reset(); }

RawInflater::~RawInflater() = default;

void RawInflater::reset() {
    isal_inflate_init(state_.get());
    state_->crc_flag = ISAL_DEFLATE;
    ended_ = false;
    damaged_ = false;
}

bool RawInflater::feed(std::span<const std::uint8_t> input,
                       const std::function<bool(std::span<const std::uint8_t>)>& out) {
    if (damaged_) return false;
    if (ended_) {  // nothing may follow the end
        damaged_ = !input.empty();
        return !damaged_;
    }
    inflate_state& s = *state_;
    s.next_in = const_cast<std::uint8_t*>(input.data());
    s.avail_in = static_cast<std::uint32_t>(input.size());
    // Go on while input is left, and also while the output buffer keeps
    // filling up: little input can hold much pending output.
    for (;;) {
        s.next_out = buffer_.data();
        s.avail_out = static_cast<std::uint32_t>(buffer_.size());
        if (isal_inflate(&s) < 0) {
            damaged_ = true;
            return false;
        }
        const std::size_t produced = buffer_.size() - s.avail_out;
        if (produced > 0 && !out({buffer_.data(), produced})) return false;
        if (s.block_state == ISAL_BLOCK_FINISH) {
            ended_ = true;
            // Whole bytes read ahead into the bit buffer were not part of it.
            if (s.avail_in != 0 || s.read_in_length >= 8) {  // bytes after the end of the deflated data
                damaged_ = true;
                return false;
            }
            return true;
        }
        if (s.avail_in == 0 && s.avail_out != 0) return true;
    }
}

}  // namespace morvane
