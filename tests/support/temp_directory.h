#pragma once
// A fresh directory for one test, removed with everything in it afterwards.
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace morvane::testing {

class TempDirectory {
public:
    explicit TempDirectory(const std::string& name) {
        static int counter = 0;
        path_ = std::filesystem::temp_directory_path() /
                ("morvane-test-" + std::to_string(::getpid()) + "-" + std::to_string(counter++) + "-" + name);
        std::filesystem::create_directories(path_);
    }
    ~TempDirectory() {
        std::error_code ec;
        std::filesystem::permissions(path_, std::filesystem::perms::owner_all, std::filesystem::perm_options::add, ec);
        std::filesystem::remove_all(path_, ec);
    }
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::string str() const { return path_.string(); }
    std::string file(const std::string& name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
};

// A directory for one test whose path has no "-" (the command line splits at
// every "-"), removed with everything in it afterwards.
class DashFreeDirectory {
public:
    explicit DashFreeDirectory(const std::string& prefix) {
        static int counter = 0;
        path_ = "/tmp/" + prefix + std::to_string(::getpid()) + "_" + std::to_string(counter++);
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
        std::filesystem::create_directories(path_);
    }
    ~DashFreeDirectory() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    DashFreeDirectory(const DashFreeDirectory&) = delete;
    DashFreeDirectory& operator=(const DashFreeDirectory&) = delete;
    const std::string& str() const { return path_; }

private:
    std::string path_;
};

inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Writes the file, making its directory first.
inline void writeFile(const std::string& path, const std::string& content) {
    std::error_code ec;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ec);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}

// The lines of a text file without their line breaks.
inline std::vector<std::string> linesOf(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream in(path, std::ios::binary);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(line);
    }
    return lines;
}

}  // namespace morvane::testing
