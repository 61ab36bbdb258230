#include "file_row_texts.h"

#include <array>
#include <cmath>
#include <utility>

#include "file_attributes.h"
#include "text_case.h"

namespace morvane {
namespace {

// A number as "###.##" shows it: rounded half up to two decimals, no
// trailing zeros, no leading zero before the point, and the point itself even
// without decimals.
std::string twoDecimalForm(double value) {
    const auto cents = static_cast<long long>(std::floor(value * 100.0 + 0.5));
    std::string s = cents >= 100 ? std::to_string(cents / 100) : std::string();
    s += '.';
    const long long fraction = cents % 100;
    if (fraction != 0) {
        s += static_cast<char>('0' + fraction / 10);
        if (fraction % 10 != 0) s += static_cast<char>('0' + fraction % 10);
    }
    return s;
}

// "###.": the whole number rounded, followed by the point.
std::string wholeWithPoint(double value) {
    const std::string whole = std::to_string(static_cast<long long>(std::floor(value + 0.5)));
    return (whole == "0" ? std::string() : whole) + ".";
}

std::string scaled(float value, const char* unit) {
    const std::string form = twoDecimalForm(value);
    if (form != wholeWithPoint(value)) return form + unit;
    const std::string whole = wholeWithPoint(value);
    return whole.substr(0, whole.size() - 1) + unit;
}

constexpr std::array<std::pair<std::string_view, std::string_view>, 16> kTypes = {{
    {"txt", "Text file"},
    {"enz", "Encrypted zip file"},
    {"asf", "Windows Media Audio/Video file"},
    {"avi", "Video Clip"},
    {"bkf", "Microsoft Backup file"},
    {"bmp", "Bitmap Image"},
    {"c", "C Source File"},
    {"cab", "Cabinet File (compressed)"},
    // Never matched, since at most three characters are taken: ".chm" files
    // show "chm file", as they always have.
    {"chmi", "Compiled HTML Help file"},
    {"cnt", "Help Contents file"},
    {"cpp", "C++ Source file"},
    {"crt", "Security Certificate"},
    {"css", "Cascading Style Sheet"},
    {"csv", "Comma Separated Values file"},
    {"sys", "System File"},
    {"ini", "Initialization file"},
}};

// The first `count` characters of a UTF-8 text.
std::string_view firstCharacters(std::string_view s, std::size_t count) {
    std::size_t i = 0;
    for (std::size_t n = 0; n < count && i < s.size(); ++n) {
        ++i;
        while (i < s.size() && (static_cast<unsigned char>(s[i]) & 0xC0) == 0x80) ++i;
    }
    return s.substr(0, i);
}

}  // namespace

std::string formatSize(std::int32_t bytes) {
    if (bytes == 0) return {};
    if (bytes < 1004) return std::to_string(bytes) + " Bytes";
    if (bytes < 1027604) return scaled(static_cast<float>(bytes) / 1024.0f, " KBytes");
    return scaled(static_cast<float>(bytes) / 1048576.0f, " MBytes");
}

std::string getFileType(std::string_view path, std::optional<std::uint32_t> attributes) {
    const auto dot = path.rfind('.');
    const std::string extension =
        lowerCase(dot == std::string_view::npos ? firstCharacters(path, 3) : firstCharacters(path.substr(dot + 1), 3));
    std::string type = extension + " file";
    for (const auto& [ext, text] : kTypes) {
        if (ext == extension) {
            type = text;
            break;
        }
    }
    if (attributes && *attributes == (fileattr::kHidden | fileattr::kArchive)) type += " (hidden)";
    return type;
}

std::string getFileType(std::string_view path) { return getFileType(path, fileattr::getAttributes(std::string(path))); }

}  // namespace morvane
