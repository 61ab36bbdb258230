#pragma once
// A second thread that takes one job at a time: the caller hands a job over,
// does its own share of the work, then waits for the job to finish. The
// thread starts with the first job and lives as long as this object. A job
// is a plain function and its context, so handing one over allocates nothing.
#include <condition_variable>
#include <mutex>
#include <thread>

namespace morvane {

class HelperThread {
public:
    using Job = void (*)(void* context);

    HelperThread() = default;
    ~HelperThread();
    HelperThread(const HelperThread&) = delete;
    HelperThread& operator=(const HelperThread&) = delete;

    // Starts job(context) on the helper thread and returns at once.
    void start(Job job, void* context);

    // Returns when the job last started has finished.
    void wait();

private:
    void loop();

    std::thread thread_;
    std::mutex mutex_;
    std::condition_variable wake_, finished_;
    Job job_ = nullptr;
    void* context_ = nullptr;
    bool hasJob_ = false;
    bool stopping_ = false;
};

}  // namespace morvane
