#pragma once
// Blanks at the ends of texts: what the program trims in fields, rows and
// command lines (spaces only, as people's texts have always been trimmed).
#include <string>
#include <string_view>

namespace morvane {

std::string trimBlanks(std::string_view text);

}  // namespace morvane
