#include "secure_wipe.h"

namespace morvane {

void secureWipe(void* data, std::size_t size) noexcept {
    auto* p = static_cast<volatile unsigned char*>(data);
    for (std::size_t i = 0; i < size; ++i) p[i] = 0;
}

}  // namespace morvane
