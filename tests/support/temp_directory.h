#pragma once
// A fresh directory for one test, removed with everything in it afterwards.
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

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

inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void writeFile(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}

}  // namespace morvane::testing
