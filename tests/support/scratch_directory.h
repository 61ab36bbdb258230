#pragma once
// A fresh directory named after the running test, removed with everything in
// it afterwards.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>

namespace morvane::testing {

class ScratchDirectory {
public:
    explicit ScratchDirectory(const std::string& prefix) {
        static std::atomic<unsigned> counter{0};
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        std::string name = info != nullptr ? info->name() : "outside-a-test";  // "Case/3" for parameterised tests
        for (char& ch : name)
            if (ch == '/') ch = '_';
        path_ = std::filesystem::temp_directory_path() /
                ("morvane-" + prefix + "-" + std::to_string(::getpid()) + "-" + std::to_string(counter++) + "-" + name);
        std::filesystem::remove_all(path_);
        std::filesystem::create_directories(path_);
    }
    ~ScratchDirectory() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    std::string path(const std::string& name) const { return (path_ / name).string(); }
    const std::filesystem::path& root() const { return path_; }

    // Writes a file of that name and gives its path.
    std::string file(const std::string& name, const std::string& content = "content") const {
        const std::filesystem::path p = path_ / name;
        std::ofstream(p, std::ios::binary) << content;
        return p.string();
    }
    // Makes a folder of that name and gives its path.
    std::string dir(const std::string& name) const {
        const std::filesystem::path p = path_ / name;
        std::filesystem::create_directories(p);
        return p.string();
    }

private:
    std::filesystem::path path_;
};

// Takes the write permission away from everyone, the owner too.
inline void removeOwnerWrite(const std::string& path) {
    std::filesystem::permissions(path,
                                 std::filesystem::perms::owner_write | std::filesystem::perms::group_write |
                                     std::filesystem::perms::others_write,
                                 std::filesystem::perm_options::remove);
}

inline bool ownerMayWrite(const std::string& path) {
    return (std::filesystem::status(path).permissions() & std::filesystem::perms::owner_write) !=
           std::filesystem::perms::none;
}

}  // namespace morvane::testing
