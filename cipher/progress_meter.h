#pragma once
// Progress of one enciphering or deciphering pass over T bytes, in whole
// percents. After the block at offset i, when i has reached the threshold,
// Percent = floor(i / T * 100) is reported and the next threshold becomes
// (Percent + 1) / 100 * T + 1, rounded half to even. So the first block always
// reports 0 and each whole percent is reported at most once.
//
// Callers hand over whole runs of blocks at once (a file chunk, both halves of
// a two-core run); the meter reports exactly the percents the block-by-block
// rule reports, in the same order.
#include <cstdint>
#include <functional>

namespace morvane::blowfish {

using ProgressHandler = std::function<void(std::int32_t percent)>;

class ProgressMeter {
public:
    ProgressMeter(std::uint64_t total, const ProgressHandler& handler) : total_(total), handler_(handler) {}

    // All blocks up to and including the one at `lastBlockOffset` are done.
    void blocksDone(std::uint64_t lastBlockOffset);

    // Reports 100 unless it was the last percent reported.
    void finish();

private:
    std::uint64_t total_;
    const ProgressHandler& handler_;
    std::uint64_t threshold_ = 0;
    std::int32_t lastPercent_ = -1;
};

// Rounds to the nearest integer, halves to the even neighbour.
std::uint64_t roundHalfEven(double value);

}  // namespace morvane::blowfish
