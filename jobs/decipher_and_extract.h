#pragma once
// Opening an encrypted archive: it is deciphered into its temporary zip and
// the zip is extracted. Both run at once: the zip's directory is deciphered
// first, then the archive from its start, and extraction follows the
// deciphering on a second thread, member by member, as the bytes reach the
// temporary zip. Extraction stays all or nothing, and the temporary zip is
// written whole, as when the two ran one after the other. When the archive's
// size descriptor does not fit (a wrong password, a damaged archive) or its
// end is no zip directory, the two steps run one after the other.
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "clsBlowfish.h"
#include "zip_component.h"

namespace morvane {

// The end of the zip inside an archive: from `tailStart` on, its bytes.
struct ZipEnd {
    std::uint64_t size = 0;       // the zip's length
    std::uint64_t tailStart = 0;  // where `tail` begins: the directory, or the last 64 KiB if sooner
    std::vector<std::uint8_t> tail;
};

// The zip's directory and end records (and all a zip reader looks at to
// find them), deciphered ahead of the rest; nothing when the size
// descriptor does not fit or no plain end record is found.
std::optional<ZipEnd> decipherZipEnd(clsBlowfish& cipher, const std::string& archivePath, std::string_view key);

struct OpenedArchive {
    bool deciphered = false;  // false: cipher.LastError says why
    bool extracted = false;   // false: zip.LastExtraction() says why
};

// `deciphered` is called on this thread once the archive is deciphered
// whole, while extraction may still be going on; the zip component's
// Progress is called on this thread too, with its PercentDone, until
// extraction ends.
OpenedArchive decipherAndExtract(clsBlowfish& cipher, ZipComponent& zip, const std::string& archivePath,
                                 const std::string& tempZip, std::string_view key, const std::string& destDir,
                                 const std::string& options, const std::function<void()>& deciphered = {});

}  // namespace morvane
