#include "secure_wipe.h"

#include <cstring>

#ifdef _WIN32
#include <windows.h>
#endif

namespace morvane {

void secureWipe(void* data, std::size_t size) noexcept {
    if (size == 0) return;
#ifdef _WIN32
    SecureZeroMemory(data, size);
#elif defined(__GNUC__)
    std::memset(data, 0, size);
    // The barrier tells the compiler the zeros are read, so the memset of an
    // object about to die is not dropped as a dead store.
    asm volatile("" : : "r"(data) : "memory");
#else
    auto* p = static_cast<volatile unsigned char*>(data);
    for (std::size_t i = 0; i < size; ++i) p[i] = 0;
#endif
}

}  // namespace morvane
