#pragma once
// The zip component over libzip: WinZip AES-256 for packing, every scheme
// libzip reads (AES, traditional) for extracting.
#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "zip_component.h"
#include "zip_writer.h"

struct zip;

namespace morvane {

class LibzipComponent final : public ZipComponent {
public:
    explicit LibzipComponent(LogWriter log = {});
    ~LibzipComponent() override;
    LibzipComponent(const LibzipComponent&) = delete;
    LibzipComponent& operator=(const LibzipComponent&) = delete;

    void SetZipPassword(std::string_view password) override;
    void SetUnzipPassword(std::string_view password) override;
    void ZipMode(int mode) override;
    bool ZipFiles(const std::string& sourceDir, const std::string& fileSpec, const std::string& destDir,
                  const std::string& zipName, const std::string& options) override;
    bool CommitArchive() override;
    // A new archive holds each file's content once it is added; libzip reads
    // the files when it writes the archive, so that one is committed first.
    bool ReleaseSources() override { return writer_ != nullptr || CommitArchive(); }
    bool UnzipFiles(const std::string& zipPath, const std::string& fileMask, const std::string& destDir,
                    const std::string& options) override;
    int PercentDone() const override { return percentDone_.load(); }
    void StopWork() override { stopRequested_ = true; }

    // libzip's progress and cancel hooks.
    void reportProgress(double fraction);
    bool stopRequested() const { return stopRequested_.load(); }

private:
    void setPercent(int percent);
    void discardPending();
    bool extractMember(struct zip* archive, unsigned long long index, const std::string& target,
                       unsigned long long& bytesDone, unsigned long long bytesTotal);
    // Reads member `index` and hands its content to `write`, chunk by chunk.
    bool readMember(struct zip* archive, unsigned long long index,
                    const std::function<bool(const char*, std::size_t)>& write);

    LogWriter log_;
    std::string zipPassword_;
    std::string unzipPassword_;
    int zipMode_ = 0;
    std::atomic<int> percentDone_{0};
    std::atomic<bool> stopRequested_{false};

    // The archive consecutive ZipFiles calls add to, until it is committed: a
    // new archive is written by ZipWriter as files come; an existing one is
    // added to through libzip.
    std::unique_ptr<ZipWriter> writer_;
    struct zip* pending_ = nullptr;
    std::string pendingPath_;

    bool addWithLibzip(const std::string& sourcePath, const std::string& name, const std::string& archivePath,
                       const std::string& options);
};

}  // namespace morvane
