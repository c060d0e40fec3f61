// Help Topics and About from the shown main window: the help document at its
// contents, search, a missing help file named, and About's system information.

#include "app/frmabout.h"
#include "app/frmhelp.h"
#include "appharness.h"

#include <QPlainTextEdit>
#include <QPushButton>
#include <QTextBrowser>
#include <QToolButton>

namespace
{

QString shippedHelp()
{
    return QDir(BoardSimProcess::binDir()).filePath(QStringLiteral("Help/KESTRO.html"));
}

} // namespace

class TestHelpAbout : public QObject
{
    Q_OBJECT

private slots:
    void helpWindow()
    {
        AppHarness h;
        QVERIFY(h.start() && h.show());
        const QString installed = QDir(h.programDir()).filePath(QStringLiteral("Help/KESTRO.html"));
        QTest::keyClick(&h.w(), Qt::Key_H, Qt::ControlModifier);
        QVERIFY(!h.w().findChild<frmHelp *>());
        QCOMPARE(h.prompt.asked.size(), 1);
        QCOMPARE(h.prompt.asked[0].text, "The help file could not be found:\r\n" + installed);

        QVERIFY(QDir().mkpath(QFileInfo(installed).path()) &&
                QFile::copy(shippedHelp(), installed));
        QVERIFY(backInFront(h.w()));
        QTest::keyClick(&h.w(), Qt::Key_H, Qt::ControlModifier);
        QTest::keyClick(&h.w(), Qt::Key_H, Qt::ControlModifier);
        QCOMPARE(h.w().findChildren<frmHelp *>().size(), 1);
        auto *help = h.w().findChild<frmHelp *>();
        QVERIFY(QTest::qWaitForWindowExposed(help));
        QCOMPARE(help->txtHelp->source().toLocalFile(), installed);
        QCOMPARE(help->txtHelp->source().fragment(), QStringLiteral("contents"));
        QVERIFY(!help->cmdBack->isEnabled());

        // Typed text and Enter select the next occurrence.
        QTest::mouseClick(help->txtSearch, Qt::LeftButton);
        QTest::keyClicks(help->txtSearch, QStringLiteral("dialout"));
        QTest::keyClick(help->txtSearch, Qt::Key_Return);
        QCOMPARE(help->txtHelp->textCursor().selectedText(), QStringLiteral("dialout"));
        help->txtSearch->clear();
        QTest::keyClicks(help->txtSearch, QStringLiteral("no such words anywhere"));
        QVERIFY(!help->findNext());
        QCOMPARE(h.prompt.asked.size(), 1);
    }

    // System Info lists the serial devices; with no device folder it says so.
    void systemInformation()
    {
        AppHarness h;
        QVERIFY(h.start() && h.show());
        QTemporaryDir dev;
        QFile device(dev.filePath(QStringLiteral("ttyUSB0")));
        QVERIFY(device.open(QIODevice::WriteOnly));
        device.close();
        QVERIFY(chooseMenu(h.w(), {"mnuHelp", "mnuHelpAbout"}));
        auto *about = h.w().findChild<frmAbout *>();
        QVERIFY(about && QTest::qWaitForWindowExposed(about));
        for (const QString &folder : {dev.filePath(QStringLiteral("none")), dev.path()}) {
            about->DeviceFolder = folder;
            QTest::mouseClick(about->cmdSysInfo, Qt::LeftButton);
        }
        QCOMPARE(h.prompt.asked.size(), 1);
        auto *info = about->findChild<QPlainTextEdit *>(QStringLiteral("txtSysInfo"));
        QVERIFY(info && QTest::qWaitForWindowExposed(info->window()));
        QVERIFY(info->toPlainText().contains(QStringLiteral("ttyUSB0")));
        QPointer<frmAbout> guard(about);
        QTest::mouseClick(about->cmdOk, Qt::LeftButton);
        QTRY_VERIFY(!guard);
    }
};

QTEST_MAIN(TestHelpAbout)
#include "test_helpabout.moc"
