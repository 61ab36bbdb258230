#pragma once
// The zip component: new archives are written by ZipWriter (WinZip AES-256,
// deflate), archives are read by ZipReader and extracted all or nothing;
// members in forms only libzip reads (traditional zip encryption, other
// compression methods) are read through libzip.
#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "zip_component.h"
#include "zip_writer.h"

namespace morvane {

class LibzipComponent final : public ZipComponent {
public:
    LibzipComponent() = default;
    // An archive still being built is dropped: nothing half-made is left.
    ~LibzipComponent() override;
    LibzipComponent(const LibzipComponent&) = delete;
    LibzipComponent& operator=(const LibzipComponent&) = delete;

    void SetZipPassword(std::string_view password) override;
    void SetUnzipPassword(std::string_view password) override;
    void ZipMode(int mode) override;
    bool ZipFiles(const std::string& sourceDir, const std::string& fileSpec, const std::string& destDir,
                  const std::string& zipName, const std::string& options) override;
    bool CommitArchive() override;
    void DiscardArchive() override;
    const std::vector<PackedMember>& PackedMembers() const override { return packed_; }
    const std::string& LastError() const override { return lastError_; }
    bool UnzipFiles(const std::string& zipPath, const std::string& fileMask, const std::string& destDir,
                    const std::string& options) override;
    const ExtractionReport& LastExtraction() const override { return lastExtraction_; }
    bool UnzipGrowingFile(GrowingZip& zip, const std::string& fileMask, const std::string& destDir,
                          const std::string& options) override;
    int PercentDone() const override { return percentDone_.load(); }
    void StopWork() override { stopRequested_ = true; }

private:
    void setPercent(int percent);
    // Extracts the zip at `zipPath` (or the growing one) and keeps the report.
    bool extract(const std::string& zipPath, GrowingZip* growing, const std::string& fileMask,
                 const std::string& destDir, const std::string& options, std::function<void(int)> progress);

    std::string zipPassword_;
    std::string unzipPassword_;
    int zipMode_ = 0;
    std::atomic<int> percentDone_{0};
    std::atomic<bool> stopRequested_{false};

    // The archive consecutive ZipFiles calls add to, until it is committed.
    std::unique_ptr<ZipWriter> writer_;
    std::string pendingPath_;
    std::vector<PackedMember> packed_;
    std::string lastError_;
    ExtractionReport lastExtraction_;
};

}  // namespace morvane
