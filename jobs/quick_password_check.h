#pragma once
// A wrong password told at once: an archive's first two blocks hold the
// cipher buffer's header, whose size descriptor (offset 8) must fit the
// archive's length. Under a wrong password it almost never does, and then the
// rest of the archive need not be deciphered to know the password is wrong.
#include <string>
#include <string_view>

#include "clsBlowfish.h"

namespace morvane {

enum class QuickPasswordCheck {
    MayFit,      // the size descriptor fits: decipher the archive to know
    WrongKey,    // it cannot be right for the archive's length
    Unreadable,  // the first blocks could not be read: the full decipher says why
};

// Deciphers the first 16 bytes of `archivePath` with `keyText` (set on
// `cipher`, which keeps it) and checks the size descriptor against the
// archive's length. Raises no Progress and writes nothing.
QuickPasswordCheck quickPasswordCheck(clsBlowfish& cipher, const std::string& archivePath, std::string_view keyText);

}  // namespace morvane
