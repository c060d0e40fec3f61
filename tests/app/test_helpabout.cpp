// Help Topics and About from the shown main window: the help document at its
// contents page with every link resolving, back/forward and search; a
// missing help file named; the About window and its system information.

#include "app/frmabout.h"
#include "app/frmhelp.h"
#include "appharness.h"

#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QScreen>
#include <QSet>
#include <QTextBrowser>
#include <QToolButton>

namespace
{

QString shippedHelp()
{
    return QDir(binDir()).filePath(QStringLiteral("Help/KESTRO.html"));
}

bool installHelp(const QString &programDir)
{
    const QString help = QDir(programDir).filePath(QStringLiteral("Help"));
    return QDir().mkpath(help) &&
           QFile::copy(shippedHelp(), QDir(help).filePath(QStringLiteral("KESTRO.html")));
}

} // namespace

class TestHelpAbout : public QObject
{
    Q_OBJECT

private slots:
    void everyLinkOfTheHelpDocumentResolves();
    void helpOpensAtItsContents();
    void helpBackForwardAndSearch();
    void missingHelpNamesThePathLookedAt();
    void aboutWindow();
    void systemInformation();
    void systemInformationUnavailable();

private:
    bool start(AppHarness &h)
    {
        if (!h.start())
            return false;
        h.w().show();
        return QTest::qWaitForWindowExposed(&h.w());
    }
};

void TestHelpAbout::everyLinkOfTheHelpDocumentResolves()
{
    QFile file(shippedHelp());
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QString html = QString::fromUtf8(file.readAll());
    QSet<QString> ids;
    static const QRegularExpression idPattern(QStringLiteral("\\bid=\"([^\"]+)\""));
    for (auto it = idPattern.globalMatch(html); it.hasNext();)
        ids.insert(it.next().captured(1));
    QVERIFY(ids.contains(QStringLiteral("contents")));

    static const QRegularExpression hrefPattern(QStringLiteral("\\bhref=\"([^\"]+)\""));
    int links = 0;
    for (auto it = hrefPattern.globalMatch(html); it.hasNext();) {
        const QString href = it.next().captured(1);
        ++links;
        if (href.startsWith(u'#')) {
            QVERIFY2(ids.contains(href.mid(1)), qPrintable(href));
        } else {
            const QUrl url(href);
            QVERIFY2(url.isRelative(), qPrintable(href));
            const QString target = QFileInfo(shippedHelp()).dir().filePath(url.path());
            QVERIFY2(QFileInfo::exists(target), qPrintable(href));
            if (url.hasFragment()) {
                QFile other(target);
                QVERIFY(other.open(QIODevice::ReadOnly));
                QVERIFY2(other.readAll().contains("id=\"" + url.fragment().toUtf8() + '"'),
                         qPrintable(href));
            }
        }
    }
    QVERIFY(links > 20);
}

void TestHelpAbout::helpOpensAtItsContents()
{
    AppHarness h;
    QVERIFY(start(h));
    QVERIFY(installHelp(h.programDir()));
    h.w().activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&h.w()));
    QTest::keyClick(&h.w(), Qt::Key_H, Qt::ControlModifier);
    auto *help = h.w().findChild<frmHelp *>();
    QVERIFY(help);
    QVERIFY(QTest::qWaitForWindowExposed(help));
    QCOMPARE(help->txtHelp->source().fragment(), QStringLiteral("contents"));
    QCOMPARE(help->txtHelp->source().toLocalFile(),
             QDir(h.programDir()).filePath(QStringLiteral("Help/KESTRO.html")));
    QVERIFY(help->txtHelp->toPlainText().contains(QStringLiteral("KESTRO Help: Contents")));
    QVERIFY(!help->isModal());
    QVERIFY(h.prompt.asked.isEmpty());

    // Asking again keeps one help window.
    h.w().mnuHelpHelpTopics->trigger();
    QCOMPARE(h.w().findChildren<frmHelp *>().size(), 1);
}

void TestHelpAbout::helpBackForwardAndSearch()
{
    AppHarness h;
    QVERIFY(start(h));
    QVERIFY(installHelp(h.programDir()));
    h.w().mnuHelpHelpTopics->trigger();
    auto *help = h.w().findChild<frmHelp *>();
    QVERIFY(help);
    QVERIFY(QTest::qWaitForWindowExposed(help));
    QVERIFY(!help->cmdBack->isEnabled());

    // Following a link of the contents, then back and forward.
    QUrl target = help->txtHelp->source();
    target.setFragment(QStringLiteral("permissions"));
    help->txtHelp->setSource(target);
    QCOMPARE(help->txtHelp->source().fragment(), QStringLiteral("permissions"));
    QVERIFY(help->cmdBack->isEnabled());
    QTest::mouseClick(help->cmdBack, Qt::LeftButton);
    QCOMPARE(help->txtHelp->source().fragment(), QStringLiteral("contents"));
    QVERIFY(help->cmdForward->isEnabled());
    QTest::mouseClick(help->cmdForward, Qt::LeftButton);
    QCOMPARE(help->txtHelp->source().fragment(), QStringLiteral("permissions"));
    QTest::mouseClick(help->cmdContents, Qt::LeftButton);
    QCOMPARE(help->txtHelp->source().fragment(), QStringLiteral("contents"));

    // Search: typed text and Enter selects the next occurrence.
    QTest::mouseClick(help->txtSearch, Qt::LeftButton);
    QTest::keyClicks(help->txtSearch, QStringLiteral("dialout"));
    QTest::keyClick(help->txtSearch, Qt::Key_Return);
    QCOMPARE(help->txtHelp->textCursor().selectedText(), QStringLiteral("dialout"));
    help->txtSearch->clear();
    QTest::keyClicks(help->txtSearch, QStringLiteral("no such words anywhere"));
    QVERIFY(!help->findNext());
}

void TestHelpAbout::missingHelpNamesThePathLookedAt()
{
    AppHarness h;
    QVERIFY(start(h));
    h.w().mnuHelpHelpTopics->trigger();
    QVERIFY(!h.w().findChild<frmHelp *>());
    QCOMPARE(h.prompt.asked.size(), 1);
    QCOMPARE(h.prompt.asked.first().title, QStringLiteral("KESTRO"));
    QCOMPARE(h.prompt.asked.first().text,
             QStringLiteral("The help file could not be found:\r\n") +
                 QDir(h.programDir()).filePath(QStringLiteral("Help/KESTRO.html")));
}

void TestHelpAbout::aboutWindow()
{
    AppHarness h;
    QVERIFY(start(h));
    h.w().mnuHelpAbout->trigger();
    auto *about = h.w().findChild<frmAbout *>();
    QVERIFY(about);
    QVERIFY(QTest::qWaitForWindowExposed(about));
    QVERIFY(!about->isModal());
    QVERIFY(!QApplication::activeModalWidget());
    QCOMPARE(about->windowTitle(), QStringLiteral("About KESTRO"));
    QCOMPARE(about->lblVersion->text(), QStringLiteral("Version 2.1.3"));
    QCOMPARE(about->lblTitle->text(), QStringLiteral("KESTRO"));
    QCOMPARE(about->lblDescription->text().count(u'\n'), 2);
    const QStringList support = about->lblTechSupport->text().split(u'\n');
    QCOMPARE(support.first(), QStringLiteral("Technical Support:"));
    for (int i = 1; i <= 5; ++i)
        QVERIFY2(support[i].startsWith(QStringLiteral("    ")), qPrintable(support[i]));
    QCOMPARE(support[6], QString());
    QCOMPARE(about->cmdOk->text(), QStringLiteral("OK"));
    QCOMPARE(about->cmdSysInfo->text(), QStringLiteral("&System Info..."));
    // Centred on the screen.
    const QPoint screenCentre = about->screen()->geometry().center();
    QVERIFY((about->frameGeometry().center() - screenCentre).manhattanLength() < 4);

    QPointer<frmAbout> guard(about);
    QTest::mouseClick(about->cmdOk, Qt::LeftButton);
    QTRY_VERIFY(!guard);
}

void TestHelpAbout::systemInformation()
{
    AppHarness h;
    QVERIFY(start(h));
    QTemporaryDir dev;
    QFile device(dev.filePath(QStringLiteral("ttyUSB0")));
    QVERIFY(device.open(QIODevice::WriteOnly));
    device.close();
    h.w().mnuHelpAbout->trigger();
    auto *about = h.w().findChild<frmAbout *>();
    QVERIFY(about);
    about->DeviceFolder = dev.path();
    QTest::mouseClick(about->cmdSysInfo, Qt::LeftButton);
    auto *info = about->findChild<QPlainTextEdit *>(QStringLiteral("txtSysInfo"));
    QVERIFY(info);
    QVERIFY(QTest::qWaitForWindowExposed(info->window()));
    const QString text = info->toPlainText();
    QVERIFY(text.contains(QStringLiteral("Qt version: ") + QString::fromLatin1(qVersion())));
    QVERIFY(text.contains(QStringLiteral("Kernel: ") + QSysInfo::kernelType()));
    QVERIFY(text.contains(QStringLiteral("ttyUSB0")));
    QVERIFY(text.contains(QStringLiteral("may open it")) ||
            text.contains(QStringLiteral("may NOT open it")));
    QVERIFY(h.prompt.asked.isEmpty());
}

void TestHelpAbout::systemInformationUnavailable()
{
    AppHarness h;
    QVERIFY(start(h));
    h.w().mnuHelpAbout->trigger();
    auto *about = h.w().findChild<frmAbout *>();
    QVERIFY(about);
    about->DeviceFolder = QDir(h.programDir()).filePath(QStringLiteral("no-such-folder"));
    QTest::mouseClick(about->cmdSysInfo, Qt::LeftButton);
    QVERIFY(!about->findChild<QPlainTextEdit *>());
    QCOMPARE(h.prompt.asked.size(), 1);
    QCOMPARE(h.prompt.asked.first().text,
             QStringLiteral("System Information Is Unavailable At This Time"));
    QCOMPARE(h.prompt.asked.first().buttons, PromptButtons::Ok);
}

QTEST_MAIN(TestHelpAbout)
#include "test_helpabout.moc"
