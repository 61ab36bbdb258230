#include "member_names.h"

#include <cctype>

#include "wildcard.h"

namespace morvane {

bool isSafeMemberName(std::string_view name) {
    if (name.empty()) return false;
    if (name.front() == '/' || name.front() == '\\') return false;
    if (name.size() >= 2 && name[1] == ':' && std::isalpha(static_cast<unsigned char>(name[0]))) return false;
    std::size_t start = 0;
    while (start <= name.size()) {
        std::size_t end = name.find_first_of("/\\", start);
        if (end == std::string_view::npos) end = name.size();
        if (name.substr(start, end - start) == "..") return false;
        start = end + 1;
    }
    return true;
}

bool matchesFileMask(std::string_view baseName, std::string_view mask) {
    if (mask == "*.*" || mask == "*") return true;
    return matchesWildcard(baseName, mask, LetterCase::Ignored);
}

}  // namespace morvane
