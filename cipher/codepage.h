#pragma once
// Texts meet the cipher one byte per character in the Windows-1252 code page,
// on every platform, so that passwords, messages and files move between
// systems unchanged. The rest of the program holds texts as UTF-8.
#include <string>
#include <string_view>
#include <vector>

namespace morvane::codepage {

struct Conversion {
    std::string bytes;                      // one byte per character carried
    std::vector<char32_t> unrepresentable;  // distinct characters that could not be, in order of appearance
    bool ok() const { return unrepresentable.empty(); }
};

// UTF-8 to Windows-1252. A character the code page cannot carry is never
// replaced silently (two different passwords must never become one key): it
// is listed in `unrepresentable` and left out of `bytes`. A byte that is not
// valid UTF-8 is listed as U+FFFD.
Conversion toCodePage(std::string_view utf8);

// Windows-1252 to UTF-8. Every byte maps to one character (the five codes the
// code page leaves unassigned map to the control characters of the same
// number), so any deciphered text survives the trip back.
std::string fromCodePage(std::string_view bytes);

// Names characters for a message, e.g. "ā" (U+0101), "→" (U+2192).
std::string describeCharacters(const std::vector<char32_t>& characters);

// The UTF-8 form of one character.
std::string toUtf8(char32_t character);

}  // namespace morvane::codepage
