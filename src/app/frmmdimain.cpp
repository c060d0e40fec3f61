#include "frmmdimain.h"

#include "historywiring.h"

#include "childform.h"
#include "childforms.h"
#include "comm/frmsetupcomm.h"
#include "comm/operatorprompt.h"
#include "comm/rscomm.h"
#include "comm/serialport.h"
#include "filedialogs.h"
#include "frmprocessing.h"
#include "helpcommands.h"
#include "icons.h"
#include "machine/shiftexport.h"
#include "machine/valuetext.h"
#include "passcode.h"
#include "printerdialog.h"
#include "reportcommands.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QLocale>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QMenuBar>
#include <QMouseEvent>
#include <QScreen>
#include <QShowEvent>
#include <QStatusBar>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>

#include <functional>
#include <optional>

namespace
{

const QString StatusPrefix = QStringLiteral("System Message:  ");
const QString SetupFilter = QStringLiteral("Setup Files(*.sdt)|*.sdt|");
const QString ExportFilter = QStringLiteral("Text Files(*.txt)|*.txt|");
constexpr int BackgroundIntervalMs = 500;
const QString NotFullyReadMark = QStringLiteral(" (Data Not Fully Read)");
const QString NotFullyReadWarning =
    QStringLiteral("Data in Memory Not Fully Read from T6800\r\n\r\n");

// The alarm texts of bits 0..2 of the alarm word; higher bits carry none.
const QString AlarmTexts[3] = {
    QStringLiteral("Infeed Track Jam\r\n "),
    QStringLiteral("Can on Mandrel/\r\nNo transfer Alarm"),
    QStringLiteral("Timing Signal Failure\r\nVerify Resolver Operation"),
};
const QString AlarmRule = QString(30, QLatin1Char('-')) + QStringLiteral(" ALARM MESSAGE ") +
                          QString(30, QLatin1Char('-'));

QString nowText()
{
    return uploadTimeText(QDateTime::currentDateTime());
}

// A checkable menu item changes its own check mark when clicked; the
// commands decide the mark themselves, so the click's change is undone
// before the command runs.
template <typename Handler> void connectCommand(QAction *action, QObject *context, Handler handler)
{
    QObject::connect(action, &QAction::triggered, context, [action, handler] {
        if (action->isCheckable())
            action->setChecked(!action->isChecked());
        handler();
    });
}

} // namespace

frmMDIMain::frmMDIMain(const Collaborators &with, QWidget *parent)
    : QMainWindow(parent), m_prompt(with.prompt), m_fileDialogs(with.fileDialogs),
      m_programDir(with.programDir), m_qtPrinterDialog(std::make_unique<QtPrinterDialog>()),
      m_printerDialog(m_qtPrinterDialog.get())
{
    // Start-up, in order.
    m_helpFile = QDir(m_programDir).filePath(QStringLiteral("Help/KESTRO.hlp"));
    m_util = std::make_unique<ModUtility>(with.rsComm, with.commPort, with.prompt, with.clock,
                                          with.data, with.programDir);
    m_util->setModeView(this);

    setWindowIcon(kestroIcon(QStringLiteral("kestro")));
    mdiArea = new QMdiArea(this);
    mdiArea->setBackground(palette().brush(QPalette::Dark));
    mdiArea->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    mdiArea->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setCentralWidget(mdiArea);
    createMenus();
    createToolbar();
    createStatusBar();
    m_history = new HistoryWiring(*m_util, *this);
    m_history->addMenuItems(mnuFile, mnuFileExport, mnuView);

    // F1: the help at the topic of the child window in front.
    auto *contextHelp = new QAction(this);
    contextHelp->setObjectName(QStringLiteral("contextHelp"));
    contextHelp->setShortcut(QKeySequence(Qt::Key_F1));
    addAction(contextHelp);
    connect(contextHelp, &QAction::triggered, this, [this] {
        static const QString topics[ChildFormCount] = {
            QStringLiteral("main-display"), QStringLiteral("setup"), QStringLiteral("shift-data"),
            QStringLiteral("io-states")};
        HelpTopicsCommand(*this, m_helpFile, m_prompt, topics[m_currentWindow]);
    });

    tmrBackgroungUpdate = new QTimer(this);
    tmrBackgroungUpdate->setInterval(BackgroundIntervalMs);
    connect(tmrBackgroungUpdate, &QTimer::timeout, this, &frmMDIMain::tmrBackgroungUpdate_Timer);

    gFileNameCaption = QStringLiteral("[unnamed]");
    showCaption();
    mnuWindowForm_Click(0);
    m_util->InitializeGlobals();
    m_util->gPrintSetupParameters = true;
    m_util->gPrintShiftDataCounts = true;
    m_util->gPrintLabelData = false;
    gFileNamePath = QDir(m_programDir).filePath(QStringLiteral("*.sdt"));
    mnuFileNew_Click();
    m_startupDone = true;

    // The background cycle runs from the moment the window exists.
    tmrBackgroungUpdate->start();
    resize(900, 640);
    // A desktop scaled up leaves fewer pixels than the window was laid out
    // for: a window that would not fit opens filling the screen instead.
    // Room is left for a window manager's frame; without one the window is
    // still no larger than the screen.
    if (const QScreen *shownOn = screen()) {
        const QRect area = shownOn->availableGeometry();
        const QSize room = area.size() - QSize(16, 48);
        if (width() > room.width() || height() > room.height()) {
            resize(size().boundedTo(room));
            move(area.topLeft());
            setWindowState(windowState() | Qt::WindowMaximized);
        }
    }
}

frmMDIMain::~frmMDIMain()
{
    tmrBackgroungUpdate->stop();
    // Before the shared state it refers to goes with this object's members;
    // as a child it would outlive them.
    delete m_history;
    m_history = nullptr;
    for (auto &sub : m_childForms) {
        if (sub) {
            if (auto *child = qobject_cast<ChildForm *>(sub->widget()))
                child->Form_Unload();
            delete sub.data();
        }
    }
}

// ---------------------------------------------------------------- layout

void frmMDIMain::createMenus()
{
    QMenuBar *bar = menuBar();

    mnuFile = bar->addMenu(QStringLiteral("&File"));
    mnuFile->setObjectName(QStringLiteral("mnuFile"));
    auto item = [](QMenu *menu, const char *name, const QString &caption,
                       const QKeySequence &shortcut = {}) {
        QAction *action = menu->addAction(caption);
        action->setObjectName(QString::fromLatin1(name));
        action->setShortcut(shortcut);
        return action;
    };
    auto separator = [](QMenu *menu, const char *name) {
        menu->addSeparator()->setObjectName(QString::fromLatin1(name));
    };

    mnuFileNew =
        item(mnuFile, "mnuFileNew", QStringLiteral("&New..."), QKeySequence(Qt::CTRL | Qt::Key_N));
    mnuFileOpen = item(mnuFile, "mnuFileOpen", QStringLiteral("&Open..."),
                       QKeySequence(Qt::CTRL | Qt::Key_O));
    mnuFileSave =
        item(mnuFile, "mnuFileSave", QStringLiteral("&Save"), QKeySequence(Qt::CTRL | Qt::Key_S));
    mnuFileSaveAs = item(mnuFile, "mnuFileSaveAs", QStringLiteral("Save &As..."));
    separator(mnuFile, "mnuFileSeparator1");
    mnuFileExport = item(mnuFile, "mnuFileExport", QStringLiteral("Export Shift Data..."),
                         QKeySequence(Qt::CTRL | Qt::Key_X));
    separator(mnuFile, "mnuFileSeparator2");
    auto *uploadMenu = new QMenu(QStringLiteral("&Upload (save) Data"), mnuFile);
    mnuFileUpload = mnuFile->addMenu(uploadMenu);
    mnuFileUpload->setObjectName(QStringLiteral("mnuFileUpload"));
    fillTransferMenu(uploadMenu, mnuFileUploadData, true);
    mnuFileDownloadProgram =
        item(mnuFile, "mnuFileDownloadProgram", QStringLiteral("&Download Program"));
    auto *downloadMenu = new QMenu(QStringLiteral("Dow&nload (restore) Data"), mnuFile);
    mnuFileDownload = mnuFile->addMenu(downloadMenu);
    mnuFileDownload->setObjectName(QStringLiteral("mnuFileDownload"));
    fillTransferMenu(downloadMenu, mnuFileDownloadData, false);
    separator(mnuFile, "mnuFileSeparator3");
    mnuFilePrintSetup = item(mnuFile, "mnuFilePrintSetup", QStringLiteral("&Report Setup"));
    mnuFilePrint = item(mnuFile, "mnuFilePrint", QStringLiteral("&Print Report..."),
                        QKeySequence(Qt::CTRL | Qt::Key_P));
    separator(mnuFile, "mnuFileSeparator4");
    mnuFileExit = item(mnuFile, "mnuFileExit", QStringLiteral("E&xit"));

    mnuEdit = bar->addMenu(QStringLiteral("&Edit"));
    mnuEdit->setObjectName(QStringLiteral("mnuEdit"));
    mnuEditOfflineEditing =
        item(mnuEdit, "mnuEditOfflineEditing", QStringLiteral("Enable &Offline Editing"),
             QKeySequence(Qt::Key_F2));
    mnuEditOfflineEditing->setCheckable(true);
    separator(mnuEdit, "mnuEditSeparator1");
    mnuEditCommPort = item(mnuEdit, "mnuEditCommPort", QStringLiteral("Co&mm Port"),
                           QKeySequence(Qt::CTRL | Qt::Key_M));
    separator(mnuEdit, "mnuEditSeparator2");
    mnuEditPasscode = item(mnuEdit, "mnuEditPasscode", QStringLiteral("Set-up Passcode"));
    mnuEditPasscode->setEnabled(false);

    mnuView = bar->addMenu(QStringLiteral("&View"));
    mnuView->setObjectName(QStringLiteral("mnuView"));
    mnuViewOnline =
        item(mnuView, "mnuViewOnline", QStringLiteral("O&nline Data"), QKeySequence(Qt::Key_F3));
    mnuViewOnline->setCheckable(true);
    mnuViewOffline =
        item(mnuView, "mnuViewOffline", QStringLiteral("O&ffline Data"), QKeySequence(Qt::Key_F4));
    mnuViewOffline->setCheckable(true);
    mnuViewOffline->setChecked(true);
    separator(mnuView, "mnuViewSep1");
    mnuViewTargetBoardStatus =
        item(mnuView, "mnuViewTargetBoardStatus", QStringLiteral("&Target Board Interface"),
             QKeySequence(Qt::Key_F5));

    mnuWindow = bar->addMenu(QStringLiteral("&Window"));
    mnuWindow->setObjectName(QStringLiteral("mnuWindow"));
    const QString windowCaptions[4] = {
        QStringLiteral("&1 Main Display"), QStringLiteral("&2 Set-up Parameters"),
        QStringLiteral("&3 Shift Data"), QStringLiteral("&4 I/O States")};
    for (int i = 0; i < 4; ++i) {
        mnuWindowForm[i] = mnuWindow->addAction(windowCaptions[i]);
        mnuWindowForm[i]->setObjectName(QStringLiteral("mnuWindowForm(%1)").arg(i));
        mnuWindowForm[i]->setCheckable(true);
        connectCommand(mnuWindowForm[i], this, [this, i] { mnuWindowForm_Click(i); });
    }

    mnuHelp = bar->addMenu(QStringLiteral("&Help"));
    mnuHelp->setObjectName(QStringLiteral("mnuHelp"));
    mnuHelpHelpTopics = item(mnuHelp, "mnuHelpHelpTopics", QStringLiteral("&Help Topics"),
                             QKeySequence(Qt::CTRL | Qt::Key_H));
    separator(mnuHelp, "mnuHelpSeparator0");
    mnuHelpAbout = item(mnuHelp, "mnuHelpAbout", QStringLiteral("&About KESTRO"));

    connectCommand(mnuFileNew, this, [this] { mnuFileNew_Click(); });
    connectCommand(mnuFileOpen, this, [this] { mnuFileOpen_Click(); });
    connectCommand(mnuFileSave, this, [this] { mnuFileSave_Click(); });
    connectCommand(mnuFileSaveAs, this, [this] { mnuFileSaveAs_Click(); });
    connectCommand(mnuFileExport, this, [this] { mnuFileExport_Click(); });
    connectCommand(mnuFileDownloadProgram, this, [this] { mnuFileDownloadProgram_Click(); });
    connectCommand(mnuFilePrintSetup, this, [this] { mnuFilePrintSetup_Click(); });
    connectCommand(mnuFilePrint, this, [this] { mnuFilePrint_Click(); });
    connectCommand(mnuFileExit, this, [this] { mnuFileExit_Click(); });
    connectCommand(mnuEditOfflineEditing, this, [this] { mnuEditOfflineEditing_Click(); });
    connectCommand(mnuEditCommPort, this, [this] { mnuEditCommPort_Click(); });
    connectCommand(mnuEditPasscode, this, [this] { mnuEditPasscode_Click(); });
    connectCommand(mnuViewOnline, this, [this] { mnuViewOnline_Click(); });
    connectCommand(mnuViewOffline, this, [this] { mnuViewOffline_Click(); });
    connectCommand(mnuViewTargetBoardStatus, this, [this] { mnuViewTargetBoardStatus_Click(); });
    connectCommand(mnuHelpHelpTopics, this, [this] { mnuHelpHelpTopics_Click(); });
    connectCommand(mnuHelpAbout, this, [this] { mnuHelpAbout_Click(); });
}

void frmMDIMain::fillTransferMenu(QMenu *menu, std::array<QAction *, 5> &items, bool upload)
{
    const QString name = upload ? QStringLiteral("mnuFileUploadData(%1)")
                                : QStringLiteral("mnuFileDownloadData(%1)");
    auto add = [&](int index, const QString &caption) {
        QAction *action = menu->addAction(caption);
        action->setObjectName(name.arg(index));
        items[index] = action;
        connectCommand(action, this, [this, index, upload] {
            if (upload)
                mnuFileUploadData_Click(index);
            else
                mnuFileDownloadData_Click(index);
        });
    };
    add(0, QStringLiteral("Set-up Data"));
    add(1, QStringLiteral("Shift Data"));
    QAction *separator = menu->addSeparator();
    separator->setObjectName(name.arg(3));
    items[3] = separator;
    add(4, QStringLiteral("All"));
}

void frmMDIMain::createToolbar()
{
    Toolbar1 = addToolBar(QStringLiteral("Toolbar1"));
    Toolbar1->setObjectName(QStringLiteral("Toolbar1"));
    Toolbar1->setMovable(false);
    Toolbar1->setIconSize(QSize(24, 24));

    auto keyed = [](QAction *action, const QString &key) {
        action->setProperty("key", key);
        action->setObjectName(QStringLiteral("tbr") + QString(key).remove(u' '));
        return action;
    };
    auto button = [&](int position, const QString &key, const QString &icon, const QString &tip) {
        QAction *action = Toolbar1->addAction(kestroIcon(icon), tip);
        action->setToolTip(tip);
        keyed(action, key);
        connect(action, &QAction::triggered, this,
                [this, position] { Toolbar1_ButtonClick(position); });
        return action;
    };
    auto separator = [&] { keyed(Toolbar1->addSeparator(), QStringLiteral("Separator")); };

    auto *placeholder = new QWidget(Toolbar1);
    placeholder->setFixedWidth(4);
    keyed(Toolbar1->addWidget(placeholder), QStringLiteral("PlaceHolder"));
    button(2, QStringLiteral("New"), QStringLiteral("new"), QStringLiteral("New..."));
    button(3, QStringLiteral("Open"), QStringLiteral("open"), QStringLiteral("Open..."));
    button(4, QStringLiteral("Save"), QStringLiteral("save"), QStringLiteral("Save"));
    separator();
    button(6, QStringLiteral("Print"), QStringLiteral("print"), QStringLiteral("Print"));
    separator();
    // The check button changes its own state when clicked, then runs the
    // command, which keeps the menu item and the flag in step with it.
    tbrOfflineEdit = Toolbar1->addAction(kestroIcon(QStringLiteral("offlineedit")),
                                         QStringLiteral("Offline Edit"));
    tbrOfflineEdit->setToolTip(QStringLiteral("Offline Edit"));
    tbrOfflineEdit->setCheckable(true);
    keyed(tbrOfflineEdit, QStringLiteral("Offline Edit"));
    connect(tbrOfflineEdit, &QAction::triggered, this, [this] { mnuEditOfflineEditing_Click(); });
    separator();

    auto dropDown = [&](int position, const QString &key, const QString &icon, const QString &tip) {
        auto *tool = new QToolButton(Toolbar1);
        tool->setObjectName(QStringLiteral("tbr") + QString(key).remove(u' ') +
                            QStringLiteral("Button"));
        tool->setIcon(kestroIcon(icon));
        tool->setToolTip(tip);
        tool->setPopupMode(QToolButton::MenuButtonPopup);
        auto *menu = new QMenu(tool);
        const QString captions[5] = {QStringLiteral("Set-up Data"), QStringLiteral("Shift Data"),
                                     QStringLiteral("Label Data"), QString(),
                                     QStringLiteral("All")};
        for (int p = 1; p <= 5; ++p) {
            QAction *entry = p == 4 ? menu->addSeparator() : menu->addAction(captions[p - 1]);
            entry->setProperty("position", p);
            if (p == 3)
                entry->setVisible(false);
            if (p != 4)
                connect(entry, &QAction::triggered, this,
                        [this, position, p] { Toolbar1_ButtonMenuClick(position, p); });
        }
        tool->setMenu(menu);
        connect(tool, &QToolButton::clicked, this,
                [this, position] { Toolbar1_ButtonClick(position); });
        keyed(Toolbar1->addWidget(tool), key)->setToolTip(tip);
        return tool;
    };
    tbrUpload = dropDown(10, QStringLiteral("Upload"), QStringLiteral("upload"),
                         QStringLiteral("Upload (save) Settings"));
    tbrDownload = dropDown(11, QStringLiteral("Download Data"), QStringLiteral("download"),
                           QStringLiteral("Download (restore) Settings"));
    separator();
    button(13, QStringLiteral("Target Board Interface"), QStringLiteral("targetboard"),
           QStringLiteral("Target Board Interface"));
}

void frmMDIMain::createStatusBar()
{
    struct Panel {
        const char *key;
        const char *text;
        const char *name;
        const char *tip;
    };
    const Panel panels[4] = {
        {"STATUS", "System Message:", "Status Display", "System Status Display Messages"},
        {"MODE", "OFFLINE", "Online Mode", "Communications Mode"},
        {"DATE", "", "Current Date", "Current Date"},
        {"TIME", "", "Current Time", "Current Time"},
    };
    for (int i = 0; i < 4; ++i) {
        auto *label = new QLabel(QString::fromLatin1(panels[i].text), this);
        label->setObjectName(QString::fromLatin1(panels[i].key));
        label->setAccessibleName(QString::fromLatin1(panels[i].name));
        label->setToolTip(QString::fromLatin1(panels[i].tip));
        label->setFrameStyle(QFrame::Panel | QFrame::Sunken);
        label->setContentsMargins(4, 0, 4, 0);
        label->installEventFilter(this);
        sbrMain[i] = label;
    }
    sbrMain[1]->setAlignment(Qt::AlignCenter);
    sbrMain[1]->setMinimumWidth(
        sbrMain[1]->fontMetrics().horizontalAdvance(QStringLiteral("OFFLINE")) + 24);
    statusBar()->addWidget(sbrMain[0], 1);
    statusBar()->addPermanentWidget(sbrMain[1]);
    statusBar()->addPermanentWidget(sbrMain[2]);
    statusBar()->addPermanentWidget(sbrMain[3]);
    statusBar()->setSizeGripEnabled(true);

    // The date and time panels keep themselves current.
    m_clockTimer = new QTimer(this);
    m_clockTimer->setInterval(1000);
    connect(m_clockTimer, &QTimer::timeout, this, &frmMDIMain::updateDateTimePanels);
    m_clockTimer->start();
    updateDateTimePanels();
}

void frmMDIMain::updateDateTimePanels()
{
    const QDateTime now = QDateTime::currentDateTime();
    const QLocale locale;
    sbrMain[2]->setText(locale.toString(now.date(), QLocale::ShortFormat));
    sbrMain[3]->setText(locale.toString(now.time(), QLocale::ShortFormat));
}

QString frmMDIMain::panelText(int panel) const
{
    return panel >= 1 && panel <= 4 ? sbrMain[panel - 1]->text() : QString();
}

QString frmMDIMain::wantedCaption() const
{
    QString caption = QStringLiteral("KESTRO - ") + gFileNameCaption;
    if (!m_util->gData.fullyRead())
        caption += NotFullyReadMark;
    const QMdiSubWindow *sub = m_childForms[m_currentWindow];
    if (isVisible() && sub && sub->isMaximized() && !sub->windowTitle().isEmpty())
        caption += QStringLiteral(" - [") + sub->windowTitle() + QLatin1Char(']');
    return caption;
}

void frmMDIMain::showCaption()
{
    m_settingCaption = true;
    setWindowTitle(wantedCaption());
    m_settingCaption = false;
}

void frmMDIMain::showCommMode(bool online)
{
    if (online)
        m_noBoardSeenYet = false;
    sbrMain[1]->setText(online ? QStringLiteral("ONLINE") : QStringLiteral("OFFLINE"));
    mnuViewOnline->setChecked(online);
    mnuViewOffline->setChecked(!online);
    mnuEditPasscode->setEnabled(online);
}

bool frmMDIMain::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::MouseButtonDblClick) {
        for (int i = 0; i < 4; ++i) {
            if (watched == sbrMain[i]) {
                sbrMain_PanelDblClick(i + 1);
                return true;
            }
        }
    }
    return QMainWindow::eventFilter(watched, event);
}

// ---------------------------------------------------------- child windows

ChildForm *frmMDIMain::currentChild() const
{
    const auto &sub = m_childForms[m_currentWindow];
    return sub ? qobject_cast<ChildForm *>(sub->widget()) : nullptr;
}

void frmMDIMain::mnuWindowForm_Click(int index)
{
    if (index < 0 || index >= ChildFormCount)
        return;
    if (index == m_currentWindow && m_startupDone)
        return;
    mnuWindowForm[m_currentWindow]->setChecked(false);
    mnuWindowForm[index]->setChecked(true);

    // The shown window is discarded before the next one is loaded. It is
    // deleted once control is back in the event loop, since this command may
    // run from inside one of its own refresh passes.
    if (QMdiSubWindow *old = m_childForms[m_currentWindow]) {
        if (auto *child = qobject_cast<ChildForm *>(old->widget()))
            child->Form_Unload();
        mdiArea->removeSubWindow(old);
        old->hide();
        old->deleteLater();
        m_childForms[m_currentWindow] = nullptr;
    }

    ChildForm *child = loadChildForm(index, *m_util, nullptr);
    // The Window menu is the way to change the child, so its title bar offers
    // no close or size buttons; a maximised child's caption joins the main
    // window's.
    QMdiSubWindow *sub =
        mdiArea->addSubWindow(child, Qt::SubWindow | Qt::CustomizeWindowHint | Qt::WindowTitleHint);
    sub->setAttribute(Qt::WA_DeleteOnClose, false);
    sub->setWindowIcon(windowIcon());
    m_childForms[index] = sub;
    m_currentWindow = index;
    // A child that cannot fit the area (a desktop scaled up) keeps its own
    // size and the area scrolls to the rest of it, rather than being cut off.
    const QSize room = mdiArea->viewport()->size();
    const bool fits = !mdiArea->isVisible() || (sub->minimumSizeHint().width() <= room.width() &&
                                                sub->minimumSizeHint().height() <= room.height());
    if (child->placement() == ChildForm::Placement::Maximised && fits) {
        sub->showMaximized();
    } else {
        sub->resize(sub->sizeHint());
        sub->move(0, 0);
        sub->show();
    }
    showCaption();
    if (isActiveWindow())
        activateChild();
}

void frmMDIMain::activateChild()
{
    if (ChildForm *child = currentChild()) {
        if (!child->FormActive)
            child->Form_Activate();
    }
}

void frmMDIMain::changeEvent(QEvent *event)
{
    QMainWindow::changeEvent(event);
    // The child's refresh cycle starts once the main window is in front.
    if (event->type() == QEvent::ActivationChange && isActiveWindow() && !m_shuttingDown)
        activateChild();
    // A maximised child joins its caption to the one the window had when it
    // was maximised, and puts that back when it goes: a file opened or saved
    // in between would vanish from the title. The window keeps its own.
    if (event->type() == QEvent::WindowTitleChange && !m_settingCaption &&
        windowTitle() != wantedCaption())
        showCaption();
}

void frmMDIMain::showEvent(QShowEvent *event)
{
    QMainWindow::showEvent(event);
    showCaption();
}

// -------------------------------------------------------------- commands

void frmMDIMain::Toolbar1_ButtonClick(int position)
{
    switch (position) {
    case 2:
        mnuFileNew_Click();
        break;
    case 3:
        mnuFileOpen_Click();
        break;
    case 4:
        mnuFileSave_Click();
        break;
    case 6:
        mnuFilePrint_Click();
        break;
    case 8:
        tbrOfflineEdit->setChecked(!tbrOfflineEdit->isChecked());
        mnuEditOfflineEditing_Click();
        break;
    case 10:
        mnuFileUploadData_Click(4);
        break;
    case 11:
        mnuFileDownloadData_Click(4);
        break;
    case 13:
        mnuViewTargetBoardStatus_Click();
        break;
    default:
        break;
    }
}

void frmMDIMain::Toolbar1_ButtonMenuClick(int button, int position)
{
    // Drop-down position p reaches submenu index p - 1.
    if (position < 1 || position > 5 || position == 4)
        return;
    if (button == 10)
        mnuFileUploadData_Click(position - 1);
    else if (button == 11)
        mnuFileDownloadData_Click(position - 1);
}

void frmMDIMain::sbrMain_PanelDblClick(int panel)
{
    if (panel != 2)
        return;
    RSComm &comm = *m_util->gRSComm;
    comm.OnlineMode = !comm.OnlineMode;
    m_util->ApplyCommMode();
}

void frmMDIMain::mnuViewOnline_Click()
{
    m_util->gRSComm->OnlineMode = true;
    m_util->ApplyCommMode();
}

void frmMDIMain::mnuViewOffline_Click()
{
    m_util->gRSComm->OnlineMode = false;
    m_util->ApplyCommMode();
}

void frmMDIMain::mnuEditOfflineEditing_Click()
{
    if (mnuEditOfflineEditing->isChecked()) {
        mnuEditOfflineEditing->setChecked(false);
        m_util->gOfflineEditing = false;
        if (tbrOfflineEdit->isChecked())
            tbrOfflineEdit->setChecked(false);
    } else {
        mnuEditOfflineEditing->setChecked(true);
        m_util->gOfflineEditing = true;
        if (!tbrOfflineEdit->isChecked())
            tbrOfflineEdit->setChecked(true);
    }
}

void frmMDIMain::mnuFileDownloadProgram_Click()
{
    OpenProgramFile(0);
}

void frmMDIMain::mnuEditCommPort_Click()
{
    frmSetupComm window(*m_util->gRSComm, *m_util->gCommPort, m_prompt, m_programDir, this);
    window.exec();
    // Saving closes the link and may not get it back: show the mode the
    // link is in now rather than the one from before the window opened.
    showCommMode(m_util->gRSComm->OnlineMode);
}

void frmMDIMain::mnuEditPasscode_Click()
{
    SetupPasscode(*m_util);
}

void frmMDIMain::mnuFilePrintSetup_Click()
{
    ReportSetupCommand(*this);
}

void frmMDIMain::mnuFilePrint_Click()
{
    PrintReportCommand(*this, *m_printerDialog);
}

void frmMDIMain::setPrinterDialog(PrinterDialog *dialog)
{
    m_printerDialog = dialog ? dialog : m_qtPrinterDialog.get();
}

void frmMDIMain::mnuHelpHelpTopics_Click()
{
    HelpTopicsCommand(*this, m_helpFile, m_prompt);
}

void frmMDIMain::mnuHelpAbout_Click()
{
    AboutCommand(*this, m_prompt);
}

void frmMDIMain::mnuViewTargetBoardStatus_Click()
{
    OpenProgramFile(1);
}

// ------------------------------------------------------- data transfers

void frmMDIMain::mnuFileUploadData_Click(int index)
{
    if (index == 3) {
        gUploadNOW = nowText();
        RunTransfer(int(TransferMode::UploadAll));
        return;
    }
    if (index == 31) {
        gUploadNOW = nowText();
        RunTransfer(int(TransferMode::UploadShift));
        return;
    }
    if (index != 0 && index != 1 && index != 4)
        return;
    const PromptAnswer answer = m_prompt.ask(
        QStringLiteral("Data Upload"),
        QStringLiteral("You are about to Upload Data from the PLC\r\n\r\nDo You Wish to Continue?"),
        PromptIcon::Question, PromptButtons::YesNo);
    if (answer != PromptAnswer::Yes)
        return;
    gUploadNOW = nowText();
    RunTransfer(index);
}

void frmMDIMain::mnuFileDownloadData_Click(int index)
{
    if (index != 0 && index != 1 && index != 4)
        return;
    const PromptAnswer answer = m_prompt.ask(
        QStringLiteral("Data Download"),
        QStringLiteral("You are about to Download Data to the PLC\r\n\r\nDo You Wish to Continue?"),
        PromptIcon::Question, PromptButtons::YesNo);
    if (answer == PromptAnswer::Yes)
        RunTransfer(index + 10);
}

void frmMDIMain::RunTransfer(int mode)
{
    const std::optional<TransferMode> transferMode = transferModeFromCode(mode);
    if (!transferMode)
        return;
    if (!m_util->OfflinePrompt())
        return;
    m_util->gTransferMode = qint16(mode);
    frmProcessing window(*transferMode, *m_util->gRSComm, m_util->gData.gCurrentData, m_prompt,
                         this);
    m_history->transferStarting(mode);
    window.exec();
    if (window.ran() && transferDirection(*transferMode) == TransferDirection::Upload) {
        m_util->gData.noteUpload(dataGroupIndexes(transferGroup(*transferMode)),
                                 notMoved(*transferMode, window.result()));
        showCaption();
    }
    m_history->transferEnded(mode);
}

bool frmMDIMain::AskUploadFirst()
{
    return m_prompt.ask(QStringLiteral("KESTRO"),
                        QStringLiteral("Do you wish to first 'Upload Data' from the T6800?  "),
                        PromptIcon::Question, PromptButtons::YesNo) == PromptAnswer::Yes;
}

// ----------------------------------------------------------------- files

SaveQuestion frmMDIMain::QuerySaveChanges()
{
    if (!m_util->gData.hasUnsavedChanges())
        return SaveQuestion::None;
    QString question = QStringLiteral("Save Changes to File?");
    if (!m_util->gData.fullyRead())
        question.prepend(NotFullyReadWarning);
    switch (m_prompt.ask(QStringLiteral("KESTRO"), question, PromptIcon::Exclamation,
                         PromptButtons::YesNoCancel)) {
    case PromptAnswer::Yes:
        return SaveQuestion::Yes;
    case PromptAnswer::No:
        return SaveQuestion::No;
    default:
        return SaveQuestion::Cancel;
    }
}

void frmMDIMain::mnuFileNew_Click()
{
    const SaveQuestion answer = QuerySaveChanges();
    if (answer == SaveQuestion::Cancel)
        return;
    // Cancel in the Save As dialog keeps the data it was asked about.
    if (answer == SaveQuestion::Yes && !saveToFile())
        return;
    m_util->gData.resetToDefaults();
    m_util->gFileUnnamed = true;
    gFileNameCaption = QStringLiteral("[unnamed]");
    showCaption();
    if (ChildForm *child = currentChild())
        child->dataReplaced();
}

void frmMDIMain::mnuFileOpen_Click()
{
    for (;;) {
        const SaveQuestion answer = QuerySaveChanges();
        if (answer == SaveQuestion::Cancel)
            return;
        if (answer == SaveQuestion::Yes && !saveToFile())
            return;
        QCoreApplication::processEvents();

        const std::optional<QString> path =
            m_fileDialogs.openFile(this, SetupFilter, gFileNamePath);
        if (!path)
            return;
        // A file that cannot be read as a data set ends the command with
        // nothing changed: the record is read whole before anything is used.
        if (const MachineError error = m_util->gData.readFile(*path); error != MachineError::None) {
            m_prompt.ask(QStringLiteral("KESTRO"),
                         QStringLiteral("The set-up file could not be opened:\r\n") + *path +
                             QStringLiteral("\r\n\r\n") + machineErrorText(error),
                         PromptIcon::Exclamation, PromptButtons::Ok);
            return;
        }
        gUploadNOW = nowText();

        const QString version = m_util->gData.gFileData.Version;
        if (version != gProgramVersion) {
            const PromptAnswer accept = m_prompt.ask(
                QStringLiteral("KESTRO"),
                QStringLiteral("File created by set-up program version: ") + version +
                    QStringLiteral("\r\nData tables may not be properly aligned.\r\n\r\n"
                                   "Do you wish to continue?"),
                PromptIcon::Information, PromptButtons::YesNoCancel);
            if (accept == PromptAnswer::No)
                continue;
            if (accept != PromptAnswer::Yes)
                return;
        }
        gFileNamePath = *path;
        gFileNameTitle = QFileInfo(*path).fileName();
        ApplyLoadedFile();
        return;
    }
}

void frmMDIMain::ApplyLoadedFile()
{
    m_util->gData.applyLoadedFile();
    m_util->gFileUnnamed = false;
    gFileNameCaption = QLatin1Char('[') + gFileNameTitle + QLatin1Char(']');
    showCaption();
    if (ChildForm *child = currentChild())
        child->dataReplaced();
}

void frmMDIMain::mnuFileSave_Click()
{
    saveToFile();
}

bool frmMDIMain::saveToFile()
{
    if (m_util->gFileUnnamed) {
        mnuFileSaveAs_Click();
        return !m_util->gFileUnnamed;
    }
    if (m_util->gRSComm->OnlineMode && AskUploadFirst())
        mnuFileUploadData_Click(3);

    const MachineError error = m_util->gData.saveFile(gFileNamePath);
    if (error != MachineError::None) {
        m_prompt.ask(QStringLiteral("KESTRO"),
                     QStringLiteral("The set-up file could not be saved:\r\n") + gFileNamePath +
                         QStringLiteral("\r\n\r\n") + machineErrorText(error),
                     PromptIcon::Exclamation, PromptButtons::Ok);
        return false;
    }
    gFileNameCaption = QLatin1Char('[') + gFileNameTitle + QLatin1Char(']');
    showCaption();
    QCoreApplication::processEvents();
    return true;
}

void frmMDIMain::mnuFileSaveAs_Click()
{
    const std::optional<QString> path = m_fileDialogs.saveFile(this, SetupFilter, QString());
    if (!path)
        return;
    QCoreApplication::processEvents();

    // A file that cannot be written leaves the names as they were.
    const bool wasUnnamed = m_util->gFileUnnamed;
    const QString oldPath = gFileNamePath;
    const QString oldTitle = gFileNameTitle;
    m_util->gFileUnnamed = false;
    gFileNamePath = *path;
    gFileNameTitle = QFileInfo(*path).fileName();
    if (!saveToFile()) {
        m_util->gFileUnnamed = wasUnnamed;
        gFileNamePath = oldPath;
        gFileNameTitle = oldTitle;
    }
}

void frmMDIMain::mnuFileExport_Click()
{
    if (m_util->gRSComm->OnlineMode && AskUploadFirst())
        mnuFileUploadData_Click(31);
    const std::optional<QString> path = m_fileDialogs.saveFileTitled(
        this, QStringLiteral("Export Shift Data"), ExportFilter, gFileExportPath);
    if (!path)
        return;
    QCoreApplication::processEvents();
    gFileExportPath = *path;
    // A file that cannot be created or written ends the command silently.
    writeShiftExport(*path, m_util->gData.gCurrentData, gFileNameTitle, gUploadNOW);
    QCoreApplication::processEvents();
}

// -------------------------------------------------------------- shut-down

void frmMDIMain::mnuFileExit_Click()
{
    close();
}

void frmMDIMain::closeEvent(QCloseEvent *event)
{
    if (m_shuttingDown) {
        event->accept();
        return;
    }
    const SaveQuestion answer = QuerySaveChanges();
    if (answer == SaveQuestion::Cancel) {
        event->ignore();
        return;
    }
    // Cancel in the Save As dialog, or a failed save, keeps the program running.
    if (answer == SaveQuestion::Yes && !saveToFile()) {
        event->ignore();
        return;
    }

    m_shuttingDown = true;
    tmrBackgroungUpdate->stop();
    m_util->gRSComm->CloseRSComm();
    for (auto &sub : m_childForms) {
        if (sub) {
            if (auto *child = qobject_cast<ChildForm *>(sub->widget()))
                child->Form_Unload();
            mdiArea->removeSubWindow(sub);
            delete sub.data();
        }
        sub = nullptr;
    }
    QCoreApplication::processEvents();
    event->accept();
    emit programEnded();
}

// ------------------------------------------------------ background cycle

// Whatever window wrote, a register line noise may have changed although
// nobody asked for it is named once, on the next tick.
void frmMDIMain::reportStrayWrites(RSComm &comm)
{
    if (comm.strayWrites().isEmpty() || m_strayBoxOpen)
        return;
    const QStringList texts = RSComm::strayWriteTexts(comm.takeStrayWrites());
    m_strayBoxOpen = true;
    m_prompt.ask(QStringLiteral("KESTRO"),
                 QStringLiteral("Line Noise May Have Changed Registers Nobody Asked For:\r\n") +
                     texts.join(QStringLiteral("\r\n")) +
                     QStringLiteral("\r\nCheck Them Before Running the Machine."),
                 PromptIcon::Exclamation, PromptButtons::Ok);
    m_strayBoxOpen = false;
}

QString frmMDIMain::lostDeviceText() const
{
    // A device that went away (an adapter pulled, a simulator stopped) is
    // named with the port that was configured for it; a board that merely
    // stopped answering says nothing more than the fault.
    const SerialPort &port = *m_util->gCommPort;
    if (port.lastError() != SerialError::HungUp)
        return {};
    return QStringLiteral(": the device of port ") + QString::number(port.portNumber()) +
           QStringLiteral(" went away (") + port.deviceName() + QLatin1Char(')');
}

void frmMDIMain::tmrBackgroungUpdate_Timer()
{
    RSComm &comm = *m_util->gRSComm;
    // A tick that comes while another exchange waits on the operator is
    // skipped; the next one reports.
    if (comm.linkBusy())
        return;
    reportStrayWrites(comm);
    if (!comm.OnlineMode) {
        m_history->cycleOffline(comm.CommError);
        m_util->gSystemMessage = QStringLiteral("Set-up Program is Currently OFFLINE");
        QString status = QStringLiteral("Program is Currently OFFLINE");
        if (comm.CommError)
            status = QStringLiteral("Comm Fault with T6800") + lostDeviceText();
        else if (m_noBoardSeenYet)
            // A first start shows a grey window full of "-": say what brings it to life.
            status += QStringLiteral(" - Press F3 (View > Online Data) to Go Online");
        sbrMain[0]->setText(StatusPrefix + status);
        return;
    }
    // The window that met the error switches the program offline; the
    // following ticks report it.
    if (comm.CommError) {
        m_history->cycleOffline(true);
        return;
    }

    // A status register's value is acted on only when the read went through;
    // a value other than the one acted on last must be read twice alike, so
    // one corrupted reply neither raises nor clears a fault.
    const auto confirmed = [&comm](const std::function<qint32()> &read,
                                   qint32 last) -> std::optional<qint32> {
        const qint32 first = read();
        if (comm.CommError || comm.lastTransactionFailed())
            return std::nullopt;
        if (first == last)
            return first;
        const qint32 second = read();
        if (comm.CommError || comm.lastTransactionFailed() || second != first)
            return std::nullopt;
        return first;
    };
    const std::optional<qint32> fault =
        confirmed([&comm] { return qint32(comm.FaultCode()); }, m_faultActedOn);
    if (!fault) {
        if (comm.CommError)
            m_history->cycleOnline(-1, QString());
        return;
    }
    m_faultActedOn = *fault;
    m_history->cycleOnline(*fault, *fault > 0 ? comm.FaultDescription(*fault) : QString());
    if (*fault > 0) {
        // Once per fault episode, and never a second box over the first.
        if (!FaultMsgShown && !m_faultBoxOpen) {
            m_faultBoxOpen = true;
            m_prompt.ask(QStringLiteral("KESTRO"), QStringLiteral("Faults Acitve in Target Board"),
                         PromptIcon::Critical, PromptButtons::Ok);
            m_faultBoxOpen = false;
            FaultMsgShown = true;
        }
        m_util->gSystemMessage = QStringLiteral("****** PROCESSOR FAULTED ******\r\n"
                                                "Set-up Program is Currently ONLINE");
        sbrMain[0]->setText(StatusPrefix + comm.FaultDescription(*fault));
        return;
    }

    if (comm.CommError)
        return;
    const std::optional<qint32> alarm = confirmed(
        [&comm] { return roundedTextValue(comm.RSRead(QStringLiteral("W98"))); }, m_alarmActedOn);
    if (!alarm)
        return;
    m_alarmActedOn = *alarm;
    const qint32 alarmWord = *alarm;
    if (alarmWord <= 0) {
        m_util->gSystemMessage = QStringLiteral("--- System Normal ---\r\n"
                                                "Set-up Program is Currently ONLINE");
        sbrMain[0]->setText(StatusPrefix + QStringLiteral("All Faults Normal"));
        FaultMsgShown = false;
        return;
    }

    QString message;
    for (int bit = 0; bit < 3; ++bit) {
        if ((alarmWord & (1 << bit)) > 0)
            message +=
                AlarmRule + QStringLiteral("\r\n") + AlarmTexts[bit] + QStringLiteral("\r\n");
    }
    m_util->gSystemMessage = message;
    sbrMain[0]->setText(StatusPrefix + QStringLiteral("Alarm(s) Active in T6800"));
}
