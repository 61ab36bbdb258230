// The stored password database reading a file of arbitrary bytes: no crash,
// and every line it hands out as an entry carries the separator.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "activity_log.h"
#include "password_database.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string directory = [] {
        const std::string dir =
            (std::filesystem::temp_directory_path() / ("mvfuzzdb" + std::to_string(::getpid()))).string();
        std::filesystem::create_directories(dir);
        return dir;
    }();
    morvane::ActivityLog log(directory);
    morvane::PasswordDatabase database(directory, log);
    if (std::FILE* file = std::fopen(database.path().c_str(), "wb")) {
        std::fwrite(data, 1, size, file);
        std::fclose(file);
    }
    for (const morvane::StoredEntry& entry : database.readAllEntries())
        if (entry.readable && entry.text.find(morvane::kEntrySeparator) == std::string::npos) std::abort();
    morvane::RunState run;
    (void)database.lookupStoredPassword("name", run);
    return 0;
}
