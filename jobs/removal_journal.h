#pragma once
// The record of the sources a combined job removes once their archive is in
// place and read back. It is written (and flushed) beside the archive before
// the first source goes and deleted after the last. A job killed between two
// deletions leaves it behind, and the next job to the same archive finishes
// the removal before it does anything else: otherwise it would find some of
// the sources gone and replace the archive that holds their only copy with
// one made of the rest. A source changed since it was recorded is kept.
#include <string>
#include <string_view>
#include <vector>

namespace morvane {

// "~enc~{aname}.del" beside the archive (cut short like the other
// temporary names where it would be too long).
std::string removalJournalPath(std::string_view archivePath);

// Records `sources` (each with its size and time of last change). False,
// with the system's reason, when the record cannot be written whole.
bool beginRemoval(const std::string& journal, const std::vector<std::string>& sources, std::string& error);

// Deletes the record once every source is gone.
void endRemoval(const std::string& journal);

// Finishes a removal an earlier job began and did not end: deletes each
// recorded source that is unchanged, then the record. The sources deleted.
std::vector<std::string> finishRemoval(const std::string& journal);

}  // namespace morvane
