#pragma once
// The sort and search routines the file list uses to find duplicates: a
// quicksort and a binary search over texts, compared byte by byte.
#include <string>
#include <vector>

namespace morvane {

// Sorts values[low..high] ascending in place; nothing unless high > low.
void sortArray(std::vector<std::string>& values, int low, int high);

// The index of `key` in the ascending values[0..high], or -1.
int searchArray(const std::vector<std::string>& values, const std::string& key, int high);

}  // namespace morvane
