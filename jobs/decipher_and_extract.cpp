#include "decipher_and_extract.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <future>
#include <optional>
#include <thread>
#include <vector>

#include "byte_order.h"
#include "file_attributes.h"
#include "progress_meter.h"
#include "zip_format.h"

namespace morvane {

namespace {

using namespace zipformat;

constexpr std::uint64_t kHeaderBytes = clsBlowfish::kHeaderBytes;  // before the zip
// The directory is kept in memory while the zip is extracted: beyond this
// the two steps run one after the other.
constexpr std::uint64_t kLargestDirectory = 16 << 20;
constexpr std::uint64_t kEndSearchBytes = 0xFFFF + kEndRecordBytes;

}  // namespace

std::optional<ZipEnd> decipherZipEnd(clsBlowfish& cipher, const std::string& archivePath, std::string_view key) {
    std::vector<std::uint8_t> head;
    if (!cipher.decipherRange(archivePath, key, 0, 16, head)) return std::nullopt;
    std::error_code error;
    const std::uint64_t total = std::filesystem::file_size(fileattr::toPath(archivePath), error);
    if (error) return std::nullopt;
    const std::uint64_t n = loadLittleEndian32(head.data() + 8);
    if (!sizeDescriptorFits(total, n) || n < kEndRecordBytes) return std::nullopt;

    // The end record without a comment closes a zip this program made; a zip
    // with a comment or zip64 records is simply read after deciphering.
    std::vector<std::uint8_t> end;
    if (!cipher.decipherRange(archivePath, {}, kHeaderBytes + n - kEndRecordBytes, kEndRecordBytes, end) ||
        u32(end.data()) != kEndRecord || u16(end.data() + 20) != 0)
        return std::nullopt;
    const std::uint64_t directorySize = u32(end.data() + 12), directoryOffset = u32(end.data() + 16);
    if (directoryOffset == 0xFFFFFFFF || directorySize > kLargestDirectory ||
        directoryOffset + directorySize + kEndRecordBytes != n)
        return std::nullopt;
    // The reader looks for the end record in the zip's last 64 KiB (the
    // longest comment) and then reads the directory: both come from memory.
    ZipEnd zipEnd;
    zipEnd.size = n;
    zipEnd.tailStart = std::min(directoryOffset, n - std::min<std::uint64_t>(n, kEndSearchBytes));
    if (!cipher.decipherRange(archivePath, {}, kHeaderBytes + zipEnd.tailStart,
                              static_cast<std::size_t>(n - zipEnd.tailStart), zipEnd.tail))
        return std::nullopt;
    return zipEnd;
}

OpenedArchive decipherAndExtract(clsBlowfish& cipher, ZipComponent& zip, const std::string& archivePath,
                                 const std::string& tempZip, std::string_view key, const std::string& destDir,
                                 const std::string& options, const std::function<void()>& deciphered) {
    OpenedArchive opened;
    std::optional<ZipEnd> end = decipherZipEnd(cipher, archivePath, key);
    if (!end) {
        opened.deciphered = cipher.DecryptFile(archivePath, tempZip, key);
        if (!opened.deciphered) return opened;
        if (deciphered) deciphered();
        opened.extracted = zip.UnzipFiles(tempZip, "*.*", destDir, options);
        return opened;
    }

    const std::uint64_t archiveBytes = (kHeaderBytes + end->size + 7) / 8 * 8;
    GrowingZip growing(cipher.tables(), archivePath, std::move(*end), tempZip, cipher.flushOutput);
    if (!growing.open()) {
        cipher.LastError = growing.error();
        return opened;
    }
    const ProgressHandler silent;
    blowfish::ProgressMeter meter(archiveBytes, cipher.Progress ? cipher.Progress : silent);
    meter.blocksDone(0);
    if (cipher.stopRequested()) growing.stop();
    bool announced = false;
    // Reports the deciphering's progress until the zip is complete, then the
    // extraction's.
    const auto report = [&] {
        if (cipher.stopRequested()) growing.stop();
        if (!announced) {
            meter.blocksDone(kHeaderBytes + growing.decipheredBytes() - 8);
            if (!growing.isComplete()) return;
            announced = true;
            meter.finish();
            if (deciphered) deciphered();
        }
        if (zip.Progress) zip.Progress(zip.PercentDone());
    };
    std::future<bool> extraction =
        std::async(std::launch::async, [&] { return zip.UnzipGrowingFile(growing, "*.*", destDir, options); });
    while (extraction.wait_for(std::chrono::milliseconds(20)) != std::future_status::ready) report();
    const bool extracted = extraction.get();
    // Extraction completes the zip before its files take their names; when
    // it failed first, the rest is deciphered now, as deciphering alone
    // would have, still reported and still stopped from this thread.
    std::future<bool> completion = std::async(std::launch::async, [&] { return growing.waitComplete(); });
    while (completion.wait_for(std::chrono::milliseconds(20)) != std::future_status::ready) report();
    opened.deciphered = completion.get();
    if (!opened.deciphered) {
        cipher.LastError = growing.error();
        return opened;
    }
    report();
    opened.extracted = extracted;
    return opened;
}

}  // namespace morvane
