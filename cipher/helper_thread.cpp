#include "helper_thread.h"

namespace morvane {

HelperThread::~HelperThread() {
    if (!thread_.joinable()) return;
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_one();
    thread_.join();
}

void HelperThread::start(Job job, void* context) {
    if (!thread_.joinable()) thread_ = std::thread([this] { loop(); });
    {
        std::lock_guard lock(mutex_);
        job_ = job;
        context_ = context;
        hasJob_ = true;
    }
    wake_.notify_one();
}

void HelperThread::wait() {
    std::unique_lock lock(mutex_);
    finished_.wait(lock, [this] { return !hasJob_; });
}

void HelperThread::loop() {
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return hasJob_ || stopping_; });
        if (stopping_) return;
        const Job job = job_;
        void* const context = context_;
        lock.unlock();
        job(context);
        lock.lock();
        hasJob_ = false;
        finished_.notify_one();
    }
}

}  // namespace morvane
