#pragma once
// The zip component the jobs pack and extract with. Passwords are code-page
// bytes (Windows-1252); paths are UTF-8 and use the native separator.
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace morvane {

class GrowingZip;

// One file an archive was packed with: its member name, the CRC and count
// of the bytes read from it, and its attributes (Unix permission bits in the
// high half).
struct PackedMember {
    std::string name;
    std::uint32_t crc = 0;
    std::uint64_t size = 0;
    std::uint32_t externalAttributes = 0;
    bool operator==(const PackedMember&) const = default;
};

// A member of an archive that extraction did not write, and why.
struct UnwrittenMember {
    enum class Reason {
        KeptExisting,  // "-n": a file of its name was there and was kept
        UnsafeName,    // absolute, or with a ".." component: it would land outside
        Link,          // a symbolic link: never made
        ThroughLink,   // its path leads through a link in the destination
        NameTooLong,   // a name the file system cannot take
        NotMatched,    // not matched by the file mask
    };
    std::string name;
    Reason reason;
};

// How the last extraction went. Extraction is all or nothing: on any failure
// no file was written or replaced.
struct ExtractionReport {
    enum class Failure {
        None,
        NotAZip,        // the archive is no zip archive (a wrong password when it was just deciphered)
        WrongPassword,  // a member's password check failed
        Damaged,        // a member's authentication code, CRC or size does not check out
        CannotWrite,    // a file or folder could not be made or written
        NoSpace,        // the destination has too little free space for the members
        Stopped,        // StopWork
    };
    Failure failure = Failure::None;
    std::string detail;  // what failed: the member, the path and the system's reason
    std::vector<std::string> written;
    std::vector<UnwrittenMember> unwritten;
    std::uint64_t bytesNeeded = 0;  // NoSpace: what the members need, and what is free
    std::uint64_t bytesFree = 0;
};

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
    // anything else reads the archive. An archive not open already is begun
    // empty: a file of its name is replaced when the archive is committed.
    virtual bool ZipFiles(const std::string& sourceDir, const std::string& fileSpec, const std::string& destDir,
                          const std::string& zipName, const std::string& options) = 0;

    // Writes the archive the last ZipFiles calls built. False when it cannot
    // be written; no archive of that name is made then.
    virtual bool CommitArchive() = 0;

    // Drops the archive the ZipFiles calls are building, writing nothing. A
    // job calls it when it begins and when it ends, so that no archive
    // outlives the job that began it.
    virtual void DiscardArchive() = 0;

    // What the last committed archive holds, in order.
    virtual const std::vector<PackedMember>& PackedMembers() const = 0;

    // Why the last ZipFiles or CommitArchive failed.
    virtual const std::string& LastError() const = 0;

    // Extracts every member matching fileMask ("*.*" for all) into destDir,
    // all or nothing: each member is written under a temporary name and
    // checked, and only when every one is complete do they take their names.
    // options "-n": existing files are left untouched, which is no failure.
    // False when the archive is not a zip archive, a member does not check
    // out (a wrong password among them), or the files cannot be written;
    // LastExtraction says which, and which members were not written.
    virtual bool UnzipFiles(const std::string& zipPath, const std::string& fileMask, const std::string& destDir,
                            const std::string& options) = 0;

    // UnzipFiles of the zip of an archive being opened, called on a thread of
    // its own: each part it reads is deciphered then (growing_zip.h). It
    // reports progress only through PercentDone (never through Progress). A
    // component that cannot read such a zip has it completed first.
    virtual bool UnzipGrowingFile(GrowingZip& zip, const std::string& fileMask, const std::string& destDir,
                                  const std::string& options);

    // How the last UnzipFiles went.
    virtual const ExtractionReport& LastExtraction() const = 0;

    // Percentage 0 to 100 of the running or last operation.
    virtual int PercentDone() const = 0;

    // Asks the running operation to stop at its next step.
    virtual void StopWork() = 0;

    // Called while work runs, with PercentDone, so that a window can show it
    // and stay responsive.
    std::function<void(int percent)> Progress;
};

}  // namespace morvane
