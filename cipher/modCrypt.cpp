#include "modCrypt.h"

#include "run_time_error.h"

namespace morvane {
namespace {

void toggleInPlace(std::string& s) {
    for (std::size_t i = 0; i < s.size(); ++i) {
        const auto c = static_cast<unsigned char>(s[i]);
        if (c < 128) {
            s[i] = static_cast<char>(c + 128);
        } else if (c > 128) {
            s[i] = static_cast<char>(c - 128);
        } else {
            if (i == 0) throw RunTimeError(kInvalidProcedureCall, kInvalidProcedureCallText);
            s[i] = s[i - 1];
        }
    }
}

}  // namespace

std::string toggleHighBits(std::string_view s) {
    std::string out(s);
    toggleInPlace(out);
    return out;
}

std::string scrambleText(std::string_view s, SeedSource seed) {
    if (s.empty()) throw RunTimeError(kInvalidProcedureCall, kInvalidProcedureCallText);
    ClockRandom random(seed());
    std::string out;
    if (static_cast<unsigned char>(s.front()) < 128) {
        auto digit = [&random] { return static_cast<char>('0' + static_cast<int>(random.nextFraction() * 9 + 1)); };
        out += digit();
        out += digit();
        out += s;
        out += digit();
    } else {
        const auto first = s.find_first_not_of(' ');
        const auto last = s.find_last_not_of(' ');
        const std::string_view trimmed =
            first == std::string_view::npos ? std::string_view{} : s.substr(first, last - first + 1);
        if (trimmed.size() < 3) throw RunTimeError(kInvalidProcedureCall, kInvalidProcedureCallText);
        out = trimmed.substr(2, trimmed.size() - 3);
    }
    toggleInPlace(out);
    return out;
}

}  // namespace morvane
