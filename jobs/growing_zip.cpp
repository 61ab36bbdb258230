#include "growing_zip.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "file_attributes.h"
#include "safe_file.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

namespace morvane {

namespace {

int openForReading(const std::string& path) {
#ifdef _WIN32
    return ::_wopen(fileattr::toPath(path).c_str(), _O_RDONLY | _O_BINARY);
#else
    return ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
#endif
}

}  // namespace

GrowingZip::GrowingZip(std::uint64_t size, std::uint64_t tailStart, std::vector<std::uint8_t> tail,
                       std::string finalPath)
    : size_(size), tailStart_(tailStart), tail_(std::move(tail)), finalPath_(std::move(finalPath)) {}

GrowingZip::~GrowingZip() {
#ifdef _WIN32
    if (descriptor_ >= 0) ::_close(descriptor_);
#else
    if (descriptor_ >= 0) ::close(descriptor_);
#endif
}

void GrowingZip::written(std::uint64_t bytes, const std::string& temporaryPath) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        written_ = bytes;
        if (temporaryPath_.empty()) temporaryPath_ = temporaryPath;
    }
    changed_.notify_all();
}

void GrowingZip::finished(bool ok) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        finished_ = true;
        ok_ = ok;
    }
    changed_.notify_all();
}

bool GrowingZip::waitComplete() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return finished_; });
    return ok_;
}

bool GrowingZip::read(std::uint64_t offset, std::uint8_t* data, std::size_t length) {
    if (offset > size_ || length > size_ - offset) return false;
    const std::uint64_t end = offset + length;
    if (end > tailStart_) {  // the part at the zip's end comes from memory
        const std::uint64_t from = std::max(offset, tailStart_);
        std::memcpy(data + (from - offset), tail_.data() + (from - tailStart_), static_cast<std::size_t>(end - from));
        length = static_cast<std::size_t>(from - offset);
    }
    return length == 0 || readFile(offset, data, length);
}

bool GrowingZip::readFile(std::uint64_t offset, std::uint8_t* data, std::size_t length) {
    {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return finished_ || written_ >= offset + length; });
        if (finished_ && !ok_) return false;
        if (descriptor_ < 0) {
            // The file takes its final name when it is complete: until then it
            // is read under the writer's temporary name.
            descriptor_ = openForReading(finished_ ? finalPath_ : temporaryPath_);
            if (descriptor_ < 0 && !finished_) {
                changed_.wait(lock, [this] { return finished_; });
                if (!ok_) return false;
                descriptor_ = openForReading(finalPath_);
            }
            if (descriptor_ < 0) return false;
        }
    }
    return readAllAt(descriptor_, offset, {data, length});
}

}  // namespace morvane
