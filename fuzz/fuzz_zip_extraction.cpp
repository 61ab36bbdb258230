// Extraction of archives damaged as the fuzzer likes: an archive of two
// members is made by the program's own writer from the fuzzer's data, then
// bytes are changed or the archive is cut, and it is extracted into a folder
// that already holds files of the members' names. Whatever the damage, the
// folder afterwards holds either the files as they were or exactly the
// members' contents; nothing else is ever written. Bytes that are no
// archive at all are read too, and must only ever be refused.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "zip_extractor.h"
#include "zip_reader.h"
#include "zip_writer.h"

namespace {

namespace fs = std::filesystem;

constexpr char kPassword[] = "fuzz password";

void writeFile(const fs::path& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::map<std::string, std::string> contentsOf(const fs::path& folder) {
    std::map<std::string, std::string> seen;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        seen[fs::relative(entry.path(), folder).string()] = entry.is_regular_file() ? readFile(entry.path()) : "?";
    return seen;
}

const fs::path& workFolder() {
    static const fs::path folder = [] {
        fs::path p = fs::temp_directory_path() / ("morvane-fuzz-extract-" + std::to_string(::getpid()));
        fs::remove_all(p);
        fs::create_directories(p);
        return p;
    }();
    return folder;
}

}  // namespace

// Input: byte 0 how the damage is done (bit 0 cut the archive, bit 1 raw
// bytes only), bytes 1-2 the position, byte 3 the new byte, byte 4 where the
// first member's data ends, then the data of both members.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t size) {
    if (size < 5) return 0;
    const fs::path& work = workFolder();
    const fs::path zip = work / "in.zip";
    const fs::path out = work / "out";
    fs::remove_all(out);
    fs::create_directories(out);
    const std::map<std::string, std::string> existing = {{"a.txt", "mine a"}, {"b.bin", "mine b"}};
    for (const auto& [name, content] : existing) writeFile(out / name, content);

    const std::string data(reinterpret_cast<const char*>(input) + 5, size - 5);
    std::map<std::string, std::string> members;
    if ((input[0] & 2) != 0) {
        writeFile(zip, data);  // no archive of ours: anything at all
    } else {
        const std::size_t cut = std::min<std::size_t>(input[4] * 4, data.size());
        members = {{"a.txt", data.substr(0, cut)}, {"b.bin", data.substr(cut)}};
        auto writer = morvane::ZipWriter::create(zip.string());
        if (!writer) std::abort();
        for (const auto& [name, content] : members) {
            writeFile(work / "source", content);
            if (writer->addFile((work / "source").string(), name, 4, kPassword, {}, {}) !=
                morvane::ZipWriter::AddResult::Added)
                std::abort();
        }
        if (!writer->commit()) std::abort();
        std::string bytes = readFile(zip);
        const std::size_t at = (static_cast<std::size_t>(input[1]) << 8 | input[2]) % bytes.size();
        if ((input[0] & 1) != 0) {
            bytes.resize(at);
        } else {
            bytes[at] = static_cast<char>(input[3]);
        }
        writeFile(zip, bytes);
    }

    morvane::ExtractionRequest request;
    request.zipPath = zip.string();
    request.destination = out.string();
    request.password = kPassword;
    const morvane::ExtractionReport report = morvane::extractArchive(request);
    const auto now = contentsOf(out);
    if (report.failure != morvane::ExtractionReport::Failure::None) {
        if (now != existing) std::abort();  // a failed extraction changed something
        return 0;
    }
    // A success: a file is the user's own, untouched, unless the extraction
    // says it wrote it; what it wrote from an archive of ours is exactly the
    // member (damage that changed no content may pass, as in a date field).
    std::map<std::string, bool> written;
    for (const std::string& name : report.written) written[name] = true;
    for (const auto& [name, content] : now) {
        if (written.count(name)) {
            if (!members.empty() && (!members.count(name) || members.at(name) != content)) std::abort();
        } else if (!existing.count(name) || existing.at(name) != content) {
            std::abort();
        }
    }
    return 0;
}
