#include "growing_zip.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "cbc_chain.h"
#include "clsBlowfish.h"
#include "file_attributes.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

namespace morvane {

namespace {

// Reads this long or longer are followed by the next piece deciphered ahead.
constexpr std::size_t kShortestAheadRead = 64 << 10;
// The pieces the completion deciphers what no read asked for in.
constexpr std::size_t kFillPieceBytes = 1 << 20;

int openForReading(const std::string& path) {
#ifdef _WIN32
    return ::_wopen(fileattr::toPath(path).c_str(), _O_RDONLY | _O_BINARY);
#else
    return ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
#endif
}

}  // namespace

GrowingZip::GrowingZip(const blowfish::Tables& tables, std::string archivePath, ZipEnd end, std::string finalPath,
                       bool durable)
    : tables_(tables),
      archivePath_(std::move(archivePath)),
      size_(end.size),
      tailStart_(end.tailStart),
      tail_(std::move(end.tail)),
      finalPath_(std::move(finalPath)),
      durable_(durable) {
    ahead_.zip = this;
}

GrowingZip::~GrowingZip() {
    const std::lock_guard<std::mutex> lock(aheadInUse_);
    if (aheadBusy_) aheadThread_.wait();
}

bool GrowingZip::open() {
    errno = 0;
    archive_ = FileDescriptor(openForReading(archivePath_));
    if (!archive_) return fail(systemErrorText(errno != 0 ? errno : EIO));
    if (finalPath_.empty()) {
        writesClosed_ = true;
        return true;
    }
    if (!temporary_.open(finalPath_)) return fail(temporary_.error());
    return true;
}

bool GrowingZip::fail(std::string reason) {
    {
        const std::lock_guard<std::mutex> lock(state_);
        if (error_.empty()) error_ = std::move(reason);
    }
    failed_ = true;
    return false;
}

std::string GrowingZip::error() const {
    const std::lock_guard<std::mutex> lock(state_);
    return error_;
}

void GrowingZip::stop() { fail(std::string(clsBlowfish::kStoppedError)); }

std::uint64_t GrowingZip::decipheredBytes() const {
    const std::lock_guard<std::mutex> lock(state_);
    std::uint64_t bytes = tail_.size();
    for (const auto& [from, to] : covered_) bytes += to - from;
    return std::min(bytes, size_);
}

void GrowingZip::covered(std::uint64_t from, std::uint64_t to) {
    const std::lock_guard<std::mutex> lock(state_);
    // The ranges stay sorted and apart: the new one swallows those it touches.
    auto first = std::lower_bound(covered_.begin(), covered_.end(), from,
                                  [](const auto& range, std::uint64_t at) { return range.second < at; });
    auto last = first;
    while (last != covered_.end() && last->first <= to) {
        from = std::min(from, last->first);
        to = std::max(to, last->second);
        ++last;
    }
    if (first == last) {
        covered_.insert(first, {from, to});
    } else {
        *first = {from, to};
        covered_.erase(first + 1, last);
    }
}

std::vector<std::pair<std::uint64_t, std::uint64_t>> GrowingZip::gaps() const {
    const std::lock_guard<std::mutex> lock(state_);
    std::vector<std::pair<std::uint64_t, std::uint64_t>> gaps;
    std::uint64_t at = 0;
    for (const auto& [from, to] : covered_) {
        if (from >= tailStart_) break;
        if (from > at) gaps.emplace_back(at, from);
        at = std::max(at, to);
    }
    if (at < tailStart_) gaps.emplace_back(at, tailStart_);
    return gaps;
}

std::vector<std::uint8_t> GrowingZip::takeScratch() {
    const std::lock_guard<std::mutex> lock(state_);
    if (scratches_.empty()) return {};
    std::vector<std::uint8_t> scratch = std::move(scratches_.back());
    scratches_.pop_back();
    return scratch;
}

void GrowingZip::giveScratch(std::vector<std::uint8_t> scratch) {
    const std::lock_guard<std::mutex> lock(state_);
    scratches_.push_back(std::move(scratch));
}

// Windows reads and writes at an offset by seeking first: one at a time.
bool GrowingZip::readArchive(std::uint64_t offset, std::span<std::uint8_t> bytes) {
#ifdef _WIN32
    const std::lock_guard<std::mutex> lock(seekThenTransfer_);
#endif
    return readAllAt(archive_.get(), offset, bytes);
}

bool GrowingZip::writeTemporary(std::uint64_t offset, std::span<const std::uint8_t> bytes) {
#ifdef _WIN32
    const std::lock_guard<std::mutex> lock(seekThenTransfer_);
#endif
    return writeAllAt(temporary_.descriptor(), offset, bytes);
}

bool GrowingZip::decipherInto(std::uint64_t offset, std::span<std::uint8_t> out, std::vector<std::uint8_t>& scratch) {
    if (failed_.load()) return false;
    const blowfish::BlocksAround around(clsBlowfish::kHeaderBytes + offset, out.size());
    scratch.resize(around.readBytes());
    errno = 0;
    if (!readArchive(around.from, scratch)) {
        if (errno != 0) return fail(systemErrorText(errno));
        return fail(archivePath_ + " became shorter while it was being read.");
    }
    const std::span<const std::uint8_t> plain = blowfish::cbcDecipherAround(tables_, around, scratch);
    std::memcpy(out.data(), plain.data(), out.size());

    const std::shared_lock<std::shared_mutex> gate(writing_);
    if (writesClosed_) return !failed_.load();
    if (!writeTemporary(offset, out)) return fail(systemErrorText(errno));
    covered(offset, offset + out.size());
    return true;
}

bool GrowingZip::readAhead(std::uint64_t offset, std::span<std::uint8_t> out) {
    if (aheadBusy_) {
        aheadThread_.wait();
        aheadBusy_ = false;
    }
    if (ahead_.ok && ahead_.offset == offset && ahead_.bytes.size() == out.size()) {
        std::memcpy(out.data(), ahead_.bytes.data(), out.size());
    } else if (!decipherInto(offset, out, ahead_.scratch)) {
        return false;
    }
    ahead_.ok = false;
    const std::uint64_t next = offset + out.size();
    if (out.size() < kShortestAheadRead || next >= tailStart_ || failed_.load()) return true;
    ahead_.offset = next;
    ahead_.bytes.resize(static_cast<std::size_t>(std::min<std::uint64_t>(out.size(), tailStart_ - next)));
    aheadThread_.start(
        [](void* context) {
            auto* ahead = static_cast<Ahead*>(context);
            ahead->ok = ahead->zip->decipherInto(ahead->offset, ahead->bytes, ahead->scratch);
        },
        &ahead_);
    aheadBusy_ = true;
    return true;
}

bool GrowingZip::read(std::uint64_t offset, std::uint8_t* data, std::size_t length) {
    if (offset > size_ || length > size_ - offset || failed_.load()) return false;
    const std::uint64_t end = offset + length;
    if (end > tailStart_) {  // the part at the zip's end comes from memory
        const std::uint64_t from = std::max(offset, tailStart_);
        std::memcpy(data + (from - offset), tail_.data() + (from - tailStart_), static_cast<std::size_t>(end - from));
        length = static_cast<std::size_t>(from - offset);
    }
    if (length == 0) return true;
    const std::span<std::uint8_t> out(data, length);
    if (readers_.load() <= 1) {
        const std::unique_lock<std::mutex> lock(aheadInUse_, std::try_to_lock);
        if (lock.owns_lock()) return readAhead(offset, out);
    }
    std::vector<std::uint8_t> scratch = takeScratch();
    const bool ok = decipherInto(offset, out, scratch);
    giveScratch(std::move(scratch));
    return ok;
}

bool GrowingZip::fillAndCommit() {
    // What no read asked for (anything between members the extraction
    // passed over, or all of it when extraction stopped early).
    std::vector<std::uint8_t> piece, scratch;
    for (const auto& [from, to] : gaps())
        for (std::uint64_t at = from; at < to; at += piece.size()) {
            piece.resize(static_cast<std::size_t>(std::min<std::uint64_t>(kFillPieceBytes, to - at)));
            if (!decipherInto(at, piece, scratch)) return false;
        }
    const std::lock_guard<std::shared_mutex> gate(writing_);
    writesClosed_ = true;
    if (failed_.load()) return false;
    if (!writeTemporary(tailStart_, tail_)) return fail(systemErrorText(errno));
    if (!temporary_.commit(durable_)) return fail(temporary_.error());
    return true;
}

bool GrowingZip::waitComplete() {
    const std::lock_guard<std::mutex> lock(completing_);
    if (!completed_) {
        completed_ = true;
        completeOk_ = fillAndCommit();
        if (!completeOk_) {
            const std::lock_guard<std::shared_mutex> gate(writing_);
            writesClosed_ = true;
            temporary_.discard();
        }
        complete_ = completeOk_;
    }
    return completeOk_;
}

}  // namespace morvane
