// The command-line reader on arbitrary text: it must never crash, and what it
// accepts must name a job, a password or entry, sources and a destination.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "command_line.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const morvane::CommandLineRequest request = morvane::parseCommandLine(text);
    if (request.rejection.empty()) {
        if (request.password.empty() || request.sources.empty() || request.destination.empty()) std::abort();
        if (request.silent && request.options.find('s') == std::string::npos) std::abort();
    }
    (void)morvane::usageText(request.rejection);
    return 0;
}
