// morvane-cipher: the cipher object from a shell, for developers and for
// checks that drive it.
//
//   morvane-cipher encrypt-text KEY          standard input (UTF-8) -> hexadecimal text and a newline
//   morvane-cipher decrypt-text KEY          hexadecimal text on standard input -> the text (UTF-8)
//   morvane-cipher encrypt-file KEY IN OUT   EncryptFile
//   morvane-cipher decrypt-file KEY IN OUT   DecryptFile
//
// Exit status: 0 done, 1 the file operation failed (its reason on standard
// error), 2 a wrong command or a KEY or text the code page cannot carry.
#include <cstdio>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

#include "clsBlowfish.h"
#include "codepage.h"

namespace {

constexpr int kUsageError = 2;

int usage() {
    std::cerr << "usage: morvane-cipher encrypt-text KEY\n"
                 "       morvane-cipher decrypt-text KEY\n"
                 "       morvane-cipher encrypt-file KEY IN OUT\n"
                 "       morvane-cipher decrypt-file KEY IN OUT\n";
    return kUsageError;
}

// The code-page form of a UTF-8 text, or nothing after saying what it cannot carry.
std::optional<std::string> toCodePage(std::string_view utf8, std::string_view what) {
    morvane::codepage::Conversion conversion = morvane::codepage::toCodePage(utf8);
    if (conversion.ok()) return std::move(conversion.bytes);
    std::cerr << "morvane-cipher: the " << what << " contains characters the Windows-1252 code page cannot carry: "
              << morvane::codepage::describeCharacters(conversion.unrepresentable) << "\n";
    return std::nullopt;
}

std::string readStandardInput() {
#ifdef _WIN32
    _setmode(_fileno(stdin), _O_BINARY);
#endif
    return {std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
}

std::string_view trimWhiteSpace(std::string_view s) {
    constexpr std::string_view kWhite = " \t\r\n\v\f";
    const auto first = s.find_first_not_of(kWhite);
    if (first == std::string_view::npos) return {};
    return s.substr(first, s.find_last_not_of(kWhite) - first + 1);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return usage();
    const std::string_view command = argv[1];
    const bool textCommand = command == "encrypt-text" || command == "decrypt-text";
    const bool fileCommand = command == "encrypt-file" || command == "decrypt-file";
    if ((textCommand && argc != 3) || (fileCommand && argc != 5) || (!textCommand && !fileCommand)) return usage();

    const std::optional<std::string> key = toCodePage(argv[2], "key");
    if (!key) return kUsageError;

    morvane::clsBlowfish cipher;
    if (command == "encrypt-text") {
        const std::optional<std::string> text = toCodePage(readStandardInput(), "text");
        if (!text) return kUsageError;
        std::cout << cipher.EncryptString(*text, *key, true) << "\n";
        return 0;
    }
    if (command == "decrypt-text") {
        const std::string input = readStandardInput();
        std::cout << morvane::codepage::fromCodePage(cipher.DecryptString(trimWhiteSpace(input), *key, true));
        return 0;
    }
    const bool done = command == "encrypt-file" ? cipher.EncryptFile(argv[3], argv[4], *key)
                                                : cipher.DecryptFile(argv[3], argv[4], *key);
    if (done) return 0;
    std::cerr << cipher.LastError << "\n";
    return 1;
}
