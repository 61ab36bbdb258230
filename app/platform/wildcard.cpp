#include "wildcard.h"

#include <cctype>

namespace morvane {

bool matchesWildcard(std::string_view name, std::string_view pattern, LetterCase letterCase) {
    if (pattern.empty()) return name.empty();
    if (pattern.front() == '*') {
        for (std::size_t skip = 0; skip <= name.size(); ++skip)
            if (matchesWildcard(name.substr(skip), pattern.substr(1), letterCase)) return true;
        return false;
    }
    if (name.empty()) return false;
    const auto p = static_cast<unsigned char>(pattern.front()), n = static_cast<unsigned char>(name.front());
    const bool same =
        pattern.front() == '?' || p == n || (letterCase == LetterCase::Ignored && std::tolower(p) == std::tolower(n));
    return same && matchesWildcard(name.substr(1), pattern.substr(1), letterCase);
}

}  // namespace morvane
