// Help Topics from the shown main window: the help document at its contents,
// search, and a missing help file named.

#include "app/frmhelp.h"
#include "appharness.h"

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
};

QTEST_MAIN(TestHelpAbout)
#include "test_helpabout.moc"
