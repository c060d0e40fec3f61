// The window program when the adapter is pulled and plugged back in, and the
// Comm Port window's link check, against kestro-boardsim on a pty. Port 1
// leads to a stable name the simulator makes, as udev makes /dev/serial/by-id.

#include "app/childform.h"
#include "app/frmmdimain.h"
#include "appharness.h"
#include "comm/frmsetupcomm.h"

#include <QClipboard>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>

namespace
{

int hungUpWarnings = 0;
QtMessageHandler previousHandler = nullptr;

void countHangUps(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    // The lost device is met by a wait (hung up) or by a send, whichever
    // comes first.
    if (message.contains(QLatin1String("device hung up")) ||
        message.contains(QLatin1String("send failed")))
        ++hungUpWarnings;
    previousHandler(type, context, message);
}

} // namespace

class TestLinkReplug : public QObject
{
    Q_OBJECT

    // Starts the program with port 1 leading to the stable name, shown.
    bool startShown(AppHarness &h)
    {
        if (!h.start(AppHarness::BackgroundTimer::Running))
            return false;
        QDir().mkpath(h.dir.filePath(QStringLiteral("by-id")));
        if (!QFile::link(stableName(h), h.dir.filePath(QStringLiteral("Support/COM1"))))
            return false;
        h.w().show();
        if (!QTest::qWaitForWindowExposed(&h.w()))
            return false;
        h.w().activateWindow();
        return true;
    }
    static QString stableName(AppHarness &h)
    {
        return h.dir.filePath(QStringLiteral("by-id/usb-board"));
    }
    static bool plugIn(AppHarness &h, BoardSimProcess &sim, QStringList args = {})
    {
        return sim.start(args << QStringLiteral("--frozen") << QStringLiteral("--link")
                              << stableName(h));
    }

private slots:
    void pulledAdapterGoesOfflineOnceAndF3WorksWhenItIsBack()
    {
        AppHarness h;
        QVERIFY(startShown(h));
        frmMDIMain &w = h.w();
        BoardSimProcess first;
        QVERIFY(plugIn(h, first));
        QTest::keyClick(&w, Qt::Key_F3);
        QCOMPARE(w.panelText(2), QStringLiteral("ONLINE"));
        // Main Display's own cycle is what meets the lost link.
        if (!w.currentChild()->FormActive)
            w.currentChild()->Form_Activate();
        QTRY_COMPARE_WITH_TIMEOUT(w.panelText(1),
                                  QStringLiteral("System Message:  All Faults Normal"), 5000);

        hungUpWarnings = 0;
        previousHandler = qInstallMessageHandler(countHangUps);
        first.command(QStringLiteral("close")); // the adapter is pulled: its device closes
        QTRY_COMPARE_WITH_TIMEOUT(w.panelText(2), QStringLiteral("OFFLINE"), 10000);
        QTRY_VERIFY_WITH_TIMEOUT(
            w.panelText(1).startsWith(QStringLiteral("System Message:  Comm Fault with T6800")),
            5000);
        QTest::qWait(1200); // later ticks and refresh turns must not meet it again
        qInstallMessageHandler(previousHandler);
        QCOMPARE(hungUpWarnings, 1);
        QVERIFY(h.prompt.asked.isEmpty());
        QVERIFY(!h.comm->OnlineMode);

        // Plugged back: the same stable name, a new device behind it.
        BoardSimProcess back;
        QVERIFY(plugIn(h, back));
        QTest::keyClick(&w, Qt::Key_F3);
        QCOMPARE(w.panelText(2), QStringLiteral("ONLINE"));
        QTRY_COMPARE_WITH_TIMEOUT(w.panelText(1),
                                  QStringLiteral("System Message:  All Faults Normal"), 5000);
        QVERIFY(h.prompt.asked.isEmpty());
    }

    void testLinkShowsTheReportAndCopiesIt()
    {
        AppHarness h;
        QVERIFY(startShown(h));
        BoardSimProcess plug;
        QVERIFY(plugIn(h, plug, {QStringLiteral("--loopback")}));
        frmMDIMain &w = h.w();
        QString shown;
        QString copied;
        QTimer::singleShot(0, this, [&] {
            auto *window = w.findChild<frmSetupComm *>();
            QVERIFY(window);
            auto *test = window->findChild<QPushButton *>(QStringLiteral("cmdTestLink"));
            auto *copy = window->findChild<QPushButton *>(QStringLiteral("cmdCopyReport"));
            auto *report = window->findChild<QPlainTextEdit *>(QStringLiteral("txtLinkReport"));
            QVERIFY(test && copy && report);
            QVERIFY(!copy->isEnabled());
            QTest::mouseClick(test, Qt::LeftButton);
            shown = report->isVisible() ? report->toPlainText() : QString();
            QTest::mouseClick(copy, Qt::LeftButton);
            copied = QGuiApplication::clipboard()->text();
            QTest::mouseClick(window->cmdCancel, Qt::LeftButton);
        });
        QTest::keyClick(&w, Qt::Key_M, Qt::ControlModifier);
        QVERIFY2(shown.contains(QStringLiteral("Result: every byte came back unchanged, the "
                                               "handshake included")),
                 qPrintable(shown));
        QVERIFY(shown.startsWith(QStringLiteral("Port 1: ")));
        QCOMPARE(copied, shown);
        // The check left the program as it was.
        QVERIFY(!h.comm->OnlineMode);
    }
};

QTEST_MAIN(TestLinkReplug)
#include "test_linkreplug.moc"
