#pragma once
// Text transforms of the cipher module. Texts are code-page bytes, one byte
// per character.
#include <string>
#include <string_view>

#include "clock_random.h"

namespace morvane {

// Toggles the high bit of every character: codes below 128 gain 128, codes
// above 128 lose it, and code 128 becomes a copy of the previous result
// character. Its own inverse except for code 128. Throws RunTimeError
// (invalid procedure call) when the first character has code 128, since it
// has no previous character.
std::string toggleHighBits(std::string_view s);

// Two-way scrambling of built-in texts, chosen by the first character: a
// plain text (first code below 128) gains three random digits, two in front
// and one behind, and is toggled; a scrambled text is trimmed of blanks, loses
// those three characters and is toggled back. Every scrambling of a text
// differs, and each unscrambles to the same plain text. Throws RunTimeError
// for an empty text or a scrambled text of fewer than three characters.
std::string scrambleText(std::string_view s, SeedSource seed = clockSeed);

}  // namespace morvane
