#include "removal_journal.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include "container.h"
#include "file_attributes.h"
#include "platform_utilities.h"
#include "safe_file.h"

namespace morvane {

namespace fs = std::filesystem;

namespace {

// What identifies a source's content well enough: its size and the time it
// was last changed, to the nanosecond.
struct Stamp {
    std::uintmax_t size = 0;
    long long modified = 0;
};

bool stampOf(const std::string& path, Stamp& stamp) {
    std::error_code ec;
    const fs::path p = fileattr::toPath(path);
    if (!fs::is_regular_file(fs::symlink_status(p, ec))) return false;
    stamp.size = fs::file_size(p, ec);
    if (ec) return false;
    const auto time = fs::last_write_time(p, ec);
    if (ec) return false;
    stamp.modified = static_cast<long long>(time.time_since_epoch().count());
    return true;
}

}  // namespace

std::string removalJournalPath(std::string_view archivePath) {
    const SplitPath split = splitAtLastSeparator(archivePath);
    return split.dir + fittedFileName("~enc~" + split.name + ".del");
}

bool beginRemoval(const std::string& journal, const std::vector<std::string>& sources, std::string& error) {
    // One line a source: size, time, the path's length in bytes, ":", the path.
    std::string record;
    for (const std::string& source : sources) {
        Stamp stamp;
        if (!stampOf(source, stamp)) continue;  // already gone
        record += std::to_string(stamp.size) + " " + std::to_string(stamp.modified) + " " +
                  std::to_string(source.size()) + ":" + source + "\n";
    }
    AtomicFile file;
    if (file.open(journal) && file.write(record) && file.commit()) return true;
    error = file.error();
    return false;
}

void endRemoval(const std::string& journal) { removeFile(journal); }

std::vector<std::string> finishRemoval(const std::string& journal) {
    std::vector<std::string> removed;
    std::ifstream in(fileattr::toPath(journal), std::ios::binary);
    if (!in) return removed;
    const std::string record((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    in.close();
    std::size_t at = 0;
    while (at < record.size()) {
        std::istringstream head(record.substr(at, 64));
        Stamp recorded;
        std::size_t length = 0;
        char colon = 0;
        if (!(head >> recorded.size >> recorded.modified >> length >> colon) || colon != ':') break;
        const std::size_t pathStart = record.find(':', at) + 1;
        if (pathStart + length > record.size()) break;
        const std::string source = record.substr(pathStart, length);
        at = pathStart + length + 1;
        Stamp now;
        if (stampOf(source, now) && now.size == recorded.size && now.modified == recorded.modified) {
            deleteFile(source);
            removed.push_back(source);
        }
    }
    endRemoval(journal);
    return removed;
}

}  // namespace morvane
