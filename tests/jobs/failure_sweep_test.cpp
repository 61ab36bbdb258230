// Every failure point in turn: a small encrypt with "remove source" and a
// small decrypt with "remove encrypted file" are run once to count the file
// operations they make (writes, flushes, renames, deletes), then once for
// each k with the k-th operation failing (once, and from then on as on a
// disk that stays full). After each run nothing is lost: every source exists
// whole or comes back whole out of its archive, every file in the output
// folder is either as it was or wholly new, an archive is removed only when
// all of it was written, no file is left half-written under a final name,
// and a fresh run to the same names then succeeds.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "failure_points.h"
#include "job_harness.h"

namespace {

namespace fs = std::filesystem;
using morvane::FailurePoints;
using morvane::FileOperation;
using morvane::jobtest::Harness;
using morvane::jobtest::noiseOfSize;
using morvane::testing::readFile;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

const std::map<std::string, std::string>& sources() {
    static const std::map<std::string, std::string> files = {
        {"a.txt", "alpha, the first file"},
        {"b.bin", noiseOfSize(300000, 7)},
        {"c.log", std::string(50000, 'c')},
    };
    return files;
}

// Files below `root` by their path below it (the program's own folder left
// out).
std::map<std::string, std::string> filesBelow(const fs::path& root) {
    std::map<std::string, std::string> seen;
    for (auto it = fs::recursive_directory_iterator(root); it != fs::recursive_directory_iterator(); ++it) {
        const std::string relative = fs::relative(it->path(), root).string();
        if (relative.starts_with("program")) continue;
        if (it->is_regular_file()) seen[relative] = readFile(it->path().string());
    }
    return seen;
}

bool isTemporary(const std::string& relative) {
    const std::string base = fs::path(relative).filename().string();
    return base.starts_with(".~mv") || base.starts_with("~enc~") || base.find("~dec~") != std::string::npos;
}

// Opens `archive` with a fresh, unfailing decrypt job; what it holds.
std::map<std::string, std::string> opened(const TempDirectory& dir, const std::string& archive) {
    const std::string outdir = dir.file("check-open");
    fs::remove_all(outdir);
    fs::create_directories(outdir);
    Harness h(dir);
    h.setPassword("sweep pw");
    h.list({archive});
    h.window.chkDecOutputDir = true;
    h.window.txtDecryptTo = outdir;
    h.decrypt();
    auto contents = filesBelow(outdir);
    fs::remove_all(outdir);
    return contents;
}

enum class Mode { Combined, PerFile };

void runEncrypt(const TempDirectory& dir, Mode mode, Harness& h) {
    std::vector<std::string> paths;
    for (const auto& [name, content] : sources()) paths.push_back(dir.file("src/" + name));
    h.list(paths);
    h.setPassword("sweep pw");
    h.window.chkDelAfterEnc = true;
    h.window.chkCreateOneZip = mode == Mode::Combined;
    h.run.combinedArchivePath = dir.file("arch/all.enz");
    h.encrypt();
}

void writeSources(const TempDirectory& dir) {
    for (const auto& [name, content] : sources()) writeFile(dir.file("src/" + name), content);
}

// After an encrypt that met a failure: every source is whole where it was, or
// whole in an archive; archives are whole; only temporary names are left.
void expectEncryptLostNothing(const TempDirectory& dir, Mode mode, const std::string& oldArchive) {
    const auto present = filesBelow(dir.path());
    std::map<std::string, std::string> inArchives;
    if (mode == Mode::Combined) {
        if (present.count("arch/all.enz")) {
            const auto holds = opened(dir, dir.file("arch/all.enz"));
            // The old archive, or the whole new one.
            if (present.at("arch/all.enz") != oldArchive) {
                EXPECT_TRUE(holds == sources()) << "a new archive that is not whole";
            }
            inArchives = holds;
        }
    } else {
        for (const auto& [name, content] : sources()) {
            const std::string archive = "src/" + name + ".enz";
            if (!present.count(archive)) continue;
            const auto holds = opened(dir, dir.file(archive));
            EXPECT_TRUE(holds == (std::map<std::string, std::string>{{name, content}})) << archive;
            if (holds.count(name)) inArchives[name] = holds.at(name);
        }
    }
    for (const auto& [name, content] : sources()) {
        const std::string source = "src/" + name;
        if (present.count(source)) {
            EXPECT_TRUE(present.at(source) == content) << source << " was changed";
        } else {
            EXPECT_TRUE(inArchives.count(name) && inArchives.at(name) == content) << source << " is lost";
        }
    }
    for (const auto& [path, content] : present) {
        const bool known = path == "arch/all.enz" || path.starts_with("src/") || path == "old/all.enz";
        EXPECT_TRUE(known || isTemporary(path)) << "unexpected " << path;
        if (path.starts_with("src/") && !isTemporary(path)) {
            const std::string name = path.substr(4);
            EXPECT_TRUE(sources().count(name) ||
                        (name.ends_with(".enz") && sources().count(name.substr(0, name.size() - 4))))
                << path;
        }
    }
}

// The sweep: `run` once unfailing to count, then once per failure point.
template <typename Setup, typename Run, typename Check>
void sweep(const std::string& name, Setup setup, Run run, Check check) {
    std::uint64_t operations = 0;
    {
        TempDirectory dir(name + "-count");
        setup(dir);
        FailurePoints::reset();
        run(dir);
        operations = FailurePoints::passed();
        FailurePoints::reset();
    }
    ASSERT_GT(operations, 5u);
    for (const bool persistent : {false, true}) {
        for (std::uint64_t k = 1; k <= operations; ++k) {
            SCOPED_TRACE((persistent ? "from operation " : "operation ") + std::to_string(k) + " of " +
                         std::to_string(operations));
            TempDirectory dir(name);
            setup(dir);
            FailurePoints::arm(k, persistent);
            run(dir);
            const bool met = FailurePoints::triggered();
            const FileOperation failed = FailurePoints::failedOperation();
            FailurePoints::reset();
            EXPECT_TRUE(met);
            check(dir, failed);
        }
    }
}

TEST(FailureSweep, CombinedEncryptWithRemoveSourceLosesNothingAtAnyFailure) {
    const std::string oldArchive = "an earlier archive of the same name";
    sweep(
        "sweep-combined",
        [&](const TempDirectory& dir) {
            writeSources(dir);
            writeFile(dir.file("arch/all.enz"), oldArchive);
        },
        [](const TempDirectory& dir) {
            Harness h(dir);
            runEncrypt(dir, Mode::Combined, h);
        },
        [&](const TempDirectory& dir, FileOperation failed) {
            expectEncryptLostNothing(dir, Mode::Combined, oldArchive);
            // A temporary file stays behind only where deleting it failed.
            if (failed != FileOperation::Remove) {
                for (const auto& [path, content] : filesBelow(dir.path()))
                    EXPECT_FALSE(path.starts_with("arch/.~mv") || path.starts_with("src/.~mv")) << path;
            }
            // The same job again, with every source still there, ends well.
            bool allThere = true;
            for (const auto& [name, content] : sources()) allThere = allThere && fs::exists(dir.file("src/" + name));
            if (allThere) {
                Harness again(dir);
                runEncrypt(dir, Mode::Combined, again);
                for (const auto& [name, content] : sources()) EXPECT_FALSE(fs::exists(dir.file("src/" + name)));
                EXPECT_TRUE(opened(dir, dir.file("arch/all.enz")) == sources());
            }
        });
}

TEST(FailureSweep, PerFileEncryptWithRemoveSourceLosesNothingAtAnyFailure) {
    sweep(
        "sweep-per-file", [](const TempDirectory& dir) { writeSources(dir); },
        [](const TempDirectory& dir) {
            Harness h(dir);
            runEncrypt(dir, Mode::PerFile, h);
        },
        [](const TempDirectory& dir, FileOperation) { expectEncryptLostNothing(dir, Mode::PerFile, ""); });
}

TEST(FailureSweep, DecryptWithRemoveEncryptedFileLosesNothingAtAnyFailure) {
    // The archive, made once; each run opens a copy of it into a folder that
    // already holds an older a.txt.
    TempDirectory maker("sweep-decrypt-maker");
    writeSources(maker);
    {
        Harness h(maker);
        std::vector<std::string> paths;
        for (const auto& [name, content] : sources()) paths.push_back(maker.file("src/" + name));
        h.list(paths);
        h.setPassword("sweep pw");
        h.window.chkCreateOneZip = true;
        h.run.combinedArchivePath = maker.file("all.enz");
        h.encrypt();
    }
    const std::string archive = readFile(maker.file("all.enz"));
    ASSERT_FALSE(archive.empty());
    sweep(
        "sweep-decrypt",
        [&](const TempDirectory& dir) {
            writeFile(dir.file("arch/all.enz"), archive);
            writeFile(dir.file("out/a.txt"), "an older a.txt");
        },
        [](const TempDirectory& dir) {
            Harness h(dir);
            h.list({dir.file("arch/all.enz")});
            h.setPassword("sweep pw");
            h.window.chkRemoveEncFile = true;
            h.window.chkDecOutputDir = true;
            h.window.txtDecryptTo = dir.file("out");
            h.decrypt();
        },
        [&](const TempDirectory& dir, FileOperation failed) {
            const auto present = filesBelow(dir.path());
            for (const auto& [name, content] : sources()) {
                const std::string path = "out/" + name;
                if (!present.count(path)) continue;
                const bool old = name == "a.txt" && present.at(path) == "an older a.txt";
                EXPECT_TRUE(old || present.at(path) == content) << path << " is half-written";
            }
            if (!present.count("arch/all.enz")) {
                // Removed: only once every member was written.
                for (const auto& [name, content] : sources()) {
                    ASSERT_TRUE(present.count("out/" + name)) << name << " lost with its archive";
                    EXPECT_TRUE(present.at("out/" + name) == content) << name;
                }
            } else {
                EXPECT_TRUE(present.at("arch/all.enz") == archive);
            }
            for (const auto& [path, content] : present) {
                const bool known = path == "arch/all.enz" || path.starts_with("out/");
                EXPECT_TRUE(known || isTemporary(path)) << "unexpected " << path;
                if (failed != FileOperation::Remove) {
                    EXPECT_FALSE(isTemporary(path)) << path;
                }
            }
        });
}

}  // namespace
