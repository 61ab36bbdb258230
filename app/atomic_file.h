#pragma once
// Rewriting a small file so that it is either wholly old or wholly new: the
// content goes to a temporary file in the same directory, is flushed to disk,
// and replaces the file by a rename.
#include <string>
#include <string_view>

namespace morvane {

// True when the file now holds `content`.
bool writeFileAtomically(const std::string& path, std::string_view content);

}  // namespace morvane

namespace morvane {

// Makes sure the file's content has reached the disk (before its source is
// deleted, for one). True when it has.
bool flushToDisk(const std::string& path);

}  // namespace morvane
