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
    txtPath_ = new QLineEdit(this);
    txtPath_->setObjectName(QStringLiteral("txtPath"));
    txtPath_->setReadOnly(true);
    const auto [buttons, ok, cancel] = okCancelButtons(this, QStringLiteral("Cancel"), txtPath_);
    layout->addWidget(label);
    layout->addWidget(dir1_, 1);
    layout->addLayout(buttons);
    resize(480, 460);

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
    connect(ok, &QPushButton::clicked, this, [this] {
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

void FrmDecToDir::done(int result) {
    if (!closing_) model_.close(window_);
    closing_ = true;
    QDialog::done(result);
}

}  // namespace morvane::gui
