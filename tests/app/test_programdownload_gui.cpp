// File > Download Program on the shown main window, against the simulated
// board on a pty, with the questions and the file dialog scripted.

#include "appharness.h"
#include "comm/frmdownloadprog.h"

#include <QLabel>
#include <QProgressBar>

class TestProgramDownloadGui : public QObject
{
    Q_OBJECT

private slots:
    void offlineNoAsksForNoFile()
    {
        AppHarness h;
        QVERIFY(h.start(AppHarness::BackgroundTimer::Running) && h.show());
        h.prompt.answers = {PromptAnswer::No};
        QVERIFY(chooseMenu(h.w(), {"mnuFile", "mnuFileDownloadProgram"}));
        QCOMPARE(h.prompt.asked.size(), 1);
        QVERIFY(h.dialogs.asked.isEmpty());
        QVERIFY(h.port->sent.isEmpty());
    }

    void downloadThroughTheMenu()
    {
        AppHarness h;
        BoardSimProcess sim;
        // A board that takes a moment over each record, as a real one does,
        // so the window's quarter-second label clock ticks while they go.
        QVERIFY(
            h.online(sim, {"--frozen", "--delay-ms", "1"}, AppHarness::BackgroundTimer::Running));
        QTemporaryDir projects;
        const QDir samples(QDir(binDir()).filePath(QStringLiteral("samples")));
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
        QCOMPARE(h.dialogs.asked[0].filter, QStringLiteral("Pradex Files(*.pdx)|*.pdx|"));
        QCOMPARE(h.w().gProgramFilePath, pdx);
        QCOMPARE(h.prompt.asked[0].text,
                 QStringLiteral("You are about to download \"SAMPLE.pdx\" to the T6800.\r\n\r\n"
                                "Do you wish to continue?"));
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

    // The read-back mode of the progress window (the program never starts
    // it today).
    void readBackWindow()
    {
        AppHarness h;
        BoardSimProcess sim;
        QVERIFY(h.online(sim));
        QTemporaryDir projects;
        QFile pdx(QDir(projects.path()).filePath(QStringLiteral("BACK.pdx")));
        QVERIFY(pdx.open(QIODevice::WriteOnly) && pdx.write("D,read back\r\n") > 0);
        pdx.close();
        h.comm->UploadFile(pdx.fileName());
        h.comm->setInUploadMode(true);
        QString labelAtEnd;
        h.prompt.onAsk = [&](const ScriptedPrompt::Asked &) {
            if (auto *w = qobject_cast<frmDownloadProg *>(QApplication::activeModalWidget()))
                labelAtEnd = w->lblWaitDisplay->text();
        };
        frmDownloadProg window(*h.comm, &h.w());
        window.SetTransferMode(1);
        window.exec();
        QCOMPARE(h.prompt.asked.last().text, QStringLiteral("Program Upload Complete!"));
        QVERIFY2(labelAtEnd.startsWith(u"Reading From Program Address: "), qPrintable(labelAtEnd));
        QVERIFY(window.transferMode() == 0 && !h.comm->linkBusy());
        QFile hex(QDir(projects.path()).filePath(QStringLiteral("BACK.hex")));
        QVERIFY(hex.open(QIODevice::ReadOnly));
        QCOMPARE(hex.readAll().count('\n'), 2049);
    }
};

QTEST_MAIN(TestProgramDownloadGui)
#include "test_programdownload_gui.moc"
