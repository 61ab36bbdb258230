#include "clsBlowfish.h"

#include "secure_wipe.h"

namespace morvane {

clsBlowfish::clsBlowfish() : tables_(blowfish::initialTables()) {}

clsBlowfish::~clsBlowfish() {
    secureWipe(&tables_, sizeof tables_);
    secureWipe(keyInForce_);
}

void clsBlowfish::key(std::string_view keyText) {
    // The empty key has no bytes to cycle through: it is never scheduled.
    if (keyText.empty() || keyText == keyInForce_) return;
    secureWipe(keyInForce_);
    keyInForce_.assign(keyText);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(keyInForce_.data());
    blowfish::scheduleKey(tables_, {bytes, keyInForce_.size()});
}

}  // namespace morvane
