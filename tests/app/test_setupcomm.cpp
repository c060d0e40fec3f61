// "Comm Port Settings": port validation, the files saving writes, the device
// shown for a port, the link check, and reconnecting when the program was
// online.

#include "appharness.h"
#include "comm/frmsetupcomm.h"

#include <QClipboard>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QToolButton>

namespace
{

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

// Types the port, picks the speed and presses Save, as the operator does.
void save(frmSetupComm &window, const QString &port, int speed = 0)
{
    window.txtCommPort->selectAll();
    QTest::keyClicks(window.txtCommPort, port);
    QTest::mouseClick(window.optPortSpeed[speed], Qt::LeftButton);
    QTest::mouseClick(window.cmdSave, Qt::LeftButton);
}

const QString RangeMessage = QStringLiteral("Only a Number Between 1 and 99 can be Entered");

} // namespace

class TestSetupComm : public QObject
{
    Q_OBJECT

    std::unique_ptr<frmSetupComm> shown(AppHarness &h)
    {
        auto window = std::make_unique<frmSetupComm>(*h.comm, *h.port, h.prompt, h.programDir());
        window->show();
        return backInFront(*window) ? std::move(window) : nullptr;
    }

private slots:
    void refusesPortsOutsideOneToNinetyNine()
    {
        AppHarness h;
        QVERIFY(h.start());
        QFile empty(h.comm->CommSettingsFile()); // an empty file reads as port 1 at 9600
        QVERIFY(empty.open(QIODevice::WriteOnly));
        empty.close();
        auto window = shown(h);
        QVERIFY(window);
        QVERIFY(window->txtCommPort->text() == "1" && window->optPortSpeed[0]->isChecked());
        int asked = 0;
        for (const char *entry : {"0", "100", "abc", ""}) {
            save(*window, QString::fromLatin1(entry));
            QCOMPARE(h.prompt.asked.size(), ++asked);
            QCOMPARE(h.prompt.asked.last().text, RangeMessage);
            QCOMPARE(QFileInfo(h.comm->CommSettingsFile()).size(), 0);
            QVERIFY(window->isVisible());
        }
        // The spinner stays in range.
        window->txtCommPort->setText(QStringLiteral("2"));
        for (int i = 0; i < 3; ++i)
            QTest::mouseClick(window->updCommPortDown, Qt::LeftButton);
        QCOMPARE(window->txtCommPort->text(), QStringLiteral("1"));
        window->txtCommPort->setText(QStringLiteral("98"));
        for (int i = 0; i < 3; ++i)
            QTest::mouseClick(window->updCommPortUp, Qt::LeftButton);
        QCOMPARE(window->txtCommPort->text(), QStringLiteral("99"));
        QCOMPARE(h.prompt.asked.size(), asked);
    }

    // Leaving the box with a bad port says so and takes the focus back.
    void leavingTheBoxValidatesIt()
    {
        AppHarness h;
        QVERIFY(h.start());
        auto window = shown(h);
        QVERIFY(window);
        clickInto(window->txtCommPort);
        window->txtCommPort->selectAll();
        QTest::keyClicks(window->txtCommPort, QStringLiteral("100"));
        QTest::keyClick(window->txtCommPort, Qt::Key_Tab);
        QTRY_COMPARE(h.prompt.asked.size(), 1);
        QCOMPARE(h.prompt.asked[0].text, RangeMessage);
        QTRY_VERIFY(window->txtCommPort->hasFocus());
        window->txtCommPort->selectAll();
        QTest::keyClicks(window->txtCommPort, QStringLiteral("12"));
        QTest::keyClick(window->txtCommPort, Qt::Key_Tab);
        QTRY_VERIFY(!window->txtCommPort->hasFocus());
        QCOMPARE(h.prompt.asked.size(), 1);
    }

    void savesIntoEveryToolFolderWithoutOpeningThePort()
    {
        AppHarness h;
        QVERIFY(h.start());
        const QDir dir(h.programDir());
        QVERIFY(dir.mkpath(QStringLiteral("PRX51")) && dir.mkpath(QStringLiteral("LMX51")));
        // A settings folder that is missing is created.
        QVERIFY(QDir(dir.filePath(QStringLiteral("Support"))).removeRecursively());
        auto window = shown(h);
        QVERIFY(window);
        // Cancel writes nothing.
        window->txtCommPort->setText(QStringLiteral("3"));
        QTest::mouseClick(window->cmdCancel, Qt::LeftButton);
        QVERIFY(!window->isVisible());
        QVERIFY(!QFile::exists(h.comm->CommSettingsFile()));
        QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("PRX51/PRADEX.SFG"))));

        // The tools' files hold the port counted from 0.
        for (const auto &[port, speed, line, tools] :
             {std::tuple{"3", 1, "3, 19200 \r\n", "2\r\n"}, {"1", 0, "1, 9600 \r\n", "0\r\n"}}) {
            window = shown(h);
            save(*window, QString::fromLatin1(port), speed);
            QCOMPARE(window->result(), int(QDialog::Accepted));
            QCOMPARE(contentOf(h.comm->CommSettingsFile()), QByteArray(line));
            for (const char *tool : {"PRX51", "LMX51"})
                QCOMPARE(contentOf(dir.filePath(QLatin1String(tool) + "/PRADEX.SFG")),
                         QByteArray(tools));
        }
        QVERIFY(!dir.exists(QStringLiteral("PRX96")));
        QVERIFY(h.prompt.asked.isEmpty());
        QCOMPARE(h.port->openCount, 0);
        window = shown(h);
        QVERIFY(window->txtCommPort->text() == "1" && window->optPortSpeed[0]->isChecked());
    }

    void showsTheDeviceAPortResolvesTo()
    {
        AppHarness h;
        BoardSimProcess sim;
        QVERIFY(h.startWithBoard(sim));
        QVERIFY(QFile::link(QStringLiteral("/nonexistent/kestro-test-device"),
                            QDir(h.programDir()).filePath(QStringLiteral("Support/COM7"))));
        frmSetupComm window(*h.comm, *h.port, h.prompt, h.programDir());
        QCOMPARE(window.lblDevice->text(),
                 "Device: Support/COM1 -> " + sim.slavePath() + " (present)");
        const QList<std::pair<const char *, const char *>> cases = {
            {"7", "Device: Support/COM7 -> /nonexistent/kestro-test-device (not found)"},
            {"0", "Device: -"}};
        for (const auto &[port, shownText] : cases) {
            window.txtCommPort->setText(QString::fromLatin1(port));
            QCOMPARE(window.lblDevice->text(), QString::fromLatin1(shownText));
        }
    }

    // From the main window's Ctrl+M; the check leaves the program offline.
    void testLinkShowsTheReportAndCopiesIt()
    {
        AppHarness h;
        BoardSimProcess sim;
        QVERIFY(h.startWithBoard(sim, {QStringLiteral("--loopback")}) && h.show());
        QString shownText;
        whenModal<frmSetupComm>(this, [&](frmSetupComm *window) {
            auto *test = window->findChild<QPushButton *>(QStringLiteral("cmdTestLink"));
            auto *copy = window->findChild<QPushButton *>(QStringLiteral("cmdCopyReport"));
            auto *report = window->findChild<QPlainTextEdit *>(QStringLiteral("txtLinkReport"));
            QVERIFY(test && copy && report && !copy->isEnabled());
            QTest::mouseClick(test, Qt::LeftButton);
            shownText = report->isVisible() ? report->toPlainText() : QString();
            QTest::mouseClick(copy, Qt::LeftButton);
            QTest::mouseClick(window->cmdCancel, Qt::LeftButton);
        });
        QTest::keyClick(&h.w(), Qt::Key_M, Qt::ControlModifier);
        QVERIFY2(shownText.startsWith(QStringLiteral("Port 1: ")) &&
                     shownText.contains(QStringLiteral(
                         "Result: every byte came back unchanged, the handshake included")),
                 qPrintable(shownText));
        QCOMPARE(QGuiApplication::clipboard()->text(), shownText);
        QVERIFY(!h.comm->OnlineMode);
        QCOMPARE(h.w().panelText(2), QStringLiteral("OFFLINE"));
    }

    // Online, Save reconnects; a port with no board keeps the window open and
    // the program offline until a port that answers is saved.
    void onlineSaveReconnects()
    {
        AppHarness h;
        BoardSimProcess sim;
        BoardSimProcess silent;
        QVERIFY(h.online(sim));
        QVERIFY(silent.start({QStringLiteral("--silent")}) && silent.linkAsPort(h.programDir(), 4));
        const int opens = h.port->openCount;
        auto window = shown(h);
        save(*window, QStringLiteral("1"), 1);
        QCOMPARE(window->result(), int(QDialog::Accepted));
        QCOMPARE(h.port->openCount, opens + 1);
        QCOMPARE(h.port->baudRate(), 19200);
        QCOMPARE(h.comm->RSRead(QStringLiteral("B52")), sim.command(QStringLiteral("get B52")));
        QVERIFY(h.prompt.asked.isEmpty());

        // Port 4 does not answer: then Save on port 1, or Cancel, which
        // puts back the settings and the link the window started with.
        const QByteArray settings = contentOf(h.comm->CommSettingsFile());
        for (QPushButton *frmSetupComm::*end : {&frmSetupComm::cmdSave, &frmSetupComm::cmdCancel}) {
            h.prompt.asked.clear();
            window = shown(h);
            save(*window, QStringLiteral("4"));
            QCOMPARE(h.prompt.asked.value(0).title,
                     QStringLiteral("WARNING - Communication Error!"));
            QVERIFY(window->isVisible());
            QVERIFY(!h.comm->OnlineMode);
            QCOMPARE(contentOf(h.comm->CommSettingsFile()), QByteArray("4, 9600 \r\n"));
            h.prompt.asked.clear();
            if (end == &frmSetupComm::cmdSave)
                save(*window, QStringLiteral("1"), 1);
            else
                QTest::mouseClick(window->cmdCancel, Qt::LeftButton);
            QVERIFY(!window->isVisible());
            QCOMPARE(contentOf(h.comm->CommSettingsFile()), settings);
            QVERIFY(h.comm->OnlineMode);
            QVERIFY(h.prompt.asked.isEmpty());
        }
    }
};

QTEST_MAIN(TestSetupComm)
#include "test_setupcomm.moc"
