// Old files keep opening: archives, a message, a password database and a
// startup password made by an earlier Morvane (tests/data/golden/README.md)
// are opened by today's, through the same jobs and routines a person uses.
#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "activity_log.h"
#include "codepage.h"
#include "file_list.h"
#include "job_context.h"
#include "libzip_component.h"
#include "message_encryption.h"
#include "password_database.h"
#include "progress_window.h"
#include "recent_files.h"
#include "scripted_user_interface.h"
#include "settings_store.h"
#include "startup_password.h"
#include "temp_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::testing::readFile;
using morvane::testing::TempDirectory;

const std::string kGolden = MORVANE_GOLDEN_DIR;

std::string sha256Of(const std::string& bytes) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(bytes.data(), bytes.size(), digest, &length, EVP_sha256(), nullptr);
    static const char* hex = "0123456789abcdef";
    std::string text;
    for (unsigned i = 0; i < length; ++i) {
        text += hex[digest[i] >> 4];
        text += hex[digest[i] & 15];
    }
    return text;
}

// "\xE9" in a listed name stands for the byte 0xE9.
std::string unescaped(const std::string& name) {
    std::string bytes;
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (name.compare(i, 2, "\\x") == 0 && i + 3 < name.size()) {
            bytes += static_cast<char>(std::stoi(name.substr(i + 2, 2), nullptr, 16));
            i += 3;
        } else {
            bytes += name[i];
        }
    }
    return bytes;
}

struct Member {
    std::string name;
    std::size_t size;
    std::string sha256;
};

struct Listed {
    std::string password;
    std::vector<Member> members;
};

std::map<std::string, Listed> listedArchives() {
    std::map<std::string, Listed> archives;
    std::ifstream in(kGolden + "/archives.txt");
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::vector<std::string> fields;
        std::stringstream split(line);
        for (std::string field; std::getline(split, field, '\t');) fields.push_back(field);
        if (fields.size() != 5) {
            ADD_FAILURE() << "archives.txt: " << line;
            continue;
        }
        Listed& listed = archives[fields[0]];
        listed.password = fields[1];
        listed.members.push_back({unescaped(fields[2]), std::stoul(fields[3]), fields[4]});
    }
    return archives;
}

// The decrypt job over one archive, as "Decrypt Now" runs it.
struct DecryptRun {
    explicit DecryptRun(const TempDirectory& dir) : log(dir.str()), recent(dir.str()), status(ui) {}
    morvane::MainWindowModel window;
    morvane::RunState run;
    morvane::ScriptedUserInterface ui;
    morvane::ActivityLog log;
    morvane::LibzipComponent zip;
    morvane::RecentFiles recent;
    morvane::ProgressWindow status;

    void decrypt(const std::string& archive, const std::string& password, const std::string& outdir) {
        window.txtPassword = window.txtVerifyPass = password;
        window.currentTab = morvane::kDecryptTab;
        morvane::populateList(window, archive + std::string(morvane::kPathListSeparator), true);
        window.chkDecOutputDir = true;
        window.txtDecryptTo = outdir;
        morvane::JobContext c{window, run, ui, log, zip, recent, status};
        morvane::decryptFiles(c);
    }
};

TEST(GoldenFiles, EveryArchiveOpensWithItsPasswordAndGivesBackItsFiles) {
    const auto archives = listedArchives();
    ASSERT_EQ(archives.size(), 5u);
    for (const auto& [archive, listed] : archives) {
        SCOPED_TRACE(archive);
        TempDirectory dir("golden");
        fs::copy_file(kGolden + "/" + archive, dir.file(archive));
        DecryptRun job(dir);
        job.decrypt(dir.file(archive), listed.password, dir.file("out"));
        ASSERT_EQ(job.ui.messages.size(), 1u);
        EXPECT_EQ(job.ui.messages[0].text, dir.file(archive) + " has successfully been decrypted.");
        std::size_t files = 0;
        for (const auto& entry : fs::directory_iterator(dir.file("out"))) {
            (void)entry;
            ++files;
        }
        EXPECT_EQ(files, listed.members.size());
        for (const Member& member : listed.members) {
            const std::string path = dir.file("out") + "/" + member.name;
            ASSERT_TRUE(fs::is_regular_file(path)) << member.name;
            const std::string content = readFile(path);
            EXPECT_EQ(content.size(), member.size) << member.name;
            EXPECT_EQ(sha256Of(content), member.sha256) << member.name;
        }
    }
}

TEST(GoldenFiles, TheMessageDeciphersWithItsKey) {
    TempDirectory dir("golden-message");
    morvane::MainWindowModel window;
    morvane::ScriptedUserInterface ui;
    morvane::ActivityLog log(dir.str());
    window.currentTab = morvane::kMessageTab;
    window.txtPassword = window.txtVerifyPass = "message key";
    window.txtMessage = readFile(kGolden + "/message.hex");
    morvane::encDecMsg(window, ui, log, true);
    EXPECT_EQ(window.txtMessage, "Meet me at the old mill at noon.\r\nBring the map.");
}

TEST(GoldenFiles, ThePasswordDatabaseGivesBackEveryEntry) {
    TempDirectory dir("golden-mvsp");
    fs::copy_file(kGolden + "/mvsp.dat", dir.file("mvsp.dat"));
    morvane::ActivityLog log(dir.str());
    morvane::PasswordDatabase database(dir.str(), log);
    morvane::RunState run;
    EXPECT_EQ(database.lookupStoredPassword("mail", run), "Golden pass 1");
    EXPECT_EQ(database.lookupStoredPassword("bank", run), "Grüße €5 naïve");
    EXPECT_EQ(database.lookupStoredPassword("backup", run), "combined pass");
    EXPECT_EQ(database.readAllEntries().size(), 3u);
}

TEST(GoldenFiles, TheStartupPasswordIsReadBack) {
    TempDirectory dir("golden-registry");
    fs::copy_file(kGolden + "/registry", dir.file("registry"));
    morvane::SettingsStore settings(dir.file("registry"));
    morvane::StartupPassword startup(settings);
    EXPECT_TRUE(startup.passwordRequired());
    EXPECT_EQ(startup.readStartupPassword(), "open sesame");
}

}  // namespace
