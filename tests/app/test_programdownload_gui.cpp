// File > Download Program on the shown main window, against the simulated
// board on a pty, with the questions and the file dialog scripted.

#include "appharness.h"
#include "comm/frmdownloadprog.h"

#include <QLabel>

class TestProgramDownloadGui : public QObject
{
    Q_OBJECT

private slots:
    void downloadThroughTheMenu()
    {
        AppHarness h;
        BoardSimProcess sim;
        // A board that takes a moment over each record, as a real one does,
        // so the window's quarter-second label clock ticks while they go.
        QVERIFY(
            h.online(sim, {"--frozen", "--delay-ms", "1"}, AppHarness::BackgroundTimer::Running));
        QTemporaryDir projects;
        const QDir samples(QDir(BoardSimProcess::binDir()).filePath(QStringLiteral("samples")));
        for (const char *ext : {"pdx", "rev", "hex", "lcf"}) {
            const QString name = QStringLiteral("SAMPLE.") + QLatin1String(ext);
            QVERIFY(QFile::copy(samples.filePath(name), QDir(projects.path()).filePath(name)));
        }
        const QString pdx = QDir(projects.path()).filePath(QStringLiteral("SAMPLE.pdx"));
        h.dialogs.answers = {pdx};
        h.prompt.answers = {PromptAnswer::Yes, PromptAnswer::Yes};
        // What the operator sees when the board's last answer arrives.
        QString labelAtEnd;
        bool timerOffAtEnd = false;
        bool linkHeldAtEnd = false;
        h.prompt.onAsk = [&](const ScriptedPrompt::Asked &a) {
            if (a.text != u"Program Download Complete!")
                return;
            if (auto *window = qobject_cast<frmDownloadProg *>(QApplication::activeModalWidget()))
                labelAtEnd = window->lblWaitDisplay->text();
            timerOffAtEnd = !h.w().tmrBackgroungUpdate->isActive();
            linkHeldAtEnd = h.comm->linkBusy();
        };
        QVERIFY(chooseMenu(h.w(), {"mnuFile", "mnuFileDownloadProgram"}));
        QCOMPARE(h.w().gProgramFilePath, pdx);
        QCOMPARE(h.prompt.asked[1].title, QStringLiteral("Program Download - [KSTDEMO1]"));
        QCOMPARE(h.prompt.asked.last().text, QStringLiteral("Program Download Complete!"));
        QVERIFY2(labelAtEnd.startsWith(u"Writing to Program Address: ") &&
                     labelAtEnd.endsWith(u'H'),
                 qPrintable(labelAtEnd));
        QVERIFY(timerOffAtEnd && linkHeldAtEnd);
        // Afterwards: the window is gone, the cycle runs, the link is free.
        QVERIFY(!QApplication::activeModalWidget());
        QVERIFY(h.w().tmrBackgroungUpdate->isActive());
        QVERIFY(!h.comm->linkBusy());
        QCOMPARE(h.w().panelText(2), QStringLiteral("ONLINE"));
        QCOMPARE(sim.command(QStringLiteral("program")), QStringLiteral("records 2048 last BFF0H"));
    }
};

QTEST_MAIN(TestProgramDownloadGui)
#include "test_programdownload_gui.moc"
