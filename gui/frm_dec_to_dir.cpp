#include "frm_dec_to_dir.h"

#include <QDir>
#include <QFileInfo>
#include <QFileSystemModel>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeView>
#include <QVBoxLayout>
#include <filesystem>
#include <system_error>

#include "dialog_buttons.h"
#include "help_window.h"
#include "qt_text.h"

namespace morvane::gui {

FrmDecToDir::FrmDecToDir(UserInterface& ui, MainWindowModel& window, QWidget* parent)
    : QDialog(parent), ui_(ui), window_(window) {
    setObjectName(QStringLiteral("frmDecToDir"));
    setWindowTitle(QStringLiteral("Extract Decrypted Files"));
    auto* layout = new QVBoxLayout(this);
    auto* label = new QLabel(QStringLiteral("Select the &directory to decrypt your files to:"), this);
    fileSystem_ = new QFileSystemModel(this);
    fileSystem_->setFilter(QDir::AllDirs | QDir::NoDotAndDotDot | QDir::Drives);
    fileSystem_->setRootPath(QDir::rootPath());
    dir1_ = new QTreeView(this);
    dir1_->setObjectName(QStringLiteral("Dir1"));
    dir1_->setModel(fileSystem_);
    for (int column = 1; column < fileSystem_->columnCount(); ++column) dir1_->hideColumn(column);
    dir1_->header()->hide();
    dir1_->setRootIndex(fileSystem_->index(QDir::rootPath()));
    label->setBuddy(dir1_);
    // Under the tree: the path, to read, type or paste, and a button for a
    // new folder in the directory chosen.
    txtPath_ = new QLineEdit(this);
    txtPath_->setObjectName(QStringLiteral("txtPath"));
    txtPath_->setToolTip(QStringLiteral("Type or paste a directory; a directory that does not exist can be created."));
    auto* newFolder = new QPushButton(QStringLiteral("&New Folder"), this);
    newFolder->setObjectName(QStringLiteral("cmdNewFolder"));
    newFolder->setAutoDefault(false);
    auto* pathRow = new QHBoxLayout;
    pathRow->addWidget(txtPath_, 1);
    pathRow->addWidget(newFolder);
    const auto [buttons, ok, cancel] = okCancelButtons(this, QStringLiteral("Cancel"));
    layout->addWidget(label);
    layout->addWidget(dir1_, 1);
    layout->addLayout(pathRow);
    layout->addLayout(buttons);
    resize(480, 460);
    dir1_->setEditTriggers(QAbstractItemView::NoEditTriggers);  // only a new folder is renamed here

    connect(dir1_->selectionModel(), &QItemSelectionModel::currentChanged, this, [this](const QModelIndex& current) {
        if (current.isValid()) chooseDirectory(fileSystem_->filePath(current));
    });
    // The tree reads directories in the background and sorts them as they
    // arrive: the chosen one is kept in view until the person moves.
    auto keepChosenInView = [this] {
        if (personMoved_) return;
        const QModelIndex index = fileSystem_->index(qs(model_.directory));
        if (!index.isValid()) return;
        if (dir1_->currentIndex() != index) {
            QSignalBlocker block(dir1_->selectionModel());
            dir1_->setCurrentIndex(index);
        }
        dir1_->scrollTo(index, QAbstractItemView::PositionAtCenter);
    };
    connect(fileSystem_, &QFileSystemModel::directoryLoaded, this, keepChosenInView);
    connect(fileSystem_, &QFileSystemModel::rowsInserted, this, keepChosenInView);
    connect(fileSystem_, &QFileSystemModel::layoutChanged, this, keepChosenInView);
    // Typing or pasting an existing directory moves the tree there at once.
    connect(txtPath_, &QLineEdit::textEdited, this, [this] {
        const QFileInfo typed(typedPath());
        if (typed.isAbsolute() && typed.isDir() && typed.isReadable() && typed.isExecutable()) {
            const QString kept = txtPath_->text();
            const int cursor = txtPath_->cursorPosition();
            chooseDirectory(typed.absoluteFilePath());
            txtPath_->setText(kept);  // the person's text stays as typed while typing
            txtPath_->setCursorPosition(cursor);
        }
    });
    connect(newFolder, &QPushButton::clicked, this, [this] { makeNewFolder(); });
    // A new folder renamed in the tree stays the one chosen.
    connect(fileSystem_, &QFileSystemModel::fileRenamed, this,
            [this](const QString& path, const QString& oldName, const QString& newName) {
                if (QDir::cleanPath(path + QLatin1Char('/') + oldName) ==
                    QDir::cleanPath(QDir::fromNativeSeparators(qs(model_.directory))))
                    chooseDirectory(path + QLatin1Char('/') + newName);
            });
    connect(ok, &QPushButton::clicked, this, [this] {
        // A path typed and not yet taken is taken first (Enter in the box
        // comes here too).
        if (!takeTypedPath()) return;
        closing_ = true;
        model_.ok(window_);
        QDialog::done(Accepted);
    });
    connect(cancel, &QPushButton::clicked, this, [this] {
        closing_ = true;
        model_.cancel(window_);
        QDialog::done(Rejected);
    });

    const QString start = window_.txtDecryptTo.empty() ? QDir::homePath() : qs(window_.txtDecryptTo);
    chooseDirectory(QFileInfo(start).isDir() ? start : QDir::homePath());
    installHelpKey(this);
}

bool FrmDecToDir::chooseDirectory(const QString& path) {
    const QFileInfo info(path);
    if (!info.isDir() || !info.isReadable() || !info.isExecutable()) {
        ui_.showMessage(u8(QDir::toNativeSeparators(path)) +
                            " cannot be read. Please select a valid destination directory to decrypt your files to "
                            "and then try again.",
                        MessageIcon::Exclamation);
        // Back to the directory chosen before.
        const QModelIndex previous = fileSystem_->index(qs(model_.directory));
        if (previous.isValid()) {
            QSignalBlocker block(dir1_->selectionModel());
            dir1_->setCurrentIndex(previous);
        }
        return false;
    }
    model_.directory = u8(QDir::toNativeSeparators(info.absoluteFilePath()));
    txtPath_->setText(qs(model_.directory));
    const QModelIndex index = fileSystem_->index(info.absoluteFilePath());
    if (index.isValid() && dir1_->currentIndex() != index) {
        QSignalBlocker block(dir1_->selectionModel());
        dir1_->setCurrentIndex(index);
        dir1_->scrollTo(index);
    }
    return true;
}

QString FrmDecToDir::typedPath() const {
    QString text = txtPath_->text().trimmed();
    if (text == QLatin1String("~") || text.startsWith(QLatin1String("~/"))) text = QDir::homePath() + text.mid(1);
    // A relative path is read from the directory chosen.
    if (!text.isEmpty() && QDir::isRelativePath(text)) text = QDir(qs(model_.directory)).absoluteFilePath(text);
    return QDir::cleanPath(text);
}

bool FrmDecToDir::takeTypedPath() {
    if (txtPath_->text().trimmed().isEmpty()) {
        txtPath_->setText(qs(model_.directory));
        return true;
    }
    const QString path = typedPath();
    if (QDir::toNativeSeparators(path) == qs(model_.directory)) {
        txtPath_->setText(qs(model_.directory));
        return true;
    }
    const QFileInfo info(path);
    if (!info.exists()) {
        const std::string shown = u8(QDir::toNativeSeparators(path));
        if (!ui_.askYesNo(shown + " does not exist. Do you wish to create this directory?", "Create Directory?")) {
            txtPath_->setFocus();
            return false;
        }
        std::error_code ec;
        std::filesystem::create_directories(std::filesystem::path(QFile::encodeName(path).toStdString()), ec);
        if (ec) {
            ui_.showMessage(shown + " could not be created: " + ec.message() +
                                ". Please select a valid destination directory to decrypt your files to and then "
                                "try again.",
                            MessageIcon::Exclamation);
            txtPath_->setFocus();
            return false;
        }
    } else if (!info.isDir()) {
        ui_.showMessage(u8(QDir::toNativeSeparators(path)) +
                            " is a file, not a directory. Please select a valid destination directory to decrypt "
                            "your files to and then try again.",
                        MessageIcon::Exclamation);
        txtPath_->setFocus();
        return false;
    }
    personMoved_ = false;  // the tree follows the new directory as it loads
    return chooseDirectory(path);
}

bool FrmDecToDir::makeNewFolder() {
    const QDir parent(QDir::fromNativeSeparators(qs(model_.directory)));
    QString name = QStringLiteral("New Folder");
    for (int n = 2; parent.exists(name); ++n) name = QStringLiteral("New Folder (%1)").arg(n);
    if (!parent.mkdir(name)) {
        ui_.showMessage("A new folder cannot be made in " + model_.directory +
                            ". Please select a directory you may write to and then try again.",
                        MessageIcon::Exclamation);
        return false;
    }
    const QString made = parent.absoluteFilePath(name);
    if (!chooseDirectory(made)) return false;
    // Named at once, as file managers do: the tree's editor opens on it.
    const QModelIndex index = fileSystem_->index(made);
    if (index.isValid()) {
        fileSystem_->setReadOnly(false);
        dir1_->edit(index);
    }
    return true;
}

void FrmDecToDir::done(int result) {
    if (!closing_) model_.close(window_);
    closing_ = true;
    QDialog::done(result);
}

}  // namespace morvane::gui
