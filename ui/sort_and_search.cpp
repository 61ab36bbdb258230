#include "sort_and_search.h"

#include <utility>

namespace morvane {

void sortArray(std::vector<std::string>& values, int low, int high) {
    if (high <= low) return;
    const std::string pivot = values[static_cast<std::size_t>((low + high) / 2)];
    int i = low, j = high;
    auto at = [&values](int k) -> std::string& { return values[static_cast<std::size_t>(k)]; };
    while (i <= j) {
        while (at(i) < pivot && i < high) ++i;
        while (pivot < at(j) && j > low) --j;
        if (i <= j) {
            std::swap(at(i), at(j));
            ++i;
            --j;
        }
    }
    if (low < j) sortArray(values, low, j);
    if (i < high) sortArray(values, i, high);
}

int searchArray(const std::vector<std::string>& values, const std::string& key, int high) {
    int low = 0;
    while (low <= high) {
        // (low + high) / 2, halves rounded to the even neighbour.
        const int sum = low + high;
        int mid = sum / 2;
        if (sum % 2 != 0 && mid % 2 != 0) ++mid;
        const std::string& value = values[static_cast<std::size_t>(mid)];
        if (value == key) return mid;
        if (key < value) {
            high = mid - 1;
        } else {
            low = mid + 1;
        }
    }
    return -1;
}

}  // namespace morvane
