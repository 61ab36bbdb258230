#pragma once
// The recent-files list: the last ten successful jobs, newest first, in
// "{dir}/recent.lst" ("Encrypt {path}" or "Decrypt {path}" a line), shown in
// the File menu as "{n}. {entry}".
#include <string>
#include <string_view>
#include <vector>

#include "main_window_model.h"
#include "user_interface.h"

namespace morvane {

// The number of mnuRecent elements: the list's capacity.
inline constexpr std::size_t kRecentCapacity = 10;

class RecentFiles {
public:
    explicit RecentFiles(std::string programDirectory);

    std::string path() const;

    // Records `entry` at the top (an empty entry records nothing) and rebuilds
    // the menu from the file.
    void updateRecentList(MainWindowModel& window, std::string_view entry);

    // "Clear Recent Files List": deletes the file and empties the menu.
    void clearRecentList(MainWindowModel& window);

    // A click on mnuRecent(index): selects the entry's tab and puts its file
    // back into the list (the job is not started), or tells it is gone.
    void openRecentEntry(MainWindowModel& window, UserInterface& ui, int index);

    // The lines of the file as the list keeps them.
    std::vector<std::string> readEntries(std::string_view skip = {}) const;

private:
    std::string directory_;
};

}  // namespace morvane
