#include "progress_meter.h"

#include <cmath>

namespace morvane::blowfish {

std::uint64_t roundHalfEven(double value) {
    const double whole = std::floor(value);
    const double fraction = value - whole;
    auto result = static_cast<std::uint64_t>(whole);
    if (fraction > 0.5 || (fraction == 0.5 && (result % 2) == 1)) ++result;
    return result;
}

void ProgressMeter::blocksDone(std::uint64_t lastBlockOffset) {
    for (;;) {
        // The first block at or past the threshold (blocks start at multiples of 8).
        const std::uint64_t i = (threshold_ + 7) / 8 * 8;
        if (i > lastBlockOffset) return;
        const auto percent =
            static_cast<std::int32_t>(std::floor(static_cast<double>(i) / static_cast<double>(total_) * 100.0));
        threshold_ = roundHalfEven(static_cast<double>(percent + 1) / 100.0 * static_cast<double>(total_) + 1.0);
        lastPercent_ = percent;
        if (handler_) handler_(percent);
    }
}

void ProgressMeter::finish() {
    if (lastPercent_ == 100) return;
    lastPercent_ = 100;
    if (handler_) handler_(100);
}

}  // namespace morvane::blowfish
