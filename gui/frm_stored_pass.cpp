#include "frm_stored_pass.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "frm_enter_store_pass.h"
#include "help_window.h"
#include "qt_text.h"

namespace morvane::gui {

FrmStoredPass::FrmStoredPass(PasswordDatabase& database, UserInterface& ui, MainWindowModel& window, bool pickMode,
                             QWidget* parent)
    : QDialog(parent), database_(database), model_(database), ui_(ui), window_(window) {
    setObjectName(QStringLiteral("frmStoredPass"));
    setWindowTitle(QStringLiteral("Stored Passwords"));
    if (pickMode) model_.cmdEditCaption = std::string(kSelectCaption);
    auto* layout = new QVBoxLayout(this);
    auto* desc = new QLabel(pickMode ? QStringLiteral("Select the password to use for this job, then press Select.")
                                     : QStringLiteral("The passwords kept in your password database. Select one to "
                                                      "edit or delete it."),
                            this);
    desc->setObjectName(QStringLiteral("lblDesc"));
    desc->setWordWrap(true);
    lstPass_ = new QTreeWidget(this);
    lstPass_->setObjectName(QStringLiteral("lstPass"));
    lstPass_->setColumnCount(3);
    lstPass_->setHeaderLabels({QStringLiteral("#"), QStringLiteral("Name"), QStringLiteral("Password")});
    lstPass_->setRootIsDecorated(false);
    lstPass_->setAllColumnsShowFocus(true);
    lstPass_->header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    lstPass_->header()->setSectionResizeMode(1, QHeaderView::Stretch);
    lstPass_->header()->setSectionResizeMode(2, QHeaderView::Stretch);
    lstPass_->installEventFilter(this);
    auto* display = new QCheckBox(QStringLiteral("Dis&play passwords"), this);
    display->setObjectName(QStringLiteral("chkDisplayPass"));

    auto* buttons = new QHBoxLayout;
    auto* add = new QPushButton(QStringLiteral("&Add Password"), this);
    add->setObjectName(QStringLiteral("cmdAdd"));
    cmdEdit_ = new QPushButton(this);
    cmdEdit_->setObjectName(QStringLiteral("cmdEdit"));
    auto* remove = new QPushButton(QStringLiteral("&Delete Password"), this);
    remove->setObjectName(QStringLiteral("cmdDelete"));
    auto* close = new QPushButton(QStringLiteral("Close"), this);
    close->setObjectName(QStringLiteral("cmdClose"));
    buttons->addWidget(add);
    buttons->addWidget(cmdEdit_);
    buttons->addWidget(remove);
    buttons->addStretch(1);
    buttons->addWidget(close);
    layout->addWidget(desc);
    layout->addWidget(lstPass_, 1);
    layout->addWidget(display);
    layout->addLayout(buttons);
    resize(520, 380);

    connect(display, &QCheckBox::toggled, this, [this](bool on) {
        model_.setDisplayPasswords(on);
        refresh();
    });
    connect(lstPass_, &QTreeWidget::currentItemChanged, this,
            [this](QTreeWidgetItem* item) { model_.selectedRow = item ? lstPass_->indexOfTopLevelItem(item) : -1; });
    connect(lstPass_, &QTreeWidget::itemDoubleClicked, this, [this] { editClicked(); });
    connect(add, &QPushButton::clicked, this, [this] { openEditor(true, {}); });
    connect(cmdEdit_, &QPushButton::clicked, this, &FrmStoredPass::editClicked);
    connect(remove, &QPushButton::clicked, this, [this] {
        model_.cmdDelete(ui_);
        refresh();
    });
    connect(close, &QPushButton::clicked, this, [this] { done(Rejected); });

    model_.populateGrid();
    refresh();
    installHelpKey(this);
}

void FrmStoredPass::refresh() {
    cmdEdit_->setText(QStringLiteral("&") + qs(model_.cmdEditCaption));
    QSignalBlocker block(lstPass_);
    lstPass_->clear();
    for (const StoredPasswordRow& row : model_.rows)
        lstPass_->addTopLevelItem(new QTreeWidgetItem({qs(row.number), qs(row.name), qs(row.shown)}));
    if (model_.selectedRow >= 0 && model_.selectedRow < lstPass_->topLevelItemCount())
        lstPass_->setCurrentItem(lstPass_->topLevelItem(model_.selectedRow));
}

void FrmStoredPass::editClicked() {
    const StoredPasswordList::EditResult result = model_.cmdEdit(ui_, window_);
    if (result.action == StoredPasswordList::EditAction::OpenEditor) openEditor(false, result.name);
    if (result.action == StoredPasswordList::EditAction::Picked) done(Accepted);
}

void FrmStoredPass::openEditor(bool addMode, const std::string& name) {
    auto* editor = new FrmEnterStorePass(
        database_, ui_, addMode, name,
        [this] {
            model_.populateGrid();
            refresh();
        },
        this);
    editor->setAttribute(Qt::WA_DeleteOnClose);
    editor->open();
}

bool FrmStoredPass::eventFilter(QObject* watched, QEvent* event) {
    if (watched == lstPass_ && event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Delete) {
        model_.cmdDelete(ui_);
        refresh();
        return true;
    }
    return QDialog::eventFilter(watched, event);
}

void FrmStoredPass::done(int result) {
    if (!closing_) {
        closing_ = true;
        model_.unload(window_);
    }
    QDialog::done(result);
}

}  // namespace morvane::gui
