#include "archive_check.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <iterator>
#include <memory>
#include <optional>

#include "decipher_and_extract.h"
#include "growing_zip.h"
#include "winzip_aes_reader.h"
#include "zip_format.h"
#include "zip_reader.h"

namespace morvane {

namespace {

using namespace zipformat;

constexpr std::uint16_t kMadeBy = (kMadeOnUnix << 8) | 63;  // on Unix, by a 6.3 writer
// The pieces the halves are walked in: small enough to stay in the cache
// while they are authenticated and inflated.
constexpr std::size_t kCheckPieceBytes = 256 << 10;

// The zip inside the archive, walked as its bytes come, in order: each local
// header, name and fields, the member's data through the WinZip AES reader,
// then the central directory and the end records.
class ZipStreamCheck {
public:
    ZipStreamCheck(std::string_view password, const std::vector<PackedMember>& packed)
        : password_(password), packed_(packed), end_(packed.size()) {}

    // A walk of members `first` to `end` (not included) only, whose first
    // header is `offset` bytes into the zip.
    ZipStreamCheck(std::string_view password, const std::vector<PackedMember>& packed, std::size_t first,
                   std::uint64_t offset, std::size_t end)
        : password_(password), packed_(packed), next_(first), end_(end), total_(offset) {}

    // Whether the walk stands right after the last of its members, `offset`
    // bytes into the zip, with nothing wrong.
    bool endsAt(std::uint64_t offset) const {
        return problem_.empty() && state_ == State::Header && next_ == end_ && held_.empty() && total_ == offset;
    }

    // Goes on as the walk of the members after this one's: the bytes fed to
    // it are the ones that followed.
    void continueWith(ZipStreamCheck&& later) {
        seen_.insert(seen_.end(), std::make_move_iterator(later.seen_.begin()),
                     std::make_move_iterator(later.seen_.end()));
        state_ = later.state_;
        next_ = later.next_;
        end_ = later.end_;
        total_ = later.total_;
        directory_ = std::move(later.directory_);
        directoryOffset_ = later.directoryOffset_;
        problem_ = later.problem_;
    }

    // False as soon as something does not check out (problem() says what).
    bool feed(std::span<const std::uint8_t> bytes) {
        total_ += bytes.size();
        while (!bytes.empty() && problem_.empty()) {
            switch (state_) {
                case State::Header:
                    if (next_ == end_ && end_ != packed_.size())
                        return fail("the archive holds more than " + packed_[next_ - 1].name + " before " +
                                    packed_[next_].name);
                    if (next_ == packed_.size()) {
                        directoryOffset_ = total_ - bytes.size();
                        state_ = State::Directory;
                        break;
                    }
                    if (!gather(bytes, kLocalHeaderBytes)) return true;
                    pending_ = bytes.size() + kLocalHeaderBytes;
                    startMember();
                    break;
                case State::NameAndFields:
                    if (!gather(bytes, nameAndFields_)) return true;
                    startData();
                    break;
                case State::Data: {
                    const std::size_t take = static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), dataLeft_));
                    const auto status = reader_->feed(bytes.first(take), [this](std::span<const std::uint8_t> plain) {
                        count_ += plain.size();
                        return count_ <= packed_[next_].size;
                    });
                    bytes = bytes.subspan(take);
                    dataLeft_ -= take;
                    if (status != WinZipAesReader::Status::Ok) return fail("the content of " + name() + " is damaged");
                    if (dataLeft_ == 0) endMember();
                    break;
                }
                case State::Directory:
                    directory_.insert(directory_.end(), bytes.begin(), bytes.end());
                    bytes = {};
                    break;
            }
        }
        return problem_.empty();
    }

    // After the last byte: the directory and the end records.
    bool finish() {
        if (!problem_.empty()) return false;
        if (state_ != State::Directory && !(state_ == State::Header && next_ == packed_.size()))
            return fail("the archive ends within " + (next_ < packed_.size() ? name() : std::string("its members")));
        // Each directory entry says of its member what the member's own
        // header says, and what was packed.
        std::size_t at = 0;
        for (std::size_t i = 0; i < packed_.size(); ++i) {
            const PackedMember& member = packed_[i];
            const Seen& seen = seen_[i];
            if (at + kCentralHeaderBytes > directory_.size() || u32(&directory_[at]) != kCentralHeader)
                return fail("its directory is damaged");
            const std::uint8_t* h = &directory_[at];
            const std::size_t nameLength = u16(h + 28), extraLength = u16(h + 30), commentLength = u16(h + 32);
            if (at + kCentralHeaderBytes + nameLength + extraLength + commentLength > directory_.size())
                return fail("its directory is damaged");
            const std::string_view name(reinterpret_cast<const char*>(h + kCentralHeaderBytes), nameLength);
            const std::span<const std::uint8_t> extra(h + kCentralHeaderBytes + nameLength, extraLength);
            // Beyond 4 GiB the offset is in a zip64 field, before the AES field.
            const bool farOffset = seen.offset >= 0xFFFFFFFFULL;
            const std::size_t zip64Bytes = farOffset ? 12 : 0;
            const bool same = name == member.name && u16(h + 4) == kMadeBy &&
                              u16(h + 6) == (farOffset ? std::max<std::uint16_t>(u16(seen.header.data()), 45)
                                                       : u16(seen.header.data())) &&
                              std::equal(h + 8, h + 16, seen.header.begin() + 2) && u32(h + 16) == member.crc &&
                              std::equal(h + 20, h + 28, seen.header.begin() + 14) && commentLength == 0 &&
                              u16(h + 34) == 0 && u16(h + 36) == 0 && u32(h + 38) == member.externalAttributes &&
                              u32(h + 42) == (farOffset ? 0xFFFFFFFFU : static_cast<std::uint32_t>(seen.offset)) &&
                              extraLength == zip64Bytes + seen.extra.size() &&
                              (!farOffset || (u16(extra.data()) == 1 && u64(extra.data() + 4) == seen.offset)) &&
                              std::equal(seen.extra.begin(), seen.extra.end(),
                                         extra.begin() + static_cast<std::ptrdiff_t>(zip64Bytes));
            if (!same) return fail("its directory does not list " + member.name + " as it was packed");
            at += kCentralHeaderBytes + nameLength + extraLength + commentLength;
        }
        if (state_ == State::Header) directoryOffset_ = total_;  // no byte after the members
        const std::uint64_t directorySize = at;
        if (at + 4 <= directory_.size() && u32(&directory_[at]) == kZip64EndRecord) {
            // zip64 end record (56 bytes) and its locator (20 bytes)
            if (at + 76 > directory_.size() || u64(&directory_[at + 24]) != packed_.size() ||
                u64(&directory_[at + 40]) != directorySize || u64(&directory_[at + 48]) != directoryOffset_)
                return fail("its zip64 end record is damaged");
            at += 76;
        }
        if (at + kEndRecordBytes != directory_.size() || u32(&directory_[at]) != kEndRecord)
            return fail("its directory lists other members than were packed, or its end record is damaged");
        const std::uint8_t* end = &directory_[at];
        const bool counted = u16(end + 10) == std::min<std::uint64_t>(packed_.size(), 0xFFFF);
        const bool sized = u32(end + 12) == std::min<std::uint64_t>(directorySize, 0xFFFFFFFF);
        const bool placed = u32(end + 16) == std::min<std::uint64_t>(directoryOffset_, 0xFFFFFFFF);
        if (!counted || !sized || !placed || u16(end + 20) != 0) return fail("its end record is damaged");
        return true;
    }

    const std::string& problem() const { return problem_; }

private:
    enum class State { Header, NameAndFields, Data, Directory };

    bool fail(std::string why) {
        if (problem_.empty()) problem_ = std::move(why);
        return false;
    }
    std::string name() const { return packed_[next_].name; }

    // Collects `wanted` bytes into held_; true once they are all there.
    bool gather(std::span<const std::uint8_t>& bytes, std::size_t wanted) {
        const std::size_t take = std::min(bytes.size(), wanted - held_.size());
        held_.insert(held_.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(take));
        bytes = bytes.subspan(take);
        return held_.size() == wanted;
    }

    void startMember() {
        const std::uint8_t* h = held_.data();
        if (u32(h) != kLocalHeader) {
            fail("the header of " + name() + " is missing");
            return;
        }
        Seen seen;
        seen.offset = total_ - pending_;
        seen.header.assign(h + 4, h + 26);  // version needed to the sizes: the directory repeats them
        seen_.push_back(std::move(seen));
        method_ = u16(h + 8);
        headerCrc_ = u32(h + 14);
        dataLeft_ = u32(h + 18);
        headerSize_ = u32(h + 22);
        nameLength_ = u16(h + 26);
        nameAndFields_ = nameLength_ + u16(h + 28);
        held_.clear();
        state_ = State::NameAndFields;
        if (nameAndFields_ == 0) fail("the header of " + name() + " is damaged");
    }

    void startData() {
        const std::string_view stored(reinterpret_cast<const char*>(held_.data()), nameLength_);
        if (stored != packed_[next_].name) {
            fail("it holds " + std::string(stored) + " where " + name() + " was packed");
            return;
        }
        seen_.back().extra.assign(held_.begin() + static_cast<std::ptrdiff_t>(nameLength_), held_.end());
        int strength = 0;
        std::uint16_t realMethod = 0;
        for (std::size_t at = nameLength_; at + 4 <= held_.size();) {
            const std::uint16_t id = u16(&held_[at]), length = u16(&held_[at + 2]);
            if (id == 0x9901 && length >= 7 && at + 11 <= held_.size()) {
                strength = held_[at + 8];
                realMethod = u16(&held_[at + 9]);
            }
            at += 4 + static_cast<std::size_t>(length);
        }
        held_.clear();
        if (method_ != kWinZipAes || strength < 1 || strength > 3) {
            fail(name() + " is not encrypted as it was packed");
            return;
        }
        if (headerCrc_ != packed_[next_].crc || headerSize_ != packed_[next_].size) {
            fail("the header of " + name() + " does not match the file that was packed");
            return;
        }
        reader_ =
            std::make_unique<WinZipAesReader>(strength, password_, dataLeft_, realMethod == kDeflated, headerCrc_);
        count_ = 0;
        state_ = State::Data;
        if (dataLeft_ == 0) endMember();
    }

    void endMember() {
        if (reader_->finish() != WinZipAesReader::Status::Ok) {
            fail("the authentication code of " + name() + " does not match its content");
            return;
        }
        if (count_ != packed_[next_].size || reader_->crc() != packed_[next_].crc) {
            fail(name() + " does not hold the bytes that were packed");
            return;
        }
        reader_.reset();
        ++next_;
        state_ = State::Header;
    }

    std::string_view password_;
    const std::vector<PackedMember>& packed_;
    State state_ = State::Header;
    std::size_t next_ = 0;
    std::size_t end_ = 0;  // the member after the last one this walk checks
    std::vector<std::uint8_t> held_;
    std::uint16_t method_ = 0;
    std::uint32_t headerCrc_ = 0;
    std::uint64_t headerSize_ = 0;
    std::size_t nameLength_ = 0;
    std::size_t nameAndFields_ = 0;
    std::uint64_t dataLeft_ = 0;
    std::unique_ptr<WinZipAesReader> reader_;
    std::uint64_t count_ = 0;
    std::vector<std::uint8_t> directory_;
    // What each member's own header said: where it starts, its fields from
    // the version needed to the sizes, its extra fields.
    struct Seen {
        std::uint64_t offset = 0;
        std::vector<std::uint8_t> header;
        std::vector<std::uint8_t> extra;
    };
    std::vector<Seen> seen_;
    std::size_t pending_ = 0;            // bytes of the chunk from the header being read on
    std::uint64_t total_ = 0;            // bytes of the zip before the next byte fed
    std::uint64_t directoryOffset_ = 0;  // bytes before the directory
    std::string problem_;
};

}  // namespace

std::optional<std::string> checkWrittenArchiveInTwoHalves(clsBlowfish& cipher, const std::string& path,
                                                          std::string_view key, std::string_view zipPassword,
                                                          const std::vector<PackedMember>& packed,
                                                          const std::function<void()>& tick) {
    if (packed.size() < 2) return std::nullopt;
    std::optional<ZipEnd> end = decipherZipEnd(cipher, path, key);
    if (!end) return std::nullopt;
    GrowingZip zip(cipher.tables(), path, std::move(*end), {}, false);
    std::string error;
    std::unique_ptr<ZipReader> reader = zip.open() ? ZipReader::open(zip, error) : nullptr;
    if (!reader || reader->entries().size() != packed.size()) return std::nullopt;
    // The halves meet at the member whose header is nearest the middle.
    const std::vector<ZipEntry>& entries = reader->entries();
    const auto distanceFromMiddle = [&](std::size_t k) {
        const std::uint64_t at = entries[k].localHeaderOffset, middle = zip.size() / 2;
        return at > middle ? at - middle : middle - at;
    };
    std::size_t split = 1;
    for (std::size_t i = 1; i < entries.size(); ++i) {
        if (entries[i].localHeaderOffset <= entries[i - 1].localHeaderOffset) return std::nullopt;
        if (distanceFromMiddle(i) < distanceFromMiddle(split)) split = i;
    }
    const std::uint64_t middle = entries[split].localHeaderOffset;
    if (entries[0].localHeaderOffset != 0 || middle >= zip.size()) return std::nullopt;

    ZipStreamCheck first(zipPassword, packed, 0, 0, split);
    ZipStreamCheck second(zipPassword, packed, split, middle, packed.size());
    std::atomic<bool> firstFailed{false};
    // The window is served, and a stop passed on, from the calling thread.
    const auto serve = [&] {
        if (tick) tick();
        if (cipher.stopRequested()) zip.stop();
    };
    // Walks bytes [from, to) of the zip through `check`, piece by piece.
    const auto walk = [&](ZipStreamCheck& check, std::uint64_t from, std::uint64_t to, bool onCallingThread) {
        const GrowingZip::ReadingThread reading(zip);
        std::vector<std::uint8_t> piece(kCheckPieceBytes);
        for (std::uint64_t at = from; at < to; at += piece.size()) {
            if (!onCallingThread && firstFailed.load()) return false;
            piece.resize(static_cast<std::size_t>(std::min<std::uint64_t>(kCheckPieceBytes, to - at)));
            if (!zip.read(at, piece.data(), piece.size()) || !check.feed(piece)) return false;
            if (onCallingThread) serve();
        }
        return true;
    };
    std::future<bool> later = std::async(std::launch::async, [&] { return walk(second, middle, zip.size(), false); });
    const bool firstOk = walk(first, 0, middle, true) && first.endsAt(middle);
    firstFailed = !firstOk;
    while (later.wait_for(std::chrono::milliseconds(20)) != std::future_status::ready) serve();
    if (!later.get() || !firstOk) return std::nullopt;
    first.continueWith(std::move(second));
    if (!first.finish()) return std::nullopt;
    return std::string();
}

std::string checkWrittenArchive(clsBlowfish& cipher, const std::string& path, std::string_view key,
                                std::string_view zipPassword, const std::vector<PackedMember>& packed,
                                const std::function<void()>& tick) {
    if (packed.empty()) return "nothing was packed into it";
    if (const std::optional<std::string> verdict =
            checkWrittenArchiveInTwoHalves(cipher, path, key, zipPassword, packed, tick))
        return *verdict;
    ZipStreamCheck check(zipPassword, packed);
    const bool read = cipher.decipherFileInto(
        path, key, [&](std::span<const std::uint8_t> plain) { return check.feed(plain); }, tick);
    if (!check.problem().empty()) return check.problem();
    if (!read) return cipher.LastError.empty() ? std::string("it cannot be read back") : cipher.LastError;
    if (!check.finish()) return check.problem();
    return {};
}

}  // namespace morvane
