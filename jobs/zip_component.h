#pragma once
// The zip component the jobs pack and extract with. Passwords are code-page
// bytes (Windows-1252); paths are UTF-8 and use the native separator.
#include <functional>
#include <string>
#include <string_view>

namespace morvane {

// Writes one line to the activity log.
using LogWriter = std::function<void(std::string_view line)>;

class ZipComponent {
public:
    virtual ~ZipComponent() = default;

    // The password given to files added from now on.
    virtual void SetZipPassword(std::string_view password) = 0;

    // The password used to open the members of archives extracted from now on.
    virtual void SetUnzipPassword(std::string_view password) = 0;

    // A mode setting the jobs set to 3 before their loops; it selects nothing.
    virtual void ZipMode(int mode) = 0;

    // Adds sourceDir + the file named by fileSpec (one file name in double
    // quotes) to the archive destDir + zipName under its bare name, creating
    // the archive or adding to it. options "-4": deflate at level 4. False when
    // the file cannot be read or the archive cannot be written; the archive is
    // then left as it was before the call.
    //
    // Consecutive calls on the same archive keep it open, so that adding the
    // k-th file does not rewrite the k - 1 before it: call CommitArchive before
    // anything else reads the archive.
    virtual bool ZipFiles(const std::string& sourceDir, const std::string& fileSpec, const std::string& destDir,
                          const std::string& zipName, const std::string& options) = 0;

    // Writes the archive the last ZipFiles calls built. False when it cannot
    // be written; the archive is then as it was before those calls.
    virtual bool CommitArchive() = 0;

    // Makes the pending archive independent of the files added so far, so
    // that they may be deleted before it is committed. True when it is.
    virtual bool ReleaseSources() = 0;

    // Extracts every member matching fileMask ("*.*" for all) into destDir.
    // options "-n": existing files are left untouched, which is no failure.
    // False when the archive is not a zip archive or a member cannot be
    // opened or read whole (a wrong password among them).
    virtual bool UnzipFiles(const std::string& zipPath, const std::string& fileMask, const std::string& destDir,
                            const std::string& options) = 0;

    // Percentage 0 to 100 of the running or last operation.
    virtual int PercentDone() const = 0;

    // Asks the running operation to stop at its next step.
    virtual void StopWork() = 0;

    // Called while work runs, with PercentDone, so that a window can show it
    // and stay responsive.
    std::function<void(int percent)> Progress;
};

}  // namespace morvane
