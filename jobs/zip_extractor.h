#pragma once
// Extraction of a zip archive into a folder, all or nothing. Every member is
// first written under a temporary name in its folder, owner-only, and
// checked (authentication code, CRC, size); only when all are complete do
// they take their names, with their permission bits and times. A damaged
// archive, a wrong password, a full disk or a kill before that point changes
// nothing that existed and leaves nothing behind (a killed run's temporary
// files are removed by the next extraction into the folder).
//
// Nothing is ever written outside the destination: members whose names lead
// outside it, links, and paths through a link already in the destination are
// not written; members that would not fit on the destination's free space are
// refused before anything is written.
#include <atomic>
#include <functional>
#include <string>

#include "zip_component.h"

namespace morvane {

class GrowingZip;

struct ExtractionRequest {
    std::string zipPath;
    std::string fileMask = "*.*";
    std::string destination;  // "" for the current folder
    bool keepExisting = false;
    std::string password;  // the zip password, code-page bytes
    std::function<void(int percent)> progress;
    const std::atomic<bool>* stopRequested = nullptr;
    // The zip of an archive being opened (at zipPath once complete), deciphered as it is read.
    GrowingZip* growing = nullptr;
};

ExtractionReport extractArchive(const ExtractionRequest& request);

}  // namespace morvane
