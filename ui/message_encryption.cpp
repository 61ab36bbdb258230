#include "message_encryption.h"

#include <algorithm>
#include <cstddef>
#include <exception>

#include "clsBlowfish.h"
#include "codepage.h"
#include "run_time_error.h"

namespace morvane {
namespace {

bool isBlank(std::string_view s) { return s.find_first_not_of(' ') == std::string_view::npos; }

std::size_t characterCount(std::string_view utf8) {
    std::size_t count = 0;
    for (const char c : utf8)
        if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) ++count;
    return count;
}

constexpr const char* kVerifyMismatch =
    "Your password entered in the \"Verify Password\" field does not match the password you entered in the "
    "\"Password\" field. Please verify password and then try again.";

void copyResult(MainWindowModel& window, UserInterface& ui, const char* success) {
    if (!window.chkCopyToClip) return;
    ui.clearClipboard();
    ui.setClipboardText(window.txtMessage);
    ui.showMessage(success, "Success", MessageIcon::Information);
}

void encipherMessage(MainWindowModel& window, UserInterface& ui, const std::string& key) {
    const codepage::Conversion message = codepage::toCodePage(withCrLfLineEnds(window.txtMessage));
    if (!message.ok()) {
        ui.showMessage(codePageRefusal(window.txtMessage, "message"), MessageIcon::Exclamation);
        ui.setFocus("txtMessage");
        return;
    }
    clsBlowfish cipher;
    window.txtMessage = cipher.EncryptString(std::string(kMessageMarker) + message.bytes, key, true);
    copyResult(window, ui,
               "Your message has been encrypted and copied to the clipboard. You may now paste your encrypted "
               "message to other applications such as email.");
}

void runEncDecMsg(MainWindowModel& window, UserInterface& ui, bool decrypt) {
    const char* verb = decrypt ? "decrypt" : "encrypt";
    const char* done = decrypt ? "decrypted" : "encrypted";
    if (isBlank(window.txtMessage)) {
        ui.showMessage(std::string("The text to be ") + done +
                           " cannot be blank. Please enter in the text you wish to " + verb + " and then try again.",
                       MessageIcon::Information);
        ui.setFocus("txtMessage");
        return;
    }
    if (isBlank(window.txtPassword)) {
        ui.showMessage(std::string("Password field is blank. Please enter in a valid password you wish to ") + verb +
                           " your message with and then try again.",
                       MessageIcon::Information);
        ui.setFocus("txtPassword");
        return;
    }
    if (window.txtPassword != window.txtVerifyPass) {
        ui.showMessage(kVerifyMismatch, MessageIcon::Exclamation);
        ui.setFocus("txtPassword");
        return;
    }
    // The password as typed, blanks included, is the key.
    const codepage::Conversion key = codepage::toCodePage(window.txtPassword);
    if (!key.ok()) {
        ui.showMessage(codePageRefusal(window.txtPassword, "password"), MessageIcon::Exclamation);
        ui.setFocus("txtPassword");
        return;
    }

    if (characterCount(window.txtMessage) > 5) {
        // A cipher text wrapped by a mail program, or with a blank or line
        // break before or after it, is read without its white space.
        const codepage::Conversion cipherText = codepage::toCodePage(cipherTextDigits(window.txtMessage));
        std::string plain;
        if (cipherText.ok()) {
            clsBlowfish cipher;
            plain = cipher.DecryptString(cipherText.bytes, key.bytes, true);
        }
        if (plain.starts_with(kMessageMarker)) {
            if (!decrypt && !ui.askYesNo("Your message is already encrypted. Do you wish to decrypt your message?"))
                return;
            window.txtMessage = codepage::fromCodePage(std::string_view(plain).substr(kMessageMarker.size()));
            copyResult(window, ui,
                       "Your message has been decrypted and copied to the clipboard. You may now paste your plain "
                       "text message to other applications such as email.");
            return;
        }
        if (decrypt) {
            ui.showMessage(
                "The text you are attempting to decrypt is either already decrypted or you have entered in an "
                "invalid password. Please verify your password and then try again.",
                MessageIcon::Exclamation);
            return;
        }
    } else if (decrypt) {
        if (ui.askYesNo("Your message is already decrypted. Do you wish to encrypt your message?"))
            runEncDecMsg(window, ui, false);
        return;
    }
    encipherMessage(window, ui, key.bytes);
}

}  // namespace

std::string codePageRefusal(std::string_view text, std::string_view what) {
    const codepage::Conversion conversion = codepage::toCodePage(text);
    if (conversion.ok()) return {};
    const bool password = what == "password";
    return "Your " + std::string(what) + " contains characters that Morvane cannot " + (password ? "use" : "encrypt") +
           ": " + codepage::describeCharacters(conversion.unrepresentable) + ". Please remove them from your " +
           std::string(what) + " and then try again.";
}

namespace {

template <typename Char>
bool whiteSpace(Char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

template <typename Char>
bool hexDigit(Char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}

template <typename Char>
bool hexWithWhiteSpace(std::basic_string_view<Char> text, std::size_t* digitCount = nullptr) {
    std::size_t digits = 0;
    for (const Char c : text) {
        if (hexDigit(c))
            ++digits;
        else if (!whiteSpace(c))
            return false;
    }
    if (digitCount) *digitCount = digits;
    return digits > 0;
}

std::string withThousands(std::size_t n) {
    std::string digits = std::to_string(n);
    for (std::ptrdiff_t at = static_cast<std::ptrdiff_t>(digits.size()) - 3; at > 0; at -= 3)
        digits.insert(static_cast<std::size_t>(at), ",");
    return digits;
}

}  // namespace

bool isHexWithWhiteSpace(std::u16string_view text) { return hexWithWhiteSpace(text); }
bool isHexWithWhiteSpace(std::string_view text) { return hexWithWhiteSpace(text); }

std::string cipherTextDigits(std::string_view text) {
    if (!isHexWithWhiteSpace(text)) return std::string(text);
    std::string digits;
    digits.reserve(text.size());
    for (const char c : text)
        if (!whiteSpace(c)) digits += c;
    return digits;
}

MessageEdit limitMessageEdit(std::u16string_view before, std::u16string_view after, std::size_t limit) {
    MessageEdit edit;
    edit.text = std::u16string(after);
    const std::size_t room = std::max(limit, before.size());
    if (after.size() <= room) return edit;
    // A cipher text is taken whole, wrapped or not, up to the longest a
    // message of `limit` characters gives; its white space is bounded too.
    std::size_t digits = 0;
    const std::size_t longest = longestCipherTextDigits(limit);
    if (hexWithWhiteSpace(after, &digits) && digits <= longest && after.size() <= 2 * longest) return edit;
    // The characters that came in lie between what the two texts share at
    // their start and what they share at their end.
    const std::size_t shortest = std::min(before.size(), after.size());
    std::size_t head = 0;
    while (head < shortest && before[head] == after[head]) ++head;
    std::size_t tail = 0;
    while (tail < shortest - head && before[before.size() - 1 - tail] == after[after.size() - 1 - tail]) ++tail;
    const std::size_t insertedEnd = after.size() - tail;
    edit.cut = true;
    edit.cutLength = after.size() - room;
    edit.cutAt = insertedEnd - edit.cutLength;
    edit.text.erase(edit.cutAt, edit.cutLength);
    edit.notice = "The message box holds " + withThousands(limit) + " characters: " + withThousands(edit.cutLength) +
                  (edit.cutLength == 1 ? " character" : " characters") + " of what was typed or pasted " +
                  (edit.cutLength == 1 ? "was" : "were") + " left out.";
    return edit;
}

std::string withCrLfLineEnds(std::string_view text) {
    std::string lines;
    lines.reserve(text.size() + text.size() / 16);
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n' && (i == 0 || text[i - 1] != '\r')) lines += '\r';
        lines += text[i];
    }
    return lines;
}

void encDecMsg(MainWindowModel& window, UserInterface& ui, ActivityLog& log, bool decrypt) {
    try {
        runEncDecMsg(window, ui, decrypt);
    } catch (const RunTimeError& error) {
        log.writeLog("Error in encDecMsg routine. Error: " + std::to_string(error.number()) + " " +
                     error.description() + ".");
    } catch (const std::exception& error) {
        log.writeLog(std::string("Error in encDecMsg routine. Error: 7 ") + error.what() + ".");
    }
}

void clearMessage(MainWindowModel& window, UserInterface& ui) {
    if (window.txtMessage.empty()) return;
    if (ui.askYesNo("Are you sure you wish to clear your message?")) window.txtMessage.clear();
}

}  // namespace morvane
