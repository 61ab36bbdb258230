#pragma once
// The startup password: kept enciphered, as hexadecimal text, in the
// settings at a place whose key path and value name the program keeps
// enciphered too. "No startup password" is a built-in marker stored the same
// way, so a fresh installation (which stores the marker) asks for nothing.
#include <string>
#include <string_view>

#include "main_window_model.h"
#include "settings_store.h"
#include "user_interface.h"

namespace morvane {

class StartupPassword {
public:
    explicit StartupPassword(SettingsStore& settings) : settings_(settings) {}

    // Enciphers the text and writes it to its place.
    void saveStartupPassword(std::string_view text);

    // Reads and deciphers it: the marker when no password is set; an empty or
    // unreadable value gives whatever deciphering it gives.
    std::string readStartupPassword() const;

    // The built-in "no startup password" text (13 characters).
    static std::string marker();

    // Start-up asks for a password when the stored text is not the marker.
    bool passwordRequired() const { return readStartupPassword() != marker(); }

    // Why `password` cannot be kept (its stored form would be too long to be
    // read back, or it has characters the code page cannot carry), or "".
    static std::string refusalFor(std::string_view password);

    // The longest password whose stored form can be read back.
    static constexpr std::size_t kLongestPassword = 44;

private:
    SettingsStore& settings_;
};

// frmPassOnStartup as a model: the enter mode (at start-up) and the set mode
// (from the Options menu).
struct StartupPasswordDialog {
    enum class Mode { Enter, Set };

    explicit StartupPasswordDialog(Mode mode);

    Mode mode;
    std::string firstLabel;
    std::string secondLabel;  // shown in enter mode only
    bool verifyVisible;       // the verify box, its label and the separator lines
    std::string cancelCaption;
    std::string txtStartPass;
    std::string txtStartPassVerify;
    bool passed = false;
    bool open = true;

    // OK: enter mode compares with the stored password; set mode checks and
    // saves it (and checks mnuStartPass).
    void cmdOk(StartupPassword& store, UserInterface& ui, MainWindowModel& window);

    // Cancel or Exit: closes; "Exit" leaves start-up (startupCancelled).
    void cmdCancel(RunState& run);

    // The window's close box, or any closing: without a correct password the
    // program does not start.
    void close(RunState& run);
};

// mnuStartPass: removes the password after asking (when checked), or returns
// true when the set-mode dialog is to be shown.
bool startPasswordMenu(MainWindowModel& window, StartupPassword& store, UserInterface& ui);

}  // namespace morvane
