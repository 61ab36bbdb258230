#pragma once
// File attribute words as the program reasons about them: read-only 1,
// hidden 2, system 4, directory 16, archive 32.
//
// On Linux: every regular file carries archive; read-only means the owner
// lacks write permission; hidden means the base name starts with "."; system
// is never set. So "attribute word exactly 34" is a writable dot-file.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>

namespace morvane::fileattr {

inline constexpr std::uint32_t kReadOnly = 1;
inline constexpr std::uint32_t kHidden = 2;
inline constexpr std::uint32_t kSystem = 4;
inline constexpr std::uint32_t kDirectory = 16;
inline constexpr std::uint32_t kArchive = 32;

// The path of a UTF-8 file name, in the platform's own form, and back.
std::filesystem::path toPath(const std::string& utf8);
std::string fromPath(const std::filesystem::path& path);

// std::fopen for a UTF-8 file name.
std::FILE* openFile(const std::string& utf8Path, const char* mode);

// The attribute word, or nothing when the file cannot be looked at.
std::optional<std::uint32_t> getAttributes(const std::string& path);

// Sets the attribute word as far as the platform can (on Linux only the
// read-only bit, through the write permissions). True when it was applied.
bool setAttributes(const std::string& path, std::uint32_t attributes);

}  // namespace morvane::fileattr
