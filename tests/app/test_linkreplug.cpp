// The window program when the adapter is pulled and plugged back in, against
// kestro-boardsim on a pty. Port 1 leads to a stable name the simulator
// makes, as udev makes /dev/serial/by-id.

#include "app/childform.h"
#include "appharness.h"

namespace
{

int hungUpWarnings = 0;
QtMessageHandler previousHandler = nullptr;

// The lost device is met by a wait (hung up) or by a send, whichever first.
void countHangUps(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (message.contains(QLatin1String("device hung up")) ||
        message.contains(QLatin1String("send failed")))
        ++hungUpWarnings;
    previousHandler(type, context, message);
}

} // namespace

class TestLinkReplug : public QObject
{
    Q_OBJECT

private slots:
    void pulledAdapterIsNamedGoesOfflineOnceAndF3WorksWhenItIsBack()
    {
        AppHarness h;
        QVERIFY(h.start(AppHarness::BackgroundTimer::Running));
        const QString stable = h.dir.filePath(QStringLiteral("by-id/usb-board"));
        const QString link = h.dir.filePath(QStringLiteral("Support/COM71"));
        QVERIFY(QDir().mkpath(h.dir.filePath(QStringLiteral("by-id"))));
        const QStringList simArgs = {QStringLiteral("--frozen"), QStringLiteral("--link"), stable};
        BoardSimProcess first;
        // Port 71: without its link it falls back to a serial line no machine has.
        QVERIFY(first.start(simArgs) && first.useAsPort(h.programDir(), 71));
        QVERIFY(QFile::remove(link) && QFile::link(stable, link));
        QVERIFY(h.show());
        frmMDIMain &w = h.w();
        QTest::keyClick(&w, Qt::Key_F3);
        QCOMPARE(w.panelText(2), QStringLiteral("ONLINE"));
        // Main Display's own cycle is what meets the lost link.
        if (!w.currentChild()->FormActive)
            w.currentChild()->Form_Activate();
        QTRY_COMPARE_WITH_TIMEOUT(w.panelText(1),
                                  QStringLiteral("System Message:  All Faults Normal"), 5000);

        hungUpWarnings = 0;
        previousHandler = qInstallMessageHandler(countHangUps);
        first.command(QStringLiteral("close"));
        QTRY_COMPARE_WITH_TIMEOUT(w.panelText(2), QStringLiteral("OFFLINE"), 10000);
        QTRY_VERIFY_WITH_TIMEOUT(
            w.panelText(1).startsWith(QStringLiteral("System Message:  Comm Fault with T6800")),
            5000);
        QTest::qWait(1200); // later ticks and refresh turns must not meet it again
        qInstallMessageHandler(previousHandler);
        QCOMPARE(hungUpWarnings, 1);
        QVERIFY2(w.panelText(1).contains(QStringLiteral("went away")) &&
                     w.panelText(1).contains(QStringLiteral("Support/COM71")),
                 qPrintable(w.panelText(1)));
        QVERIFY(h.prompt.asked.isEmpty());

        // With the link gone too, the next try names the port and its link.
        w.tmrBackgroungUpdate->stop();
        QVERIFY(QFile::remove(link));
        QTest::keyClick(&w, Qt::Key_F3);
        QCOMPARE(h.prompt.asked.size(), 1);
        QCOMPARE(h.prompt.asked[0].title, QStringLiteral("Comm Port Error"));
        QVERIFY2(h.prompt.asked[0].text.contains(QStringLiteral("no link Support/COM71")),
                 qPrintable(h.prompt.asked[0].text));

        // Plugged back: the same stable name, a new device behind it.
        QVERIFY(QFile::link(stable, link));
        w.tmrBackgroungUpdate->start();
        BoardSimProcess back;
        QVERIFY(back.start(simArgs));
        QVERIFY(backInFront(w));
        QTest::keyClick(&w, Qt::Key_F3);
        QCOMPARE(w.panelText(2), QStringLiteral("ONLINE"));
        QTRY_COMPARE_WITH_TIMEOUT(w.panelText(1),
                                  QStringLiteral("System Message:  All Faults Normal"), 5000);
        QCOMPARE(h.prompt.asked.size(), 1);
    }
};

QTEST_MAIN(TestLinkReplug)
#include "test_linkreplug.moc"
