#pragma once
// Names of zip members, seen from the directory they are extracted into.
#include <string>
#include <string_view>
#include <vector>

namespace morvane {

// A member name stays inside the destination when it is not absolute (no
// leading separator, no drive letter) and has no ".." component. Both "/" and
// "\" count as separators, whatever the system.
bool isSafeMemberName(std::string_view name);

// Whether the bytes are well-formed UTF-8 (no overlong forms, no surrogates,
// nothing above U+10FFFF).
bool isValidUtf8(std::string_view text);

// Why a file of this name could not come back under the same name from an
// archive, or "" when it can: a name the extractor refuses (a drive letter
// and a colon at its start, a backslash, which archives take for a folder
// separator) or one with no name at all. The words finish the sentence
// "its name ...".
std::string memberNameRefusal(std::string_view name);

// The components of a member's path, split at "/" and "", without empty
// and "." components.
std::vector<std::string> memberPathComponents(std::string_view name);

// Whether a member's base name matches a mask of "*" and "?" wildcards,
// letters compared without regard to case. "*.*" matches every name, also one
// without a dot, as it always has for zip archives.
bool matchesFileMask(std::string_view baseName, std::string_view mask);

}  // namespace morvane
