#pragma once
// The progress window frmStatus as a model: one line of status text and a
// bar that two timers move, one following the cipher's percentage, one the
// zip component's. The window (or a console bar) shows this model; its timers
// call the tick operations.
//
// Beside the step's bar it keeps the whole job's figures: which file of how
// many, one bar for the whole job, the bytes done of all, the speed and the
// time left. And it carries the Cancel button's request, which the jobs look
// at between their steps.
#include <chrono>
#include <csignal>
#include <cstdint>
#include <functional>
#include <string>

#include "user_interface.h"

namespace morvane {

struct ProgressWindowModel {
    bool loaded = false;
    std::string caption;  // the status text, e.g. "Encrypting /docs/a.doc..."
    int pbMax = 100;
    int pbValue = 0;
    bool tmrEncStatusOn = false;   // every 20 ms
    bool tmrZipStatusOn = false;   // every 80 ms
    std::string file;              // the current file's path
    std::string fileSize;          // and its size in bytes, as text
    bool cancelRequested = false;  // Cancel (or Escape, or the close box) was pressed
};

// The whole job's figures as the window and the console's line show them.
struct ProgressFigures {
    std::string fileOfAll;   // "File 2 of 5"; empty before the first file
    int overallPercent = 0;  // 0 to 100
    std::string bytes;       // "120.5 MB of 300.0 MB"
    std::string speed;       // "25.1 MB/s"; empty until a second has passed
    std::string timeLeft;    // "About 1 min 12 s left"; empty while unknown
};

// A byte count as the progress window shows it: "512 bytes", "1.5 KB",
// "120.5 MB", "2.1 GB" (units of 1024).
std::string progressBytesText(std::uint64_t bytes);

// A number of seconds as the progress window shows the time left:
// "About 45 s left", "About 3 min 5 s left", "About 2 h 10 min left".
std::string timeLeftText(std::uint64_t seconds);

inline constexpr int kEncTimerIntervalMs = 20;
inline constexpr int kZipTimerIntervalMs = 80;

class ProgressWindow {
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    explicit ProgressWindow(UserInterface& ui, Clock clock = std::chrono::steady_clock::now)
        : ui_(ui), clock_(std::move(clock)) {}

    const ProgressWindowModel& model() const { return model_; }

    // --- The whole job ------------------------------------------------------

    // The job has checked its list and starts the clock: it goes through `fileCount` files of `dataBytes` bytes in all,
    // in steps that together pass `workBytes` bytes (each step counts the bytes it reads: packing and enciphering a
    // file counts it twice).
    void planJob(std::size_t fileCount, std::uint64_t dataBytes, std::uint64_t workBytes);
    // The job comes to its `number`-th file (from 1): "File 2 of 5".
    void beginFile(std::size_t number);
    // The next step, shown by dispEncStatus or dispZipStatus, passes `bytes`
    // bytes (without this, the size of the step's file). The step before it
    // counts as done.
    void nextStepBytes(std::uint64_t bytes) {
        nextStepBytes_ = bytes;
        nextStepBytesGiven_ = true;
    }
    // The job's figures now, with the running step at `stepPercent`.
    ProgressFigures figures(int stepPercent) const;
    // The running step's percentage as the timers last saw it.
    int stepPercent() const { return stepPercent_; }

    // --- Cancel ---------------------------------------------------------------

    // Cancel, Escape, the close box, or the main window's close: the running
    // job stops at its next step.
    void requestCancel() { model_.cancelRequested = true; }
    // A command-line job also stops when `signal` (set by a signal handler)
    // is not 0.
    void followCancelSignal(const volatile std::sig_atomic_t* signal) { cancelSignal_ = signal; }
    // Whether the running job is to stop.
    bool cancelRequested() const;
    // The signal that asked for the stop; 0 when none did.
    int cancelSignal() const { return cancelSignal_ != nullptr ? static_cast<int>(*cancelSignal_) : 0; }
    // The job ended because it was asked to stop.
    void markCancelled() { jobCancelled_ = true; }
    bool jobCancelled() const { return jobCancelled_; }
    // A job begins: no cancel asked for yet (a signal stays in force), not
    // cancelled, no figures until planJob.
    void beginJob();

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
    enum class Step { None, Enc, Zip };
    void display(const std::string& file, const std::string& message, Step step);
    void setBarValue(int value);
    std::uint64_t workDone(int stepPercent) const;

    UserInterface& ui_;
    Clock clock_;
    ProgressWindowModel model_;
    const volatile std::sig_atomic_t* cancelSignal_ = nullptr;
    bool jobCancelled_ = false;
    // The whole job.
    std::size_t fileCount_ = 0;
    std::size_t fileNumber_ = 0;
    std::uint64_t dataBytes_ = 0;
    std::uint64_t workBytes_ = 0;
    std::uint64_t stepsDoneBytes_ = 0;  // work of the steps finished
    std::uint64_t stepBytes_ = 0;       // work of the running step
    std::uint64_t nextStepBytes_ = 0;
    bool nextStepBytesGiven_ = false;
    Step step_ = Step::None;
    int stepPercent_ = 0;
    std::chrono::steady_clock::time_point started_{};
};

}  // namespace morvane
