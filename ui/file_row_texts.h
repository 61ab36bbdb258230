#pragma once
// The size and type columns of the file list.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace morvane {

// The size column: "" for 0, "{n} Bytes" below 1004, then KBytes and MBytes
// with at most two decimals and no leading zero (".98 KBytes"). The unit
// changes at 1004 and 1,027,604 bytes, so a size just under the next unit is
// already shown in it; people are used to these figures.
std::string formatSize(std::int32_t bytes);

// The type column: a fixed table by extension (at most three characters after
// the last ".", lower-cased), else "{ext} file"; " (hidden)" follows when the
// attribute word is exactly 34 (hidden and archive alone).
std::string getFileType(std::string_view path, std::optional<std::uint32_t> attributes);

// The same, with the file's attributes read from disk.
std::string getFileType(std::string_view path);

}  // namespace morvane
