// morvane-cipher: the cipher object from a shell, for developers and for
// checks that drive it.
//
//   morvane-cipher encrypt-text KEY          standard input (UTF-8) -> hexadecimal text and a newline
//   morvane-cipher decrypt-text KEY          hexadecimal text on standard input -> the text (UTF-8)
//   morvane-cipher encrypt-file KEY IN OUT   EncryptFile
//   morvane-cipher decrypt-file KEY IN OUT   DecryptFile
//   morvane-cipher zip-password PASSWORD     the zip password of an archive made with PASSWORD,
//                                            as upper-case hexadecimal bytes and a newline
//   morvane-cipher pack PASSWORD ARCHIVE FILE...      one combined archive from the files
//   morvane-cipher unpack PASSWORD ARCHIVE OUTDIR [-n]  open ARCHIVE into OUTDIR
//
// Exit status: 0 done, 1 the operation failed (a message on standard error),
// 2 a wrong command or a KEY, PASSWORD or text the code page cannot carry.
#include <cstdio>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "clsBlowfish.h"
#include "codepage.h"
#include "container.h"
#include "libzip_component.h"
#include "run_time_error.h"

namespace {

constexpr int kUsageError = 2;

int usage() {
    std::cerr << "usage: morvane-cipher encrypt-text KEY\n"
                 "       morvane-cipher decrypt-text KEY\n"
                 "       morvane-cipher encrypt-file KEY IN OUT\n"
                 "       morvane-cipher decrypt-file KEY IN OUT\n"
                 "       morvane-cipher zip-password PASSWORD\n"
                 "       morvane-cipher pack PASSWORD ARCHIVE FILE...\n"
                 "       morvane-cipher unpack PASSWORD ARCHIVE OUTDIR [-n]\n";
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

// zip-password, pack and unpack: the encrypted archive recipe.
int archiveCommand(std::string_view command, const std::string& password, int argc, char** argv) {
    try {
        if (command == "zip-password") {
            morvane::clsBlowfish hex;
            std::cout << hex.bytesToHex(morvane::zipPassword(password)) << "\n";
            return 0;
        }
        morvane::LibzipComponent zip;
        morvane::clsBlowfish cipher;
        if (command == "pack") {
            const std::vector<std::string> files(argv + 4, argv + argc);
            switch (morvane::makeCombinedArchive(zip, cipher, argv[3], files, password)) {
                case morvane::ContainerResult::Done:
                    return 0;
                case morvane::ContainerResult::PackFailed:
                    std::cerr << "morvane-cipher: the files could not be packed into " << argv[3] << ": "
                              << zip.LastError() << ".\n";
                    return 1;
                default:
                    std::cerr << "morvane-cipher: " << cipher.LastError << "\n";
                    return 1;
            }
        }
        const bool keepExisting = argc == 6;
        const morvane::ContainerResult result =
            morvane::openArchive(zip, cipher, argv[3], argv[4], keepExisting, password);
        for (const morvane::UnwrittenMember& member : zip.LastExtraction().unwritten)
            if (member.reason != morvane::UnwrittenMember::Reason::KeptExisting)
                std::cerr << "morvane-cipher: " << member.name << " in " << argv[3] << " was not extracted.\n";
        switch (result) {
            case morvane::ContainerResult::Done:
                return 0;
            case morvane::ContainerResult::DecipherFailed:
                std::cerr << "morvane-cipher: " << cipher.LastError << "\n";
                return 1;
            default: {
                const morvane::ExtractionReport& report = zip.LastExtraction();
                using Failure = morvane::ExtractionReport::Failure;
                if (report.failure == Failure::NotAZip || report.failure == Failure::WrongPassword)
                    std::cerr << "morvane-cipher: " << argv[3]
                              << " could not be extracted: the password is wrong or the archive is damaged.\n";
                else
                    std::cerr << "morvane-cipher: " << argv[3] << " could not be extracted: " << report.detail
                              << ". No files have been changed.\n";
                return 1;
            }
        }
    } catch (const morvane::RunTimeError& error) {
        std::cerr << "morvane-cipher: " << error.description() << " (" << error.number() << ")\n";
        return 1;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return usage();
    const std::string_view command = argv[1];
    const bool textCommand = command == "encrypt-text" || command == "decrypt-text";
    const bool fileCommand = command == "encrypt-file" || command == "decrypt-file";
    const bool archiveCommandGiven = command == "zip-password" || command == "pack" || command == "unpack";
    if ((textCommand && argc != 3) || (fileCommand && argc != 5) || (command == "zip-password" && argc != 3) ||
        (command == "pack" && argc < 5) ||
        (command == "unpack" && (argc < 5 || argc > 6 || (argc == 6 && std::string_view(argv[5]) != "-n"))) ||
        (!textCommand && !fileCommand && !archiveCommandGiven))
        return usage();

    const std::optional<std::string> key = toCodePage(argv[2], archiveCommandGiven ? "password" : "key");
    if (!key) return kUsageError;
    if (archiveCommandGiven) return archiveCommand(command, *key, argc, argv);

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
