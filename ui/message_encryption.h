#pragma once
// The message tab: a typed message enciphered into upper-case hexadecimal
// text for e-mail, and back. A cipher text is recognised, and the password
// found right, when deciphering gives a text that starts with "~enc~".
#include <cstddef>
#include <string>
#include <string_view>

#include "activity_log.h"
#include "main_window_model.h"
#include "user_interface.h"

namespace morvane {

// The marker put in front of every message before it is enciphered.
inline constexpr std::string_view kMessageMarker = "~enc~";

// encMsg (decrypt false) and decMsg (decrypt true).
void encDecMsg(MainWindowModel& window, UserInterface& ui, ActivityLog& log, bool decrypt);

// The longest cipher text, in hexadecimal digits, of a message of
// `messageLength` characters: every character a line break (each enciphered
// as CR LF), after the marker, in a cipher buffer of 12 bytes more rounded up
// to whole blocks of 8, two digits a byte.
constexpr std::size_t longestCipherTextDigits(std::size_t messageLength) {
    const std::size_t plainBytes = kMessageMarker.size() + 2 * messageLength;
    return 2 * ((plainBytes + 12 + 7) / 8 * 8);
}
// 200,048 for the 50,000 characters the message box takes.
inline constexpr std::size_t kLongestCipherText = longestCipherTextDigits(kMaxMessageLength);

// Whether a text is read as a cipher text that went through e-mail: nothing
// but hexadecimal digits and white space (blanks, tabs, line breaks), with at
// least one digit.
bool isHexWithWhiteSpace(std::u16string_view text);
bool isHexWithWhiteSpace(std::string_view text);

// The text without its white space when it is hexadecimal digits and white
// space only; any other text as it is.
std::string cipherTextDigits(std::string_view text);

// The message box after an edit from `before` to `after` (texts in the
// box's own character units). What a person types or pastes is cut so that
// the box holds at most `limit` characters, and takes nothing when the box
// already held more (a cipher text the program put there is longer); an edit
// that does not make the text longer, a deletion in a long cipher text say,
// is kept whole. A box that then holds a cipher text (hexadecimal digits and
// white space) is kept whole up to the longest cipher text of a message of
// `limit` characters, so that the program's own cipher texts can come back.
struct MessageEdit {
    std::u16string text;
    bool cut = false;           // part of what was typed or pasted was dropped
    std::size_t cutAt = 0;      // where it was dropped: the end of what was kept of it
    std::size_t cutLength = 0;  // how many characters were dropped there
    std::string notice;         // for the status bar when something was dropped
};
MessageEdit limitMessageEdit(std::u16string_view before, std::u16string_view after,
                             std::size_t limit = kMaxMessageLength);

// The message as it is enciphered: every line ends with CR LF whatever
// system it was typed on (a lone LF becomes CR LF; CR LF stays), so that it
// comes back the same everywhere.
std::string withCrLfLineEnds(std::string_view text);

// Command1: asks before clearing a message that is not empty.
void clearMessage(MainWindowModel& window, UserInterface& ui);

// The refusal of a text with characters the code page cannot carry, naming
// them; empty when every character can be carried. `what` is "password" or
// "message".
std::string codePageRefusal(std::string_view text, std::string_view what);

}  // namespace morvane
