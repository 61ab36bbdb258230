#include "startup_password.h"

#include "clsBlowfish.h"
#include "codepage.h"
#include "message_encryption.h"
#include "modCrypt.h"
#include "secure_wipe.h"

namespace morvane {

namespace {

// The key that deciphers the key path and the value name, kept scrambled.
constexpr std::string_view kScrambledPlaceKey = "\xB3\xB7\xD2\xE7\xB5\xAA\xC8\xF9\xB1\xA1\xB4";
// The key path and value name, enciphered under it.
constexpr std::string_view kEncipheredKeyPath =
    "32053887998B99FA0B837BB4E1C7E5C260D08E7F92798796EA19D306317BD94B43CF4EA8108218A3";
constexpr std::string_view kEncipheredValueName = "E731FAC0097AD256DC99212DDB66048E12D40A44FA487F46";
// The key the stored password is enciphered with, and the marker, scrambled.
constexpr std::string_view kScrambledPasswordKey = "\xB9\xB1\xD6\xF1\xB8\xA5\xCE\xFA\xB3\xDE\xCC\xE4\xB6\xA6\xB5";
constexpr std::string_view kScrambledMarker = "\xB2\xB8\xFE\xCE\xEF\xD3\xF4\xE1\xF2\xF4\xD0\xE1\xF3\xF3\xFE\xB6";

// The key path, value name and key, built when needed and wiped after use.
struct Place {
    Place() {
        std::string placeKey = scrambleText(kScrambledPlaceKey);
        clsBlowfish names;
        keyPath = names.DecryptString(kEncipheredKeyPath, placeKey, true);
        clsBlowfish values;
        valueName = values.DecryptString(kEncipheredValueName, placeKey, true);
        secureWipe(placeKey);
        key = scrambleText(kScrambledPasswordKey);
    }
    ~Place() { secureWipe(key); }
    std::string keyPath, valueName, key;
};

constexpr const char* kVerifyMismatch =
    "Password entered into the \"Verify Password\" field does not match the password entered into the "
    "\"Password\" field. Please verify password and then try again.";

}  // namespace

std::string StartupPassword::marker() { return scrambleText(kScrambledMarker); }

void StartupPassword::saveStartupPassword(std::string_view text) {
    const Place place;
    const codepage::Conversion plain = codepage::toCodePage(text);
    clsBlowfish cipher;
    settings_.regWrite(place.keyPath, place.valueName, cipher.EncryptString(plain.bytes, place.key, true));
}

std::string StartupPassword::readStartupPassword() const {
    const Place place;
    clsBlowfish cipher;
    return codepage::fromCodePage(
        cipher.DecryptString(settings_.regRead(place.valueName, place.keyPath), place.key, true));
}

std::string StartupPassword::refusalFor(std::string_view password) {
    if (std::string refusal = codePageRefusal(password, "password"); !refusal.empty()) return refusal;
    if (codepage::toCodePage(password).bytes.size() > kLongestPassword)
        return "Your startup password is too long to be kept. Please enter in a password of at most " +
               std::to_string(kLongestPassword) + " characters and then try again.";
    return {};
}

StartupPasswordDialog::StartupPasswordDialog(Mode dialogMode)
    : mode(dialogMode),
      // "starup": the words people know from this dialog.
      firstLabel(dialogMode == Mode::Enter ? "Please enter in your starup password below:" : "Password:"),
      secondLabel(dialogMode == Mode::Enter
                      ? "You have set Morvane to require a password to start. Please enter in your password below:"
                      : ""),
      verifyVisible(dialogMode == Mode::Set),
      cancelCaption(dialogMode == Mode::Enter ? "Exit" : "Cancel") {}

void StartupPasswordDialog::cmdOk(StartupPassword& store, UserInterface& ui, MainWindowModel& window) {
    if (!verifyVisible) {
        if (txtStartPass == store.readStartupPassword()) {
            passed = true;
            open = false;
        } else {
            ui.showMessage("Invalid password, please verify your password and then try again.",
                           MessageIcon::Exclamation);
        }
        return;
    }
    if (txtStartPass.empty()) {
        ui.showMessage(
            "Error. The password field cannot be blank. Please enter in a valid password and then try again.",
            MessageIcon::Exclamation);
        return;
    }
    if (txtStartPass != txtStartPassVerify) {
        ui.showMessage(kVerifyMismatch, MessageIcon::Exclamation);
        return;
    }
    // A password that could not be read back would lock its owner out.
    if (const std::string refusal = StartupPassword::refusalFor(txtStartPass); !refusal.empty()) {
        ui.showMessage(refusal, MessageIcon::Exclamation);
        return;
    }
    store.saveStartupPassword(txtStartPass);
    window.mnuStartPassChecked = true;
    ui.showMessage("Your password has been saved.", MessageIcon::Information);
    passed = true;
    open = false;
}

void StartupPasswordDialog::cmdCancel(RunState& run) {
    if (cancelCaption == "Exit") run.startupCancelled = true;
    close(run);
}

void StartupPasswordDialog::close(RunState& run) {
    if (!passed) run.startupCancelled = true;
    open = false;
}

bool startPasswordMenu(MainWindowModel& window, StartupPassword& store, UserInterface& ui) {
    if (!window.mnuStartPassChecked) return true;
    if (!ui.askYesNo("Are you sure you wish to remove your startup password? If you select yes, you will no longer "
                     "be required to enter a password when starting Morvane.",
                     "Remove Startup Password?"))
        return false;
    window.mnuStartPassChecked = false;
    store.saveStartupPassword(StartupPassword::marker());
    ui.showMessage("Password removed.", MessageIcon::Information);
    return false;
}

}  // namespace morvane
