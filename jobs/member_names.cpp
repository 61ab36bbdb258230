#include "member_names.h"

#include <cctype>

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

namespace {

bool matchFrom(std::string_view name, std::string_view mask) {
    if (mask.empty()) return name.empty();
    if (mask.front() == '*') {
        for (std::size_t skip = 0; skip <= name.size(); ++skip)
            if (matchFrom(name.substr(skip), mask.substr(1))) return true;
        return false;
    }
    if (name.empty()) return false;
    const bool same = mask.front() == '?' || std::tolower(static_cast<unsigned char>(mask.front())) ==
                                                 std::tolower(static_cast<unsigned char>(name.front()));
    return same && matchFrom(name.substr(1), mask.substr(1));
}

}  // namespace

bool matchesFileMask(std::string_view baseName, std::string_view mask) {
    if (mask == "*.*" || mask == "*") return true;
    return matchFrom(baseName, mask);
}

}  // namespace morvane
