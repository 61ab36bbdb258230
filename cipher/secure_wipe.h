#pragma once
// Overwrites key material before its memory is given back, in a way the
// optimiser may not drop as a dead store.
#include <cstddef>
#include <string>

namespace morvane {

void secureWipe(void* data, std::size_t size) noexcept;

inline void secureWipe(std::string& text) noexcept {
    secureWipe(text.data(), text.size());
    text.clear();
}

}  // namespace morvane
