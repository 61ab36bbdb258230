// Scenario tests of the message tab: encMsg, decMsg and Command1 over the
// window model, with the cipher text checked independently through
// clsBlowfish.
#include "message_encryption.h"

#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <string>
#include <vector>

#include "activity_log.h"
#include "clsBlowfish.h"
#include "main_window_model.h"
#include "scripted_user_interface.h"
#include "temp_directory.h"

namespace {

using morvane::ActivityLog;
using morvane::clsBlowfish;
using morvane::MainWindowModel;
using morvane::MessageIcon;
using morvane::ScriptedUserInterface;
using morvane::testing::TempDirectory;

using Message = ScriptedUserInterface::Message;

const std::string kAlreadyEncrypted = "Your message is already encrypted. Do you wish to decrypt your message?";
const std::string kAlreadyDecrypted = "Your message is already decrypted. Do you wish to encrypt your message?";
const std::string kNotCipherText =
    "The text you are attempting to decrypt is either already decrypted or you have entered in an invalid password. "
    "Please verify your password and then try again.";
const std::string kEncryptedCopied =
    "Your message has been encrypted and copied to the clipboard. You may now paste your encrypted message to other "
    "applications such as email.";
const std::string kDecryptedCopied =
    "Your message has been decrypted and copied to the clipboard. You may now paste your plain text message to other "
    "applications such as email.";
const std::string kVerifyMismatch =
    "Your password entered in the \"Verify Password\" field does not match the password you entered in the "
    "\"Password\" field. Please verify password and then try again.";
const std::string kClearQuestion = "Are you sure you wish to clear your message?";

std::string fixedDate() { return "01/02/2024 10:00:00"; }

// The cipher's own reading of a hexadecimal text; keys and results are
// Windows-1252 bytes.
std::string decipherHex(const std::string& hex, const std::string& key) {
    clsBlowfish cipher;
    return cipher.DecryptString(hex, key, true);
}

bool isUpperHex(const std::string& s) {
    if (s.empty() || s.size() % 2 != 0) return false;
    return s.find_first_not_of("0123456789ABCDEF") == std::string::npos;
}

// Hex digits of the cipher buffer for a plaintext of n bytes: 8 random bytes,
// 4 length bytes, the text, zero padding to a multiple of 8.
std::size_t hexLengthFor(std::size_t n) { return 2 * ((n + 12 + 7) / 8 * 8); }

struct MessageFixture {
    TempDirectory logDir{"message"};
    MainWindowModel window;
    ScriptedUserInterface ui;
    ActivityLog log{logDir.str(), fixedDate};

    MessageFixture() { window.currentTab = morvane::kMessageTab; }

    void setPassword(const std::string& password) {
        window.txtPassword = password;
        window.txtVerifyPass = password;
    }
    void encrypt() { morvane::encDecMsg(window, ui, log, false); }
    void decrypt() { morvane::encDecMsg(window, ui, log, true); }
    bool nothingLogged() const { return !std::filesystem::exists(log.logPath()); }
};

// --- Enciphering ---------------------------------------------------------------

TEST(MessageTabEncrypt, GivesUpperCaseHexOfMarkerAndMessage) {
    MessageFixture f;
    f.setPassword("secret");
    f.window.txtMessage = "Hello world";
    f.encrypt();
    const std::string cipherText = f.window.txtMessage;
    EXPECT_TRUE(isUpperHex(cipherText)) << cipherText;
    EXPECT_EQ(cipherText.size(), hexLengthFor(5 + 11));
    EXPECT_EQ(decipherHex(cipherText, "secret"), "~enc~Hello world");
    // Without chkCopyToClip the result simply replaces the text.
    EXPECT_TRUE(f.ui.messages.empty());
    EXPECT_TRUE(f.ui.questions.empty());
    EXPECT_TRUE(f.ui.clipboardLog.empty());
    EXPECT_EQ(f.window.txtPassword, "secret");
    EXPECT_EQ(f.window.txtVerifyPass, "secret");
    EXPECT_TRUE(f.nothingLogged());
}

TEST(MessageTabEncrypt, LineBreaksAreEncipheredAsCrLf) {
    MessageFixture f;
    f.setPassword("secret");
    f.window.txtMessage = "first\nsecond\n\nthird\n";
    f.encrypt();
    EXPECT_EQ(decipherHex(f.window.txtMessage, "secret"), "~enc~first\r\nsecond\r\n\r\nthird\r\n");
    f.decrypt();
    EXPECT_EQ(f.window.txtMessage, "first\r\nsecond\r\n\r\nthird\r\n");
}

TEST(MessageTabEncrypt, CrLfLineBreaksStayAsTheyAre) {
    MessageFixture f;
    f.setPassword("secret");
    f.window.txtMessage = "\nwritten on\r\ntwo systems\nat once\r\n";
    f.encrypt();
    EXPECT_EQ(decipherHex(f.window.txtMessage, "secret"), "~enc~\r\nwritten on\r\ntwo systems\r\nat once\r\n");
}

TEST(MessageTabEncrypt, ShortMessageIsEncipheredWithoutQuestion) {
    MessageFixture f;
    f.setPassword("pw");
    f.window.txtMessage = "abcde";
    f.encrypt();
    EXPECT_TRUE(f.ui.questions.empty());
    EXPECT_TRUE(isUpperHex(f.window.txtMessage));
    EXPECT_EQ(decipherHex(f.window.txtMessage, "pw"), "~enc~abcde");
}

TEST(MessageTabEncrypt, CopyToClipboardClearsThenSetsAndReportsSuccess) {
    MessageFixture f;
    f.setPassword("secret");
    f.window.chkCopyToClip = true;
    f.window.txtMessage = "Meet me at noon.";
    f.encrypt();
    const std::string cipherText = f.window.txtMessage;
    EXPECT_EQ(decipherHex(cipherText, "secret"), "~enc~Meet me at noon.");
    EXPECT_EQ(f.ui.clipboardLog, (std::vector<std::string>{"clear", "set:" + cipherText}));
    EXPECT_EQ(f.ui.clipboard, cipherText);
    EXPECT_EQ(f.ui.messages, (std::vector<Message>{{kEncryptedCopied, "Success", MessageIcon::Information}}));
}

TEST(MessageTabEncrypt, AlreadyEncipheredTextAsksAndYesDeciphers) {
    MessageFixture f;
    f.setPassword("secret");
    f.window.txtMessage = "The plan stands.";
    f.encrypt();
    ASSERT_TRUE(isUpperHex(f.window.txtMessage));

    f.ui.answers.push_back(true);
    f.encrypt();
    ASSERT_EQ(f.ui.questions.size(), 1u);
    EXPECT_EQ(f.ui.questions[0].text, kAlreadyEncrypted);
    EXPECT_EQ(f.ui.questions[0].title, "Morvane");
    EXPECT_EQ(f.window.txtMessage, "The plan stands.");
    EXPECT_TRUE(f.ui.messages.empty());
}

TEST(MessageTabEncrypt, AlreadyEncipheredTextAnsweredNoStaysAsItIs) {
    MessageFixture f;
    f.setPassword("secret");
    f.window.txtMessage = "The plan stands.";
    f.encrypt();
    const std::string cipherText = f.window.txtMessage;

    f.ui.answers.push_back(false);
    f.encrypt();
    ASSERT_EQ(f.ui.questions.size(), 1u);
    EXPECT_EQ(f.ui.questions[0].text, kAlreadyEncrypted);
    EXPECT_EQ(f.window.txtMessage, cipherText);
    EXPECT_TRUE(f.ui.messages.empty());
}

TEST(MessageTabEncrypt, YesWithCopyToClipboardReportsTheDeciphering) {
    MessageFixture f;
    f.setPassword("secret");
    f.window.txtMessage = "The plan stands.";
    f.encrypt();
    f.window.chkCopyToClip = true;
    f.ui.answers.push_back(true);
    f.encrypt();
    EXPECT_EQ(f.window.txtMessage, "The plan stands.");
    EXPECT_EQ(f.ui.clipboardLog, (std::vector<std::string>{"clear", "set:The plan stands."}));
    EXPECT_EQ(f.ui.messages, (std::vector<Message>{{kDecryptedCopied, "Success", MessageIcon::Information}}));
}

TEST(MessageTabEncrypt, TwiceWithDifferentPasswordsEnciphersTwice) {
    MessageFixture f;
    f.setPassword("alpha");
    f.window.txtMessage = "layered secret";
    f.encrypt();
    const std::string firstPass = f.window.txtMessage;
    ASSERT_EQ(decipherHex(firstPass, "alpha"), "~enc~layered secret");

    f.setPassword("beta");
    f.encrypt();
    EXPECT_TRUE(f.ui.questions.empty());
    const std::string secondPass = f.window.txtMessage;
    EXPECT_TRUE(isUpperHex(secondPass));
    EXPECT_EQ(decipherHex(secondPass, "beta"), "~enc~" + firstPass);

    // Peeling the layers off again, newest first.
    f.decrypt();
    EXPECT_EQ(f.window.txtMessage, firstPass);
    f.setPassword("alpha");
    f.decrypt();
    EXPECT_EQ(f.window.txtMessage, "layered secret");
    EXPECT_TRUE(f.ui.messages.empty());
}

TEST(MessageTabEncrypt, PasswordIsUsedWithItsBlanks) {
    MessageFixture f;
    f.setPassword(" pw ");
    f.window.txtMessage = "blanks matter";
    f.encrypt();
    const std::string cipherText = f.window.txtMessage;
    EXPECT_EQ(decipherHex(cipherText, " pw "), "~enc~blanks matter");
    EXPECT_FALSE(decipherHex(cipherText, "pw").starts_with("~enc~"));

    f.setPassword("pw");
    f.decrypt();
    EXPECT_EQ(f.window.txtMessage, cipherText);
    EXPECT_EQ(f.ui.messages, (std::vector<Message>{{kNotCipherText, "Morvane", MessageIcon::Exclamation}}));

    f.setPassword(" pw ");
    f.decrypt();
    EXPECT_EQ(f.window.txtMessage, "blanks matter");
}

TEST(MessageTabEncrypt, Windows1252CharactersSurviveTheRoundTrip) {
    MessageFixture f;
    f.setPassword("pw");
    f.window.txtMessage = "Café € déjà vu";
    f.encrypt();
    // One byte per character in the cipher: é E9, € 80, à E0.
    EXPECT_EQ(decipherHex(f.window.txtMessage, "pw"), "~enc~Caf\xE9 \x80 d\xE9j\xE0 vu");
    EXPECT_EQ(f.window.txtMessage.size(), hexLengthFor(5 + 14));
    f.decrypt();
    EXPECT_EQ(f.window.txtMessage, "Café € déjà vu");
    EXPECT_TRUE(f.ui.messages.empty());
}

TEST(MessageTabEncrypt, PasswordMeetsTheCipherInWindows1252) {
    MessageFixture f;
    f.setPassword("pässwörd");
    f.window.txtMessage = "umlauts";
    f.encrypt();
    EXPECT_EQ(decipherHex(f.window.txtMessage, "p\xE4ssw\xF6rd"), "~enc~umlauts");
    // The UTF-8 bytes of the password are another key.
    EXPECT_FALSE(decipherHex(f.window.txtMessage, "pässwörd").starts_with("~enc~"));
    f.decrypt();
    EXPECT_EQ(f.window.txtMessage, "umlauts");
}

TEST(MessageTabEncrypt, MessageOutsideWindows1252IsRefusedNamingTheCharacter) {
    MessageFixture f;
    f.setPassword("pw");
    f.window.txtMessage = "left → right";
    f.encrypt();
    EXPECT_EQ(f.window.txtMessage, "left → right");
    ASSERT_EQ(f.ui.messages.size(), 1u);
    EXPECT_NE(f.ui.messages[0].text.find("→"), std::string::npos) << f.ui.messages[0].text;
    EXPECT_EQ(f.ui.messages[0].title, "Morvane");
    EXPECT_TRUE(f.ui.clipboardLog.empty());
    EXPECT_EQ(f.window.txtPassword, "pw");
}

TEST(MessageTabEncrypt, PasswordOutsideWindows1252IsRefusedNamingTheCharacter) {
    MessageFixture f;
    f.setPassword("p→ss");
    f.window.txtMessage = "some message";
    f.encrypt();
    EXPECT_EQ(f.window.txtMessage, "some message");
    EXPECT_EQ(f.window.txtPassword, "p→ss");
    EXPECT_EQ(f.window.txtVerifyPass, "p→ss");
    ASSERT_EQ(f.ui.messages.size(), 1u);
    EXPECT_NE(f.ui.messages[0].text.find("→"), std::string::npos) << f.ui.messages[0].text;
    EXPECT_TRUE(f.ui.clipboardLog.empty());
}

TEST(MessageTabDecrypt, PasswordOutsideWindows1252IsRefusedNamingTheCharacter) {
    MessageFixture f;
    f.setPassword("pw");
    f.window.txtMessage = "kept";
    f.encrypt();
    const std::string cipherText = f.window.txtMessage;
    f.setPassword("p→ss");
    f.decrypt();
    EXPECT_EQ(f.window.txtMessage, cipherText);
    ASSERT_EQ(f.ui.messages.size(), 1u);
    EXPECT_NE(f.ui.messages[0].text.find("→"), std::string::npos) << f.ui.messages[0].text;
}

// --- Deciphering -----------------------------------------------------------------

TEST(MessageTabDecrypt, RestoresTheMessageSilentlyWithoutClipboard) {
    MessageFixture f;
    f.setPassword("secret");
    f.window.txtMessage = "Hello world";
    f.encrypt();
    f.decrypt();
    EXPECT_EQ(f.window.txtMessage, "Hello world");
    EXPECT_TRUE(f.ui.messages.empty());
    EXPECT_TRUE(f.ui.questions.empty());
    EXPECT_TRUE(f.ui.clipboardLog.empty());
}

TEST(MessageTabDecrypt, CopyToClipboardClearsThenSetsAndReportsSuccess) {
    MessageFixture f;
    f.setPassword("secret");
    f.window.txtMessage = "Hello world";
    f.encrypt();
    f.window.chkCopyToClip = true;
    f.decrypt();
    EXPECT_EQ(f.window.txtMessage, "Hello world");
    EXPECT_EQ(f.ui.clipboardLog, (std::vector<std::string>{"clear", "set:Hello world"}));
    EXPECT_EQ(f.ui.messages, (std::vector<Message>{{kDecryptedCopied, "Success", MessageIcon::Information}}));
}

TEST(MessageTabDecrypt, CipherTextMadeElsewhereIsRead) {
    MessageFixture f;
    clsBlowfish cipher;
    f.window.txtMessage = cipher.EncryptString("~enc~from a friend", "shared", true);
    f.setPassword("shared");
    f.decrypt();
    EXPECT_EQ(f.window.txtMessage, "from a friend");
}

TEST(MessageTabDecrypt, FiveCharacterPlainMessageAsksToEncrypt) {
    MessageFixture f;
    f.setPassword("pw");
    f.window.txtMessage = "hello";
    f.decrypt();
    ASSERT_EQ(f.ui.questions.size(), 1u);
    EXPECT_EQ(f.ui.questions[0].text, kAlreadyDecrypted);
    EXPECT_EQ(f.ui.questions[0].title, "Morvane");
    EXPECT_EQ(f.window.txtMessage, "hello");  // No: left as it was
    EXPECT_TRUE(f.ui.messages.empty());
}

TEST(MessageTabDecrypt, FiveCharacterPlainMessageYesEnciphers) {
    MessageFixture f;
    f.setPassword("pw");
    f.window.txtMessage = "hello";
    f.ui.answers.push_back(true);
    f.decrypt();
    ASSERT_EQ(f.ui.questions.size(), 1u);
    EXPECT_EQ(f.ui.questions[0].text, kAlreadyDecrypted);
    EXPECT_TRUE(isUpperHex(f.window.txtMessage));
    EXPECT_EQ(decipherHex(f.window.txtMessage, "pw"), "~enc~hello");
    EXPECT_TRUE(f.ui.messages.empty());
}

TEST(MessageTabDecrypt, FiveCharacterYesWithCopyToClipboardReportsEnciphering) {
    MessageFixture f;
    f.setPassword("pw");
    f.window.chkCopyToClip = true;
    f.window.txtMessage = "hello";
    f.ui.answers.push_back(true);
    f.decrypt();
    EXPECT_EQ(f.ui.clipboardLog, (std::vector<std::string>{"clear", "set:" + f.window.txtMessage}));
    EXPECT_EQ(f.ui.messages, (std::vector<Message>{{kEncryptedCopied, "Success", MessageIcon::Information}}));
}

TEST(MessageTabDecrypt, FiveCharactersAreCountedAsCharactersNotBytes) {
    MessageFixture f;
    f.setPassword("pw");
    f.window.txtMessage = "ééééé";  // ten bytes of UTF-8, five characters
    f.decrypt();
    ASSERT_EQ(f.ui.questions.size(), 1u);
    EXPECT_EQ(f.ui.questions[0].text, kAlreadyDecrypted);
    EXPECT_TRUE(f.ui.messages.empty());
}

TEST(MessageTabDecrypt, SixCharacterPlainMessageIsNotCipherText) {
    MessageFixture f;
    f.setPassword("pw");
    f.window.txtMessage = "hello!";
    f.decrypt();
    EXPECT_TRUE(f.ui.questions.empty());
    EXPECT_EQ(f.ui.messages, (std::vector<Message>{{kNotCipherText, "Morvane", MessageIcon::Exclamation}}));
    EXPECT_EQ(f.window.txtMessage, "hello!");
    EXPECT_TRUE(f.ui.clipboardLog.empty());
}

TEST(MessageTabDecrypt, WrongPasswordLooksLikePlainText) {
    MessageFixture f;
    f.setPassword("right");
    f.window.txtMessage = "guarded words";
    f.encrypt();
    const std::string cipherText = f.window.txtMessage;
    f.window.chkCopyToClip = true;
    f.setPassword("wrong");
    f.decrypt();
    EXPECT_EQ(f.window.txtMessage, cipherText);
    EXPECT_EQ(f.ui.messages, (std::vector<Message>{{kNotCipherText, "Morvane", MessageIcon::Exclamation}}));
    EXPECT_TRUE(f.ui.clipboardLog.empty());
}

// --- Refusals ------------------------------------------------------------------------

TEST(MessageTabRefusal, BlankMessageToEncrypt) {
    MessageFixture f;
    f.setPassword("pw");
    f.window.txtMessage = "";
    f.encrypt();
    EXPECT_EQ(f.ui.messages,
              (std::vector<Message>{{"The text to be encrypted cannot be blank. Please enter in the text you wish to "
                                     "encrypt and then try again.",
                                     "Morvane", MessageIcon::Information}}));
    EXPECT_EQ(f.ui.focusRequests, (std::vector<std::string>{"txtMessage"}));
    EXPECT_EQ(f.window.txtMessage, "");
}

TEST(MessageTabRefusal, BlanksOnlyMessageToDecrypt) {
    MessageFixture f;
    f.setPassword("pw");
    f.window.txtMessage = "       ";
    f.decrypt();
    EXPECT_EQ(f.ui.messages,
              (std::vector<Message>{{"The text to be decrypted cannot be blank. Please enter in the text you wish to "
                                     "decrypt and then try again.",
                                     "Morvane", MessageIcon::Information}}));
    EXPECT_EQ(f.ui.focusRequests, (std::vector<std::string>{"txtMessage"}));
    EXPECT_EQ(f.window.txtMessage, "       ");
    EXPECT_TRUE(f.ui.questions.empty());
}

TEST(MessageTabRefusal, BlanksOnlyMessageToEncrypt) {
    MessageFixture f;
    f.setPassword("pw");
    f.window.txtMessage = "   ";
    f.encrypt();
    ASSERT_EQ(f.ui.messages.size(), 1u);
    EXPECT_EQ(f.ui.messages[0].text,
              "The text to be encrypted cannot be blank. Please enter in the text you wish to encrypt and then try "
              "again.");
    EXPECT_EQ(f.window.txtMessage, "   ");
}

TEST(MessageTabRefusal, BlankMessageIsToldBeforeBlankPassword) {
    MessageFixture f;
    f.window.txtPassword = "";
    f.window.txtVerifyPass = "other";
    f.window.txtMessage = " ";
    f.encrypt();
    ASSERT_EQ(f.ui.messages.size(), 1u);
    EXPECT_EQ(f.ui.messages[0].text,
              "The text to be encrypted cannot be blank. Please enter in the text you wish to encrypt and then try "
              "again.");
    EXPECT_EQ(f.ui.focusRequests, (std::vector<std::string>{"txtMessage"}));
}

TEST(MessageTabRefusal, BlankPasswordToEncrypt) {
    MessageFixture f;
    f.setPassword("");
    f.window.txtMessage = "a message";
    f.encrypt();
    EXPECT_EQ(f.ui.messages,
              (std::vector<Message>{{"Password field is blank. Please enter in a valid password you wish to encrypt "
                                     "your message with and then try again.",
                                     "Morvane", MessageIcon::Information}}));
    EXPECT_EQ(f.ui.focusRequests, (std::vector<std::string>{"txtPassword"}));
    EXPECT_EQ(f.window.txtMessage, "a message");
}

TEST(MessageTabRefusal, BlanksOnlyPasswordToDecrypt) {
    MessageFixture f;
    f.setPassword("    ");
    f.window.txtMessage = "a message";
    f.decrypt();
    EXPECT_EQ(f.ui.messages,
              (std::vector<Message>{{"Password field is blank. Please enter in a valid password you wish to decrypt "
                                     "your message with and then try again.",
                                     "Morvane", MessageIcon::Information}}));
    EXPECT_EQ(f.ui.focusRequests, (std::vector<std::string>{"txtPassword"}));
    EXPECT_EQ(f.window.txtMessage, "a message");
}

TEST(MessageTabRefusal, BlankPasswordIsToldBeforeVerifyMismatch) {
    MessageFixture f;
    f.window.txtPassword = "  ";
    f.window.txtVerifyPass = "";
    f.window.txtMessage = "a message";
    f.encrypt();
    ASSERT_EQ(f.ui.messages.size(), 1u);
    EXPECT_EQ(f.ui.messages[0].text,
              "Password field is blank. Please enter in a valid password you wish to encrypt your message with and "
              "then try again.");
}

TEST(MessageTabRefusal, VerifyMismatchToEncrypt) {
    MessageFixture f;
    f.window.txtPassword = "secret";
    f.window.txtVerifyPass = "Secret";
    f.window.txtMessage = "a message";
    f.encrypt();
    EXPECT_EQ(f.ui.messages, (std::vector<Message>{{kVerifyMismatch, "Morvane", MessageIcon::Exclamation}}));
    EXPECT_EQ(f.ui.focusRequests, (std::vector<std::string>{"txtPassword"}));
    EXPECT_EQ(f.window.txtMessage, "a message");
    EXPECT_EQ(f.window.txtPassword, "secret");
    EXPECT_EQ(f.window.txtVerifyPass, "Secret");
}

TEST(MessageTabRefusal, VerifyComparisonIsUntrimmed) {
    MessageFixture f;
    f.window.txtPassword = "secret";
    f.window.txtVerifyPass = "secret ";
    f.window.txtMessage = "a message";
    f.encrypt();
    EXPECT_EQ(f.ui.messages, (std::vector<Message>{{kVerifyMismatch, "Morvane", MessageIcon::Exclamation}}));
    EXPECT_EQ(f.window.txtMessage, "a message");
}

TEST(MessageTabRefusal, VerifyFieldIsRequiredToDecrypt) {
    MessageFixture f;
    f.setPassword("secret");
    f.window.txtMessage = "a message";
    f.encrypt();
    const std::string cipherText = f.window.txtMessage;
    f.window.txtVerifyPass = "";
    f.decrypt();
    EXPECT_EQ(f.ui.messages, (std::vector<Message>{{kVerifyMismatch, "Morvane", MessageIcon::Exclamation}}));
    EXPECT_EQ(f.ui.focusRequests, (std::vector<std::string>{"txtPassword"}));
    EXPECT_EQ(f.window.txtMessage, cipherText);
}

TEST(MessageTabRefusal, RefusalsWriteNothingToTheLog) {
    MessageFixture f;
    f.setPassword("pw");
    f.window.txtMessage = " ";
    f.encrypt();
    f.window.txtMessage = "plain text here";
    f.decrypt();
    EXPECT_EQ(f.ui.messages.size(), 2u);
    EXPECT_TRUE(f.nothingLogged());
}

// --- Clearing ----------------------------------------------------------------------

// --- What a person may type into the box -----------------------------------------

TEST(MessageBoxLimit, TypingStopsAtFiftyThousandCharacters) {
    const std::u16string before(49998, u'q');
    const morvane::MessageEdit edit = morvane::limitMessageEdit(before, before + u"rst");
    EXPECT_TRUE(edit.cut);
    EXPECT_EQ(edit.text, before + u"rs");
    EXPECT_EQ(edit.cutAt, 50000u);
    EXPECT_EQ(edit.cutLength, 1u);
}

TEST(MessageBoxLimit, APasteIsCutToWhatFits) {
    const std::u16string before = u"head  tail";
    std::u16string after = before;
    after.insert(5, std::u16string(60000, u'p'));
    const morvane::MessageEdit edit = morvane::limitMessageEdit(before, after);
    EXPECT_TRUE(edit.cut);
    EXPECT_EQ(edit.text, u"head " + std::u16string(49990, u'p') + u" tail");
    EXPECT_EQ(edit.cutAt, 5u + 49990u);
    EXPECT_EQ(edit.cutLength, 10010u);
}

TEST(MessageBoxLimit, EditsThatDoNotLengthenALongTextKeepItWhole) {
    const std::u16string cipher(60000, u'A');
    std::u16string shorter = cipher;
    shorter.pop_back();  // Backspace at the end
    morvane::MessageEdit edit = morvane::limitMessageEdit(cipher, shorter);
    EXPECT_FALSE(edit.cut);
    EXPECT_EQ(edit.text.size(), 59999u);
    std::u16string replaced = cipher;
    replaced[30000] = u'B';  // one character typed over a selected one
    edit = morvane::limitMessageEdit(cipher, replaced);
    EXPECT_FALSE(edit.cut);
    EXPECT_EQ(edit.text, replaced);
    // The program's own cipher text, put into an empty box, is kept whole.
    edit = morvane::limitMessageEdit(u"", cipher, 70000);
    EXPECT_FALSE(edit.cut);
}

TEST(MessageBoxLimit, NothingIsTypedIntoATextAlreadyOverTheLimit) {
    const std::u16string cipher = std::u16string(30000, u'A') + std::u16string(30000, u'F');
    std::u16string typed = cipher;
    typed.insert(30000, u"xy");
    const morvane::MessageEdit edit = morvane::limitMessageEdit(cipher, typed);
    EXPECT_TRUE(edit.cut);
    EXPECT_EQ(edit.text, cipher);
    EXPECT_EQ(edit.cutAt, 30000u);
    EXPECT_EQ(edit.cutLength, 2u);
}

TEST(MessageBoxLimit, AReplacedSelectionKeepsWhatFits) {
    const std::u16string before(50000, u'x');
    std::u16string after = before;
    after.replace(100, 2, u"abc");  // two characters replaced by three
    const morvane::MessageEdit edit = morvane::limitMessageEdit(before, after);
    EXPECT_TRUE(edit.cut);
    EXPECT_EQ(edit.text.size(), 50000u);
    EXPECT_EQ(edit.text.substr(98, 6), u"xxabxx");
}

// --- Cipher texts that went through e-mail ----------------------------------------

// The cipher text as a mail program may pass it on: a leading blank, lines of
// 76 characters ending in CR LF (one with a tab before it), a final newline.
std::string asMailed(const std::string& cipherText) {
    std::string mailed = " ";
    for (std::size_t at = 0; at < cipherText.size(); at += 76) {
        if (at == 76) mailed += '\t';
        mailed += cipherText.substr(at, 76) + "\r\n";
    }
    return mailed + "\n";
}

TEST(MessageTabMailedCipherText, WrappedCipherTextWithBlanksDeciphers) {
    MessageFixture f;
    f.setPassword("secret");
    const std::string message(400, 'w');
    f.window.txtMessage = message;
    f.encrypt();
    f.window.txtMessage = asMailed(f.window.txtMessage);
    f.decrypt();
    EXPECT_EQ(f.window.txtMessage, message);
    EXPECT_TRUE(f.ui.messages.empty());
    EXPECT_TRUE(f.nothingLogged());
}

TEST(MessageTabMailedCipherText, LowerCaseWrappedCipherTextDeciphers) {
    MessageFixture f;
    f.setPassword("secret");
    f.window.txtMessage = "short note";
    f.encrypt();
    std::string lower = f.window.txtMessage;
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    f.window.txtMessage = "\n\n" + lower.substr(0, 10) + "\n" + lower.substr(10) + "  \n";
    f.decrypt();
    EXPECT_EQ(f.window.txtMessage, "short note");
}

TEST(MessageTabMailedCipherText, EncryptOfAMailedCipherTextAsksToDecipherIt) {
    MessageFixture f;
    f.setPassword("secret");
    f.window.txtMessage = "Meet at nine, by the station clock.";
    f.encrypt();
    f.window.txtMessage = asMailed(f.window.txtMessage);
    f.ui.answers = {true};
    f.encrypt();
    EXPECT_EQ(f.ui.questions.size(), 1u);
    EXPECT_EQ(f.ui.questions[0].text, kAlreadyEncrypted);
    EXPECT_EQ(f.window.txtMessage, "Meet at nine, by the station clock.");
}

TEST(MessageTabMailedCipherText, AWrongPasswordStillSaysSo) {
    MessageFixture f;
    f.setPassword("secret");
    f.window.txtMessage = "hello there";
    f.encrypt();
    const std::string mailed = asMailed(f.window.txtMessage);
    f.window.txtMessage = mailed;
    f.setPassword("other");
    f.decrypt();
    ASSERT_EQ(f.ui.messages.size(), 1u);
    EXPECT_EQ(f.ui.messages[0].text, kNotCipherText);
    EXPECT_EQ(f.window.txtMessage, mailed);
}

TEST(MessageTabMailedCipherText, TextWithOtherCharactersKeepsItsWhiteSpace) {
    EXPECT_EQ(morvane::cipherTextDigits(" AB CD\r\n12\t"), "ABCD12");
    EXPECT_EQ(morvane::cipherTextDigits("AB CD x"), "AB CD x");
    EXPECT_EQ(morvane::cipherTextDigits("   "), "   ");
    EXPECT_FALSE(morvane::isHexWithWhiteSpace(std::string_view("\r\n")));
    EXPECT_TRUE(morvane::isHexWithWhiteSpace(std::u16string_view(u"0f\tA9\n")));
    EXPECT_FALSE(morvane::isHexWithWhiteSpace(std::u16string_view(u"0f\u00A0A9")));
}

TEST(MessageBoxLimit, LongestCipherTextIsThatOfFiftyThousandLineBreaks) {
    // Every character a line break, each enciphered as CR LF, is the longest
    // plaintext a full box can give.
    EXPECT_EQ(morvane::kLongestCipherText, 200048u);
    MessageFixture f;
    f.setPassword("pw");
    f.window.txtMessage = std::string(morvane::kMaxMessageLength, '\n');
    f.encrypt();
    EXPECT_EQ(f.window.txtMessage.size(), morvane::kLongestCipherText);
    f.window.txtMessage = std::string(morvane::kMaxMessageLength, 'z');
    f.encrypt();
    EXPECT_LT(f.window.txtMessage.size(), morvane::kLongestCipherText);
}

TEST(MessageBoxLimit, APastedCipherTextIsTakenWholeUpToTheLongest) {
    const std::u16string cipher(morvane::kLongestCipherText, u'A');
    morvane::MessageEdit edit = morvane::limitMessageEdit(u"", cipher);
    EXPECT_FALSE(edit.cut);
    EXPECT_EQ(edit.text, cipher);
    EXPECT_TRUE(edit.notice.empty());
    // Wrapped at 76 columns as mail sends it.
    std::u16string wrapped = u" ";
    for (std::size_t at = 0; at < cipher.size(); at += 76) wrapped += cipher.substr(at, 76) + u"\r\n";
    edit = morvane::limitMessageEdit(u"", wrapped);
    EXPECT_FALSE(edit.cut);
    EXPECT_EQ(edit.text, wrapped);
    // One digit more is no cipher text of a message the box can hold.
    edit = morvane::limitMessageEdit(u"", cipher + u"B");
    EXPECT_TRUE(edit.cut);
    EXPECT_EQ(edit.text.size(), morvane::kMaxMessageLength);
}

TEST(MessageBoxLimit, AnotherPasteThatIsCutSaysSo) {
    const std::u16string before = u"ab";
    std::u16string after = before + std::u16string(60000, u'p');
    morvane::MessageEdit edit = morvane::limitMessageEdit(before, after);
    EXPECT_TRUE(edit.cut);
    EXPECT_EQ(edit.notice,
              "The message box holds 50,000 characters: 10,002 characters of what was typed or pasted were left out.");
    edit = morvane::limitMessageEdit(std::u16string(49999, u'x'), std::u16string(49999, u'x') + u"yz");
    EXPECT_EQ(edit.notice,
              "The message box holds 50,000 characters: 1 character of what was typed or pasted was left out.");
    // A cipher text with a word in it is no cipher text.
    edit = morvane::limitMessageEdit(u"", std::u16string(60000, u'A') + u" thanks");
    EXPECT_TRUE(edit.cut);
    EXPECT_FALSE(edit.notice.empty());
}

TEST(MessageTabClear, AsksAndYesEmptiesTheMessage) {
    MessageFixture f;
    f.window.txtMessage = "draft";
    f.ui.answers.push_back(true);
    morvane::clearMessage(f.window, f.ui);
    ASSERT_EQ(f.ui.questions.size(), 1u);
    EXPECT_EQ(f.ui.questions[0].text, kClearQuestion);
    EXPECT_EQ(f.ui.questions[0].title, "Morvane");
    EXPECT_EQ(f.window.txtMessage, "");
}

TEST(MessageTabClear, NoKeepsTheMessage) {
    MessageFixture f;
    f.window.txtMessage = "draft";
    f.ui.answers.push_back(false);
    morvane::clearMessage(f.window, f.ui);
    ASSERT_EQ(f.ui.questions.size(), 1u);
    EXPECT_EQ(f.ui.questions[0].text, kClearQuestion);
    EXPECT_EQ(f.window.txtMessage, "draft");
}

TEST(MessageTabClear, BlanksAreAMessageWorthAsking) {
    MessageFixture f;
    f.window.txtMessage = "  ";
    morvane::clearMessage(f.window, f.ui);
    ASSERT_EQ(f.ui.questions.size(), 1u);
    EXPECT_EQ(f.ui.questions[0].text, kClearQuestion);
    EXPECT_EQ(f.window.txtMessage, "  ");
}

TEST(MessageTabClear, EmptyMessageAsksNothing) {
    MessageFixture f;
    f.window.txtMessage = "";
    f.ui.answers.push_back(true);
    morvane::clearMessage(f.window, f.ui);
    EXPECT_TRUE(f.ui.questions.empty());
    EXPECT_EQ(f.window.txtMessage, "");
    EXPECT_EQ(f.ui.answers.size(), 1u);
}

}  // namespace
