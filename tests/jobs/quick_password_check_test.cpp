// A wrong password told from the archive's first two blocks: the decrypt job
// gives the same message and log line as when the whole archive had been
// deciphered, but no deciphered zip is ever written.
#include "quick_password_check.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "job_harness.h"

namespace {

namespace fs = std::filesystem;
using morvane::clsBlowfish;
using morvane::QuickPasswordCheck;
using morvane::quickPasswordCheck;
using morvane::ScriptedUserInterface;
using morvane::jobtest::Harness;
using morvane::jobtest::makeArchive;
using morvane::jobtest::noiseOfSize;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

const std::string kPassword = "Right horse 42";

TEST(QuickPasswordCheck, TheRightKeyMayFitAndWrongKeysDoNot) {
    TempDirectory dir("quick-check");
    const std::string archive = makeArchive(dir.file("a.bin"), noiseOfSize(100000), kPassword);
    ASSERT_FALSE(archive.empty());
    clsBlowfish right;
    EXPECT_EQ(quickPasswordCheck(right, archive, kPassword), QuickPasswordCheck::MayFit);
    for (const std::string wrong : {"Right horse 43", "right horse 42", "x", "Right horse 42 ", "0123456789"}) {
        clsBlowfish cipher;
        EXPECT_EQ(quickPasswordCheck(cipher, archive, wrong), QuickPasswordCheck::WrongKey) << wrong;
    }
}

TEST(QuickPasswordCheck, AnEmptyFilesArchiveFits) {
    TempDirectory dir("quick-check-empty");
    const std::string archive = makeArchive(dir.file("empty.txt"), "", kPassword);
    clsBlowfish cipher;
    EXPECT_EQ(quickPasswordCheck(cipher, archive, kPassword), QuickPasswordCheck::MayFit);
}

TEST(QuickPasswordCheck, ShortOrRaggedFilesCannotFitAndMissingOnesAreLeftToTheDecipher) {
    TempDirectory dir("quick-check-short");
    writeFile(dir.file("short.enz"), std::string(8, 'x'));
    writeFile(dir.file("ragged.enz"), std::string(21, 'x'));
    clsBlowfish cipher;
    EXPECT_EQ(quickPasswordCheck(cipher, dir.file("short.enz"), kPassword), QuickPasswordCheck::WrongKey);
    EXPECT_EQ(quickPasswordCheck(cipher, dir.file("ragged.enz"), kPassword), QuickPasswordCheck::WrongKey);
    EXPECT_EQ(quickPasswordCheck(cipher, dir.file("missing.enz"), kPassword), QuickPasswordCheck::Unreadable);
}

// Whether a deciphered zip, or a temporary file on its way to becoming one,
// is in `folder`.
bool decipheredZipIn(const std::string& folder) {
    for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (name.find("~dec~") != std::string::npos || name.rfind(".~mv", 0) == 0) return true;
    }
    return false;
}

struct WrongPasswordRun {
    TempDirectory dir{"quick-wrong"};
    Harness h{dir};
    std::string archive;
    int sightings = 0;  // event runs that found a deciphered zip being written

    explicit WrongPasswordRun(bool commandLine) {
        archive = makeArchive(dir.file("big.bin"), noiseOfSize(6 << 20), kPassword);
        h.list({archive});
        h.setPassword("Wrong horse 42");
        h.run.commandLineRun = commandLine;
        h.run.commandLine = "-d -p************** -s" + archive + " -d" + dir.str();
        h.ui.onEventsRun = [this] { sightings += decipheredZipIn(dir.str()) ? 1 : 0; };
        h.decrypt();
    }
};

TEST(QuickPasswordCheck, WrongPasswordInTheWindowIsToldWithoutDecipheringTheArchive) {
    WrongPasswordRun run(false);
    ASSERT_EQ(run.h.ui.messages.size(), 1u);
    EXPECT_EQ(run.h.ui.messages[0], (ScriptedUserInterface::Message{"Invalid password while trying to decrypt " +
                                                                        run.h.window.lstFiles[0].text +
                                                                        ". Please verify password and then try again.",
                                                                    "Morvane", morvane::MessageIcon::Exclamation}));
    EXPECT_FALSE(run.h.logExists());
    EXPECT_EQ(run.sightings, 0);
    EXPECT_FALSE(decipheredZipIn(run.dir.str()));
    EXPECT_TRUE(fs::exists(run.archive));
    EXPECT_FALSE(run.h.status.model().loaded);
}

TEST(QuickPasswordCheck, WrongPasswordOnTheCommandLineLogsTheSameLineWithoutDecipheringTheArchive) {
    WrongPasswordRun run(true);
    EXPECT_TRUE(run.h.ui.messages.empty());
    EXPECT_EQ(run.h.logLines(), std::vector<std::string>{Harness::logLine(
                                    "Invalid password for the following command line: " + run.h.run.commandLine +
                                    ". Please verify password on ALL of the files you encrypted and then try again.")});
    EXPECT_EQ(run.sightings, 0);
    EXPECT_FALSE(decipheredZipIn(run.dir.str()));
}

TEST(QuickPasswordCheck, TheRightPasswordStillDecrypts) {
    TempDirectory dir("quick-right");
    Harness h(dir);
    const std::string content = noiseOfSize(300000, 77);
    const std::string archive = makeArchive(dir.file("c.bin"), content, kPassword);
    h.list({archive});
    h.setPassword(kPassword);
    h.decrypt();
    EXPECT_EQ(morvane::testing::readFile(dir.file("c.bin")), content);
}

}  // namespace
