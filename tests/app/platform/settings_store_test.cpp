#include "settings_store.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>

#include "failure_points.h"
#include "temp_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::SettingsStore;
using morvane::testing::readFile;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

constexpr const char* kKey = "software\\Morvane";

TEST(SettingsStore, WrittenValueReadsBack) {
    TempDirectory dir("settings");
    SettingsStore store(dir.file("conf/registry"));
    EXPECT_EQ(store.regRead("Path", kKey), "");
    ASSERT_TRUE(store.regWrite(kKey, "Path", "/opt/morvane"));
    EXPECT_EQ(store.regRead("Path", kKey), "/opt/morvane");
    ASSERT_TRUE(store.regWrite(kKey, "Path", "/usr/bin"));
    EXPECT_EQ(store.regRead("Path", kKey), "/usr/bin");
    EXPECT_EQ(store.regRead("Other", kKey), "");
    EXPECT_EQ(store.regRead("Path", "software\\Else"), "");
}

TEST(SettingsStore, NamesCompareWithoutCaseLikeTheRegistry) {
    TempDirectory dir("case");
    SettingsStore store(dir.file("registry"));
    ASSERT_TRUE(store.regWrite("SOFTWARE\\morvane", "path", "a"));
    EXPECT_EQ(store.regRead("Path", kKey), "a");
    ASSERT_TRUE(store.regWrite(kKey, "PATH", "b"));
    EXPECT_EQ(store.regRead("path", "software\\MORVANE"), "b");
}

TEST(SettingsStore, ValueOf127CharactersReadsBackWholeAnd128ReadsEmpty) {
    TempDirectory dir("127");
    SettingsStore store(dir.file("registry"));
    ASSERT_TRUE(store.regWrite(kKey, "v127", std::string(127, 'x')));
    ASSERT_TRUE(store.regWrite(kKey, "v128", std::string(128, 'y')));
    EXPECT_EQ(store.regRead("v127", kKey), std::string(127, 'x'));
    EXPECT_EQ(store.regRead("v128", kKey), "");
}

TEST(SettingsStore, AnyTextSurvivesTheFile) {
    TempDirectory dir("escape");
    SettingsStore store(dir.file("registry"));
    const std::string value = "tab\there\\back\nnew\rline \xC3\xA9";
    ASSERT_TRUE(store.regWrite("k\\with\ttab", "n\\x", value));
    EXPECT_EQ(store.regRead("n\\x", "k\\with\ttab"), value);
    EXPECT_EQ(store.regRead("Path", kKey), "");
}

TEST(SettingsStore, DamagedLinesArePassedOver) {
    TempDirectory dir("damaged");
    const std::string path = dir.file("registry");
    writeFile(path,
              std::string("garbage without tabs\nsoftware\\\\Morvane\tPath\t/good\nbad\\q\tx\ty\n\x01\xff\t\t\n") +
                  "one\ttoo\tmany\tfields\n");
    SettingsStore store(path);
    EXPECT_EQ(store.regRead("Path", kKey), "/good");
    ASSERT_TRUE(store.regWrite(kKey, "Other", "v"));
    EXPECT_EQ(store.regRead("Path", kKey), "/good");
    EXPECT_EQ(store.regRead("Other", kKey), "v");
}

TEST(SettingsStore, UnreadableOrUnwritablePlaceGivesNothingAndNoCrash) {
    TempDirectory dir("unreadable");
    fs::create_directories(dir.file("registry"));  // a directory where the file should be
    SettingsStore store(dir.file("registry"));
    EXPECT_EQ(store.regRead("Path", kKey), "");
    EXPECT_FALSE(store.regWrite(kKey, "Path", "x"));
    writeFile(dir.file("plain"), "x");
    SettingsStore below(dir.file("plain/registry"));  // below a regular file
    EXPECT_FALSE(below.regWrite(kKey, "Path", "x"));
    EXPECT_EQ(below.regRead("Path", kKey), "");
}

TEST(SettingsStore, RewriteLeavesNoTemporaryFile) {
    TempDirectory dir("atomic");
    SettingsStore store(dir.file("registry"));
    ASSERT_TRUE(store.regWrite(kKey, "Path", "x"));
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1);
}

TEST(SettingsStore, DefaultPlaceFollowsXdgConfigHome) {
    TempDirectory dir("xdg");
    const char* old = std::getenv("XDG_CONFIG_HOME");
    const std::string saved = old ? old : "";
    ::setenv("XDG_CONFIG_HOME", dir.str().c_str(), 1);
    EXPECT_EQ(SettingsStore::defaultFilePath(), dir.str() + "/morvane/registry");
    if (old) {
        ::setenv("XDG_CONFIG_HOME", saved.c_str(), 1);
    } else {
        ::unsetenv("XDG_CONFIG_HOME");
    }
}

TEST(Association, MimeTypeAndDesktopEntryOpenEnzFilesWithDashS) {
    TempDirectory dir("association");
    const char* old = std::getenv("XDG_DATA_HOME");
    const std::string saved = old ? old : "";
    ::setenv("XDG_DATA_HOME", dir.str().c_str(), 1);
    morvane::registerAssociation("/opt/morvane dir");
    if (old) {
        ::setenv("XDG_DATA_HOME", saved.c_str(), 1);
    } else {
        ::unsetenv("XDG_DATA_HOME");
    }
    const std::string mime = readFile(dir.file("mime/packages/morvane-enz.xml"));
    EXPECT_NE(mime.find("type=\"application/x-morvane-enz\""), std::string::npos);
    EXPECT_NE(mime.find("<glob pattern=\"*.enz\"/>"), std::string::npos);
    const std::string desktop = readFile(dir.file("applications/morvane.desktop"));
    EXPECT_NE(desktop.find("Exec=\"/opt/morvane dir/morvane\" -s%f\n"), std::string::npos) << desktop;
    EXPECT_NE(desktop.find("MimeType=application/x-morvane-enz;"), std::string::npos);
}

// The settings file is either the old one or the new one, whatever fails on
// the way, and it is owner-only.
TEST(SettingsStore, EveryFailureLeavesTheOldFileWhole) {
    TempDirectory dir("settings-failures");
    SettingsStore store(dir.file("registry"));
    ASSERT_TRUE(store.regWrite(kKey, "Path", "/old"));
    const std::string before = readFile(dir.file("registry"));
    morvane::FailurePoints::reset();
    ASSERT_TRUE(store.regWrite(kKey, "Path", "/new"));
    const std::string after = readFile(dir.file("registry"));
    const std::uint64_t steps = morvane::FailurePoints::passed();
    for (std::uint64_t k = 1; k <= steps; ++k) {
        writeFile(dir.file("registry"), before);
        morvane::FailurePoints::arm(k);
        store.regWrite(kKey, "Path", "/new");
        morvane::FailurePoints::reset();
        const std::string now = readFile(dir.file("registry"));
        EXPECT_TRUE(now == before || now == after) << k;
        for (const auto& entry : fs::directory_iterator(dir.path())) EXPECT_EQ(entry.path().filename(), "registry");
    }
    EXPECT_EQ(fs::status(dir.file("registry")).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write);
}

}  // namespace
