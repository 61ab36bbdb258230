#pragma once
// The progress window frmStatus as a model: one line of status text and a
// bar that two timers move, one following the cipher's percentage, one the
// zip component's. The window (or a console bar) shows this model; its timers
// call the tick operations.
#include <cstdint>
#include <string>

#include "user_interface.h"

namespace morvane {

struct ProgressWindowModel {
    bool loaded = false;
    std::string caption;  // the status text, e.g. "Encrypting /docs/a.doc..."
    int pbMax = 100;
    int pbValue = 0;
    bool tmrEncStatusOn = false;  // every 20 ms
    bool tmrZipStatusOn = false;  // every 80 ms
    std::string file;             // the current file's path
    std::string fileSize;         // and its size in bytes, as text
};

inline constexpr int kEncTimerIntervalMs = 20;
inline constexpr int kZipTimerIntervalMs = 80;

class ProgressWindow {
public:
    explicit ProgressWindow(UserInterface& ui) : ui_(ui) {}

    const ProgressWindowModel& model() const { return model_; }

    // Before enciphering or deciphering: "Encrypting {path}...", "Decrypting {path}...".
    void dispEncStatus(const std::string& file, const std::string& message);
    // Before packing or extracting: "Zipping {path}...", "Unzipping {path}...".
    void dispZipStatus(const std::string& file, const std::string& message);

    // tmrEncStatus: copies the cipher's percentage while it is below the maximum.
    void encTimerTick(std::int32_t progressPercent);
    // tmrZipStatus: jumps ahead of the zip component's percentage by 25 while
    // it is below 99 (a value past the maximum is ignored by the bar).
    void zipTimerTick(int percentDone);

    // Bar to its maximum, repaint, 100 ms, back to 0.
    void finishBar();

    // Timers off, bar finished, window unloaded.
    void closeWindow();

private:
    void display(const std::string& file, const std::string& message);
    void setBarValue(int value);

    UserInterface& ui_;
    ProgressWindowModel model_;
};

}  // namespace morvane
