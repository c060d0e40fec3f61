// The main window offline, driven through its menus, keys, toolbar and status
// panels. No board answers.

#include "app/childform.h"
#include "appharness.h"
#include "machine/sdtfile.h"

#include <QFileDialog>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QToolBar>

namespace
{

struct Shown : AppHarness {
    bool up(BackgroundTimer timer = BackgroundTimer::Stopped) { return start(timer) && show(); }
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
    QString file(const QString &name) const { return QDir(programDir()).filePath(name); }
    // Port 1 names a device that does not exist: going online fails at once.
    bool noDevice()
    {
        return QFile::link(QStringLiteral("/nonexistent/kestro-test-device"),
                           file(QStringLiteral("Support/COM1")));
    }
};

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void transferMenus_data()
    {
        QTest::addColumn<QStringList>("path");
        QTest::addColumn<int>("mode");
        for (int i : {0, 1, 4}) {
            const QString item = QStringLiteral("Data(%1)").arg(i);
            QTest::addRow("upload %d", i)
                << QStringList{"mnuFile", "mnuFileUpload", "mnuFileUpload" + item} << i;
            QTest::addRow("download %d", i)
                << QStringList{"mnuFile", "mnuFileDownload", "mnuFileDownload" + item} << i + 10;
        }
    }
    // Each item asks first, then offers to go online; a link that cannot be
    // opened ends the transfer with nothing moved.
    void transferMenus()
    {
        QFETCH(QStringList, path);
        QFETCH(int, mode);
        const QString title =
            mode < 10 ? QStringLiteral("Data Upload") : QStringLiteral("Data Download");
        Shown h;
        QVERIFY(h.up());
        const QString uploadTime = h.w().gUploadNOW;
        h.prompt.answers = {PromptAnswer::No, PromptAnswer::Yes, PromptAnswer::No};
        QVERIFY(chooseMenu(h.w(), path));
        QVERIFY(chooseMenu(h.w(), path));
        QCOMPARE(h.titles(), (QStringList{title, title, "Program Offline"}));
        QCOMPARE(h.port->openCount, 0);

        QVERIFY(h.noDevice());
        h.prompt.asked.clear();
        h.prompt.answers = {PromptAnswer::Yes, PromptAnswer::Yes};
        const DataSet data = h.data.gCurrentData;
        QVERIFY(chooseMenu(h.w(), path));
        QCOMPARE(h.titles(), (QStringList{title, "Program Offline", "Comm Port Error", "KESTRO"}));
        QCOMPARE(h.util().gTransferMode, qint16(mode));
        QCOMPARE(h.data.gCurrentData, data);
        QCOMPARE(h.w().gUploadNOW != uploadTime, mode < 10);
    }

    // The toolbar button, the menu item and F2 keep each other in step.
    void offlineEditingButtonMenuAndKey()
    {
        Shown h;
        QVERIFY(h.up());
        QWidget *button =
            h.w().findChild<QToolBar *>("Toolbar1")->widgetForAction(h.action("tbrOfflineEdit"));
        const QList<std::function<void()>> toggles = {
            [&] { QTest::mouseClick(button, Qt::LeftButton); }, [&] { h.key(Qt::Key_F2); },
            [&] {
                QVERIFY(chooseMenu(h.w(), {"mnuEdit", "mnuEditOfflineEditing"}));
            }};
        bool on = false;
        for (int i : {0, 0, 1, 0, 2, 1}) {
            toggles[i]();
            on = !on;
            QCOMPARE(h.action("mnuEditOfflineEditing")->isChecked(), on);
            QCOMPARE(h.action("tbrOfflineEdit")->isChecked(), on);
            QCOMPARE(h.util().gOfflineEditing, on);
        }
    }

    // One child window at a time; the caption keeps the open file's name.
    void windowMenuShowsOneWindowAtATime()
    {
        Shown h;
        QVERIFY(h.up());
        const QString path = h.file(QStringLiteral("line3.sdt"));
        QCOMPARE(h.data.saveFile(path), MachineError::None);
        h.dialogs.answers = {path};
        h.key(Qt::Key_O, Qt::ControlModifier);
        auto *area = h.w().findChild<QMdiArea *>();
        const char *classes[4] = {"frmMain", "frmSetup", "frmData", "frmDisplayIO"};
        const QString captions[4] = {" - [Main Display]", " - [Set-Up]", " - [Shift Data]", ""};
        for (int i : {1, 2, 3, 0, 2}) {
            QVERIFY(chooseMenu(h.w(), {"mnuWindow", QStringLiteral("mnuWindowForm(%1)").arg(i)}));
            QCOMPARE(h.w().currentChild()->metaObject()->className(), classes[i]);
            QCOMPARE(area->subWindowList().size(), 1);
            // I/O States keeps its own size; the others fill the area.
            QCOMPARE(area->subWindowList().first()->isMaximized(), i != 3);
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            QTRY_COMPARE(h.w().windowTitle(), "KESTRO - [line3.sdt]" + captions[i]);
        }
        QPointer<ChildForm> shown = h.w().currentChild();
        QVERIFY(chooseMenu(h.w(), {"mnuWindow", "mnuWindowForm(2)"}));
        QCOMPARE(h.w().currentChild(), shown.data());
    }

    // The status panels offline; a double click on MODE, and only there,
    // goes online.
    void statusPanels()
    {
        Shown h;
        QVERIFY(h.up(AppHarness::BackgroundTimer::Running));
        QTRY_COMPARE(h.w().panelText(1),
                     QStringLiteral("System Message:  Program is Currently OFFLINE - "
                                    "Press F3 (View > Online Data) to Go Online"));
        h.comm->CommError = true;
        QTRY_COMPARE(h.w().panelText(1), QStringLiteral("System Message:  Comm Fault with T6800"));
        QVERIFY(h.noDevice());
        for (const char *other : {"STATUS", "DATE", "TIME"})
            QTest::mouseDClick(h.w().findChild<QLabel *>(other), Qt::LeftButton);
        QCOMPARE(h.port->openCount, 0);
        QTest::mouseDClick(h.w().findChild<QLabel *>("MODE"), Qt::LeftButton);
        QCOMPARE(h.port->openCount, 1);
        QCOMPARE(h.w().panelText(2), QStringLiteral("OFFLINE"));
        QVERIFY(h.action("mnuViewOffline")->isChecked() &&
                !h.action("mnuEditPasscode")->isEnabled());
    }

    void saveAsThenSave()
    {
        Shown h;
        QVERIFY(h.up());
        // Save on an unnamed set-up runs Save As.
        const QString path = h.file(QStringLiteral("Line3.sdt"));
        h.dialogs.answers = {path};
        h.key(Qt::Key_S, Qt::ControlModifier);
        QCOMPARE(h.w().windowTitle(), QStringLiteral("KESTRO - [Line3.sdt] - [Main Display]"));
        // Offline, a named file is written at once with no question.
        h.data.gCurrentData.Value[127] = 15;
        h.key(Qt::Key_S, Qt::ControlModifier);
        QCOMPARE(h.dialogs.asked.size(), 1);
        DataSet back;
        QCOMPARE(readSetupFile(path, back), MachineError::None);
        QCOMPARE(back, h.data.gCurrentData);
        QVERIFY(!h.data.hasUnsavedChanges());

        // A file that cannot be written: the operator is told, the names stay.
        const QString bad = h.file(QStringLiteral("no/such/folder/x.sdt"));
        h.data.gCurrentData.Value[122] = 700;
        h.dialogs.answers = {bad};
        QVERIFY(chooseMenu(h.w(), {"mnuFile", "mnuFileSaveAs"}));
        QCOMPARE(h.titles(), QStringList{"KESTRO"});
        QVERIFY(h.prompt.asked[0].text.contains(bad));
        QCOMPARE(h.w().gFileNamePath, path);
        QVERIFY(h.data.hasUnsavedChanges());
    }

    void openAsksAboutOtherVersions()
    {
        Shown h;
        QVERIFY(h.up());
        DataSet same = h.data.gDefaultData;
        same.Value[125] = 40;
        QCOMPARE(writeSetupFile(h.file("same.sdt"), same), MachineError::None);
        DataSet other = same;
        other.Version = QStringLiteral("KESTRO_R2.0.7");
        other.Value[125] = 77;
        QCOMPARE(writeSetupFile(h.file("other.sdt"), other), MachineError::None);
        // The samples beside the program hold a set-up that opens.
        const QDir samples(QDir(BoardSimProcess::binDir()).filePath(QStringLiteral("samples")));
        const QString sample = samples.entryList({QStringLiteral("*.sdt")}, QDir::Files).value(0);
        h.dialogs.answers = {samples.filePath(sample), h.file("same.sdt")};
        h.key(Qt::Key_O, Qt::ControlModifier);
        QCOMPARE(h.w().gFileNameCaption, QLatin1Char('[') + sample + QLatin1Char(']'));
        h.key(Qt::Key_O, Qt::ControlModifier);
        QVERIFY(!sample.isEmpty() && h.prompt.asked.isEmpty());
        QCOMPARE(h.data.gCurrentData.Value[125], 40);

        // Another version: No shows the dialog again, Cancel keeps what was there.
        h.dialogs.answers = {h.file("other.sdt"), h.file("other.sdt")};
        h.prompt.answers = {PromptAnswer::No, PromptAnswer::Cancel};
        h.key(Qt::Key_O, Qt::ControlModifier);
        QCOMPARE(h.dialogs.asked.size(), 4);
        QCOMPARE(h.dialogs.asked[3].initialPath, h.file("same.sdt"));
        QCOMPARE(h.data.gCurrentData.Value[125], 40);
        // A file that cannot be read is named with the reason; nothing changes.
        const QString path = h.file(QStringLiteral("bad.sdt"));
        QFile bad(path);
        QVERIFY(bad.open(QIODevice::WriteOnly) && bad.write("KESTRO") == 6);
        bad.close();
        h.prompt.asked.clear();
        h.dialogs.answers = {path};
        h.key(Qt::Key_O, Qt::ControlModifier);
        QCOMPARE(h.titles(), QStringList{"KESTRO"});
        QCOMPARE(h.prompt.asked[0].text, "The set-up file could not be opened:\r\n" + path +
                                             "\r\n\r\n" +
                                             machineErrorText(MachineError::FileTooShort));
        QCOMPARE(h.data.gCurrentData.Value[125], 40);
        QCOMPARE(h.w().gFileNamePath, h.file("same.sdt"));
        // Yes takes it; it counts as changed until saved with this version.
        h.dialogs.answers = {h.file("other.sdt")};
        h.prompt.answers = {PromptAnswer::Yes};
        h.key(Qt::Key_O, Qt::ControlModifier);
        QCOMPARE(h.data.gCurrentData.Value[125], 77);
        QCOMPARE(h.w().windowTitle(), QStringLiteral("KESTRO - [other.sdt] - [Main Display]"));
        QVERIFY(h.data.hasUnsavedChanges());
    }

    void newAndExitAskToSave()
    {
        Shown h;
        QVERIFY(h.up());
        QSignalSpy ended(&h.w(), &frmMDIMain::programEnded);
        h.data.gCurrentData.Value[127] = 15;
        h.prompt.answers = {PromptAnswer::Cancel, PromptAnswer::Yes};
        h.key(Qt::Key_N, Qt::ControlModifier);
        // Yes to saving, then the Save As dialog cancelled: the program stays.
        h.dialogs.answers = {std::nullopt};
        QVERIFY(chooseMenu(h.w(), {"mnuFile", "mnuFileExit"}));
        QCOMPARE(h.prompt.asked.size(), 2);
        for (const auto &asked : h.prompt.asked) {
            QCOMPARE(asked.text, QStringLiteral("Save Changes to File?"));
            QCOMPARE(asked.buttons, PromptButtons::YesNoCancel);
        }
        QVERIFY(h.dialogs.asked.last().save);
        QCOMPARE(h.data.gCurrentData.Value[127], 15);
        QVERIFY(h.w().isVisible());
        QCOMPARE(ended.count(), 0);

        QVERIFY(backInFront(h.w()));
        h.prompt.answers = {PromptAnswer::No};
        h.key(Qt::Key_N, Qt::ControlModifier);
        QCOMPARE(h.data.gCurrentData, h.data.gDefaultData);
        // Nothing changed: no question, the window closes in order.
        h.w().close();
        QCOMPARE(h.prompt.asked.size(), 3);
        QCOMPARE(ended.count(), 1);
        QVERIFY(!h.w().currentChild());
    }

    void saveDialogsAddTheSuffixTheirFilterNames_data()
    {
        QTest::addColumn<bool>("exporting");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("written");
        QTest::newRow("save as") << false << "line3"
                                 << "line3.sdt";
        QTest::newRow("export") << true << "shift"
                                << "shift.txt";
    }
    void saveDialogsAddTheSuffixTheirFilterNames()
    {
        QFETCH(bool, exporting);
        QFETCH(QString, typed);
        QFETCH(QString, written);
        Shown h;
        QVERIFY(h.start());
        QtFileDialogs dialogs; // the real dialogs this time
        h.window = std::make_unique<frmMDIMain>(frmMDIMain::Collaborators{
            *h.comm, *h.port, h.prompt, h.clock, h.data, dialogs, h.programDir()});
        h.window->tmrBackgroungUpdate->stop();
        QVERIFY(h.show());
        whenModal<QFileDialog>(this, [&](QFileDialog *dialog) {
            auto closed = qScopeGuard([dialog] {
                if (dialog->isVisible())
                    dialog->reject();
            });
            auto *name = dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"));
            QVERIFY(name);
            dialog->setDirectory(h.programDir()); // nothing there completes the name
            QTest::keyClicks(name, typed);
            QTest::keyClick(name, Qt::Key_Return);
        });
        if (exporting) {
            h.key(Qt::Key_X, Qt::ControlModifier);
        } else {
            h.key(Qt::Key_F, Qt::AltModifier);
            QTRY_VERIFY(h.w().mnuFile->isVisible());
            QTest::keyClick(h.w().mnuFile, Qt::Key_A);
        }
        QTRY_VERIFY(QFileInfo::exists(h.file(written)));
        QVERIFY(!QFileInfo::exists(h.file(typed)));
        if (!exporting)
            QCOMPARE(h.w().gFileNameCaption, QLatin1Char('[') + written + QLatin1Char(']'));
    }
};

QTEST_MAIN(TestMainWindow)
#include "test_mainwindow.moc"
