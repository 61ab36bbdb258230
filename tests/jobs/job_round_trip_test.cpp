// The encrypt and decrypt jobs end to end through the window model: files
// in, archives out, files back, with the messages a person sees.
#include <gtest/gtest.h>

#include <filesystem>

#include "file_list.h"
#include "job_context.h"
#include "libzip_component.h"
#include "scripted_user_interface.h"
#include "temp_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::MessageIcon;
using morvane::ScriptedUserInterface;
using morvane::testing::readFile;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

struct Harness {
    explicit Harness(const TempDirectory& dir) : log(dir.file("program")), recent(dir.file("program")), status(ui) {
        fs::create_directories(dir.file("program"));
    }
    morvane::JobContext context() { return {window, run, ui, log, zip, recent, status}; }
    void setPassword(const std::string& password) { window.txtPassword = window.txtVerifyPass = password; }

    morvane::MainWindowModel window;
    morvane::RunState run;
    ScriptedUserInterface ui;
    morvane::ActivityLog log;
    morvane::LibzipComponent zip;
    morvane::RecentFiles recent;
    morvane::ProgressWindow status;
};

TEST(JobRoundTrip, PerFileEncryptionAndDecryptionRestoreTheFiles) {
    TempDirectory dir("per-file");
    writeFile(dir.file("a.txt"), "first file");
    writeFile(dir.file("b.bin"), std::string(100000, '\x7f'));
    Harness h(dir);
    morvane::populateList(h.window, dir.file("a.txt") + "~-!-~" + dir.file("b.bin"), true);
    h.setPassword("  secret  ");
    auto c = h.context();
    morvane::encryptFiles(c);

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, "Your files have successfully been encrypted.");
    EXPECT_EQ(h.ui.messages[0].icon, MessageIcon::Information);
    EXPECT_EQ(h.window.txtPassword, "secret");
    EXPECT_TRUE(fs::exists(dir.file("a.txt.enz")));
    EXPECT_TRUE(fs::exists(dir.file("b.bin.enz")));
    EXPECT_FALSE(fs::exists(dir.file("~enc~a.txt.zip")));
    EXPECT_FALSE(fs::exists(dir.file("~enc~b.bin.zip")));
    ASSERT_EQ(h.window.lstFiles.size(), 2u);
    EXPECT_EQ(h.window.lstFiles[0].text, dir.file("a.txt.enz") + " (encrypted zip)");

    fs::remove(dir.file("a.txt"));
    fs::remove(dir.file("b.bin"));
    h.ui.messages.clear();
    h.window.currentTab = morvane::kDecryptTab;
    morvane::decryptFiles(c);
    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, "Your files successfully been decrypted.");
    EXPECT_EQ(readFile(dir.file("a.txt")), "first file");
    EXPECT_EQ(readFile(dir.file("b.bin")), std::string(100000, '\x7f'));
    EXPECT_FALSE(fs::exists(dir.file("~dec~a.txt.enz.zip")));
}

TEST(JobRoundTrip, CombinedArchiveAndWrongPassword) {
    TempDirectory dir("combined");
    writeFile(dir.file("one.txt"), "one");
    writeFile(dir.file("two.txt"), "two");
    Harness h(dir);
    morvane::populateList(h.window, dir.file("one.txt") + "~-!-~" + dir.file("two.txt"), true);
    h.setPassword("pw");
    h.window.chkCreateOneZip = true;
    h.run.combinedArchivePath = dir.file("all.enz");
    auto c = h.context();
    morvane::encryptFiles(c);
    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, "Your files have successfully been encrypted.");
    EXPECT_TRUE(fs::exists(dir.file("all.enz")));
    EXPECT_FALSE(fs::exists(dir.file("~enc~all.enz.zip")));

    fs::create_directories(dir.file("out"));
    h.window.lstFiles.clear();
    morvane::populateList(h.window, dir.file("all.enz"), true);
    h.window.chkDecOutputDir = true;
    h.window.txtDecryptTo = dir.file("out") + "/";
    h.setPassword("wrong");
    h.ui.messages.clear();
    morvane::decryptFiles(c);
    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, "Invalid password while trying to decrypt " + dir.file("all.enz") +
                                         " (encrypted zip). Please verify password and then try again.");
    EXPECT_TRUE(fs::is_empty(dir.file("out")));

    h.setPassword("pw");
    h.ui.messages.clear();
    morvane::decryptFiles(c);
    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, dir.file("all.enz") + " has successfully been decrypted.");
    EXPECT_EQ(readFile(dir.file("out/one.txt")), "one");
    EXPECT_EQ(readFile(dir.file("out/two.txt")), "two");
    EXPECT_EQ(h.recent.readEntries(), std::vector<std::string>{"Decrypt " + dir.file("all.enz")});
}

}  // namespace
