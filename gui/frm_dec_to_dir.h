#pragma once
// frmDecToDir ("Extract Decrypted Files"): the directory a decrypt job writes
// the files it restores into, chosen in a tree of the file system.
#include <QDialog>

#include "destination_dialogs.h"

class QFileSystemModel;
class QLineEdit;
class QTreeView;

namespace morvane::gui {

class FrmDecToDir : public QDialog {
    Q_OBJECT
public:
    FrmDecToDir(UserInterface& ui, MainWindowModel& window, QWidget* parent = nullptr);

    const DecToDirDialog& model() const { return model_; }

    // Chooses `path` in the tree; false (and the person told) when it cannot be read.
    bool chooseDirectory(const QString& path);

    // The path typed or pasted into txtPath: an existing directory is chosen,
    // a missing one is offered to be made (then chosen). False when the
    // person declined, or it could not be made or read.
    bool takeTypedPath();

    // cmdNewFolder: makes "New Folder" (or "New Folder (2)", ...) in the
    // chosen directory, chooses it and lets the person rename it in the tree.
    bool makeNewFolder();

    void done(int result) override;

private:
    DecToDirDialog model_;
    UserInterface& ui_;
    MainWindowModel& window_;
    QFileSystemModel* fileSystem_;
    QTreeView* dir1_;
    QLineEdit* txtPath_;
    QString typedPath() const;
    bool closing_ = false;
    bool personMoved_ = false;
};

}  // namespace morvane::gui
