#pragma once
// Names of zip members, seen from the directory they are extracted into.
#include <string>
#include <string_view>

namespace morvane {

// A member name stays inside the destination when it is not absolute (no
// leading separator, no drive letter) and has no ".." component. Both "/" and
// "\" count as separators, whatever the system.
bool isSafeMemberName(std::string_view name);

// Whether a member's base name matches a mask of "*" and "?" wildcards,
// letters compared without regard to case. "*.*" matches every name, also one
// without a dot, as it always has for zip archives.
bool matchesFileMask(std::string_view baseName, std::string_view mask);

}  // namespace morvane
