// The main window offline: start-up state, menus, toolbar, status bar,
// Window menu, background texts while offline, offline editing, files and
// the shut-down question. No board is involved.

#include "app/childform.h"
#include "app/frmmdimain.h"
#include "appharness.h"
#include "machine/sdtfile.h"

#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QMenuBar>
#include <QSignalSpy>
#include <QTest>
#include <QToolBar>
#include <QToolButton>

namespace
{

struct MenuRow {
    const char *menu;
    const char *name;
    const char *caption; // "-" for a separator
    const char *shortcut;
    bool enabled;
    bool checked;
};

// Menu bar, item by item in order.
const MenuRow MenuTable[] = {
    {"&File", "mnuFileNew", "&New...", "Ctrl+N", true, false},
    {"&File", "mnuFileOpen", "&Open...", "Ctrl+O", true, false},
    {"&File", "mnuFileSave", "&Save", "Ctrl+S", true, false},
    {"&File", "mnuFileSaveAs", "Save &As...", "", true, false},
    {"&File", "mnuFileSeparator1", "-", "", true, false},
    {"&File", "mnuFileCompare", "Compare with &Board...", "", true, false},
    {"&File", "mnuFileExport", "Export Shift Data...", "Ctrl+X", true, false},
    {"&File", "mnuFileSeparator2", "-", "", true, false},
    {"&File", "mnuFileUpload", "&Upload (save) Data", "", true, false},
    {"&File", "mnuFileDownloadProgram", "&Download Program", "", true, false},
    {"&File", "mnuFileDownload", "Dow&nload (restore) Data", "", true, false},
    {"&File", "mnuFileSeparator3", "-", "", true, false},
    {"&File", "mnuFilePrintSetup", "&Report Setup", "", true, false},
    {"&File", "mnuFilePrint", "&Print Report...", "Ctrl+P", true, false},
    {"&File", "mnuFileSeparator4", "-", "", true, false},
    {"&File", "mnuFileExit", "E&xit", "", true, false},
    {"&Edit", "mnuEditOfflineEditing", "Enable &Offline Editing", "F2", true, false},
    {"&Edit", "mnuEditSeparator1", "-", "", true, false},
    {"&Edit", "mnuEditCommPort", "Co&mm Port", "Ctrl+M", true, false},
    {"&Edit", "mnuEditSeparator2", "-", "", true, false},
    {"&Edit", "mnuEditPasscode", "Set-up Passcode", "", false, false},
    {"&View", "mnuViewOnline", "O&nline Data", "F3", true, false},
    {"&View", "mnuViewOffline", "O&ffline Data", "F4", true, true},
    {"&View", "mnuViewSep1", "-", "", true, false},
    {"&View", "mnuViewTargetBoardStatus", "&Target Board Interface", "F5", true, false},
    {"&View", "mnuViewHistory", "&History", "F6", true, false},
    {"&Window", "mnuWindowForm(0)", "&1 Main Display", "", true, true},
    {"&Window", "mnuWindowForm(1)", "&2 Set-up Parameters", "", true, false},
    {"&Window", "mnuWindowForm(2)", "&3 Shift Data", "", true, false},
    {"&Window", "mnuWindowForm(3)", "&4 I/O States", "", true, false},
    {"&Help", "mnuHelpHelpTopics", "&Help Topics", "Ctrl+H", true, false},
    {"&Help", "mnuHelpSeparator0", "-", "", true, false},
    {"&Help", "mnuHelpAbout", "&About KESTRO", "", true, false},
};

QList<QAction *> itemsOf(QMenuBar *bar)
{
    QList<QAction *> items;
    for (QAction *top : bar->actions())
        items += top->menu()->actions();
    return items;
}

QStringList linesOf(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray content = file.readAll();
    QStringList lines = QString::fromUtf8(content).split(QStringLiteral("\r\n"));
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void startupState();
    void menuCaptionsShortcutsAndStates();
    void transferSubmenusAndToolbar();
    void windowMenuSwitching();
    void offlineBackgroundTexts();
    void toolbarButton8TwiceReturnsEverythingToOff();
    void panel2DoubleClickOnlyOnPanel2();
    void transferCommandsOffline();
    void saveAsWritesTheDefaultsAndNamesTheWindow();
    void saveAsCancelledAndSaveFailureChangeNothing();
    void openSameVersionAndOtherVersion();
    void newAndExitAskTheSaveQuestion();
    void exportShiftData();
};

void TestMainWindow::startupState()
{
    AppHarness h;
    QVERIFY(h.start());
    frmMDIMain &w = h.w();
    QCOMPARE(w.windowTitle(), QStringLiteral("KESTRO - [unnamed]"));
    QCOMPARE(w.gFileNameCaption, QStringLiteral("[unnamed]"));
    QCOMPARE(w.gFileNamePath, QDir(h.programDir()).filePath(QStringLiteral("*.sdt")));
    QCOMPARE(w.currentWindow(), 0);
    QVERIFY(w.currentChild());
    QCOMPARE(w.currentChild()->windowTitle(), QStringLiteral("Main Display"));
    QCOMPARE(w.mdiArea->subWindowList().size(), 1);
    QVERIFY(w.mdiArea->subWindowList().first()->isMaximized());
    QCOMPARE(w.panelText(1), QStringLiteral("System Message:"));
    QCOMPARE(w.panelText(2), QStringLiteral("OFFLINE"));
    QVERIFY(!w.panelText(3).isEmpty());
    QVERIFY(!w.panelText(4).isEmpty());
    QVERIFY(w.mnuViewOffline->isChecked());
    QVERIFY(!w.mnuViewOnline->isChecked());
    QVERIFY(!w.mnuEditPasscode->isEnabled());
    QVERIFY(!h.comm->OnlineMode);
    QCOMPARE(h.port->openCount, 0);
    QVERIFY(h.util().gFileUnnamed);
    QVERIFY(!h.data.hasUnsavedChanges());
    QCOMPARE(h.data.gCurrentData, h.data.gDefaultData);
    QVERIFY(h.util().gPrintSetupParameters && h.util().gPrintShiftDataCounts);
    QVERIFY(!h.util().gPrintLabelData);
    QCOMPARE(w.tmrBackgroungUpdate->interval(), 500);
    QVERIFY(h.prompt.asked.isEmpty());

    // The window's own timer runs from the start.
    AppHarness running;
    QVERIFY(running.start(AppHarness::BackgroundTimer::Running));
    QVERIFY(running.w().tmrBackgroungUpdate->isActive());
}

void TestMainWindow::menuCaptionsShortcutsAndStates()
{
    AppHarness h;
    QVERIFY(h.start());
    QMenuBar *bar = h.w().menuBar();
    QStringList menus;
    for (QAction *top : bar->actions())
        menus << top->text();
    QCOMPARE(menus, (QStringList{"&File", "&Edit", "&View", "&Window", "&Help"}));

    const QList<QAction *> items = itemsOf(bar);
    QCOMPARE(items.size(), qsizetype(std::size(MenuTable)));
    for (qsizetype i = 0; i < items.size(); ++i) {
        const MenuRow &row = MenuTable[i];
        QAction *a = items[i];
        const QString where = QString::fromLatin1(row.name);
        QCOMPARE(a->objectName(), where);
        if (QByteArrayView(row.caption) == "-") {
            QVERIFY2(a->isSeparator(), qPrintable(where));
            continue;
        }
        QCOMPARE(a->text(), QString::fromLatin1(row.caption));
        QCOMPARE(a->shortcut().toString(), QString::fromLatin1(row.shortcut));
        QCOMPARE(a->isEnabled(), row.enabled);
        QCOMPARE(a->isChecked(), row.checked);
        QVERIFY2(a->isVisible(), qPrintable(where));
        // Each item belongs to the menu the table puts it in.
        bool inMenu = false;
        for (QAction *top : bar->actions())
            inMenu |= top->text() == QLatin1String(row.menu) && top->menu()->actions().contains(a);
        QVERIFY2(inMenu, qPrintable(where));
    }
}

void TestMainWindow::transferSubmenusAndToolbar()
{
    AppHarness h;
    QVERIFY(h.start());
    frmMDIMain &w = h.w();
    for (QAction *sub : {w.mnuFileUpload, w.mnuFileDownload}) {
        QStringList captions;
        for (QAction *a : sub->menu()->actions())
            captions << (a->isSeparator() ? QStringLiteral("-") : a->text());
        QCOMPARE(captions, (QStringList{"Set-up Data", "Shift Data", "-", "All"}));
    }
    QCOMPARE(w.mnuFileUploadData[2], nullptr);
    QCOMPARE(w.mnuFileUploadData[4]->objectName(), QStringLiteral("mnuFileUploadData(4)"));
    QCOMPARE(w.mnuFileDownloadData[0]->objectName(), QStringLiteral("mnuFileDownloadData(0)"));

    // Toolbar by position: key, tooltip and kind.
    const QList<QAction *> buttons = w.Toolbar1->actions();
    QCOMPARE(buttons.size(), 13);
    const QStringList keys = {"PlaceHolder",
                              "New",
                              "Open",
                              "Save",
                              "Separator",
                              "Print",
                              "Separator",
                              "Offline Edit",
                              "Separator",
                              "Upload",
                              "Download Data",
                              "Separator",
                              "Target Board Interface"};
    const QStringList tips = {"",
                              "New...",
                              "Open...",
                              "Save",
                              "",
                              "Print",
                              "",
                              "Offline Edit",
                              "",
                              "Upload (save) Settings",
                              "Download (restore) Settings",
                              "",
                              "Target Board Interface"};
    for (int p = 0; p < 13; ++p) {
        QCOMPARE(buttons[p]->property("key").toString(), keys[p]);
        QCOMPARE(buttons[p]->isSeparator(), keys[p] == QLatin1String("Separator"));
        if (!tips[p].isEmpty())
            QCOMPARE(w.Toolbar1->widgetForAction(buttons[p])->toolTip(), tips[p]);
    }
    QVERIFY(buttons[7]->isCheckable());
    QVERIFY(!buttons[7]->isChecked());
    for (QToolButton *tool : {w.tbrUpload, w.tbrDownload}) {
        QCOMPARE(tool->popupMode(), QToolButton::MenuButtonPopup);
        const QList<QAction *> entries = tool->menu()->actions();
        QCOMPARE(entries.size(), 5);
        QCOMPARE(entries[0]->text(), QStringLiteral("Set-up Data"));
        QCOMPARE(entries[1]->text(), QStringLiteral("Shift Data"));
        QCOMPARE(entries[2]->text(), QStringLiteral("Label Data"));
        QVERIFY(!entries[2]->isVisible());
        QVERIFY(entries[3]->isSeparator());
        QCOMPARE(entries[4]->text(), QStringLiteral("All"));
        QVERIFY(!tool->icon().isNull());
    }
    for (int p : {1, 2, 3, 5, 7, 12})
        QVERIFY2(!buttons[p]->icon().isNull(), qPrintable(keys[p]));

    // The button itself asks about "All"; a drop-down item asks about its own group.
    h.prompt.answers = {PromptAnswer::No};
    w.tbrUpload->click();
    QCOMPARE(h.prompt.asked.size(), 1);
    QCOMPARE(h.prompt.asked[0].title, QStringLiteral("Data Upload"));
    h.prompt.answers = {PromptAnswer::No};
    w.tbrDownload->menu()->actions()[1]->trigger();
    QCOMPARE(h.prompt.asked.size(), 2);
    QCOMPARE(h.prompt.asked[1].title, QStringLiteral("Data Download"));
}

void TestMainWindow::windowMenuSwitching()
{
    AppHarness h;
    QVERIFY(h.start());
    frmMDIMain &w = h.w();
    QPointer<ChildForm> main = w.currentChild();
    main->Form_Activate();
    QVERIFY(main->FormActive);

    // The window already shown: nothing happens.
    w.mnuWindowForm[0]->trigger();
    QCOMPARE(w.currentChild(), main.data());
    QVERIFY(main->FormActive);
    QVERIFY(w.mnuWindowForm[0]->isChecked());

    const char *classes[4] = {"frmMain", "frmSetup", "frmData", "frmDisplayIO"};
    for (int i : {1, 2, 3, 0}) {
        QPointer<ChildForm> before = w.currentChild();
        w.mnuWindowForm[i]->trigger();
        // The shown window is unloaded before the next one is shown.
        QVERIFY(!before || !before->FormActive);
        QCOMPARE(w.currentWindow(), i);
        QCOMPARE(w.currentChild()->metaObject()->className(), classes[i]);
        QCOMPARE(w.mdiArea->subWindowList().size(), 1);
        // I/O Status keeps its own size; the others fill the area.
        QCOMPARE(w.mdiArea->subWindowList().first()->isMaximized(), i != 3);
        for (int k = 0; k < 4; ++k)
            QCOMPARE(w.mnuWindowForm[k]->isChecked(), k == i);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!before);
    }
}

void TestMainWindow::offlineBackgroundTexts()
{
    AppHarness h;
    QVERIFY(h.start());
    frmMDIMain &w = h.w();
    w.tmrBackgroungUpdate_Timer();
    QCOMPARE(h.util().gSystemMessage, QStringLiteral("Set-up Program is Currently OFFLINE"));
    QCOMPARE(w.panelText(1), QStringLiteral("System Message:  Program is Currently OFFLINE - "
                                            "Press F3 (View > Online Data) to Go Online"));
    h.comm->CommError = true;
    w.tmrBackgroungUpdate_Timer();
    QCOMPARE(h.util().gSystemMessage, QStringLiteral("Set-up Program is Currently OFFLINE"));
    QCOMPARE(w.panelText(1), QStringLiteral("System Message:  Comm Fault with T6800"));
    // Offline the cycle never touches the port.
    QCOMPARE(h.port->openCount, 0);
    QVERIFY(h.port->sent.isEmpty());
}

void TestMainWindow::toolbarButton8TwiceReturnsEverythingToOff()
{
    AppHarness h;
    QVERIFY(h.start());
    frmMDIMain &w = h.w();
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    auto *button = qobject_cast<QToolButton *>(w.Toolbar1->widgetForAction(w.tbrOfflineEdit));
    QVERIFY(button);

    QTest::mouseClick(button, Qt::LeftButton);
    QVERIFY(w.mnuEditOfflineEditing->isChecked());
    QVERIFY(w.tbrOfflineEdit->isChecked());
    QVERIFY(h.util().gOfflineEditing);
    QTest::mouseClick(button, Qt::LeftButton);
    QVERIFY(!w.mnuEditOfflineEditing->isChecked());
    QVERIFY(!w.tbrOfflineEdit->isChecked());
    QVERIFY(!h.util().gOfflineEditing);

    // The menu item keeps the button in step too, in both directions.
    w.mnuEditOfflineEditing->trigger();
    QVERIFY(w.mnuEditOfflineEditing->isChecked());
    QVERIFY(button->isChecked());
    QVERIFY(h.util().gOfflineEditing);
    QTest::mouseClick(button, Qt::LeftButton);
    QVERIFY(!w.mnuEditOfflineEditing->isChecked());
    QVERIFY(!h.util().gOfflineEditing);
    w.Toolbar1_ButtonClick(8);
    QVERIFY(w.mnuEditOfflineEditing->isChecked() && button->isChecked() &&
            h.util().gOfflineEditing);
    w.mnuEditOfflineEditing->trigger();
    QVERIFY(!w.mnuEditOfflineEditing->isChecked() && !button->isChecked() &&
            !h.util().gOfflineEditing);
}

void TestMainWindow::panel2DoubleClickOnlyOnPanel2()
{
    AppHarness h;
    QVERIFY(h.start());
    frmMDIMain &w = h.w();
    // Port 1 names a device that does not exist: going online fails at once.
    QVERIFY(QFile::link(QStringLiteral("/nonexistent/kestro-test-device"),
                        QDir(h.programDir()).filePath(QStringLiteral("Support/COM1"))));
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    QTest::mouseDClick(w.sbrMain[0], Qt::LeftButton);
    QTest::mouseDClick(w.sbrMain[2], Qt::LeftButton);
    QCOMPARE(h.port->openCount, 0);
    QTest::mouseDClick(w.sbrMain[1], Qt::LeftButton);
    QCOMPARE(h.port->openCount, 1);
    // The port failed: a "Comm Port Error" box, and the mode stays offline.
    QCOMPARE(h.prompt.asked.size(), 1);
    QCOMPARE(h.prompt.asked[0].title, QStringLiteral("Comm Port Error"));
    QVERIFY(!h.comm->OnlineMode);
    QCOMPARE(w.panelText(2), QStringLiteral("OFFLINE"));
    QVERIFY(w.mnuViewOffline->isChecked());
    QVERIFY(!w.mnuEditPasscode->isEnabled());
    QVERIFY(!h.util().gBoardInfoRead);
}

void TestMainWindow::transferCommandsOffline()
{
    AppHarness h;
    QVERIFY(h.start());
    frmMDIMain &w = h.w();
    const QString before = w.gUploadNOW;

    // Declining the confirmation: nothing at all.
    h.prompt.answers = {PromptAnswer::No};
    w.mnuFileUploadData_Click(4);
    QCOMPARE(h.prompt.asked.size(), 1);
    QCOMPARE(h.prompt.asked[0].title, QStringLiteral("Data Upload"));
    QCOMPARE(h.prompt.asked[0].text,
             QStringLiteral(
                 "You are about to Upload Data from the PLC\r\n\r\nDo You Wish to Continue?"));
    QCOMPARE(h.prompt.asked[0].icon, PromptIcon::Question);
    QCOMPARE(h.prompt.asked[0].buttons, PromptButtons::YesNo);
    QCOMPARE(w.gUploadNOW, before);

    // Confirmed while offline: the offline prompt, answered No, ends it; the
    // upload time is already taken.
    h.prompt.answers = {PromptAnswer::Yes, PromptAnswer::No};
    w.mnuFileUploadData_Click(0);
    QCOMPARE(h.prompt.asked.size(), 3);
    QCOMPARE(h.prompt.asked[2].title, QStringLiteral("Program Offline"));
    QCOMPARE(h.prompt.asked[2].text, QStringLiteral("Program is Currently OFFLINE\r\n\r\nDo You "
                                                    "Wish to Switch to ONLINE MODE to Continue?"));
    QCOMPARE(h.prompt.asked[2].icon, PromptIcon::Question);
    QVERIFY(!w.gUploadNOW.isEmpty());
    QCOMPARE(h.util().gTransferMode, qint16(0));
    QCOMPARE(h.port->openCount, 0);

    h.prompt.answers = {PromptAnswer::Yes, PromptAnswer::No};
    w.mnuFileDownloadData_Click(1);
    QCOMPARE(h.prompt.asked[3].title, QStringLiteral("Data Download"));
    QCOMPARE(h.prompt.asked[3].text,
             QStringLiteral(
                 "You are about to Download Data to the PLC\r\n\r\nDo You Wish to Continue?"));
    QCOMPARE(h.prompt.asked[4].title, QStringLiteral("Program Offline"));
    QCOMPARE(h.port->openCount, 0);

    // Going online fails (no device): the transfer still starts and stops at
    // once with the error message, nothing moved.
    QVERIFY(QFile::link(QStringLiteral("/nonexistent/kestro-test-device"),
                        QDir(h.programDir()).filePath(QStringLiteral("Support/COM1"))));
    h.prompt.answers = {PromptAnswer::Yes, PromptAnswer::Yes};
    h.prompt.asked.clear();
    const DataSet data = h.data.gCurrentData;
    w.mnuFileDownloadData_Click(4);
    QCOMPARE(h.util().gTransferMode, qint16(14));
    QStringList titles;
    for (const auto &a : h.prompt.asked)
        titles << a.title;
    QCOMPARE(titles,
             (QStringList{"Data Download", "Program Offline", "Comm Port Error", "KESTRO"}));
    QCOMPARE(h.prompt.asked.last().text,
             QStringLiteral("Error Processing Request\r\n\r\nProcess Not Complete"));
    QCOMPARE(h.prompt.asked.last().icon, PromptIcon::Exclamation);
    QCOMPARE(h.data.gCurrentData, data);
}

void TestMainWindow::saveAsWritesTheDefaultsAndNamesTheWindow()
{
    AppHarness h;
    QVERIFY(h.start());
    frmMDIMain &w = h.w();
    const QString path = QDir(h.programDir()).filePath(QStringLiteral("Line3.sdt"));
    // Save on an unnamed set-up runs Save As.
    h.dialogs.answers = {path};
    w.mnuFileSave_Click();
    QCOMPARE(h.dialogs.asked.size(), 1);
    QVERIFY(h.dialogs.asked[0].save);
    QCOMPARE(h.dialogs.asked[0].filter, QStringLiteral("Setup Files(*.sdt)|*.sdt|"));
    QCOMPARE(h.dialogs.asked[0].initialPath, QString());
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray bytes = file.readAll();
    QCOMPARE(bytes.size(), 1550);
    QVERIFY(bytes.startsWith(
        QByteArray("\x0D\x00KESTRO_R2.1.3\x01\x00\x8A\x00\x00\x00\x00\x00\x00\x00\x05\x00"
                   "B1011",
                   2 + 13 + 2 + 8 + 2 + 5)));
    QCOMPARE(w.windowTitle(), QStringLiteral("KESTRO - [Line3.sdt]"));
    QCOMPARE(w.gFileNameTitle, QStringLiteral("Line3.sdt"));
    QCOMPARE(w.gFileNamePath, path);
    QVERIFY(!h.util().gFileUnnamed);
    // Offline, a named file is written at once with no upload question.
    h.data.gCurrentData.Value[127] = 15;
    w.mnuFileSave_Click();
    QVERIFY(h.prompt.asked.isEmpty());
    QCOMPARE(h.dialogs.asked.size(), 1);
    DataSet back;
    QCOMPARE(readSetupFile(path, back), MachineError::None);
    QCOMPARE(back.Value[127], 15);
    QVERIFY(!h.data.hasUnsavedChanges());
}

void TestMainWindow::saveAsCancelledAndSaveFailureChangeNothing()
{
    AppHarness h;
    QVERIFY(h.start());
    frmMDIMain &w = h.w();
    h.data.gCurrentData.Value[122] = 700;
    h.dialogs.answers = {std::nullopt};
    w.mnuFileSaveAs_Click();
    QVERIFY(h.util().gFileUnnamed);
    QCOMPARE(w.windowTitle(), QStringLiteral("KESTRO - [unnamed]"));
    QVERIFY(h.prompt.asked.isEmpty());

    // A folder that does not exist: the operator is told, nothing changes.
    const QString bad = QDir(h.programDir()).filePath(QStringLiteral("no/such/folder/x.sdt"));
    const QString oldPath = w.gFileNamePath;
    h.dialogs.answers = {bad};
    w.mnuFileSaveAs_Click();
    QCOMPARE(h.prompt.asked.size(), 1);
    QCOMPARE(h.prompt.asked[0].title, QStringLiteral("KESTRO"));
    QVERIFY(h.prompt.asked[0].text.contains(bad));
    QCOMPARE(h.prompt.asked[0].icon, PromptIcon::Exclamation);
    QVERIFY(h.util().gFileUnnamed);
    QCOMPARE(w.gFileNamePath, oldPath);
    QCOMPARE(w.gFileNameTitle, QString());
    QCOMPARE(w.windowTitle(), QStringLiteral("KESTRO - [unnamed]"));
    QVERIFY(h.data.hasUnsavedChanges());
    QCOMPARE(h.data.gCurrentData.Value[122], 700);
    QVERIFY(!QFile::exists(bad));
}

void TestMainWindow::openSameVersionAndOtherVersion()
{
    AppHarness h;
    QVERIFY(h.start());
    frmMDIMain &w = h.w();
    DataSet same = h.data.gDefaultData;
    same.Value[125] = 40;
    const QString samePath = QDir(h.programDir()).filePath(QStringLiteral("same.sdt"));
    QCOMPARE(writeSetupFile(samePath, same), MachineError::None);
    DataSet other = same;
    other.Version = QStringLiteral("KESTRO_R2.0.7");
    other.Value[125] = 77;
    const QString otherPath = QDir(h.programDir()).filePath(QStringLiteral("other.sdt"));
    QCOMPARE(writeSetupFile(otherPath, other), MachineError::None);

    // Same version: applied without a question; exiting asks nothing.
    h.dialogs.answers = {samePath};
    w.mnuFileOpen_Click();
    QCOMPARE(h.dialogs.asked.size(), 1);
    QVERIFY(!h.dialogs.asked[0].save);
    QCOMPARE(h.dialogs.asked[0].initialPath,
             QDir(h.programDir()).filePath(QStringLiteral("*.sdt")));
    QVERIFY(h.prompt.asked.isEmpty());
    QCOMPARE(h.data.gCurrentData.Value[125], 40);
    QCOMPARE(w.windowTitle(), QStringLiteral("KESTRO - [same.sdt]"));
    QVERIFY(!w.gUploadNOW.isEmpty());
    QCOMPARE(w.QuerySaveChanges(), SaveQuestion::None);

    // Other version: No shows the dialog again, Cancel keeps what was there.
    h.dialogs.answers = {otherPath, otherPath};
    h.prompt.answers = {PromptAnswer::No, PromptAnswer::Cancel};
    w.mnuFileOpen_Click();
    QCOMPARE(h.dialogs.asked.size(), 3);
    QCOMPARE(h.dialogs.asked[2].initialPath, samePath);
    QCOMPARE(h.prompt.asked.size(), 2);
    QCOMPARE(
        h.prompt.asked[0].text,
        QStringLiteral("File created by set-up program version: KESTRO_R2.0.7\r\n"
                       "Data tables may not be properly aligned.\r\n\r\nDo you wish to continue?"));
    QCOMPARE(h.prompt.asked[0].icon, PromptIcon::Information);
    QCOMPARE(h.prompt.asked[0].buttons, PromptButtons::YesNoCancel);
    QCOMPARE(h.data.gCurrentData.Value[125], 40);
    QCOMPARE(w.windowTitle(), QStringLiteral("KESTRO - [same.sdt]"));
    QCOMPARE(w.gFileNamePath, samePath);

    // Yes takes it; it counts as changed until saved with this version.
    h.dialogs.answers = {otherPath};
    h.prompt.answers = {PromptAnswer::Yes};
    w.mnuFileOpen_Click();
    QCOMPARE(h.data.gCurrentData.Value[125], 77);
    QCOMPARE(w.windowTitle(), QStringLiteral("KESTRO - [other.sdt]"));
    QVERIFY(h.data.hasUnsavedChanges());

    // A damaged file ends the command with nothing changed.
    const QString damaged = QDir(h.programDir()).filePath(QStringLiteral("damaged.sdt"));
    QFile bad(damaged);
    QVERIFY(bad.open(QIODevice::WriteOnly));
    bad.write("\x0D\x00KESTRO");
    bad.close();
    h.prompt.answers = {PromptAnswer::No};
    h.dialogs.answers = {damaged};
    w.mnuFileOpen_Click();
    QCOMPARE(h.data.gCurrentData.Value[125], 77);
    QCOMPARE(w.gFileNamePath, otherPath);
}

void TestMainWindow::newAndExitAskTheSaveQuestion()
{
    AppHarness h;
    QVERIFY(h.start());
    frmMDIMain &w = h.w();
    QSignalSpy ended(&w, &frmMDIMain::programEnded);
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));

    h.data.gCurrentData.Value[127] = 15;
    h.prompt.answers = {PromptAnswer::Cancel};
    w.mnuFileNew_Click();
    QCOMPARE(h.prompt.asked.size(), 1);
    QCOMPARE(h.prompt.asked[0].title, QStringLiteral("KESTRO"));
    QCOMPARE(h.prompt.asked[0].text, QStringLiteral("Save Changes to File?"));
    QCOMPARE(h.prompt.asked[0].icon, PromptIcon::Exclamation);
    QCOMPARE(h.prompt.asked[0].buttons, PromptButtons::YesNoCancel);
    QCOMPARE(h.data.gCurrentData.Value[127], 15);

    // Exit with changes, Cancel: the program keeps running.
    h.prompt.answers = {PromptAnswer::Cancel};
    w.mnuFileExit_Click();
    QCOMPARE(h.prompt.asked.size(), 2);
    QCOMPARE(h.prompt.asked[1].text, QStringLiteral("Save Changes to File?"));
    QVERIFY(w.isVisible());
    QCOMPARE(ended.count(), 0);
    QVERIFY(w.currentChild());

    // No on New: the defaults come back.
    h.prompt.answers = {PromptAnswer::No};
    w.mnuFileNew_Click();
    QCOMPARE(h.data.gCurrentData, h.data.gDefaultData);
    QVERIFY(!h.data.hasUnsavedChanges());

    // Exit with nothing changed: no question; the window closes in order.
    w.close();
    QCOMPARE(h.prompt.asked.size(), 3);
    QCOMPARE(ended.count(), 1);
    QVERIFY(!w.isVisible());
    QVERIFY(!w.currentChild());
}

void TestMainWindow::exportShiftData()
{
    AppHarness h;
    QVERIFY(h.start());
    frmMDIMain &w = h.w();
    const QString first = QDir(h.programDir()).filePath(QStringLiteral("shift.txt"));
    h.dialogs.answers = {first};
    w.mnuFileExport_Click();
    QCOMPARE(h.dialogs.asked.size(), 1);
    QCOMPARE(h.dialogs.asked[0].filter, QStringLiteral("Text Files(*.txt)|*.txt|"));
    QCOMPARE(h.dialogs.asked[0].initialPath, QString());
    QVERIFY(h.prompt.asked.isEmpty());
    QStringList lines = linesOf(first);
    QCOMPARE(lines.size(), 96);
    QCOMPARE(lines[0], QStringLiteral("untitled"));
    QCOMPARE(lines[1], QStringLiteral("Date: "));
    QCOMPARE(lines[3], QStringLiteral("Current Shift Data:"));
    QCOMPARE(lines[5], QStringLiteral(" 0"));
    QCOMPARE(lines[59], QStringLiteral("Last Shift Trips per Spindle"));
    QCOMPARE(lines[95], QStringLiteral(" 0"));
    QCOMPARE(w.gFileExportPath, first);

    // The second export starts from the first one's path and takes the data now held.
    h.data.gCurrentData.Value[37] = 15230;
    h.data.gCurrentData.Value[120] = -12;
    h.dialogs.answers = {std::nullopt};
    w.mnuFileExport_Click();
    QCOMPARE(h.dialogs.asked[1].initialPath, first);
    QCOMPARE(linesOf(first)[5], QStringLiteral(" 0"));
    const QString second = QDir(h.programDir()).filePath(QStringLiteral("shift2.txt"));
    h.dialogs.answers = {second};
    w.mnuFileExport_Click();
    QCOMPARE(h.dialogs.asked[2].initialPath, first);
    lines = linesOf(second);
    QCOMPARE(lines[5], QStringLiteral(" 15230"));
    QCOMPARE(lines[95], QStringLiteral("-12"));
}

QTEST_MAIN(TestMainWindow)
#include "test_mainwindow.moc"
