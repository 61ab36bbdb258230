// The jobs keep the user's files: a source goes only once its archive is in
// place and read back, an archive goes only once every member was written,
// names come back as they were, two files of one name are refused, a job's
// archive never outlives it, and extraction changes nothing when it fails.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "clsBlowfish.h"
#include "job_harness.h"
#include "job_lock.h"
#include "removal_journal.h"
#include "zip_writer.h"

namespace {

namespace fs = std::filesystem;
using morvane::clsBlowfish;
using morvane::MessageIcon;
using morvane::jobtest::Harness;
using morvane::jobtest::noiseOfSize;
using morvane::testing::readFile;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

// Fills the window for one combined archive of `sources` at `archive`,
// with "remove source" when asked.
void combinedJob(Harness& h, const std::vector<std::string>& sources, const std::string& archive, bool removeSource,
                 const std::string& password) {
    h.list(sources);
    h.setPassword(password);
    h.window.chkCreateOneZip = true;
    h.window.chkDelAfterEnc = removeSource;
    h.run.combinedArchivePath = archive;
}

// What a folder holds: each file's content, each folder as "folder".
std::map<std::string, std::string> contentsOf(const fs::path& root) {
    std::map<std::string, std::string> seen;
    for (auto it = fs::recursive_directory_iterator(root); it != fs::recursive_directory_iterator(); ++it) {
        const std::string relative = fs::relative(it->path(), root).string();
        if (it->is_symlink()) {
            seen[relative] = "link";
        } else if (it->is_directory()) {
            seen[relative] = "folder";
        } else {
            seen[relative] = readFile(it->path().string());
        }
    }
    return seen;
}

// Opens an archive with a fresh decrypt job into `outdir` and gives what it
// wrote there (empty when it did not open).
std::map<std::string, std::string> opened(const TempDirectory& dir, const std::string& archive,
                                          const std::string& password) {
    const std::string outdir = dir.file("opened-" + std::to_string(std::hash<std::string>{}(archive + password)));
    fs::remove_all(outdir);
    fs::create_directories(outdir);
    Harness h(dir);
    h.setPassword(password);
    h.list({archive});
    h.window.chkDecOutputDir = true;
    h.window.txtDecryptTo = outdir;
    h.decrypt();
    auto contents = contentsOf(outdir);
    fs::remove_all(outdir);
    return contents;
}

// Files a job leaves behind when it is not done: temporary files and zips.
std::vector<std::string> leftovers(const fs::path& root) {
    std::vector<std::string> found;
    for (const auto& [name, content] : contentsOf(root)) {
        const std::string base = fs::path(name).filename().string();
        if (base.starts_with(".~mv") || base.starts_with("~enc~") || base.starts_with("~dec~")) found.push_back(name);
    }
    return found;
}

unsigned modeOf(const std::string& path) {
    struct stat info {};
    ::stat(path.c_str(), &info);
    return info.st_mode & 07777;
}

bool anyMessageContains(const Harness& h, const std::string& part) {
    for (const auto& m : h.ui.messages)
        if (m.text.find(part) != std::string::npos) return true;
    return false;
}

bool anyLogLineContains(const Harness& h, const std::string& part) {
    if (!h.logExists()) return false;
    for (const std::string& line : h.logLines())
        if (line.find(part) != std::string::npos) return true;
    return false;
}

// The temporary file a job is writing in `folder` (the archive before it
// takes its name), or "".
std::string temporaryFileIn(const std::string& folder) {
    for (const auto& entry : fs::directory_iterator(folder))
        if (entry.path().filename().string().rfind(".~mv", 0) == 0) return entry.path().string();
    return {};
}

// Makes the read-back check meet a damaged archive: once the archive is
// being read back, a byte near its end is changed.
void damageWhileReadBack(Harness& h, const std::string& folder) {
    bool done = false;
    h.ui.onEventsRun = [&h, folder, done]() mutable {
        if (done || !h.status.model().caption.starts_with("Encrypting")) return;
        const std::string written = temporaryFileIn(folder);
        if (written.empty() || fs::file_size(written) < (2u << 20)) return;
        std::fstream file(written, std::ios::in | std::ios::out | std::ios::binary);
        const auto at = static_cast<std::streamoff>(fs::file_size(written) - 100);
        file.seekg(at);
        const char was = static_cast<char>(file.get());
        file.seekp(at);
        file.put(static_cast<char>(was ^ 0x55));
        done = true;
    };
}

// --- A source goes only once its archive is in place and read back ---------

TEST(NothingLostEncrypt, ACombinedArchiveThatDoesNotReadBackDeletesNoSource) {
    TempDirectory dir("lost-readback");
    writeFile(dir.file("a.txt"), "alpha");
    writeFile(dir.file("big.bin"), noiseOfSize(3 << 20));
    writeFile(dir.file("all.enz"), "an archive made before");
    Harness h(dir);
    combinedJob(h, {dir.file("a.txt"), dir.file("big.bin")}, dir.file("all.enz"), true, "pw");
    damageWhileReadBack(h, dir.str());
    h.encrypt();

    EXPECT_EQ(readFile(dir.file("a.txt")), "alpha");
    EXPECT_TRUE(readFile(dir.file("big.bin")) == noiseOfSize(3 << 20));
    EXPECT_EQ(readFile(dir.file("all.enz")), "an archive made before");
    EXPECT_TRUE(anyMessageContains(h, dir.file("all.enz") + " could not be verified after it was written: "));
    EXPECT_TRUE(anyLogLineContains(h, "No files have been removed."));
    EXPECT_TRUE(leftovers(dir.path()).empty()) << leftovers(dir.path())[0];
}

TEST(NothingLostEncrypt, APerFileArchiveThatDoesNotReadBackDeletesNoSource) {
    TempDirectory dir("lost-readback-per-file");
    writeFile(dir.file("big.bin"), noiseOfSize(3 << 20));
    Harness h(dir);
    h.list({dir.file("big.bin")});
    h.setPassword("pw");
    h.window.chkDelAfterEnc = true;
    damageWhileReadBack(h, dir.str());
    h.encrypt();
    EXPECT_TRUE(readFile(dir.file("big.bin")) == noiseOfSize(3 << 20));
    EXPECT_FALSE(fs::exists(dir.file("big.bin.enz")));
    EXPECT_TRUE(anyMessageContains(h, " could not be verified after it was written: "));
    EXPECT_EQ(temporaryFileIn(dir.str()), "");
}

TEST(NothingLostEncrypt, SourcesGoOnlyAfterTheArchiveIsInPlaceAndAllOfThemThen) {
    TempDirectory dir("lost-order");
    for (const char* name : {"a.txt", "b.txt", "c.txt"}) writeFile(dir.file(name), std::string(name) + " content");
    Harness h(dir);
    combinedJob(h, {dir.file("a.txt"), dir.file("b.txt"), dir.file("c.txt")}, dir.file("all.enz"), true, "pw");
    // Whenever the window gets to run, no source may be gone while the
    // archive is not in place.
    bool lostEarly = false;
    h.ui.onEventsRun = [&] {
        int gone = 0;
        for (const char* name : {"a.txt", "b.txt", "c.txt"}) gone += fs::exists(dir.file(name)) ? 0 : 1;
        if (gone > 0 && !fs::exists(dir.file("all.enz"))) lostEarly = true;
    };
    h.encrypt();
    EXPECT_FALSE(lostEarly);
    for (const char* name : {"a.txt", "b.txt", "c.txt"}) EXPECT_FALSE(fs::exists(dir.file(name)));
    EXPECT_EQ(opened(dir, dir.file("all.enz"), "pw"),
              (std::map<std::string, std::string>{
                  {"a.txt", "a.txt content"}, {"b.txt", "b.txt content"}, {"c.txt", "c.txt content"}}));
}

// A command line whose last entry is passed over (already an archive) still
// makes the archive of every file packed before it.
TEST(NothingLostEncrypt, ASkippedLastEntryStillGivesTheArchiveOfTheOthers) {
    TempDirectory dir("lost-last-skipped");
    writeFile(dir.file("a.txt"), "alpha");
    writeFile(dir.file("b.txt"), "beta");
    writeFile(dir.file("old.enz"), "an archive");
    Harness h(dir);
    h.run.commandLineRun = true;
    combinedJob(h, {dir.file("a.txt"), dir.file("b.txt"), dir.file("old.enz")}, dir.file("all.enz"), true, "pw");
    h.encrypt();
    EXPECT_FALSE(fs::exists(dir.file("a.txt")));
    EXPECT_FALSE(fs::exists(dir.file("b.txt")));
    EXPECT_EQ(readFile(dir.file("old.enz")), "an archive");
    EXPECT_FALSE(fs::exists(dir.file("~enc~all.enz.zip")));
    EXPECT_EQ(opened(dir, dir.file("all.enz"), "pw"),
              (std::map<std::string, std::string>{{"a.txt", "alpha"}, {"b.txt", "beta"}}));
}

// A job stopped between two deletions of its sources: the next job to the
// same archive finishes the removal before anything else, so that it never
// replaces the archive holding the removed sources' only copy with one made
// of the sources still there.
TEST(NothingLostEncrypt, AnInterruptedRemovalIsFinishedBeforeTheArchiveIsWrittenAgain) {
    TempDirectory dir("lost-interrupted-removal");
    for (const char* name : {"a.txt", "b.txt", "c.txt"}) writeFile(dir.file(name), std::string(name) + " content");
    const std::vector<std::string> sources = {dir.file("a.txt"), dir.file("b.txt"), dir.file("c.txt")};
    {
        Harness made(dir);
        made.list(sources);
        made.setPassword("pw");
        made.window.chkCreateOneZip = true;
        made.run.combinedArchivePath = dir.file("all.enz");
        made.encrypt();
    }
    const std::string archive = readFile(dir.file("all.enz"));
    // Where the first job was stopped: its record written, a.txt removed.
    std::string error;
    ASSERT_TRUE(morvane::beginRemoval(morvane::removalJournalPath(dir.file("all.enz")), sources, error)) << error;
    fs::remove(dir.file("a.txt"));
    // c.txt was changed since: it is no longer the file the archive holds.
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    writeFile(dir.file("c.txt"), "c.txt changed since");

    // The same command line again: a.txt is gone, and a list with only b.txt
    // and c.txt would make an archive without it.
    Harness again(dir);
    again.run.commandLineRun = true;
    combinedJob(again, {dir.file("b.txt"), dir.file("c.txt")}, dir.file("all.enz"), true, "pw");
    again.encrypt();
    EXPECT_EQ(readFile(dir.file("all.enz")), archive);
    EXPECT_FALSE(fs::exists(dir.file("b.txt")));
    EXPECT_EQ(readFile(dir.file("c.txt")), "c.txt changed since");
    EXPECT_FALSE(fs::exists(morvane::removalJournalPath(dir.file("all.enz"))));
    EXPECT_TRUE(anyLogLineContains(again, dir.file("b.txt") + " has been removed: it is in " + dir.file("all.enz") +
                                              ", and the job that encrypted it was stopped before it had removed it."));
    const std::string kept = dir.file("all.enz") + " already holds " + dir.file("b.txt") +
                             ": the job that encrypted them was stopped before it had removed them, and they have now "
                             "been removed. " +
                             dir.file("all.enz") + " has been kept as it is.";
    EXPECT_TRUE(anyLogLineContains(again, kept));
    ASSERT_EQ(again.ui.messages.size(), 1u);
    EXPECT_EQ(again.ui.messages[0].text, kept);
    EXPECT_EQ(opened(dir, dir.file("all.enz"), "pw"),
              (std::map<std::string, std::string>{
                  {"a.txt", "a.txt content"}, {"b.txt", "b.txt content"}, {"c.txt", "c.txt content"}}));
}

TEST(NothingLostEncrypt, NoRecordOfARemovalIsLeftWhenItEnds) {
    TempDirectory dir("lost-removal-record");
    writeFile(dir.file("a.txt"), "alpha");
    Harness h(dir);
    combinedJob(h, {dir.file("a.txt")}, dir.file("all.enz"), true, "pw");
    h.encrypt();
    EXPECT_FALSE(fs::exists(dir.file("a.txt")));
    EXPECT_FALSE(fs::exists(morvane::removalJournalPath(dir.file("all.enz"))));
    EXPECT_EQ(morvane::removalJournalPath(dir.file("all.enz")), dir.file("~enc~all.enz.del"));
}

// --- A job's archive lives and dies with the job -----------------------------

TEST(NothingLostEncrypt, ARefusedCombinedRunLeavesNothingTheNextJobAddsTo) {
    TempDirectory dir("lost-refused");
    writeFile(dir.file("a.txt"), "first job's file");
    writeFile(dir.file(".hidden"), "hidden");
    writeFile(dir.file("b.txt"), "second job's file");
    Harness h(dir);
    combinedJob(h, {dir.file("a.txt"), dir.file(".hidden")}, dir.file("all.enz"), true, "first");
    h.encrypt();
    ASSERT_TRUE(anyMessageContains(h, " is a hidden file."));
    EXPECT_EQ(readFile(dir.file("a.txt")), "first job's file");
    EXPECT_FALSE(fs::exists(dir.file("all.enz")));

    // The same session, the next job: only its own file, under its own password.
    h.ui.messages.clear();
    h.window.lstFiles.clear();
    h.list({dir.file("b.txt")});
    h.setPassword("second");
    h.encrypt();
    ASSERT_FALSE(fs::exists(dir.file("b.txt")));
    EXPECT_EQ(opened(dir, dir.file("all.enz"), "second"),
              (std::map<std::string, std::string>{{"b.txt", "second job's file"}}));
    EXPECT_EQ(readFile(dir.file("a.txt")), "first job's file");
    EXPECT_FALSE(fs::exists(dir.file("~enc~all.enz.zip")));
}

TEST(NothingLostEncrypt, ReEncryptingKeepsTheOldArchiveUntilTheNewOneIsComplete) {
    TempDirectory dir("lost-reencrypt");
    writeFile(dir.file("a.txt"), "old content");
    Harness first(dir);
    first.list({dir.file("a.txt")});
    first.setPassword("pw");
    first.encrypt();
    const std::string oldArchive = readFile(dir.file("a.txt.enz"));
    writeFile(dir.file("a.txt"), noiseOfSize(2 << 20));
    Harness second(dir);
    second.list({dir.file("a.txt")});
    second.setPassword("pw");
    // While the new archive is being written (under a temporary name), the
    // old one is there, whole.
    int looks = 0;
    bool oldSeenWhole = true;
    second.ui.onEventsRun = [&] {
        if (temporaryFileIn(dir.str()).empty()) return;
        ++looks;
        if (readFile(dir.file("a.txt.enz")) != oldArchive) oldSeenWhole = false;
    };
    second.encrypt();
    EXPECT_GT(looks, 2);
    EXPECT_TRUE(oldSeenWhole);
    EXPECT_TRUE(opened(dir, dir.file("a.txt.enz"), "pw") ==
                (std::map<std::string, std::string>{{"a.txt", noiseOfSize(2 << 20)}}));
}

// --- Names --------------------------------------------------------------------

TEST(NothingLostNames, ANameThatIsNotUtf8ComesBackAsTheSameBytes) {
    TempDirectory dir("names-latin1");
    const std::string name = "caf\xE9 r\xE9sum\xE9.txt";
    writeFile(dir.file(name), "latin-1");
    for (const bool combined : {false, true}) {
        SCOPED_TRACE(combined ? "combined" : "per file");
        Harness h(dir);
        h.list({dir.file(name)});
        h.setPassword("pw");
        h.window.chkCreateOneZip = combined;
        h.run.combinedArchivePath = dir.file("all.enz");
        h.encrypt();
        EXPECT_EQ(opened(dir, combined ? dir.file("all.enz") : dir.file(name) + ".enz", "pw"),
                  (std::map<std::string, std::string>{{name, "latin-1"}}));
    }
}

TEST(NothingLostNames, ANameOf250BytesComesBackAndItsTemporaryNamesFit) {
    TempDirectory dir("names-long");
    const std::string name = std::string(246, 'n') + ".txt";
    writeFile(dir.file(name), "long name");
    Harness h(dir);
    h.list({dir.file(name)});
    h.setPassword("pw");
    h.window.chkDelAfterEnc = true;
    h.encrypt();
    ASSERT_TRUE(fs::exists(dir.file(name + ".enz"))) << (h.ui.messages.empty() ? "" : h.ui.messages[0].text);
    EXPECT_FALSE(fs::exists(dir.file(name)));
    // Deciphered beside itself: "~dec~{name}.enz.zip" would be 264 bytes long.
    Harness back(dir);
    back.list({dir.file(name + ".enz")});
    back.setPassword("pw");
    back.window.chkRemoveEncFile = true;
    back.decrypt();
    EXPECT_EQ(readFile(dir.file(name)), "long name");
    std::error_code tooLong;
    EXPECT_FALSE(fs::exists(dir.file(name + ".enz"), tooLong));
    EXPECT_TRUE(leftovers(dir.path()).empty());
}

TEST(NothingLostNames, ANameTooLongForItsArchiveIsRefusedBeforeAnythingIsPacked) {
    TempDirectory dir("names-too-long");
    const std::string name = std::string(248, 'n') + ".txt";  // 252 bytes: with ".enz" 256
    writeFile(dir.file(name), "kept");
    Harness h(dir);
    h.list({dir.file(name)});
    h.setPassword("pw");
    h.window.chkDelAfterEnc = true;
    h.encrypt();
    EXPECT_EQ(readFile(dir.file(name)), "kept");
    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, dir.file(name) +
                                         " cannot be encrypted: its name is too long to have \".enz\" added to it (a "
                                         "file name can have at most 255 bytes), so it could not be restored under the "
                                         "same name. Please rename the file and then try again.");
    EXPECT_EQ(h.logLines(), std::vector<std::string>{Harness::logLine(h.ui.messages[0].text)});
    std::error_code tooLong;
    EXPECT_FALSE(fs::exists(dir.file(name + ".enz"), tooLong));
    EXPECT_TRUE(leftovers(dir.path()).empty());
}

TEST(NothingLostNames, NamesTheExtractorWouldRefuseAreRefusedBeforeAnythingIsPacked) {
    TempDirectory dir("names-refused");
    writeFile(dir.file("fine.txt"), "fine");
    const std::map<std::string, std::string> refusals = {
        {"c:notes.txt", "begins with a drive letter and a colon"},
        {"..\\x", "contains a backslash (\\), which archives take for a folder separator"},
        {"a\\b.txt", "contains a backslash (\\), which archives take for a folder separator"},
    };
    for (const auto& [name, why] : refusals) {
        SCOPED_TRACE(name);
        writeFile(dir.file(name), "odd");
        Harness h(dir);
        combinedJob(h, {dir.file("fine.txt"), dir.file(name)}, dir.file("all.enz"), true, "pw");
        h.encrypt();
        ASSERT_EQ(h.ui.messages.size(), 1u);
        EXPECT_EQ(h.ui.messages[0].text, dir.file(name) + " cannot be encrypted: its name " + why +
                                             ", so it could not be restored under the same name. Please rename the "
                                             "file and then try again.");
        EXPECT_EQ(readFile(dir.file("fine.txt")), "fine");
        EXPECT_EQ(readFile(dir.file(name)), "odd");
        EXPECT_FALSE(fs::exists(dir.file("all.enz")));
        EXPECT_FALSE(fs::exists(dir.file("~enc~all.enz.zip")));
    }
}

TEST(NothingLostNames, TwoFilesOfOneNameAreRefusedNamingBoth) {
    TempDirectory dir("names-twice");
    writeFile(dir.file("one/a.txt"), "first");
    writeFile(dir.file("two/a.txt"), "second");
    const std::vector<std::pair<std::string, std::string>> pairs = {
        {dir.file("one/a.txt"), dir.file("two/a.txt")},   // one name from two folders
        {dir.file("one/a.txt"), dir.file("one//a.txt")},  // the same file twice
    };
    for (const auto& [first, second] : pairs) {
        SCOPED_TRACE(second);
        Harness h(dir);
        h.list({first, second});
        ASSERT_EQ(h.window.lstFiles.size(), 2u);
        h.setPassword("pw");
        h.window.chkCreateOneZip = true;
        h.window.chkDelAfterEnc = true;
        h.run.combinedArchivePath = dir.file("all.enz");
        h.encrypt();
        ASSERT_EQ(h.ui.messages.size(), 1u);
        EXPECT_EQ(h.ui.messages[0].text, first + " and " + second +
                                             " have the same name, and one encrypted file cannot hold two files of the "
                                             "same name. Please rename one of them or encrypt them into separate "
                                             "files, and then try again.");
        EXPECT_EQ(readFile(dir.file("one/a.txt")), "first");
        EXPECT_EQ(readFile(dir.file("two/a.txt")), "second");
        EXPECT_FALSE(fs::exists(dir.file("all.enz")));
    }
}

// --- Two jobs never interleave ------------------------------------------------

TEST(NothingLostLocks, AnArchiveAnotherJobWritesIsRefusedAndNothingIsTouched) {
    TempDirectory dir("locks-busy");
    writeFile(dir.file("a.txt"), "alpha");
    writeFile(dir.file("all.enz"), "the other job's archive");
    morvane::JobLocks other;
    ASSERT_EQ(other.lock(dir.file("all.enz"), std::chrono::milliseconds(0)), morvane::JobLocks::Outcome::Free);
    Harness h(dir);
    h.run.jobLockWaitMs = 100;
    combinedJob(h, {dir.file("a.txt")}, dir.file("all.enz"), true, "pw");
    h.encrypt();
    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, dir.file("all.enz") +
                                         " is being written by another Morvane job. Please wait until that job has "
                                         "finished and then try again.");
    EXPECT_EQ(readFile(dir.file("a.txt")), "alpha");
    EXPECT_EQ(readFile(dir.file("all.enz")), "the other job's archive");
}

TEST(NothingLostLocks, AnArchiveBeingOpenedIsNotRemovedUnderTheOtherJob) {
    TempDirectory dir("locks-decrypt");
    writeFile(dir.file("a.txt"), "alpha");
    const std::string archive = morvane::jobtest::makeArchive(dir.file("a.txt"), "alpha", "pw");
    morvane::JobLocks other;
    ASSERT_EQ(other.lock(archive, std::chrono::milliseconds(0)), morvane::JobLocks::Outcome::Free);
    Harness h(dir);
    h.run.jobLockWaitMs = 100;
    h.list({archive});
    h.setPassword("pw");
    h.window.chkRemoveEncFile = true;
    h.decrypt();
    EXPECT_TRUE(fs::exists(archive));
    EXPECT_FALSE(fs::exists(dir.file("a.txt")));
    EXPECT_TRUE(anyMessageContains(h, "is being written by another Morvane job"));
}

// --- An archive goes only once every member was written ------------------------

TEST(NothingLostDecrypt, KeptExistingFilesKeepTheArchiveAndTheJobSaysWhich) {
    TempDirectory dir("decrypt-kept");
    const std::string archive = morvane::jobtest::makeArchive(dir.file("a.txt"), "the archive's version", "pw");
    writeFile(dir.file("a.txt"), "my newer version");
    Harness h(dir);
    h.list({archive});
    h.setPassword("pw");
    h.window.chkDontOverwrite = true;
    h.window.chkRemoveEncFile = true;
    h.decrypt();
    EXPECT_EQ(readFile(dir.file("a.txt")), "my newer version");
    EXPECT_TRUE(fs::exists(archive));
    const std::string said = "Not every file in " + archive +
                             " was written: a.txt was not extracted: a file of its name exists and was kept. The "
                             "encrypted file has been kept.";
    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, said);
    EXPECT_EQ(h.logLines(), std::vector<std::string>{Harness::logLine(said)});
}

TEST(NothingLostDecrypt, KeepingExistingFilesWithoutRemovingTheArchiveIsNoFailure) {
    TempDirectory dir("decrypt-kept-only");
    const std::string archive = morvane::jobtest::makeArchive(dir.file("a.txt"), "the archive's version", "pw");
    writeFile(dir.file("a.txt"), "mine");
    Harness h(dir);
    h.list({archive});
    h.setPassword("pw");
    h.window.chkDontOverwrite = true;
    h.decrypt();
    EXPECT_EQ(readFile(dir.file("a.txt")), "mine");
    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, archive + " has successfully been decrypted.");
}

// An archive whose members would land outside the folder (made elsewhere):
// they are not written, the job says so, and the archive stays.
TEST(NothingLostDecrypt, RefusedMembersKeepTheArchiveAndAreNamed) {
    TempDirectory dir("decrypt-refused");
    const std::string zip = dir.file("made.zip");
    {
        auto writer = morvane::ZipWriter::create(zip);
        ASSERT_TRUE(writer);
        writeFile(dir.file("src"), "content");
        const std::string password = morvane::zipPassword("pw");
        for (const char* name : {"ok.txt", "../evil.txt", "c:notes.txt"})
            ASSERT_EQ(writer->addFile(dir.file("src"), name, 4, password, {}, {}),
                      morvane::ZipWriter::AddResult::Added);
        ASSERT_TRUE(writer->commit());
        fs::remove(dir.file("src"));
    }
    fs::create_directories(dir.file("arch"));
    clsBlowfish cipher;
    ASSERT_TRUE(cipher.EncryptFile(zip, dir.file("arch/made.enz"), "pw"));
    fs::remove(zip);
    Harness h(dir);
    h.list({dir.file("arch/made.enz")});
    h.setPassword("pw");
    h.window.chkRemoveEncFile = true;
    h.decrypt();
    EXPECT_EQ(readFile(dir.file("arch/ok.txt")), "content");
    EXPECT_FALSE(fs::exists(dir.file("evil.txt")));
    EXPECT_TRUE(fs::exists(dir.file("arch/made.enz")));
    EXPECT_TRUE(anyLogLineContains(h, "../evil.txt in " + dir.file("arch/made.enz") +
                                          " was not extracted: its name leads outside the folder it is extracted to."));
    EXPECT_TRUE(anyLogLineContains(h, "c:notes.txt in " + dir.file("arch/made.enz") + " was not extracted"));
    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_TRUE(h.ui.messages[0].text.starts_with("Not every file in " + dir.file("arch/made.enz") + " was written: "))
        << h.ui.messages[0].text;
}

TEST(NothingLostDecrypt, ADamagedArchiveChangesNoExistingFile) {
    TempDirectory dir("decrypt-damaged");
    writeFile(dir.file("src/a.txt"), noiseOfSize(200000, 1));
    writeFile(dir.file("src/b.txt"), noiseOfSize(200000, 2));
    Harness maker(dir);
    combinedJob(maker, {dir.file("src/a.txt"), dir.file("src/b.txt")}, dir.file("all.enz"), false, "pw");
    maker.encrypt();
    std::string bytes = readFile(dir.file("all.enz"));
    bytes[bytes.size() - 3000] = static_cast<char>(bytes[bytes.size() - 3000] ^ 0x20);  // in b.txt
    writeFile(dir.file("all.enz"), bytes);
    writeFile(dir.file("out/a.txt"), "my a");
    writeFile(dir.file("out/b.txt"), "my b");
    Harness h(dir);
    h.list({dir.file("all.enz")});
    h.setPassword("pw");
    h.window.chkDecOutputDir = true;
    h.window.txtDecryptTo = dir.file("out");
    h.window.chkRemoveEncFile = true;
    h.decrypt();
    EXPECT_EQ(contentsOf(dir.file("out")), (std::map<std::string, std::string>{{"a.txt", "my a"}, {"b.txt", "my b"}}));
    EXPECT_EQ(readFile(dir.file("all.enz")), bytes);
    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_TRUE(h.ui.messages[0].text.starts_with(dir.file("all.enz") + " is damaged: ")) << h.ui.messages[0].text;
    EXPECT_TRUE(h.ui.messages[0].text.ends_with(" No files have been changed.")) << h.ui.messages[0].text;
    EXPECT_FALSE(fs::exists(dir.file("out~dec~all.enz.zip")));
}

TEST(NothingLostDecrypt, AWrongPasswordChangesNoExistingFileAndLeavesNothing) {
    TempDirectory dir("decrypt-wrong");
    const std::string archive = morvane::jobtest::makeArchive(dir.file("a.txt"), "the archive's", "right");
    writeFile(dir.file("a.txt"), "mine");
    Harness h(dir);
    h.list({archive});
    h.setPassword("wrong");
    h.window.chkRemoveEncFile = true;
    h.decrypt();
    EXPECT_EQ(readFile(dir.file("a.txt")), "mine");
    EXPECT_TRUE(fs::exists(archive));
    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, "Invalid password while trying to decrypt " + h.window.lstFiles[0].text +
                                         ". Please verify password and then try again.");
    EXPECT_TRUE(leftovers(dir.path()).empty());
}

TEST(NothingLostDecrypt, AFolderLinkInTheDestinationIsNeverFollowed) {
    TempDirectory dir("decrypt-link");
    writeFile(dir.file("src/x.txt"), "x");
    fs::create_directories(dir.file("outside"));
    fs::create_directories(dir.file("out"));
    fs::create_directory_symlink(dir.file("outside"), dir.file("out/x.txt"));
    const std::string archive = morvane::jobtest::makeArchive(dir.file("src/x.txt"), "x", "pw");
    Harness h(dir);
    h.list({archive});
    h.setPassword("pw");
    h.window.chkDecOutputDir = true;
    h.window.txtDecryptTo = dir.file("out");
    h.decrypt();
    // x.txt is a link to a folder: the file takes the link's place, the
    // folder it pointed to stays empty.
    EXPECT_TRUE(fs::is_empty(dir.file("outside")));
    EXPECT_FALSE(fs::is_symlink(dir.file("out/x.txt")));
    EXPECT_EQ(readFile(dir.file("out/x.txt")), "x");
}

// --- Modes ----------------------------------------------------------------------

TEST(NothingLostModes, ArchivesAreOwnerOnlyAndFilesComeBackWithTheirModes) {
    TempDirectory dir("modes");
    writeFile(dir.file("key"), "secret");
    writeFile(dir.file("run.sh"), "#!/bin/sh\n");
    ::chmod(dir.file("key").c_str(), 0600);
    ::chmod(dir.file("run.sh").c_str(), 0755);
    Harness h(dir);
    combinedJob(h, {dir.file("key"), dir.file("run.sh")}, dir.file("all.enz"), true, "pw");
    h.encrypt();
    ASSERT_TRUE(fs::exists(dir.file("all.enz")));
    EXPECT_EQ(modeOf(dir.file("all.enz")), 0600u);
    Harness back(dir);
    back.list({dir.file("all.enz")});
    back.setPassword("pw");
    back.decrypt();
    EXPECT_EQ(modeOf(dir.file("key")), 0600u);
    EXPECT_EQ(modeOf(dir.file("run.sh")), 0755u);
}

}  // namespace
