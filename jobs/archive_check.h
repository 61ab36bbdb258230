#pragma once
// Reading an encrypted archive back once it is written, before anything that
// it holds is deleted: the file is deciphered with the cipher key, the zip
// inside is walked from its first byte to its last, and every member's
// authentication code and CRC are checked against what was packed (names,
// order, sizes, CRCs of the bytes read from the source files).
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "clsBlowfish.h"
#include "zip_component.h"

namespace morvane {

// "" when the archive at `path` holds exactly `packed`, each member whole;
// otherwise what did not check out. `tick` is called between pieces, so
// that a window can stay responsive.
std::string checkWrittenArchive(clsBlowfish& cipher, const std::string& path, std::string_view key,
                                std::string_view zipPassword, const std::vector<PackedMember>& packed,
                                const std::function<void()>& tick = {});

}  // namespace morvane
