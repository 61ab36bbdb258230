#include "progress_window.h"

#include <filesystem>

#include "file_attributes.h"

namespace morvane {

void ProgressWindow::display(const std::string& file, const std::string& message) {
    model_.file = file;
    std::error_code ec;
    const auto size = std::filesystem::file_size(fileattr::toPath(file), ec);
    model_.fileSize = ec ? std::string() : std::to_string(size);
    model_.pbMax = 100;
    model_.caption = message;
    model_.loaded = true;
}

void ProgressWindow::dispEncStatus(const std::string& file, const std::string& message) {
    display(file, message);
    model_.tmrEncStatusOn = true;
    ui_.letEventsRun();
}

void ProgressWindow::dispZipStatus(const std::string& file, const std::string& message) {
    display(file, message);
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
    if (progressPercent < model_.pbMax) setBarValue(progressPercent);
}

void ProgressWindow::zipTimerTick(int percentDone) {
    if (!model_.tmrZipStatusOn) return;
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

}  // namespace morvane
