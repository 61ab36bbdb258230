#include "frm_main.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QDesktopServices>
#include <QDir>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QShortcut>
#include <QStatusBar>
#include <QSvgWidget>
#include <QTabWidget>
#include <QToolBar>
#include <QToolButton>
#include <QTreeWidget>
#include <QUrl>
#include <QVBoxLayout>

#include "destination_dialogs.h"
#include "file_list.h"
#include "frm_about.h"
#include "frm_dec_to_dir.h"
#include "frm_enter_store_pass.h"
#include "frm_one_zip_file.h"
#include "frm_pass_on_startup.h"
#include "frm_status.h"
#include "frm_stored_pass.h"
#include "help_window.h"
#include "main_window_commands.h"
#include "main_window_logic.h"
#include "message_encryption.h"
#include "password_box.h"
#include "qt_text.h"
#include "stored_password_manager.h"
#include "wrapping_check_box.h"

namespace morvane::gui {

namespace {

QIcon icon(const char* name) { return QIcon(QStringLiteral(":/icons/%1.svg").arg(QLatin1String(name))); }

QToolButton* pictureButton(const QString& name, const QString& caption, const char* picture, QWidget* parent) {
    auto* button = new QToolButton(parent);
    button->setObjectName(name);
    button->setText(caption);
    button->setIcon(icon(picture));
    button->setIconSize(QSize(32, 32));
    button->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    button->setAutoRaise(false);
    button->setMinimumWidth(104);
    button->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    QFont narrow(QStringLiteral("Arial Narrow"));
    narrow.setPointSizeF(button->font().pointSizeF());
    button->setFont(narrow);
    return button;
}

QCheckBox* checkBox(const QString& name, const QString& caption, QWidget* parent) {
    auto* box = new QCheckBox(caption, parent);
    box->setObjectName(name);
    return box;
}

QPushButton* smallButton(const QString& name, const QString& caption, QWidget* parent) {
    auto* button = new QPushButton(caption, parent);
    button->setObjectName(name);
    return button;
}

// Menu captions are shown as written: an "&" in a path is not an access key.
QString menuText(const std::string& caption) { return qs(caption).replace(QLatin1Char('&'), QStringLiteral("&&")); }

void setChecked(QCheckBox* box, bool checked) {
    if (box->isChecked() != checked) {
        QSignalBlocker block(box);
        box->setChecked(checked);
    }
}

void setText(QLineEdit* edit, const std::string& text) {
    const QString shown = qs(text);
    if (edit->text() != shown) edit->setText(shown);
}

void showMenuItem(QAction* action, const MenuItemState& state) {
    action->setText(menuText(state.caption));
    action->setVisible(state.visible);
    action->setEnabled(state.enabled);
}

// Two widgets that take turns in one place: the one going is hidden before
// the other shows, so the two are never shown together, not even for a
// moment; the window would grow to hold both and keep that size.
void showOneOf(QWidget* first, bool firstVisible, QWidget* second, bool secondVisible) {
    if (!firstVisible) first->setVisible(false);
    if (!secondVisible) second->setVisible(false);
    if (firstVisible) first->setVisible(true);
    if (secondVisible) second->setVisible(true);
}

}  // namespace

FrmMain::FrmMain(Program& program, QtUserInterface& ui, QWidget* parent)
    : QMainWindow(parent), program_(program), ui_(ui), status_(ui), job_{program.window, program.run, ui,
                                                                         program.log,    program.zip, program.recent,
                                                                         status_} {
    setObjectName(QStringLiteral("frmMain"));
    setWindowTitle(qs(kApplicationTitle));
    setWindowIcon(icon("morvane"));
    buildMenus();
    buildToolbar();
    setCentralWidget(buildCentre());
    buildPopup();
    buildStatusBar();
    frmStatus_ = new FrmStatus(status_, program_.run.progressPercent, program_.zip, this);
    ui_.setMainWindow(this);
    ui_.setBeforeEvents([this] {
        syncFromModel();
        frmStatus_->refresh();
    });
    installHelpKey(this);
    // Ctrl+Tab and Ctrl+Shift+Tab change tabs wherever the focus is in the
    // window (the list and the password boxes lie outside the tabs).
    for (const auto& [keys, step] : {std::pair{QKeySequence(Qt::CTRL | Qt::Key_Tab), 1},
                                     std::pair{QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Backtab), -1},
                                     std::pair{QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Tab), -1}}) {
        auto* shortcut = new QShortcut(keys, this);
        shortcut->setContext(Qt::WindowShortcut);
        connect(shortcut, &QShortcut::activated, this, [this, step] {
            if (model().jobRunning) return;
            const int count = sstab1_->count();
            sstab1_->setCurrentIndex((sstab1_->currentIndex() + step + count) % count);
        });
    }
    // tmrLoad: enabled when the window's load is done; when it fires it
    // only disables itself.
    tmrLoad_ = new QTimer(this);
    tmrLoad_->setObjectName(QStringLiteral("tmrLoad"));
    tmrLoad_->setInterval(0);
    connect(tmrLoad_, &QTimer::timeout, tmrLoad_, &QTimer::stop);
    resize(780, 660);
    passwordChanged(program_.window);
    syncFromModel();
}

FrmMain::~FrmMain() { ui_.setBeforeEvents({}); }

void FrmMain::enableLoadTimer() { tmrLoad_->start(); }

void FrmMain::buildMenus() {
    QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
    file->setObjectName(QStringLiteral("mnuFile"));
    QAction* encFiles = file->addAction(QStringLiteral("&Encrypt Files"));
    encFiles->setObjectName(QStringLiteral("mnuEncFiles"));
    QAction* decFiles = file->addAction(QStringLiteral("&Decrypt Files"));
    decFiles->setObjectName(QStringLiteral("mnuDecFiles"));
    mnuSep1_ = file->addSeparator();
    mnuSep1_->setObjectName(QStringLiteral("mnuSep1"));
    for (int i = 0; i < static_cast<int>(mnuRecent_.size()); ++i) {
        mnuRecent_[i] = file->addAction(QString());
        mnuRecent_[i]->setObjectName(QStringLiteral("mnuRecent%1").arg(i));
        mnuRecent_[i]->setVisible(false);
        connect(mnuRecent_[i], &QAction::triggered, this,
                [this, i] { command([&] { program_.recent.openRecentEntry(model(), ui_, i); }); });
    }
    mnuSep2_ = file->addSeparator();
    mnuSep2_->setObjectName(QStringLiteral("mnuSep2"));
    mnuClearRecent_ = file->addAction(QStringLiteral("Clear Recent Files List"));
    mnuClearRecent_->setObjectName(QStringLiteral("mnuClearRecent"));

    QMenu* edit = menuBar()->addMenu(QStringLiteral("&Edit"));
    edit->setObjectName(QStringLiteral("mnuEdit"));
    QAction* storedPass = edit->addAction(QStringLiteral("&Stored Passwords"));
    storedPass->setObjectName(QStringLiteral("mnuStoredPass"));
    QMenu* view = menuBar()->addMenu(QStringLiteral("&View"));
    view->setObjectName(QStringLiteral("mnuView"));
    QAction* viewLog = view->addAction(QStringLiteral("&Log File"));
    viewLog->setObjectName(QStringLiteral("mnuViewLog"));
    QMenu* options = menuBar()->addMenu(QStringLiteral("&Options"));
    options->setObjectName(QStringLiteral("mnuOptions"));
    mnuStartPass_ = options->addAction(QStringLiteral("Require Password On Startup"));
    mnuStartPass_->setObjectName(QStringLiteral("mnuStartPass"));
    mnuStartPass_->setCheckable(true);
    QMenu* help = menuBar()->addMenu(QStringLiteral("&Help"));
    help->setObjectName(QStringLiteral("mnuHelp"));
    QAction* helpMV = help->addAction(QStringLiteral("Help on Morvane  F1"));
    helpMV->setObjectName(QStringLiteral("mnuHelpMV"));
    QAction* about = help->addAction(QStringLiteral("&About Morvane"));
    about->setObjectName(QStringLiteral("mnuAbout"));

    connect(encFiles, &QAction::triggered, this, [this] { command([this] { menuEncryptFiles(job_); }); });
    connect(decFiles, &QAction::triggered, this, [this] { command([this] { menuDecryptFiles(job_); }); });
    connect(mnuClearRecent_, &QAction::triggered, this,
            [this] { command([this] { program_.recent.clearRecentList(model()); }); });
    connect(storedPass, &QAction::triggered, this, [this] { openStoredPasswords(false); });
    connect(viewLog, &QAction::triggered, this, &FrmMain::viewLogFile);
    connect(mnuStartPass_, &QAction::triggered, this, [this] {
        const bool showSetDialog = startPasswordMenu(model(), program_.startupPassword, ui_);
        syncFromModel();
        if (showSetDialog) openSetStartupPassword();
    });
    connect(helpMV, &QAction::triggered, this, [this] { showHelp(this); });
    connect(about, &QAction::triggered, this, [this] { showDialog(new FrmAbout(this)); });
}

void FrmMain::buildToolbar() {
    toolbar1_ = addToolBar(QStringLiteral("Toolbar1"));
    toolbar1_->setObjectName(QStringLiteral("Toolbar1"));
    toolbar1_->setMovable(false);
    toolbar1_->setIconSize(QSize(24, 24));
    struct Button {
        const char* key;
        const char* tooltip;
        const char* picture;
    };
    const Button buttons[] = {{"Encrypt", "Add Files To Encrypt", "add-encrypt"},
                              {"Decrypt", "Add Files To Decrypt", "add-decrypt"},
                              {"Delete", "Remove Selected Item From List", "remove"},
                              {"Help", "Help F1", "help"}};
    for (const Button& button : buttons) {
        QAction* action = toolbar1_->addAction(icon(button.picture), QLatin1String(button.tooltip));
        action->setObjectName(QStringLiteral("Toolbar1_") + QLatin1String(button.key));
        action->setData(QLatin1String(button.key));
        action->setToolTip(QLatin1String(button.tooltip));
        const std::string key = button.key;
        connect(action, &QAction::triggered, this,
                [this, key] { command([this, key] { toolbarClick(job_, key, [this] { showHelp(this); }); }); });
        if (key == "Delete") toolbarDelete_ = action;
    }
}

QWidget* FrmMain::buildCentre() {
    auto* centre = new QWidget(this);
    auto* layout = new QVBoxLayout(centre);

    // The product, its logo, and the password fields shown on every tab.
    auto* top = new QHBoxLayout;
    auto* image1 = new QSvgWidget(QStringLiteral(":/icons/morvane.svg"), centre);
    image1->setObjectName(QStringLiteral("Image1"));
    image1->setFixedSize(56, 56);
    auto* label1 = new QLabel(qs(kApplicationTitle), centre);
    label1->setObjectName(QStringLiteral("Label1"));
    QFont productFont = label1->font();
    productFont.setPointSizeF(productFont.pointSizeF() * 2.0);
    productFont.setBold(true);
    label1->setFont(productFont);
    label1->setStyleSheet(QStringLiteral("color: #1f5f7a;"));
    top->addWidget(image1);
    top->addWidget(label1);
    top->addSpacing(24);
    auto* passwords = new QGridLayout;
    auto* lblPassword = new QLabel(QStringLiteral("Pass&word"), centre);
    lblPassword->setObjectName(QStringLiteral("lblPassword"));
    txtPassword_ = new QLineEdit(centre);
    txtPassword_->setObjectName(QStringLiteral("txtPassword"));
    maskAsPassword(txtPassword_);
    txtPassword_->setMaxLength(static_cast<int>(kMaxPasswordLength));
    lblPassword->setBuddy(txtPassword_);
    auto* lblVerifyPass = new QLabel(QStringLiteral("Ver&ify Password"), centre);
    lblVerifyPass->setObjectName(QStringLiteral("lblVerifyPass"));
    txtVerifyPass_ = new QLineEdit(centre);
    txtVerifyPass_->setObjectName(QStringLiteral("txtVerifyPass"));
    maskAsPassword(txtVerifyPass_);
    txtVerifyPass_->setMaxLength(static_cast<int>(kMaxPasswordLength));
    lblVerifyPass->setBuddy(txtVerifyPass_);
    chkStoredPass_ = checkBox(QStringLiteral("chkStoredPass"), QStringLiteral("Use a &stored password"), centre);
    chkStoredPass_->setToolTip(QStringLiteral("Select password from stored password database."));
    passwords->addWidget(lblPassword, 0, 0);
    passwords->addWidget(txtPassword_, 0, 1);
    passwords->addWidget(lblVerifyPass, 1, 0);
    passwords->addWidget(txtVerifyPass_, 1, 1);
    passwords->addWidget(chkStoredPass_, 2, 1);
    top->addLayout(passwords, 1);
    layout->addLayout(top);

    connect(txtPassword_, &QLineEdit::textChanged, this, [this](const QString& text) {
        model().txtPassword = u8(text);
        passwordChanged(model());
        panels_[2]->setText(qs(model().sbStatusBar[2]));
    });
    connect(txtVerifyPass_, &QLineEdit::textChanged, this,
            [this](const QString& text) { model().txtVerifyPass = u8(text); });
    connect(chkStoredPass_, &QCheckBox::clicked, this, [this](bool checked) {
        model().chkStoredPass = checked;
        if (!checked) return;
        switch (chkStoredPassClick(model(), program_.passwords, ui_)) {
            case StoredPassChoice::PickFromList:
                openStoredPasswords(true);
                break;
            case StoredPassChoice::AddPassword:
                openAddStoredPassword();
                break;
            case StoredPassChoice::Unchecked:
                break;
        }
        syncFromModel();
    });

    // Frame1 and its tabs with the options of each job.
    auto* frame1 = new QGroupBox(QStringLiteral("Encrypt/Decrypt Files"), centre);
    frame1->setObjectName(QStringLiteral("Frame1"));
    auto* frameLayout = new QVBoxLayout(frame1);
    sstab1_ = new QTabWidget(frame1);
    sstab1_->setObjectName(QStringLiteral("SSTab1"));
    sstab1_->addTab(buildEncryptTab(), QStringLiteral("Encrypt Files"));
    sstab1_->addTab(buildDecryptTab(), QStringLiteral("Decrypt Files"));
    sstab1_->addTab(buildMessageTab(), QStringLiteral("Encrypt/Decrypt Message"));
    sstab1_->setTabIcon(0, icon("encrypt"));
    sstab1_->setTabIcon(1, icon("decrypt"));
    sstab1_->setTabIcon(2, icon("message"));
    sstab1_->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    frameLayout->addWidget(sstab1_);
    layout->addWidget(frame1);
    connect(sstab1_, &QTabWidget::currentChanged, this, [this](int tab) {
        if (syncing_) return;
        command([this, tab] { tabChanged(model(), tab, ui_); });
    });

    // The list frame: lstFiles or txtMessage in one place, and the buttons
    // beside it; Encrypt Now and Decrypt Now share their place.
    fraList_ = new QGroupBox(qs(kListFrameCaption), centre);
    fraList_->setObjectName(QStringLiteral("fraList"));
    auto* listLayout = new QHBoxLayout(fraList_);
    auto* place = new QGridLayout;
    lstFiles_ = new QTreeWidget(fraList_);
    lstFiles_->setObjectName(QStringLiteral("lstFiles"));
    lstFiles_->setColumnCount(3);
    lstFiles_->setHeaderLabels(
        {QStringLiteral("Location & Name"), QStringLiteral("File Size"), QStringLiteral("File Type")});
    lstFiles_->setRootIsDecorated(false);
    lstFiles_->setAllColumnsShowFocus(true);
    lstFiles_->setUniformRowHeights(true);
    lstFiles_->setFont(QFont(QStringLiteral("Arial"), lstFiles_->font().pointSize()));
    // A long path gives up its beginning, never the file's name at its end.
    lstFiles_->setTextElideMode(Qt::ElideLeft);
    lstFiles_->header()->setStretchLastSection(false);
    lstFiles_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    lstFiles_->header()->resizeSection(1, 90);
    lstFiles_->header()->resizeSection(2, 100);
    lstFiles_->setContextMenuPolicy(Qt::CustomContextMenu);
    lstFiles_->setAcceptDrops(true);
    lstFiles_->viewport()->setAcceptDrops(true);
    lstFiles_->installEventFilter(this);
    lstFiles_->viewport()->installEventFilter(this);
    txtMessage_ = new QPlainTextEdit(fraList_);
    txtMessage_->setObjectName(QStringLiteral("txtMessage"));
    txtMessage_->setVisible(false);
    place->addWidget(lstFiles_, 0, 0);
    place->addWidget(txtMessage_, 0, 0);
    listLayout->addLayout(place, 1);
    auto* buttons = new QVBoxLayout;
    cmdAddFilesDec_ =
        pictureButton(QStringLiteral("cmdAddFilesDec"), QStringLiteral("&Add Files"), "add-files", fraList_);
    cmdClearDecFiles_ =
        pictureButton(QStringLiteral("cmdClearDecFiles"), QStringLiteral("&Clear List"), "clear-list", fraList_);
    cmdEncrypt_ = pictureButton(QStringLiteral("cmdEncrypt"), QStringLiteral("Encrypt &Now"), "encrypt", fraList_);
    cmdDecrypt_ = pictureButton(QStringLiteral("cmdDecrypt"), QStringLiteral("Decrypt &Now"), "decrypt", fraList_);
    buttons->addWidget(cmdAddFilesDec_);
    buttons->addWidget(cmdClearDecFiles_);
    buttons->addStretch(1);
    buttons->addWidget(cmdEncrypt_);
    buttons->addWidget(cmdDecrypt_);
    listLayout->addLayout(buttons);
    layout->addWidget(fraList_, 1);

    connect(lstFiles_, &QTreeWidget::currentItemChanged, this, [this](QTreeWidgetItem* item) {
        if (!syncing_) model().selectedRow = item ? lstFiles_->indexOfTopLevelItem(item) : -1;
    });
    connect(lstFiles_, &QTreeWidget::itemClicked, this, [this](QTreeWidgetItem* item) {
        command([this, item] { clickRow(model(), lstFiles_->indexOfTopLevelItem(item)); });
    });
    connect(lstFiles_, &QWidget::customContextMenuRequested, this, [this](const QPoint& at) {
        if (model().jobRunning) return;
        QMenu* popup = preparePopup();
        popup->exec(lstFiles_->viewport()->mapToGlobal(at));
    });
    connect(txtMessage_, &QPlainTextEdit::textChanged, this, [this] {
        QString text = txtMessage_->toPlainText();
        if (!syncing_) {
            // A person types or pastes at most 50,000 characters, as the
            // frame says; a cipher text (the program's own, or one pasted
            // back from an e-mail) is longer and is kept whole.
            const MessageEdit edit = limitMessageEdit(shownMessageText_.toStdU16String(), text.toStdU16String());
            if (edit.cut) {
                QSignalBlocker block(txtMessage_);
                QTextCursor cursor = txtMessage_->textCursor();
                cursor.setPosition(static_cast<int>(edit.cutAt));
                cursor.setPosition(static_cast<int>(edit.cutAt + edit.cutLength), QTextCursor::KeepAnchor);
                cursor.removeSelectedText();
                txtMessage_->setTextCursor(cursor);
                text = QString::fromStdU16String(edit.text);
                // Said where the person looks next, without a box to close.
                model().sbStatusBar[0] = edit.notice;
                panels_[0]->setText(qs(edit.notice));
            }
        }
        shownMessageText_ = text;
        model().txtMessage = u8(text);
        shownMessage_ = model().txtMessage;
    });
    connect(cmdAddFilesDec_, &QToolButton::clicked, this,
            [this] { command([this] { addFilesCommand(model(), ui_, program_.log, program_.run); }); });
    connect(cmdClearDecFiles_, &QToolButton::clicked, this, [this] { command([this] { clearList(model()); }); });
    connect(cmdEncrypt_, &QToolButton::clicked, this, [this] { runJob([this] { cmdEncryptClick(job_); }); });
    connect(cmdDecrypt_, &QToolButton::clicked, this, [this] { runJob([this] { cmdDecryptClick(job_); }); });
    return centre;
}

QWidget* FrmMain::buildEncryptTab() {
    auto* page = new QWidget;
    page->setObjectName(QStringLiteral("tabEncrypt"));
    auto* layout = new QVBoxLayout(page);
    auto* combine = new WrappingCheckBox(
        QStringLiteral("chkCreateOneZip"),
        QStringLiteral("Combine selected files to a single encrypted file.  Recommended for faster encryption."), page);
    chkCreateOneZip_ = combine->box();
    auto* row = new QHBoxLayout;
    txtCombZipFile_ = new QLineEdit(page);
    txtCombZipFile_->setObjectName(QStringLiteral("txtCombZipFile"));
    txtCombZipFile_->setReadOnly(true);
    auto* change = smallButton(QStringLiteral("cmdChangeEncSingle"), QStringLiteral("Chan&ge"), page);
    auto* clear = smallButton(QStringLiteral("cmdClear"), QStringLiteral("Clea&r"), page);
    row->addSpacing(24);
    row->addWidget(txtCombZipFile_, 1);
    row->addWidget(change);
    row->addWidget(clear);
    chkDelAfterEnc_ = checkBox(QStringLiteral("chkDelAfterEnc"),
                               QStringLiteral("Remove source file after file has been encrypted."), page);
    chkHiddenSystemFiles_ = checkBox(QStringLiteral("chkHiddenSystemFiles"),
                                     QStringLiteral("Allow hidden and system files to be encrypted."), page);
    layout->addWidget(combine);
    layout->addLayout(row);
    layout->addWidget(chkDelAfterEnc_);
    layout->addWidget(chkHiddenSystemFiles_);
    layout->addStretch(1);

    connect(chkCreateOneZip_, &QCheckBox::clicked, this, [this](bool checked) {
        if (chkCreateOneZipClick(model(), program_.run, checked)) openOneZipFile();
        syncFromModel();
    });
    connect(change, &QPushButton::clicked, this, [this] {
        // Unticked and ticked again, which opens the dialog anew.
        chkCreateOneZipClick(model(), program_.run, false);
        if (chkCreateOneZipClick(model(), program_.run, true)) openOneZipFile();
        syncFromModel();
    });
    connect(clear, &QPushButton::clicked, this, [this] { command([this] { cmdClearCombinedClick(model()); }); });
    connect(chkDelAfterEnc_, &QCheckBox::toggled, this, [this](bool on) { model().chkDelAfterEnc = on; });
    connect(chkHiddenSystemFiles_, &QCheckBox::toggled, this, [this](bool on) { model().chkHiddenSystemFiles = on; });
    return page;
}

QWidget* FrmMain::buildDecryptTab() {
    auto* page = new QWidget;
    page->setObjectName(QStringLiteral("tabDecrypt"));
    auto* layout = new QVBoxLayout(page);
    chkDontOverwrite_ =
        checkBox(QStringLiteral("chkDontOverwrite"), QStringLiteral("Do not overwrite existing files."), page);
    chkRemoveEncFile_ = checkBox(QStringLiteral("chkRemoveEncFile"),
                                 QStringLiteral("Remove encrypted file after file has been decrypted."), page);
    auto* destination = new WrappingCheckBox(QStringLiteral("chkDecOutputDir"),
                                             QStringLiteral("Specify destination directory for decrypted files (i.e. "
                                                            "different directory than the encrypted file or files)."),
                                             page);
    chkDecOutputDir_ = destination->box();
    auto* row = new QHBoxLayout;
    txtDecryptTo_ = new QLineEdit(page);
    txtDecryptTo_->setObjectName(QStringLiteral("txtDecryptTo"));
    txtDecryptTo_->setReadOnly(true);
    auto* change = smallButton(QStringLiteral("cmdChangeDest"), QStringLiteral("Chan&ge"), page);
    auto* clear = smallButton(QStringLiteral("cmdClearDest"), QStringLiteral("Clea&r"), page);
    row->addSpacing(24);
    row->addWidget(txtDecryptTo_, 1);
    row->addWidget(change);
    row->addWidget(clear);
    layout->addWidget(chkDontOverwrite_);
    layout->addWidget(chkRemoveEncFile_);
    layout->addWidget(destination);
    layout->addLayout(row);
    layout->addStretch(1);

    connect(chkDontOverwrite_, &QCheckBox::toggled, this, [this](bool on) { model().chkDontOverwrite = on; });
    connect(chkRemoveEncFile_, &QCheckBox::toggled, this, [this](bool on) { model().chkRemoveEncFile = on; });
    connect(chkDecOutputDir_, &QCheckBox::clicked, this, [this](bool checked) {
        if (chkDecOutputDirClick(model(), program_.run, checked)) openDecToDir();
        syncFromModel();
    });
    connect(change, &QPushButton::clicked, this, [this] {
        chkDecOutputDirClick(model(), program_.run, false);
        if (chkDecOutputDirClick(model(), program_.run, true)) openDecToDir();
        syncFromModel();
    });
    connect(clear, &QPushButton::clicked, this, [this] { command([this] { cmdClearDestClick(model()); }); });
    return page;
}

QWidget* FrmMain::buildMessageTab() {
    auto* page = new QWidget;
    page->setObjectName(QStringLiteral("tabMessage"));
    auto* layout = new QVBoxLayout(page);
    auto* row = new QHBoxLayout;
    auto* encMsg = smallButton(QStringLiteral("encMsg"), QStringLiteral("Encr&ypt Message"), page);
    encMsg->setIcon(icon("encrypt"));
    auto* decMsg = smallButton(QStringLiteral("decMsg"), QStringLiteral("&Decrypt Message"), page);
    decMsg->setIcon(icon("decrypt"));
    auto* command1 = smallButton(QStringLiteral("Command1"), QStringLiteral("Clear &Message"), page);
    row->addWidget(encMsg);
    row->addWidget(decMsg);
    row->addWidget(command1);
    row->addStretch(1);
    auto* copy = new WrappingCheckBox(
        QStringLiteral("chkCopyToClip"),
        QStringLiteral("Copy Message To Clipboard After Encryption/Decryption. This option allows you to paste your "
                       "message to other applications such as email after it has been encrypted or decrypted."),
        page);
    chkCopyToClip_ = copy->box();
    layout->addLayout(row);
    layout->addWidget(copy);
    layout->addStretch(1);

    connect(encMsg, &QPushButton::clicked, this,
            [this] { command([this] { encDecMsg(model(), ui_, program_.log, false); }); });
    connect(decMsg, &QPushButton::clicked, this,
            [this] { command([this] { encDecMsg(model(), ui_, program_.log, true); }); });
    connect(command1, &QPushButton::clicked, this, [this] { command([this] { clearMessage(model(), ui_); }); });
    connect(chkCopyToClip_, &QCheckBox::toggled, this, [this](bool on) { model().chkCopyToClip = on; });
    return page;
}

void FrmMain::buildPopup() {
    mnuEncPopup_ = new QMenu(QStringLiteral("EncPopUp"), this);
    mnuEncPopup_->setObjectName(QStringLiteral("mnuEncPopup"));
    auto item = [this](const char* name, PopupItem which) {
        QAction* action = mnuEncPopup_->addAction(QString());
        action->setObjectName(QLatin1String(name));
        if (which == PopupItem::Encrypt || which == PopupItem::Decrypt)
            connect(action, &QAction::triggered, this,
                    [this, which] { runJob([this, which] { popupMenuClick(job_, which); }); });
        else
            connect(action, &QAction::triggered, this,
                    [this, which] { command([this, which] { popupMenuClick(job_, which); }); });
        return action;
    };
    mnuPopupRemove_ = item("mnuPopupRemove", PopupItem::Remove);
    mnuPopupClear_ = item("mnuPopupClear", PopupItem::Clear);
    mnuPopupAddtoEnc_ = item("mnuPopupAddtoEnc", PopupItem::AddToEncrypt);
    mnuPopupAddtoDec_ = item("mnuPopupAddtoDec", PopupItem::AddToDecrypt);
    mnuPopupSep1_ = mnuEncPopup_->addSeparator();
    mnuPopupSep1_->setObjectName(QStringLiteral("mnuPopupSep1"));
    mnuPopupEnc_ = item("mnuPopupEnc", PopupItem::Encrypt);
    mnuPopupDec_ = item("mnuPopupDec", PopupItem::Decrypt);
}

void FrmMain::buildStatusBar() {
    QStatusBar* bar = statusBar();
    bar->setObjectName(QStringLiteral("sbStatusBar"));
    bar->setSizeGripEnabled(true);
    // Each panel is as wide as the longest text it shows, and the window is
    // never narrower than the three together: at its smallest no panel is cut.
    const QString longest[3] = {QStringLiteral("Total items selected: 99999"),
                                QStringLiteral("Total size: 999.99 MBytes"),
                                QStringLiteral("Encryption Strength: 448 Bit ")};
    int together = 0;
    for (int i = 0; i < 3; ++i) {
        panels_[i] = new QLabel(bar);
        panels_[i]->setObjectName(QStringLiteral("sbStatusBarPanel%1").arg(i + 1));
        panels_[i]->setFrameStyle(QFrame::Panel | QFrame::Sunken);
        panels_[i]->setTextFormat(Qt::PlainText);
        const int width = panels_[i]->fontMetrics().horizontalAdvance(longest[i]) + 2 * panels_[i]->frameWidth() + 8;
        panels_[i]->setMinimumWidth(width);
        together += width;
        bar->addPermanentWidget(panels_[i], i == 0 ? 1 : 0);
    }
    constexpr int kSizeGripAndSpacing = 40;
    centralWidget()->setMinimumWidth(together + kSizeGripAndSpacing);
}

QMenu* FrmMain::preparePopup() {
    preparePopupMenu(model());
    syncFromModel();
    return mnuEncPopup_;
}

void FrmMain::command(const std::function<void()>& action) {
    if (model().jobRunning) return;
    action();
    syncFromModel();
}

void FrmMain::runJob(const std::function<void()>& job) {
    if (model().jobRunning) return;
    model().jobRunning = true;
    syncFromModel();
    job();
    model().jobRunning = false;
    syncFromModel();
    frmStatus_->refresh();
    // The window was closed during the job, and the job asked to stop.
    if (closeAfterJob_) {
        closeAfterJob_ = false;
        QTimer::singleShot(0, this, &QWidget::close);
    }
}

void FrmMain::showDialog(QDialog* dialog) {
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    openDialog_ = dialog;
    connect(dialog, &QDialog::finished, this, [this] { syncFromModel(); });
    dialog->open();
}

void FrmMain::openOneZipFile() {
    auto* dialog = new FrmOneZipFile(ui_, model(), program_.run, this);
    showDialog(dialog);
}

void FrmMain::openDecToDir() {
    auto* dialog = new FrmDecToDir(ui_, model(), this);
    showDialog(dialog);
}

void FrmMain::openStoredPasswords(bool pickMode) {
    auto* dialog = new FrmStoredPass(program_.passwords, ui_, model(), pickMode, this);
    showDialog(dialog);
}

void FrmMain::openAddStoredPassword() {
    auto* dialog = new FrmEnterStorePass(program_.passwords, ui_, true, {}, {}, this);
    // The password added is not yet the job's: with the box still empty, the
    // stored-password check box goes back to clear.
    connect(dialog, &QDialog::finished, this, [this] {
        if (model().txtPassword.empty()) model().chkStoredPass = false;
    });
    showDialog(dialog);
}

void FrmMain::openSetStartupPassword() {
    auto* dialog = new FrmPassOnStartup(StartupPasswordDialog::Mode::Set, program_.startupPassword, ui_, model(),
                                        program_.run, this);
    // Only start-up reads the flag the set mode's closing leaves behind.
    connect(dialog, &QDialog::finished, this, [this] { program_.run.startupCancelled = false; });
    showDialog(dialog);
}

void FrmMain::viewLogFile() {
    const ViewLogDecision decision = viewLog(program_.log);
    if (decision.openLog)
        QDesktopServices::openUrl(QUrl::fromLocalFile(qs(decision.path)));
    else
        ui_.showMessage(decision.message, MessageIcon::Information);
}

void FrmMain::showRows() {
    const MainWindowModel& m = program_.window;
    if (m.lstFiles != shownRows_) {
        lstFiles_->clear();
        for (const ListRow& row : m.lstFiles) {
            auto* item = new QTreeWidgetItem({qs(row.text), qs(row.size), qs(row.type)});
            item->setTextAlignment(1, Qt::AlignRight | Qt::AlignVCenter);
            item->setToolTip(0, qs(row.text));
            lstFiles_->addTopLevelItem(item);
        }
        shownRows_ = m.lstFiles;
    }
    QTreeWidgetItem* selected = m.selectedRow >= 0 && m.selectedRow < lstFiles_->topLevelItemCount()
                                    ? lstFiles_->topLevelItem(m.selectedRow)
                                    : nullptr;
    if (lstFiles_->currentItem() != selected) lstFiles_->setCurrentItem(selected);
}

void FrmMain::syncFromModel() {
    if (syncing_) return;
    syncing_ = true;
    MainWindowModel& m = program_.window;

    // A tab chosen by the logic changes as a click on the tab would.
    if (sstab1_->currentIndex() != m.currentTab) {
        tabChanged(m, m.currentTab, ui_);
        sstab1_->setCurrentIndex(m.currentTab);
    }
    setText(txtPassword_, m.txtPassword);
    setText(txtVerifyPass_, m.txtVerifyPass);
    setChecked(chkStoredPass_, m.chkStoredPass);

    showRows();
    showOneOf(lstFiles_, m.lstFilesVisible, txtMessage_, m.txtMessageVisible);
    fraList_->setTitle(qs(m.listFrameCaption));
    // Compared with what the box last showed, not read back from it: the
    // window is shown again many times a second while a job runs.
    if (m.txtMessage != shownMessage_) {
        shownMessage_ = m.txtMessage;
        txtMessage_->setPlainText(qs(m.txtMessage));
    }

    setChecked(chkCreateOneZip_, m.chkCreateOneZip);
    setText(txtCombZipFile_, m.txtCombZipFile);
    setChecked(chkDelAfterEnc_, m.chkDelAfterEnc);
    setChecked(chkHiddenSystemFiles_, m.chkHiddenSystemFiles);
    setChecked(chkDontOverwrite_, m.chkDontOverwrite);
    setChecked(chkRemoveEncFile_, m.chkRemoveEncFile);
    setChecked(chkDecOutputDir_, m.chkDecOutputDir);
    setText(txtDecryptTo_, m.txtDecryptTo);
    setChecked(chkCopyToClip_, m.chkCopyToClip);

    showOneOf(cmdEncrypt_, m.cmdEncryptVisible, cmdDecrypt_, m.cmdDecryptVisible);
    cmdEncrypt_->setEnabled(m.cmdEncryptEnabled);
    cmdDecrypt_->setEnabled(m.cmdDecryptEnabled);
    cmdAddFilesDec_->setEnabled(m.cmdAddFilesDecEnabled);
    cmdClearDecFiles_->setEnabled(m.cmdClearDecFilesEnabled);
    toolbarDelete_->setEnabled(m.toolbarDeleteEnabled);

    for (int i = 0; i < 3; ++i) panels_[i]->setText(qs(m.sbStatusBar[i]));

    for (std::size_t i = 0; i < mnuRecent_.size(); ++i) showMenuItem(mnuRecent_[i], m.mnuRecent[i]);
    mnuSep1_->setVisible(m.mnuSep1Visible);
    mnuSep2_->setVisible(m.mnuSep2Visible);
    mnuClearRecent_->setVisible(m.mnuClearRecentVisible);
    mnuStartPass_->setChecked(m.mnuStartPassChecked);

    showMenuItem(mnuPopupRemove_, m.mnuPopupRemove);
    showMenuItem(mnuPopupClear_, m.mnuPopupClear);
    showMenuItem(mnuPopupAddtoEnc_, m.mnuPopupAddtoEnc);
    showMenuItem(mnuPopupAddtoDec_, m.mnuPopupAddtoDec);
    mnuPopupSep1_->setVisible(m.mnuPopupSep1.visible);
    showMenuItem(mnuPopupEnc_, m.mnuPopupEnc);
    showMenuItem(mnuPopupDec_, m.mnuPopupDec);

    // While a job runs the window repaints and shows its progress, but its
    // commands wait for the job.
    const bool idle = !m.jobRunning;
    menuBar()->setEnabled(idle);
    toolbar1_->setEnabled(idle);
    centralWidget()->setEnabled(idle);
    syncing_ = false;
}

bool FrmMain::eventFilter(QObject* watched, QEvent* event) {
    if (watched == lstFiles_ && event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Delete) {
        command([this] { deleteKeyOnList(model()); });
        return true;
    }
    if (watched == lstFiles_->viewport()) {
        if (event->type() == QEvent::DragEnter || event->type() == QEvent::DragMove) {
            auto* drag = static_cast<QDropEvent*>(event);
            if (drag->mimeData()->hasUrls() && !model().jobRunning && lstFiles_->isVisible()) {
                drag->setDropAction(Qt::CopyAction);
                drag->accept();
            } else {
                drag->ignore();
            }
            return true;
        }
        if (event->type() == QEvent::Drop) {
            auto* drop = static_cast<QDropEvent*>(event);
            std::vector<std::string> paths;
            for (const QUrl& url : drop->mimeData()->urls())
                if (url.isLocalFile()) paths.push_back(u8(QDir::toNativeSeparators(url.toLocalFile())));
            drop->acceptProposedAction();
            // After the drop is over: the file manager that started the drag
            // is not kept waiting while a message about a folder shows.
            QTimer::singleShot(0, this,
                               [this, paths] { command([this, &paths] { addDroppedItems(model(), ui_, paths); }); });
            return true;
        }
    }
    return QMainWindow::eventFilter(watched, event);
}

// Closing the window ends the program: the zip component stops its work and
// every other window closes. Nothing needs saving: every change was written
// when it was made. A running job is never cut short: the person is asked
// whether to cancel it, and the window closes once it has stopped.
void FrmMain::closeEvent(QCloseEvent* event) {
    if (model().jobRunning) {
        event->ignore();
        if (closeAfterJob_) return;
        if (ui_.askYesNo(kCancelJobQuestion)) {
            closeAfterJob_ = true;
            status_.requestCancel();
        }
        return;
    }
    program_.zip.StopWork();
    for (QWidget* window : QApplication::topLevelWidgets())
        if (window != this && window->isVisible()) window->close();
    event->accept();
}

}  // namespace morvane::gui
