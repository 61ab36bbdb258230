#pragma once
// Reading an encrypted archive back once it is written, before anything that
// it holds is deleted: the file is deciphered with the cipher key, the zip
// inside is walked from its first byte to its last, and every member's
// authentication code and CRC are checked against what was packed (names,
// order, sizes, CRCs of the bytes read from the source files). An archive
// of several members is walked in two halves at once, one per core, that
// meet at a member's header; the two walks see every byte the single walk
// sees, in the same order within each half.
#include <functional>
#include <optional>
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

// The walk in two halves alone: "" when the archive holds exactly `packed`;
// nothing when it has fewer than two members, its directory cannot be read
// ahead, or anything did not check out (the single walk then says what).
std::optional<std::string> checkWrittenArchiveInTwoHalves(clsBlowfish& cipher, const std::string& path,
                                                          std::string_view key, std::string_view zipPassword,
                                                          const std::vector<PackedMember>& packed,
                                                          const std::function<void()>& tick = {});

}  // namespace morvane
