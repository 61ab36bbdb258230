#pragma once
// Two jobs never write the same names at once. A job takes an exclusive lock
// on each name it writes (its archive, its temporary zips) and holds it for
// the rest of its run; a second job that wants a name already taken waits a
// little for it and then gives up, so that it cannot corrupt the first.
//
// The locks are files in a folder of the user's own ("/tmp/morvane-{user}-
// locks", the same for every job of the user whatever its environment), one
// per name (the name's full path with its folder resolved, fingerprinted).
// The system lets a lock go when its process ends, however it ends.
#include <chrono>
#include <string>
#include <vector>

namespace morvane {

class JobLocks {
public:
    JobLocks() = default;
    ~JobLocks() { releaseAll(); }
    JobLocks(const JobLocks&) = delete;
    JobLocks& operator=(const JobLocks&) = delete;

    enum class Outcome {
        Free,               // the lock is this job's; nobody held it
        FreedWhileWaiting,  // the lock is this job's, after another job let it go
        Busy,               // another job held it all the time waited
    };

    // Takes the lock on `path`, waiting up to `wait` for another job to let
    // it go. Free also when this job held it already. Where no lock can be
    // made at all (no lock folder), the job goes on without one.
    Outcome lock(const std::string& path, std::chrono::milliseconds wait);

    void releaseAll();

    // The folder the locks live in.
    static std::string lockFolder();

private:
    struct Held {
        std::string key;
        int descriptor;
    };
    std::vector<Held> held_;
};

}  // namespace morvane
