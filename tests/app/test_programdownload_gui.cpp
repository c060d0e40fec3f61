#include "appharness.h"

#include "comm/frmdownloadprog.h"

#include <QLabel>
#include <QProgressBar>
#include <QtTest>

// File > Download Program on the shown main window, against the simulated
// board on a pty, with the questions and the file dialog scripted.
class TestProgramDownloadGui : public QObject
{
    Q_OBJECT

    static QString copySample(const QString &dir)
    {
        const QDir samples(QDir(binDir()).filePath(QStringLiteral("samples")));
        for (const char *ext : {"pdx", "rev", "hex", "lcf"}) {
            const QString name = QStringLiteral("SAMPLE.") + QLatin1String(ext);
            QFile::copy(samples.filePath(name), QDir(dir).filePath(name));
        }
        return QDir(dir).filePath(QStringLiteral("SAMPLE.pdx"));
    }

private slots:
    void offlineNoAsksForNoFile()
    {
        AppHarness h;
        QVERIFY(h.start(AppHarness::BackgroundTimer::Running));
        h.w().show();
        QVERIFY(QTest::qWaitForWindowExposed(&h.w()));
        h.prompt.answers = {PromptAnswer::No};
        h.w().mnuFileDownloadProgram->trigger();
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
        QVERIFY(h.startWithBoard(sim,
                                 {QStringLiteral("--frozen"), QStringLiteral("--delay-ms"),
                                  QStringLiteral("1")},
                                 AppHarness::BackgroundTimer::Running));
        h.w().show();
        QVERIFY(QTest::qWaitForWindowExposed(&h.w()));
        h.w().mnuViewOnline_Click();
        QVERIFY(h.comm->OnlineMode);
        QVERIFY(h.w().tmrBackgroungUpdate->isActive());

        QTemporaryDir projects;
        const QString pdx = copySample(projects.path());
        h.dialogs.answers = {pdx};
        h.prompt.answers = {PromptAnswer::Yes, PromptAnswer::Yes};

        // What the operator sees when the board's last answer arrives.
        QString labelAtEnd;
        int progressAtEnd = -1;
        bool timerOffAtEnd = false;
        bool linkHeldAtEnd = false;
        h.prompt.onAsk = [&](const ScriptedPrompt::Asked &a) {
            if (a.text != u"Program Download Complete!")
                return;
            auto *window = qobject_cast<frmDownloadProg *>(QApplication::activeModalWidget());
            if (window) {
                labelAtEnd = window->lblWaitDisplay->text();
                progressAtEnd = window->prgWaitDisplay->value();
            }
            timerOffAtEnd = !h.w().tmrBackgroungUpdate->isActive();
            linkHeldAtEnd = h.comm->linkBusy();
        };

        h.w().mnuFileDownloadProgram->trigger();

        QCOMPARE(h.dialogs.asked.size(), 1);
        QCOMPARE(h.dialogs.asked[0].filter, QStringLiteral("Pradex Files(*.pdx)|*.pdx|"));
        QCOMPARE(h.w().gProgramFilePath, pdx);
        QVERIFY(h.prompt.asked.size() >= 3);
        QCOMPARE(h.prompt.asked[0].title, QStringLiteral("Program Download"));
        QCOMPARE(h.prompt.asked[0].text,
                 QStringLiteral("You are about to download \"SAMPLE.pdx\" to the T6800.\r\n\r\n"
                                "Do you wish to continue?"));
        QCOMPARE(h.prompt.asked[0].buttons, PromptButtons::YesNo);
        QCOMPARE(h.prompt.asked[1].title, QStringLiteral("Program Download - [KSTDEMO1]"));
        QCOMPARE(h.prompt.asked.last().text, QStringLiteral("Program Download Complete!"));

        QVERIFY2(labelAtEnd.startsWith(u"Writing to Program Address: ") &&
                     labelAtEnd.endsWith(u'H'),
                 qPrintable(labelAtEnd));
        QVERIFY(progressAtEnd >= 0); // the progress window was the modal one
        QVERIFY(timerOffAtEnd);
        QVERIFY(linkHeldAtEnd);

        // Afterwards: the window is gone, the cycle runs, the link is free.
        QVERIFY(!QApplication::activeModalWidget());
        QVERIFY(h.w().tmrBackgroungUpdate->isActive());
        QVERIFY(!h.comm->linkBusy());
        QCOMPARE(h.w().panelText(2), QStringLiteral("ONLINE"));
        QCOMPARE(sim.command(QStringLiteral("program")), QStringLiteral("records 2048 last BFF0H"));
        QCOMPARE(sim.command(QStringLiteral("get EFF0H")), QStringLiteral("75")); // 'K'
    }

    void readBackWindow()
    {
        AppHarness h;
        BoardSimProcess sim;
        QVERIFY(h.startWithBoard(sim));
        h.w().show();
        QVERIFY(QTest::qWaitForWindowExposed(&h.w()));
        h.w().mnuViewOnline_Click();
        QVERIFY(h.comm->OnlineMode);

        QTemporaryDir projects;
        QFile pdx(QDir(projects.path()).filePath(QStringLiteral("BACK.pdx")));
        QVERIFY(pdx.open(QIODevice::WriteOnly));
        pdx.write("D,read back\r\n");
        pdx.close();
        h.comm->UploadFile(pdx.fileName());
        h.comm->setInUploadMode(true);

        QString labelAtEnd;
        h.prompt.onAsk = [&](const ScriptedPrompt::Asked &a) {
            if (auto *w = qobject_cast<frmDownloadProg *>(QApplication::activeModalWidget());
                w && a.text == u"Program Upload Complete!")
                labelAtEnd = w->lblWaitDisplay->text();
        };
        frmDownloadProg window(*h.comm, &h.w());
        window.SetTransferMode(1);
        window.exec();
        QCOMPARE(h.prompt.asked.last().text, QStringLiteral("Program Upload Complete!"));
        QVERIFY2(labelAtEnd.startsWith(u"Reading From Program Address: "), qPrintable(labelAtEnd));
        QCOMPARE(window.transferMode(), 0);
        QVERIFY(!h.comm->linkBusy());
        QFile hex(QDir(projects.path()).filePath(QStringLiteral("BACK.hex")));
        QVERIFY(hex.open(QIODevice::ReadOnly));
        QCOMPARE(hex.readAll().count('\n'), 2049);
    }

    void progressWindowLabels()
    {
        AppHarness h;
        QVERIFY(h.start());
        frmDownloadProg window(*h.comm);
        QCOMPARE(window.lblWaitDisplay->text(), QStringLiteral("Sending Program at Address: "));
        window.SetTransferMode(1);
        QCOMPARE(window.lblWaitDisplay->text(), QStringLiteral("Reading Program at Address: "));
        QVERIFY(window.windowTitle().isEmpty());
        QVERIFY(!(window.windowFlags() & Qt::WindowTitleHint));
        QCOMPARE(window.Timer1->interval(), 250);
        QVERIFY(!window.Timer1->isActive());
    }
};

QTEST_MAIN(TestProgramDownloadGui)
#include "test_programdownload_gui.moc"
