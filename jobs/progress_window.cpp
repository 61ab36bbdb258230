#include "progress_window.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "file_attributes.h"

namespace morvane {

std::string progressBytesText(std::uint64_t bytes) {
    if (bytes < 1024) return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
    static constexpr const char* kUnits[] = {"KB", "MB", "GB", "TB"};
    double value = static_cast<double>(bytes) / 1024.0;
    std::size_t unit = 0;
    while (value >= 1024.0 && unit + 1 < std::size(kUnits)) {
        value /= 1024.0;
        ++unit;
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.1f %s", value, kUnits[unit]);
    return text;
}

std::string timeLeftText(std::uint64_t seconds) {
    std::string text;
    if (seconds < 60) {
        text = std::to_string(seconds) + " s";
    } else if (seconds < 3600) {
        text = std::to_string(seconds / 60) + " min " + std::to_string(seconds % 60) + " s";
    } else {
        text = std::to_string(seconds / 3600) + " h " + std::to_string(seconds % 3600 / 60) + " min";
    }
    return "About " + text + " left";
}

void ProgressWindow::display(const std::string& file, const std::string& message, Step step) {
    model_.file = file;
    std::error_code ec;
    const auto size = std::filesystem::file_size(fileattr::toPath(file), ec);
    model_.fileSize = ec ? std::string() : std::to_string(size);
    model_.pbMax = 100;
    model_.caption = message;
    model_.loaded = true;
    // The step before this one is done; this one starts at 0.
    stepsDoneBytes_ += stepBytes_;
    stepBytes_ = nextStepBytesGiven_ ? nextStepBytes_ : (ec ? 0 : size);
    nextStepBytesGiven_ = false;
    step_ = step;
    stepPercent_ = 0;
}

void ProgressWindow::dispEncStatus(const std::string& file, const std::string& message) {
    display(file, message, Step::Enc);
    model_.tmrEncStatusOn = true;
    ui_.letEventsRun();
}

void ProgressWindow::dispZipStatus(const std::string& file, const std::string& message) {
    display(file, message, Step::Zip);
    model_.tmrZipStatusOn = true;
    ui_.letEventsRun();
}

void ProgressWindow::setBarValue(int value) {
    // A value outside the bar's range is ignored, as the bar refuses it.
    if (value < 0 || value > model_.pbMax) return;
    model_.pbValue = value;
}

void ProgressWindow::encTimerTick(std::int32_t progressPercent) {
    if (!model_.tmrEncStatusOn) return;
    if (step_ == Step::Enc) stepPercent_ = std::clamp<int>(progressPercent, 0, 100);
    if (progressPercent < model_.pbMax) setBarValue(progressPercent);
}

void ProgressWindow::zipTimerTick(int percentDone) {
    if (!model_.tmrZipStatusOn) return;
    if (step_ == Step::Zip) stepPercent_ = std::clamp(percentDone, 0, 100);
    if (model_.pbValue < model_.pbMax && percentDone < 99) setBarValue(percentDone + 25);
}

void ProgressWindow::finishBar() {
    model_.pbValue = model_.pbMax;
    ui_.letEventsRun();
    ui_.pause(100);
    model_.pbValue = 0;
}

void ProgressWindow::closeWindow() {
    model_.tmrEncStatusOn = false;
    model_.tmrZipStatusOn = false;
    finishBar();
    model_.loaded = false;
}

void ProgressWindow::beginJob() {
    model_.cancelRequested = false;
    jobCancelled_ = false;
    planJob(0, 0, 0);
}

void ProgressWindow::planJob(std::size_t fileCount, std::uint64_t dataBytes, std::uint64_t workBytes) {
    fileCount_ = fileCount;
    fileNumber_ = 0;
    dataBytes_ = dataBytes;
    workBytes_ = workBytes;
    stepsDoneBytes_ = 0;
    stepBytes_ = 0;
    nextStepBytesGiven_ = false;
    step_ = Step::None;
    stepPercent_ = 0;
    started_ = clock_();
}

void ProgressWindow::beginFile(std::size_t number) { fileNumber_ = number; }

bool ProgressWindow::cancelRequested() const {
    return model_.cancelRequested || (cancelSignal_ != nullptr && *cancelSignal_ != 0);
}

std::uint64_t ProgressWindow::workDone(int stepPercent) const {
    const std::uint64_t running = stepBytes_ / 100 * static_cast<std::uint64_t>(std::clamp(stepPercent, 0, 100)) +
                                  stepBytes_ % 100 * static_cast<std::uint64_t>(std::clamp(stepPercent, 0, 100)) / 100;
    return std::min(workBytes_, stepsDoneBytes_ + running);
}

ProgressFigures ProgressWindow::figures(int stepPercent) const {
    ProgressFigures f;
    if (fileCount_ > 0 && fileNumber_ > 0)
        f.fileOfAll = "File " + std::to_string(std::min(fileNumber_, fileCount_)) + " of " + std::to_string(fileCount_);
    if (workBytes_ == 0) return f;
    const double share = static_cast<double>(workDone(stepPercent)) / static_cast<double>(workBytes_);
    f.overallPercent = static_cast<int>(share * 100.0);
    const auto bytesDone = static_cast<std::uint64_t>(share * static_cast<double>(dataBytes_));
    f.bytes = progressBytesText(bytesDone) + " of " + progressBytesText(dataBytes_);
    const double seconds = std::chrono::duration<double>(clock_() - started_).count();
    if (seconds < 1.0 || bytesDone == 0) return f;
    const double perSecond = static_cast<double>(bytesDone) / seconds;
    f.speed = progressBytesText(static_cast<std::uint64_t>(perSecond)) + "/s";
    const double left = static_cast<double>(dataBytes_ - bytesDone) / perSecond;
    f.timeLeft = timeLeftText(static_cast<std::uint64_t>(left + 0.5));
    return f;
}

}  // namespace morvane
