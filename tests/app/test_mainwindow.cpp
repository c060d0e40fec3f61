// The main window offline, driven through its menus, keys, toolbar and status
// panels: transfers, offline editing, the Window menu, background texts,
// files and the shut-down question. No board is involved.

#include "app/childform.h"
#include "appharness.h"
#include "machine/sdtfile.h"

#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QSignalSpy>
#include <QToolBar>

namespace
{

struct Shown : AppHarness {
    bool show(BackgroundTimer timer = BackgroundTimer::Stopped)
    {
        if (!start(timer))
            return false;
        w().show();
        w().activateWindow();
        return QTest::qWaitForWindowActive(&w());
    }
    QString panel(const char *key) { return w().findChild<QLabel *>(key)->text(); }
    QAction *action(const char *name) { return w().findChild<QAction *>(name); }
    void key(int key, Qt::KeyboardModifiers mods = Qt::NoModifier)
    {
        QTest::keyClick(&w(), Qt::Key(key), mods);
    }
    QStringList titles() const
    {
        QStringList t;
        for (const auto &a : prompt.asked)
            t << a.title;
        return t;
    }
    QString file(const char *name) const
    {
        return QDir(programDir()).filePath(QString::fromLatin1(name));
    }
    // Port 1 names a device that does not exist: going online fails at once.
    bool noDevice()
    {
        return QFile::link(QStringLiteral("/nonexistent/kestro-test-device"),
                           file("Support/COM1"));
    }
};

QStringList linesOf(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QStringList lines = QString::fromUtf8(file.readAll()).split(QStringLiteral("\r\n"));
    lines.removeLast();
    return lines;
}

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void transferMenus_data()
    {
        QTest::addColumn<QStringList>("path");
        QTest::addColumn<int>("mode");
        const QStringList up = {"mnuFile", "mnuFileUpload"};
        const QStringList down = {"mnuFile", "mnuFileDownload"};
        QTest::newRow("upload set-up") << up + QStringList{"mnuFileUploadData(0)"} << 0;
        QTest::newRow("upload shift") << up + QStringList{"mnuFileUploadData(1)"} << 1;
        QTest::newRow("upload all") << up + QStringList{"mnuFileUploadData(4)"} << 4;
        QTest::newRow("download set-up") << down + QStringList{"mnuFileDownloadData(0)"} << 10;
        QTest::newRow("download shift") << down + QStringList{"mnuFileDownloadData(1)"} << 11;
        QTest::newRow("download all") << down + QStringList{"mnuFileDownloadData(4)"} << 14;
    }
    // Each item asks first, then offers to go online; a link that cannot be
    // opened ends the transfer with nothing moved.
    void transferMenus()
    {
        QFETCH(QStringList, path);
        QFETCH(int, mode);
        const QString title = mode < 10 ? QStringLiteral("Data Upload")
                                        : QStringLiteral("Data Download");
        Shown h;
        QVERIFY(h.show());
        const QString uploadTime = h.w().gUploadNOW;

        h.prompt.answers = {PromptAnswer::No};
        QVERIFY(chooseMenu(h.w(), path));
        QCOMPARE(h.titles(), QStringList{title});
        QCOMPARE(h.w().gUploadNOW, uploadTime);

        h.prompt.answers = {PromptAnswer::Yes, PromptAnswer::No};
        QVERIFY(chooseMenu(h.w(), path));
        QCOMPARE(h.titles(), (QStringList{title, title, "Program Offline"}));
        QCOMPARE(h.port->openCount, 0);

        QVERIFY(h.noDevice());
        h.prompt.asked.clear();
        h.prompt.answers = {PromptAnswer::Yes, PromptAnswer::Yes};
        const DataSet data = h.data.gCurrentData;
        QVERIFY(chooseMenu(h.w(), path));
        QCOMPARE(h.titles(), (QStringList{title, "Program Offline", "Comm Port Error", "KESTRO"}));
        QCOMPARE(h.prompt.asked.last().text,
                 QStringLiteral("Error Processing Request\r\n\r\nProcess Not Complete"));
        QCOMPARE(h.util().gTransferMode, qint16(mode));
        QCOMPARE(h.data.gCurrentData, data);
        QCOMPARE(h.w().gUploadNOW != uploadTime, mode < 10);
    }

    void modePanelDoubleClickGoesOnline()
    {
        Shown h;
        QVERIFY(h.show());
        QVERIFY(h.noDevice());
        for (const char *other : {"STATUS", "DATE", "TIME"})
            QTest::mouseDClick(h.w().findChild<QLabel *>(other), Qt::LeftButton);
        QCOMPARE(h.port->openCount, 0);
        QTest::mouseDClick(h.w().findChild<QLabel *>("MODE"), Qt::LeftButton);
        QCOMPARE(h.port->openCount, 1);
        QCOMPARE(h.titles(), QStringList{"Comm Port Error"});
        QCOMPARE(h.panel("MODE"), QStringLiteral("OFFLINE"));
        QVERIFY(h.action("mnuViewOffline")->isChecked());
        QVERIFY(!h.action("mnuEditPasscode")->isEnabled());
    }

    // The toolbar button, the menu item and its key keep each other in step.
    void offlineEditingButtonMenuAndKey()
    {
        Shown h;
        QVERIFY(h.show());
        QAction *item = h.action("mnuEditOfflineEditing");
        QWidget *button =
            h.w().findChild<QToolBar *>("Toolbar1")->widgetForAction(h.action("tbrOfflineEdit"));
        auto state = [&] {
            return QList<bool>{item->isChecked(), h.action("tbrOfflineEdit")->isChecked(),
                               h.util().gOfflineEditing};
        };
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(state(), (QList<bool>{true, true, true}));
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(state(), (QList<bool>{false, false, false}));
        h.key(Qt::Key_F2);
        QCOMPARE(state(), (QList<bool>{true, true, true}));
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(state(), (QList<bool>{false, false, false}));
        QVERIFY(chooseMenu(h.w(), {"mnuEdit", "mnuEditOfflineEditing"}));
        QCOMPARE(state(), (QList<bool>{true, true, true}));
        h.key(Qt::Key_F2);
        QCOMPARE(state(), (QList<bool>{false, false, false}));
    }

    void windowMenuShowsOneWindowAtATime()
    {
        Shown h;
        QVERIFY(h.show());
        auto *area = h.w().findChild<QMdiArea *>();
        const char *classes[4] = {"frmMain", "frmSetup", "frmData", "frmDisplayIO"};
        for (int i : {1, 2, 3, 0}) {
            QPointer<ChildForm> before = h.w().currentChild();
            const QString name = QStringLiteral("mnuWindowForm(%1)").arg(i);
            QVERIFY(chooseMenu(h.w(), {"mnuWindow", name}));
            QVERIFY(!before || !before->FormActive);
            QCOMPARE(h.w().currentChild()->metaObject()->className(), classes[i]);
            QCOMPARE(area->subWindowList().size(), 1);
            // I/O States keeps its own size; the others fill the area.
            QCOMPARE(area->subWindowList().first()->isMaximized(), i != 3);
            for (int k = 0; k < 4; ++k)
                QCOMPARE(h.w().findChild<QAction *>(QStringLiteral("mnuWindowForm(%1)").arg(k))
                             ->isChecked(),
                         k == i);
        }
        // The window already shown: nothing changes.
        QPointer<ChildForm> main = h.w().currentChild();
        QVERIFY(chooseMenu(h.w(), {"mnuWindow", "mnuWindowForm(0)"}));
        QCOMPARE(h.w().currentChild(), main.data());
    }

    void offlineStatusTexts()
    {
        Shown h;
        QVERIFY(h.show(AppHarness::BackgroundTimer::Running));
        QTRY_COMPARE(h.panel("STATUS"),
                     QStringLiteral("System Message:  Program is Currently OFFLINE - "
                                    "Press F3 (View > Online Data) to Go Online"));
        h.comm->CommError = true;
        QTRY_COMPARE(h.panel("STATUS"), QStringLiteral("System Message:  Comm Fault with T6800"));
        QCOMPARE(h.util().gSystemMessage, QStringLiteral("Set-up Program is Currently OFFLINE"));
        QCOMPARE(h.port->openCount, 0);
    }

    void saveAsThenSave()
    {
        Shown h;
        QVERIFY(h.show());
        // Save on an unnamed set-up runs Save As.
        const QString path = h.file("Line3.sdt");
        h.dialogs.answers = {path};
        h.key(Qt::Key_S, Qt::ControlModifier);
        QCOMPARE(h.dialogs.asked.size(), 1);
        QCOMPARE(h.dialogs.asked[0].filter, QStringLiteral("Setup Files(*.sdt)|*.sdt|"));
        QCOMPARE(h.w().windowTitle(), QStringLiteral("KESTRO - [Line3.sdt] - [Main Display]"));
        DataSet back;
        QCOMPARE(readSetupFile(path, back), MachineError::None);
        QCOMPARE(back, h.data.gDefaultData);

        // Offline, a named file is written at once with no question.
        h.data.gCurrentData.Value[127] = 15;
        h.key(Qt::Key_S, Qt::ControlModifier);
        QVERIFY(h.prompt.asked.isEmpty());
        QCOMPARE(h.dialogs.asked.size(), 1);
        QCOMPARE(readSetupFile(path, back), MachineError::None);
        QCOMPARE(back.Value[127], 15);
        QVERIFY(!h.data.hasUnsavedChanges());

        // A file that cannot be written: the operator is told, the names stay.
        const QString bad = h.file("no/such/folder/x.sdt");
        h.data.gCurrentData.Value[122] = 700;
        h.dialogs.answers = {bad};
        QVERIFY(chooseMenu(h.w(), {"mnuFile", "mnuFileSaveAs"}));
        QCOMPARE(h.titles(), QStringList{"KESTRO"});
        QVERIFY(h.prompt.asked[0].text.contains(bad));
        QCOMPARE(h.w().windowTitle(), QStringLiteral("KESTRO - [Line3.sdt] - [Main Display]"));
        QCOMPARE(h.w().gFileNamePath, path);
        QVERIFY(h.data.hasUnsavedChanges());
        QVERIFY(!QFile::exists(bad));
    }

    void openAsksAboutOtherVersions()
    {
        Shown h;
        QVERIFY(h.show());
        DataSet same = h.data.gDefaultData;
        same.Value[125] = 40;
        QCOMPARE(writeSetupFile(h.file("same.sdt"), same), MachineError::None);
        DataSet other = same;
        other.Version = QStringLiteral("KESTRO_R2.0.7");
        other.Value[125] = 77;
        QCOMPARE(writeSetupFile(h.file("other.sdt"), other), MachineError::None);

        h.dialogs.answers = {h.file("same.sdt")};
        h.key(Qt::Key_O, Qt::ControlModifier);
        QVERIFY(h.prompt.asked.isEmpty());
        QCOMPARE(h.data.gCurrentData.Value[125], 40);
        QCOMPARE(h.w().windowTitle(), QStringLiteral("KESTRO - [same.sdt] - [Main Display]"));

        // Another version: No shows the dialog again, Cancel keeps what was there.
        h.dialogs.answers = {h.file("other.sdt"), h.file("other.sdt")};
        h.prompt.answers = {PromptAnswer::No, PromptAnswer::Cancel};
        h.key(Qt::Key_O, Qt::ControlModifier);
        QCOMPARE(h.dialogs.asked.size(), 3);
        QCOMPARE(h.dialogs.asked[2].initialPath, h.file("same.sdt"));
        QCOMPARE(h.prompt.asked[0].text,
                 QStringLiteral("File created by set-up program version: KESTRO_R2.0.7\r\n"
                                "Data tables may not be properly aligned.\r\n\r\n"
                                "Do you wish to continue?"));
        QCOMPARE(h.prompt.asked.size(), 2);
        QCOMPARE(h.data.gCurrentData.Value[125], 40);

        // Yes takes it; it counts as changed until saved with this version.
        h.dialogs.answers = {h.file("other.sdt")};
        h.prompt.answers = {PromptAnswer::Yes};
        h.key(Qt::Key_O, Qt::ControlModifier);
        QCOMPARE(h.data.gCurrentData.Value[125], 77);
        QCOMPARE(h.w().windowTitle(), QStringLiteral("KESTRO - [other.sdt] - [Main Display]"));
        QVERIFY(h.data.hasUnsavedChanges());

        // A damaged file ends the command with nothing changed.
        QFile bad(h.file("damaged.sdt"));
        QVERIFY(bad.open(QIODevice::WriteOnly));
        bad.write("\x0D\x00KESTRO");
        bad.close();
        h.prompt.answers = {PromptAnswer::No};
        h.dialogs.answers = {h.file("damaged.sdt")};
        h.key(Qt::Key_O, Qt::ControlModifier);
        QCOMPARE(h.data.gCurrentData.Value[125], 77);
        QCOMPARE(h.w().gFileNamePath, h.file("other.sdt"));
    }

    void newAndExitAskToSave()
    {
        Shown h;
        QVERIFY(h.show());
        QSignalSpy ended(&h.w(), &frmMDIMain::programEnded);
        h.data.gCurrentData.Value[127] = 15;
        h.prompt.answers = {PromptAnswer::Cancel, PromptAnswer::Cancel};
        h.key(Qt::Key_N, Qt::ControlModifier);
        QVERIFY(chooseMenu(h.w(), {"mnuFile", "mnuFileExit"}));
        QCOMPARE(h.prompt.asked.size(), 2);
        for (const auto &asked : h.prompt.asked) {
            QCOMPARE(asked.text, QStringLiteral("Save Changes to File?"));
            QCOMPARE(asked.buttons, PromptButtons::YesNoCancel);
        }
        QCOMPARE(h.data.gCurrentData.Value[127], 15);
        QVERIFY(h.w().isVisible());
        QCOMPARE(ended.count(), 0);

        h.prompt.answers = {PromptAnswer::No};
        h.key(Qt::Key_N, Qt::ControlModifier);
        QCOMPARE(h.data.gCurrentData, h.data.gDefaultData);

        // Nothing changed: no question, the window closes in order.
        h.w().close();
        QCOMPARE(h.prompt.asked.size(), 3);
        QCOMPARE(ended.count(), 1);
        QVERIFY(!h.w().currentChild());
    }

    void exportShiftData()
    {
        Shown h;
        QVERIFY(h.show());
        h.dialogs.answers = {h.file("shift.txt")};
        h.key(Qt::Key_X, Qt::ControlModifier);
        QCOMPARE(h.dialogs.asked[0].filter, QStringLiteral("Text Files(*.txt)|*.txt|"));
        QCOMPARE(linesOf(h.file("shift.txt")).size(), 96);

        // The next export starts from that path and takes the data now held.
        h.data.gCurrentData.Value[37] = 15230;
        h.dialogs.answers = {h.file("shift2.txt")};
        h.key(Qt::Key_X, Qt::ControlModifier);
        QCOMPARE(h.dialogs.asked[1].initialPath, h.file("shift.txt"));
        QCOMPARE(linesOf(h.file("shift2.txt"))[5], QStringLiteral(" 15230"));
        QVERIFY(h.prompt.asked.isEmpty());
    }
};

QTEST_MAIN(TestMainWindow)
#include "test_mainwindow.moc"
