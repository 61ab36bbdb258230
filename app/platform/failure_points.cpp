#include "failure_points.h"

#include <atomic>
#include <cerrno>

namespace morvane {

namespace {

// The one piece of process-wide state of the file layer: a counter, and the
// operation to fail. Inert (never armed) outside tests.
std::atomic<std::uint64_t> passedCount{0};
std::atomic<std::uint64_t> failAt{0};
std::atomic<bool> keepFailing{false};
std::atomic<bool> hit{false};
std::atomic<FileOperation> firstFailed{FileOperation::Write};

}  // namespace

void FailurePoints::arm(std::uint64_t k, bool persistent) {
    passedCount = 0;
    hit = false;
    keepFailing = persistent;
    failAt = k;
}

std::uint64_t FailurePoints::passed() { return passedCount.load(); }

bool FailurePoints::triggered() { return hit.load(); }

FileOperation FailurePoints::failedOperation() { return firstFailed.load(); }

bool FailurePoints::fails(FileOperation operation) {
    const std::uint64_t number = ++passedCount;
    const std::uint64_t target = failAt.load();
    if (target == 0) return false;
    const bool fillsTheDisk = operation == FileOperation::Write || operation == FileOperation::Flush;
    if (number == target || (keepFailing.load() && number > target && fillsTheDisk)) {
        if (number == target) firstFailed = operation;
        hit = true;
        return true;
    }
    return false;
}

int FailurePoints::errorFor(FileOperation operation) {
    switch (operation) {
        case FileOperation::Write:
        case FileOperation::Flush:
            return ENOSPC;
        case FileOperation::Rename:
            return EIO;
        case FileOperation::Remove:
            return EACCES;
    }
    return EIO;
}

}  // namespace morvane
