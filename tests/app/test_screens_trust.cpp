// What the shown main window tells the operator, checked the way the
// operator meets it: keys, menus, clicks, and the words that come up.

#include "app/printerdialog.h"
#include "appharness.h"
#include "comm/frmsetupcomm.h"
#include "comm/targetboardfacts.h"
#include "report/frmreportsetup.h"
#include "targetboard/frmtargetboard.h"

#include <QCheckBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPrinter>
#include <QPushButton>
#include <QScopeGuard>
#include <QTest>
#include <QTreeWidget>

#include <functional>

namespace
{

const QString Offline = QStringLiteral("System Message:  Program is Currently OFFLINE");

bool showUp(frmMDIMain &w)
{
    w.resize(1000, 720);
    w.show();
    w.activateWindow();
    return QTest::qWaitForWindowActive(&w);
}

// The offscreen platform has no window manager to hand the activation back
// after a popup or a modal window; do what one would.
bool backInFront(frmMDIMain &w)
{
    w.activateWindow();
    return QTest::qWaitForWindowActive(&w);
}

void chooseWindow(frmMDIMain &w, int n)
{
    QTest::keyClick(&w, Qt::Key_W, Qt::AltModifier);
    QTRY_VERIFY(w.mnuWindow->isVisible());
    QTest::keyClick(w.mnuWindow, Qt::Key(Qt::Key_0 + n));
    QTRY_VERIFY(!w.mnuWindow->isVisible());
    QVERIFY(backInFront(w));
}

// Runs body once a modal window of type T is in front; the command that
// opened it is still running.
template <typename T> void whenModal(QObject *context, const std::function<void(T *)> &body)
{
    auto *poll = new QTimer(context);
    poll->setInterval(10);
    QObject::connect(poll, &QTimer::timeout, context, [poll, body] {
        if (auto *window = qobject_cast<T *>(QApplication::activeModalWidget())) {
            poll->stop();
            poll->deleteLater();
            body(window);
        }
    });
    poll->start();
}

// The printer set-up answered with a PDF file.
class PdfPrinterDialog final : public PrinterDialog
{
public:
    bool setupPrinter(QWidget *, QPrinter &printer, int &copies) override
    {
        ++asked;
        printer.setOutputFormat(QPrinter::PdfFormat);
        printer.setOutputFileName(file);
        copies = 1;
        return true;
    }
    QString file;
    int asked = 0;
};

QByteArray fileBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeBytes(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
           file.write(bytes) == bytes.size();
}

} // namespace

class TestScreensTrust : public QObject
{
    Q_OBJECT

private slots:
    void titleKeepsTheOpenFileAcrossChildWindows();
    void unreadableSetupFileIsReported_data();
    void unreadableSetupFileIsReported();
    void printSaysWhenThereIsNothingAndWhereThePdfWent();
    void firstStartSaysHowToGoOnline();
    void vanishedDeviceIsNamedWithItsPort();
    void commPortCancelLeavesLinkAndSettingsAsTheyWere();
    void targetBoardBoxesFollowTheBoard();
    void saveDialogsAddTheSuffixTheirFilterNames_data();
    void saveDialogsAddTheSuffixTheirFilterNames();
};

void TestScreensTrust::titleKeepsTheOpenFileAcrossChildWindows()
{
    AppHarness h;
    QVERIFY(h.start());
    frmMDIMain &w = h.w();
    const QString path = QDir(h.programDir()).filePath(QStringLiteral("line3.sdt"));
    QCOMPARE(h.data.saveFile(path), MachineError::None);
    QVERIFY(showUp(w));

    h.dialogs.answers = {path};
    QTest::keyClick(&w, Qt::Key_O, Qt::ControlModifier);
    QVERIFY(backInFront(w));
    QCOMPARE(w.windowTitle(), QStringLiteral("KESTRO - [line3.sdt] - [Main Display]"));
    const QString shown[5] = {{},
                              QStringLiteral(" - [Main Display]"),
                              QStringLiteral(" - [Set-Up]"),
                              QStringLiteral(" - [Shift Data]"),
                              QString()};
    for (int n : {2, 3, 4, 1, 3}) {
        chooseWindow(w, n);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QTRY_COMPARE(w.windowTitle(), QStringLiteral("KESTRO - [line3.sdt]") + shown[n]);
    }
}

void TestScreensTrust::unreadableSetupFileIsReported_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<MachineError>("reason");
    QTest::newRow("short") << QByteArray("KESTRO") << MachineError::FileTooShort;
    QTest::newRow("junk") << QByteArray(2, '\0') + QByteArray(2000, '\x7f')
                          << MachineError::FileDamaged;
}

void TestScreensTrust::unreadableSetupFileIsReported()
{
    QFETCH(QByteArray, content);
    QFETCH(MachineError, reason);
    AppHarness h;
    QVERIFY(h.start());
    frmMDIMain &w = h.w();
    const QString path = QDir(h.programDir()).filePath(QStringLiteral("bad.sdt"));
    QVERIFY(writeBytes(path, content));
    QVERIFY(showUp(w));
    h.dialogs.answers = {path};
    QTest::keyClick(&w, Qt::Key_O, Qt::ControlModifier);
    QCOMPARE(h.prompt.asked.size(), 1);
    QCOMPARE(h.prompt.asked[0].text, QStringLiteral("The set-up file could not be opened:\r\n") +
                                         path + QStringLiteral("\r\n\r\n") +
                                         machineErrorText(reason));
    QVERIFY(w.windowTitle().startsWith(QStringLiteral("KESTRO - [unnamed]")));
}

void TestScreensTrust::printSaysWhenThereIsNothingAndWhereThePdfWent()
{
    AppHarness h;
    PdfPrinterDialog printer;
    QVERIFY(h.start());
    frmMDIMain &w = h.w();
    w.setPrinterDialog(&printer);
    printer.file = QDir(h.programDir()).filePath(QStringLiteral("report.pdf"));
    QVERIFY(showUp(w));

    QTest::keyClick(&w, Qt::Key_P, Qt::ControlModifier);
    QVERIFY(QFileInfo(printer.file).size() > 0);
    QCOMPARE(h.prompt.asked.size(), 1);
    QVERIFY2(h.prompt.asked[0].text.contains(printer.file), qPrintable(h.prompt.asked[0].text));
    QFile::remove(printer.file);

    // Both parts off: said at once, before any printer is chosen.
    whenModal<frmReportSetup>(this, [](frmReportSetup *window) {
        QTest::mouseClick(window->chkReportOptions[0], Qt::LeftButton);
        QTest::mouseClick(window->chkReportOptions[1], Qt::LeftButton);
        QTest::mouseClick(window->cmdOk, Qt::LeftButton);
    });
    w.mnuFilePrintSetup->trigger();
    QVERIFY(backInFront(w));
    QTest::keyClick(&w, Qt::Key_P, Qt::ControlModifier);
    QCOMPARE(printer.asked, 1);
    QCOMPARE(h.prompt.asked.size(), 2);
    QVERIFY2(h.prompt.asked[1].text.contains(QStringLiteral("Report Setup")),
             qPrintable(h.prompt.asked[1].text));
    QVERIFY(!QFile::exists(printer.file));
}

void TestScreensTrust::firstStartSaysHowToGoOnline()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(h.startWithBoard(sim));
    frmMDIMain &w = h.w();
    QVERIFY(showUp(w));
    w.tmrBackgroungUpdate_Timer();
    QVERIFY2(w.panelText(1).startsWith(Offline) && w.panelText(1).contains(QStringLiteral("F3")),
             qPrintable(w.panelText(1)));

    // Once a board has answered, offline is only offline.
    QTest::keyClick(&w, Qt::Key_F3);
    QVERIFY(h.comm->OnlineMode);
    QTest::keyClick(&w, Qt::Key_F4);
    QVERIFY(!h.comm->OnlineMode);
    w.tmrBackgroungUpdate_Timer();
    QCOMPARE(w.panelText(1), Offline);

    // The samples beside the program hold a set-up that opens.
    const QDir samples(QDir(binDir()).filePath(QStringLiteral("samples")));
    const QStringList setups = samples.entryList({QStringLiteral("*.sdt")}, QDir::Files);
    QVERIFY(!setups.isEmpty());
    h.dialogs.answers = {samples.filePath(setups.first())};
    QTest::keyClick(&w, Qt::Key_O, Qt::ControlModifier);
    QVERIFY(h.prompt.asked.isEmpty());
    QCOMPARE(w.gFileNameCaption, QLatin1Char('[') + setups.first() + QLatin1Char(']'));
}

void TestScreensTrust::vanishedDeviceIsNamedWithItsPort()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(h.start());
    QVERIFY(sim.start({QStringLiteral("--frozen")}));
    QVERIFY(sim.useAsPort(h.programDir(), 71));
    frmMDIMain &w = h.w();
    QVERIFY(showUp(w));
    QTest::keyClick(&w, Qt::Key_F3);
    QVERIFY(h.comm->OnlineMode);
    w.tmrBackgroungUpdate->start();
    const QString pty = sim.slavePath();

    sim.command(QStringLiteral("close"));
    QTRY_VERIFY_WITH_TIMEOUT(!h.comm->OnlineMode, 20000);
    QTRY_VERIFY(
        w.panelText(1).startsWith(QStringLiteral("System Message:  Comm Fault with T6800")));
    const QString status = w.panelText(1);
    for (const QString &part : {QStringLiteral("went away"), QStringLiteral("port 71"),
                                QStringLiteral("Support/COM71"), pty})
        QVERIFY2(status.contains(part), qPrintable(status));

    // The link went with the device: the next try names the port and its link.
    w.tmrBackgroungUpdate->stop();
    QFile::remove(QDir(h.programDir()).filePath(QStringLiteral("Support/COM71")));
    h.prompt.asked.clear();
    QTest::keyClick(&w, Qt::Key_F3);
    QCOMPARE(h.prompt.asked.size(), 1);
    QCOMPARE(h.prompt.asked[0].title, QStringLiteral("Comm Port Error"));
    for (const QString &part : {QStringLiteral("port 71"), QStringLiteral("no link Support/COM71")})
        QVERIFY2(h.prompt.asked[0].text.contains(part), qPrintable(h.prompt.asked[0].text));
}

void TestScreensTrust::commPortCancelLeavesLinkAndSettingsAsTheyWere()
{
    AppHarness h;
    BoardSimProcess sim;
    BoardSimProcess silent;
    QVERIFY(h.startWithBoard(sim));
    QVERIFY(silent.start({QStringLiteral("--silent")}));
    frmMDIMain &w = h.w();
    const QString support = QDir(h.programDir()).filePath(QStringLiteral("Support"));
    QVERIFY(silent.linkAsPort(h.programDir(), 2));
    QVERIFY(showUp(w));
    QTest::keyClick(&w, Qt::Key_F3);
    QVERIFY(h.comm->OnlineMode);
    const QByteArray settings = fileBytes(QDir(support).filePath(QStringLiteral("RSPort.cfg")));
    QVERIFY(!settings.isEmpty());
    const QString link1 = QFileInfo(QDir(support).filePath(QStringLiteral("COM1"))).symLinkTarget();

    // A device assigned to port 1, then Cancel: port 1 still leads to the board.
    QString assigned;
    whenModal<frmSetupComm>(this, [&](frmSetupComm *window) {
        if (QTreeWidgetItem *row = window->lstDevices->topLevelItem(0)) {
            assigned = row->text(0);
            QTest::mouseClick(window->lstDevices->viewport(), Qt::LeftButton, {},
                              window->lstDevices->visualItemRect(row).center());
            QTest::mouseClick(window->cmdAssign, Qt::LeftButton);
        }
        QTest::mouseClick(window->cmdCancel, Qt::LeftButton);
    });
    QTest::keyClick(&w, Qt::Key_M, Qt::ControlModifier);
    QCOMPARE(QFileInfo(QDir(support).filePath(QStringLiteral("COM1"))).symLinkTarget(), link1);

    // Port 2 (no answer), Save, which fails and keeps the window, then Cancel.
    QVERIFY(backInFront(w));
    bool stayedOpen = false;
    whenModal<frmSetupComm>(this, [&](frmSetupComm *window) {
        window->txtCommPort->selectAll();
        QTest::keyClicks(window->txtCommPort, QStringLiteral("2"));
        QTest::mouseClick(window->cmdSave, Qt::LeftButton);
        stayedOpen = window->isVisible();
        QTest::mouseClick(window->cmdCancel, Qt::LeftButton);
    });
    QTest::keyClick(&w, Qt::Key_M, Qt::ControlModifier);
    QVERIFY(stayedOpen);
    QVERIFY(!h.prompt.asked.isEmpty());
    QCOMPARE(fileBytes(QDir(support).filePath(QStringLiteral("RSPort.cfg"))), settings);
    QVERIFY(h.comm->OnlineMode);
    QCOMPARE(w.panelText(2), QStringLiteral("ONLINE"));

    if (assigned.isEmpty())
        QSKIP("this machine lists no serial device to assign");
}

void TestScreensTrust::targetBoardBoxesFollowTheBoard()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(h.startWithBoard(sim));
    for (const char *name : {"FaultErrCodes.txt", "CommErrCodes.txt"}) {
        const QString file = QStringLiteral("Support/") + QLatin1String(name);
        QFile::remove(QDir(h.programDir()).filePath(file));
        QVERIFY(QFile::copy(QDir(binDir()).filePath(file), QDir(h.programDir()).filePath(file)));
    }
    auto faultText = [&](const QString &code) {
        QString text;
        TargetBoardFacts::lookUpCodeFile(TargetBoardFacts::faultCodesFile(h.programDir()), code,
                                         text);
        return text;
    };
    QVERIFY(!faultText(QStringLiteral("45")).isEmpty());
    for (const char *a : {"B8176", "B8177", "B8178", "B8179"})
        QCOMPARE(sim.command(QStringLiteral("set %1 0").arg(QLatin1String(a))), u"ok");
    frmMDIMain &w = h.w();
    QVERIFY(showUp(w));

    // No project chosen: F5 opens the window all the same.
    bool checked = false;
    whenModal<frmTargetBoard>(this, [&](frmTargetBoard *window) {
        auto closed = qScopeGuard([window] { QTest::mouseClick(window->cmdOk, Qt::LeftButton); });
        auto box = [window](int i) {
            return window->findChild<QPlainTextEdit *>(QStringLiteral("txtTargetBoard%1").arg(i));
        };
        auto caption = [window](int i) {
            return window->findChild<QLabel *>(QStringLiteral("lblTargetBoard%1").arg(i));
        };
        auto *boardName = window->findChild<QLabel *>(QStringLiteral("lblRevIdentOnDisk3"));
        for (const QChar c : boardName->text())
            QVERIFY2(c.isPrint(), qPrintable(boardName->text()));
        QVERIFY(QTest::qWaitFor([&] { return window->FirstPassDone; }, 15000));
        // No fault: every box says so, none keeps what it said before.
        for (int i : {0, 1, 4, 5}) {
            QVERIFY2(!box(i)->toPlainText().isEmpty(), qPrintable(caption(i)->text()));
            QVERIFY(!box(i)->toPlainText().contains(QStringLiteral("Cannot Communicate")));
        }

        // A fault raised while the window is open shows in it.
        QCOMPARE(sim.command(QStringLiteral("set B8176 69")), u"ok");
        QCOMPARE(sim.command(QStringLiteral("set B8177 69")), u"ok");
        QVERIFY(QTest::qWaitFor(
            [&] { return box(0)->toPlainText() == faultText(QStringLiteral("45")); }, 10000));
        QCOMPARE(caption(0)->text(), QStringLiteral("Current Fault: Code = 45H"));
        QCOMPARE(box(1)->toPlainText(), faultText(QStringLiteral("45")));

        // Reset Faults: the old fault's text goes with it.
        h.prompt.answers = {PromptAnswer::Yes};
        QVERIFY(QTest::qWaitFor([&] { return window->cmdResetFaults->isEnabled(); }, 5000));
        QTest::mouseClick(window->cmdResetFaults, Qt::LeftButton);
        QVERIFY(QTest::qWaitFor(
            [&] { return caption(1)->text() == QStringLiteral("Last Fault: Code = 00H"); }, 10000));
        QVERIFY(QTest::qWaitFor([&] { return window->FirstPassDone; }, 10000));
        for (int i : {0, 1})
            QVERIFY(box(i)->toPlainText() != faultText(QStringLiteral("45")));
        checked = true;
    });
    QTest::keyClick(&w, Qt::Key_F5);
    QVERIFY(checked);
}

void TestScreensTrust::saveDialogsAddTheSuffixTheirFilterNames_data()
{
    QTest::addColumn<bool>("exporting");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("written");
    QTest::addColumn<QString>("title");
    QTest::newRow("save as") << false << "line3"
                             << "line3.sdt" << QString();
    QTest::newRow("save as, suffix typed") << false << "line4.sdt"
                                           << "line4.sdt" << QString();
    QTest::newRow("export") << true << "shift"
                            << "shift.txt"
                            << "Export Shift Data";
}

void TestScreensTrust::saveDialogsAddTheSuffixTheirFilterNames()
{
    QFETCH(bool, exporting);
    QFETCH(QString, typed);
    QFETCH(QString, written);
    QFETCH(QString, title);
    AppHarness h;
    QVERIFY(h.start());
    // The real dialogs this time.
    QtFileDialogs dialogs;
    h.window.reset();
    h.window = std::make_unique<frmMDIMain>(frmMDIMain::Collaborators{
        *h.comm, *h.port, h.prompt, h.clock, h.data, dialogs, h.programDir()});
    h.window->tmrBackgroungUpdate->stop();
    frmMDIMain &w = h.w();
    QVERIFY(showUp(w));

    QString shownTitle;
    whenModal<QFileDialog>(this, [&](QFileDialog *dialog) {
        auto closed = qScopeGuard([dialog] {
            if (dialog->isVisible())
                dialog->reject();
        });
        shownTitle = dialog->windowTitle();
        auto *name = dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"));
        QVERIFY(name);
        // The operator's own folder, where nothing completes the name typed.
        dialog->setDirectory(h.programDir());
        QTest::keyClicks(name, typed);
        QTest::keyClick(name, Qt::Key_Return);
    });
    if (exporting) {
        QTest::keyClick(&w, Qt::Key_X, Qt::ControlModifier);
    } else {
        QTest::keyClick(&w, Qt::Key_F, Qt::AltModifier);
        QTRY_VERIFY(w.mnuFile->isVisible());
        QTest::keyClick(w.mnuFile, Qt::Key_A);
    }
    QTRY_VERIFY(QFileInfo::exists(QDir(h.programDir()).filePath(written)));
    QVERIFY(!QFileInfo::exists(QDir(h.programDir()).filePath(typed)) || typed == written);
    if (!title.isEmpty())
        QCOMPARE(shownTitle, title);
    if (!exporting)
        QCOMPARE(w.gFileNameCaption, QLatin1Char('[') + written + QLatin1Char(']'));
}

QTEST_MAIN(TestScreensTrust)
#include "test_screens_trust.moc"
