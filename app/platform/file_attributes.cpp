#include "file_attributes.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace morvane::fileattr {

namespace fs = std::filesystem;

fs::path toPath(const std::string& utf8) {
    return fs::path(std::u8string(reinterpret_cast<const char8_t*>(utf8.data()), utf8.size()));
}

std::string fromPath(const fs::path& path) {
    const std::u8string text = path.u8string();
    return {reinterpret_cast<const char*>(text.data()), text.size()};
}

std::FILE* openFile(const std::string& utf8Path, const char* mode) {
#ifdef _WIN32
    const std::wstring wideMode(mode, mode + std::char_traits<char>::length(mode));
    return _wfopen(toPath(utf8Path).c_str(), wideMode.c_str());
#else
    return std::fopen(utf8Path.c_str(), mode);
#endif
}

#ifdef _WIN32

std::optional<std::uint32_t> getAttributes(const std::string& path) {
    const DWORD a = GetFileAttributesW(toPath(path).c_str());
    if (a == INVALID_FILE_ATTRIBUTES) return std::nullopt;
    return static_cast<std::uint32_t>(a & 0xFFFF);
}

bool setAttributes(const std::string& path, std::uint32_t attributes) {
    return SetFileAttributesW(toPath(path).c_str(), attributes) != 0;
}

#else

std::optional<std::uint32_t> getAttributes(const std::string& path) {
    std::error_code ec;
    const fs::path p = toPath(path);
    const fs::file_status status = fs::status(p, ec);
    if (ec || !fs::exists(status)) return std::nullopt;
    std::uint32_t word = fs::is_directory(status) ? kDirectory : kArchive;
    if ((status.permissions() & fs::perms::owner_write) == fs::perms::none) word |= kReadOnly;
    const std::string name = p.filename().string();
    if (!name.empty() && name.front() == '.' && name != "." && name != "..") word |= kHidden;
    return word;
}

bool setAttributes(const std::string& path, std::uint32_t attributes) {
    std::error_code ec;
    const fs::path p = toPath(path);
    if (attributes & kReadOnly) {
        fs::permissions(p, fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                        fs::perm_options::remove, ec);
    } else {
        fs::permissions(p, fs::perms::owner_write, fs::perm_options::add, ec);
    }
    return !ec;
}

#endif

}  // namespace morvane::fileattr
