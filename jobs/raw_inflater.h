#pragma once
// Inflating a raw deflate stream (a zip member's data) fed in pieces of any
// size, with the output handed on in pieces as it comes. Memory stays the
// same whatever the stream's length. Built on ISA-L's inflater, which reads
// deflate about three times as fast as zlib and, unlike whole-buffer
// inflaters, takes the stream in pieces.
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

struct inflate_state;

namespace morvane {

class RawInflater {
public:
    RawInflater();
    ~RawInflater();
    RawInflater(const RawInflater&) = delete;
    RawInflater& operator=(const RawInflater&) = delete;

    // Starts a new stream.
    void reset();

    // Inflates all of `input`, handing what comes out to `out`. False when
    // the data is no deflate stream, when bytes follow the stream's end, or
    // when `out` says stop.
    bool feed(std::span<const std::uint8_t> input, const std::function<bool(std::span<const std::uint8_t>)>& out);

    // Whether the stream's final block has been read whole.
    bool ended() const { return ended_; }

private:
    std::unique_ptr<inflate_state> state_;
    std::vector<std::uint8_t> buffer_;
    bool ended_ = false;
    bool damaged_ = false;
};

}  // namespace morvane
