#pragma once
// Lower-casing of UTF-8 texts (paths, list rows) the way a person reads
// letters: ASCII, the Latin-1 letters, Latin Extended-A, Greek and Cyrillic.
#include <string>
#include <string_view>

namespace morvane {

std::string lowerCase(std::string_view utf8);

}  // namespace morvane
