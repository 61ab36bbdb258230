#pragma once
// The message tab: a typed message enciphered into upper-case hexadecimal
// text for e-mail, and back. A cipher text is recognised, and the password
// found right, when deciphering gives a text that starts with "~enc~".
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

// Command1: asks before clearing a message that is not empty.
void clearMessage(MainWindowModel& window, UserInterface& ui);

// The refusal of a text with characters the code page cannot carry, naming
// them; empty when every character can be carried. `what` is "password" or
// "message".
std::string codePageRefusal(std::string_view text, std::string_view what);

}  // namespace morvane
