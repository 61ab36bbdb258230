#pragma once
// File names against patterns of "*" (any run of characters) and "?" (any
// one character).
#include <string_view>

namespace morvane {

enum class LetterCase { Exact, Ignored };

bool matchesWildcard(std::string_view name, std::string_view pattern, LetterCase letterCase);

}  // namespace morvane
