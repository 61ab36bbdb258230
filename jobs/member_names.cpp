#include "member_names.h"

#include <cctype>
#include <cstdint>

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

bool isValidUtf8(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        const auto c = static_cast<unsigned char>(text[i]);
        std::size_t length = 0;
        std::uint32_t code = 0;
        if (c < 0x80) {
            ++i;
            continue;
        } else if (c >= 0xC2 && c <= 0xDF) {
            length = 2;
            code = c & 0x1F;
        } else if (c >= 0xE0 && c <= 0xEF) {
            length = 3;
            code = c & 0x0F;
        } else if (c >= 0xF0 && c <= 0xF4) {
            length = 4;
            code = c & 0x07;
        } else {
            return false;
        }
        if (i + length > text.size()) return false;
        for (std::size_t k = 1; k < length; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80) return false;
            code = (code << 6) | (next & 0x3F);
        }
        if ((length == 3 && (code < 0x800 || (code >= 0xD800 && code <= 0xDFFF))) ||
            (length == 4 && (code < 0x10000 || code > 0x10FFFF)))
            return false;
        i += length;
    }
    return true;
}

std::string memberNameRefusal(std::string_view name) {
    if (name.empty() || name == "." || name == "..") return "is no file name";
    if (name.find('\\') != std::string_view::npos)
        return "contains a backslash (\\), which archives take for a folder separator";
    if (name.size() >= 2 && name[1] == ':' && std::isalpha(static_cast<unsigned char>(name[0])))
        return "begins with a drive letter and a colon";
    if (name.find('/') != std::string_view::npos) return "contains a folder separator";
    return {};
}

std::vector<std::string> memberPathComponents(std::string_view name) {
    std::vector<std::string> components;
    std::size_t start = 0;
    while (start <= name.size()) {
        std::size_t end = name.find_first_of("/\\", start);
        if (end == std::string_view::npos) end = name.size();
        const std::string_view part = name.substr(start, end - start);
        if (!part.empty() && part != ".") components.emplace_back(part);
        start = end + 1;
    }
    return components;
}

bool matchesFileMask(std::string_view baseName, std::string_view mask) {
    if (mask == "*.*" || mask == "*") return true;
    return matchesWildcard(baseName, mask, LetterCase::Ignored);
}

}  // namespace morvane
