#pragma once
// The points where a test makes a file operation fail. Every write, flush,
// rename and delete of the program's files passes one of these points (see
// safe_file.h); in a normal run they only count. A test arms them to make
// the k-th operation from now on fail, once or from then on, and then checks
// that the job that met the failure lost nothing.
#include <cstdint>

namespace morvane {

enum class FileOperation { Write, Flush, Rename, Remove };

class FailurePoints {
public:
    // From now on the k-th operation (1 for the next one) fails; with
    // `persistent`, every write and flush after it fails too, as on a disk
    // that stays full (renames and deletes still work there). k = 0 disarms.
    static void arm(std::uint64_t k, bool persistent = false);
    static void disarm() { arm(0); }

    // Operations passed since the last arm or reset.
    static std::uint64_t passed();

    // Whether an armed failure has been met since the last arm.
    static bool triggered();

    // The kind of operation the armed failure met first.
    static FileOperation failedOperation();

    // Starts counting from zero, disarmed.
    static void reset() { arm(0); }

    // Called at each point: true when this operation is to fail. The
    // operation then fails with `errorFor(operation)` in errno.
    static bool fails(FileOperation operation);

    // The error an injected failure reports: no space for writes and
    // flushes, an input/output error for renames, no permission for deletes.
    static int errorFor(FileOperation operation);
};

}  // namespace morvane
