#pragma once
// Opening an encrypted archive: it is deciphered into its temporary zip and
// the zip is extracted. Both run at once: the zip's directory is deciphered
// first, then the extraction threads decipher each member's bytes as they
// read them (see growing_zip.h), and the temporary zip, written as they go,
// is completed and takes its name before any extracted file takes its own.
// Extraction stays all or nothing, and the temporary zip is written whole,
// as when the two ran one after the other. When the archive's size
// descriptor does not fit (a wrong password, a damaged archive) or its end is
// no zip directory, the two steps run one after the other.
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "clsBlowfish.h"
#include "growing_zip.h"
#include "zip_component.h"

namespace morvane {

// The zip's directory and end records (and all a zip reader looks at to
// find them), deciphered ahead of the rest; nothing when the size
// descriptor does not fit or no plain end record is found.
std::optional<ZipEnd> decipherZipEnd(clsBlowfish& cipher, const std::string& archivePath, std::string_view key);

struct OpenedArchive {
    bool deciphered = false;  // false: cipher.LastError says why
    bool extracted = false;   // false: zip.LastExtraction() says why
};

// The cipher's Progress events and `deciphered` (once the temporary zip is
// complete, while extraction may still be going on) come on this thread;
// so does the zip component's Progress, with its PercentDone, after that
// until extraction ends. The cipher's StopWork stops both.
OpenedArchive decipherAndExtract(clsBlowfish& cipher, ZipComponent& zip, const std::string& archivePath,
                                 const std::string& tempZip, std::string_view key, const std::string& destDir,
                                 const std::string& options, const std::function<void()>& deciphered = {});

}  // namespace morvane
