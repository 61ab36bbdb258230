#pragma once
// The state of the main window frmMain as plain data: what the jobs and the
// list, recent-files and message routines read and write. The window itself
// is a thin view that shows this model and feeds it the person's input.
// Texts are UTF-8.
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace morvane {

// The tabs of SSTab1.
inline constexpr int kEncryptTab = 0;
inline constexpr int kDecryptTab = 1;
inline constexpr int kMessageTab = 2;

// Captions of the list frame, by what it shows. The list caption's spelling
// is the one people know from the window.
inline constexpr const char* kListFrameCaption = "Selected Files (right mouse click for addtional options)";
inline constexpr const char* kMessageFrameCaption = "Text To Be Encrypted or Decrypted (maximum 50,000 characters)";

// The popup's remove item as designed, before a row's text is put in it.
inline constexpr const char* kPopupRemoveCaption = "Remove Selected Item From List";

// The longest password the fields take (56 characters of 8 bits: 448 bits).
inline constexpr std::size_t kMaxPasswordLength = 56;
// The longest message the message box takes.
inline constexpr std::size_t kMaxMessageLength = 50000;

// One row of lstFiles: "Location & Name", "File Size", "File Type".
struct ListRow {
    std::string text;
    std::string size;
    std::string type;
    bool operator==(const ListRow&) const = default;
};

struct MenuItemState {
    std::string caption;
    bool visible = false;
    bool enabled = true;
    bool checked = false;
};

struct MainWindowModel {
    // --- Tabs and fields shown on every tab ---------------------------------
    int currentTab = kEncryptTab;  // SSTab1
    std::string txtPassword;
    std::string txtVerifyPass;
    bool chkStoredPass = false;

    // --- The shared list frame ------------------------------------------------
    std::vector<ListRow> lstFiles;
    int selectedRow = -1;  // 0-based; -1 when no row is selected
    bool lstFilesVisible = true;
    bool txtMessageVisible = false;
    std::string listFrameCaption = kListFrameCaption;
    std::string txtMessage;

    // --- Tab 0: encrypt files -----------------------------------------------
    bool chkCreateOneZip = false;
    std::string txtCombZipFile;
    bool chkDelAfterEnc = false;
    bool chkHiddenSystemFiles = false;

    // --- Tab 1: decrypt files -----------------------------------------------
    bool chkDontOverwrite = false;
    bool chkRemoveEncFile = false;
    bool chkDecOutputDir = false;
    std::string txtDecryptTo;

    // --- Tab 2: message -----------------------------------------------------
    bool chkCopyToClip = false;

    // --- Buttons sharing places ---------------------------------------------
    bool cmdEncryptVisible = true;
    bool cmdEncryptEnabled = true;
    bool cmdDecryptVisible = false;
    bool cmdDecryptEnabled = false;
    bool cmdAddFilesDecEnabled = true;
    bool cmdClearDecFilesEnabled = true;

    // --- Toolbar: button 3 ("Delete") is enabled while rows exist ------------
    bool toolbarDeleteEnabled = false;

    // --- Status bar panels 1 to 3 (index 0 to 2) -----------------------------
    std::array<std::string, 3> sbStatusBar = {"", "", "Encryption Strength: 0 Bit "};

    // --- File menu: recent files ---------------------------------------------
    std::array<MenuItemState, 10> mnuRecent;
    bool mnuSep1Visible = false;
    bool mnuSep2Visible = false;
    bool mnuClearRecentVisible = false;

    // --- Options menu --------------------------------------------------------
    bool mnuStartPassChecked = false;

    // --- The file-open dialog's title, kept between uses -----------------------
    std::string dlgSrcFilesTitle;

    // --- Popup menu of the list (mnuEncPopup) ----------------------------------
    MenuItemState mnuPopupRemove{kPopupRemoveCaption, true};
    MenuItemState mnuPopupClear{"Clear All Selected Items", true};
    MenuItemState mnuPopupAddtoEnc{"Add Files To Be Encrypted", true};
    MenuItemState mnuPopupAddtoDec{"Add Files To Be Decrypted", true};
    MenuItemState mnuPopupSep1{"", true};
    MenuItemState mnuPopupEnc{"Encrypt Selected Files Now", true};
    MenuItemState mnuPopupDec{"Decrypt Selected Files Now", true};

    // --- While a job runs, the window's commands wait for it -------------------
    bool jobRunning = false;
};

// Program-wide run state: the run-mode flags and shared values that live for
// the whole run.
struct RunState {
    bool commandLineRun = false;    // a command-line job runs: no prompts, most failures logged
    bool silentRun = false;         // the "s" option: no progress window
    bool startupCancelled = false;  // the startup password dialog was left with Exit
    std::string combinedArchivePath;
    std::int32_t progressPercent = 0;  // the cipher's latest percentage
    std::string commandLine;           // the program's whole argument text, as logged: passwords as "*"
    std::string windowsDirectory;      // read once at start-up; empty on Linux
    // How long a job waits for a name another job is writing.
    int jobLockWaitMs = 5000;
};

}  // namespace morvane
