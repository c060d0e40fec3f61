// The history from the shown window: a set-up change the operator makes is
// what the command line lists afterwards, and View > History shows the store
// offline, filtered as typed.
#include "app/childform.h"
#include "app/frmhistory.h"
#include "app/frmmdimain.h"
#include "app/historywiring.h"
#include "appharness.h"
#include "fakes/programrun.h"
#include "machine/datatransfer.h"

#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QTabBar>
#include <QTabWidget>
#include <QTableWidget>
#include <QTest>

class TestHistoryGui : public QObject
{
    Q_OBJECT

private slots:
    void setupChangeIsListedByTheCommandLine()
    {
        AppHarness h;
        BoardSimProcess sim;
        QVERIFY(h.startWithBoard(sim, {QStringLiteral("--frozen")}, AppHarness::BackgroundTimer::Running));
        QCOMPARE(sim.command(QStringLiteral("set B1000 9")), QStringLiteral("ok"));
        h.w().resize(1000, 720);
        h.w().show();
        QVERIFY(QTest::qWaitForWindowActive(&h.w()));
        QTest::keyClick(&h.w(), Qt::Key_F3);
        QTRY_VERIFY(h.comm->OnlineMode);
        auto *windowMenu = h.w().findChild<QMenu *>(QStringLiteral("mnuWindow"));
        QTest::keyClick(&h.w(), Qt::Key_W, Qt::AltModifier);
        QTRY_VERIFY(windowMenu->isVisible());
        QTest::keyClick(windowMenu, Qt::Key_2);
        QTRY_VERIFY(!windowMenu->isVisible());
        h.w().activateWindow();
        QWidget *setup = h.w().currentChild();
        auto *tabs = setup->findChild<QTabBar *>(QStringLiteral("tbsSetup"));
        auto *field = setup->findChild<QLineEdit *>(QStringLiteral("txtSetup5"));
        QVERIFY(tabs && field);
        QTest::mouseClick(tabs, Qt::LeftButton, {}, tabs->tabRect(1).center());
        QTRY_COMPARE(field->text(), QStringLiteral("9"));
        QTest::mouseClick(field, Qt::LeftButton, {}, field->rect().center());
        QTest::keyClicks(field, QStringLiteral("15"));
        QTest::mouseClick(setup->findChild<QWidget *>(QStringLiteral("cmdDefault")), Qt::LeftButton);
        QTRY_COMPARE(sim.command(QStringLiteral("get B1000")), QStringLiteral("15"));

        qputenv("KESTRO_HISTORY", h.w().history().store().path().toUtf8());
        const ProgramRun run = ProgramRun::run(
            QStringLiteral("kestro-cli"),
            {QStringLiteral("history"), QStringLiteral("changes"), QStringLiteral("--csv")});
        QCOMPARE(run.exitCode, 0);
        const QStringList lines = run.out.trimmed().split(u'\n');
        QCOMPARE(lines.size(), 2); // the header and the one change
        QVERIFY2(lines[1].endsWith(QStringLiteral(
                     ",B1000,Number of Cans to Blow-off at Infeed Open,9,15,"
                     "\"window Set-Up, field Number of Cans to Blow-off at Infeed Open\",yes,")),
                 qPrintable(lines[1]));
    }

    void historyWindowShowsTheStoreOffline()
    {
        AppHarness h;
        QVERIFY(h.start());
        History::HistoryStore &store = h.w().history().store();
        const QDateTime t(QDate(2026, 3, 2), QTime(7, 0));
        store.recordFault({0, t, History::FaultSource::Board, 0x1A, QStringLiteral("valve")});
        store.recordFault({0, t.addSecs(60), History::FaultSource::Board, 0, {}});
        store.recordFault({0, t.addSecs(90), History::FaultSource::Board, 0x2C, QStringLiteral("resolver")});
        h.w().show();
        QVERIFY(QTest::qWaitForWindowActive(&h.w()));

        QTest::keyClick(&h.w(), Qt::Key_F6);
        frmHistory *history = h.w().history().historyWindow();
        QVERIFY(history);
        QTRY_VERIFY(history->isVisible());
        auto *faults = history->findChild<QTableWidget *>(QStringLiteral("grdFaults"));
        auto *filter = history->findChild<QLineEdit *>(QStringLiteral("txtFaultsFilter"));
        QTabBar *pages = history->findChild<QTabWidget *>(QStringLiteral("tabHistory"))->tabBar();
        QCOMPARE(faults->rowCount(), 3);
        QTest::mouseClick(pages, Qt::LeftButton, {}, pages->tabRect(3).center());
        QTest::mouseClick(filter, Qt::LeftButton);
        QTest::keyClicks(filter, QStringLiteral("1ah"));
        const History::Table shown = history->shownRows(faults);
        QCOMPARE(shown.size(), 2);
        QCOMPARE(shown[1].last(), QStringLiteral("valve"));

        const QString csv = h.dir.filePath(QStringLiteral("faults.csv"));
        QVERIFY(history->exportTable(faults, csv));
        QFile f(csv);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(f.readAll(), QByteArray("Time,Source,Code,Text\n2026-03-02 07:00:00,board,1AH,valve\n"));
    }

    // File > Compare with Board on the shown window: the one item the board holds
    // differently is listed with both values, and nothing else.
    void compareListsWhatADownloadWouldChange()
    {
        AppHarness h;
        BoardSimProcess sim;
        QVERIFY(h.startWithBoard(sim));
        h.w().show();
        QVERIFY(QTest::qWaitForWindowActive(&h.w()));
        QTest::keyClick(&h.w(), Qt::Key_F3);
        QTRY_VERIFY(h.comm->OnlineMode);
        DataSet &memory = h.data.gCurrentData;
        // Memory as the board holds it, then one item changed on the board.
        QCOMPARE(DataTransfer(*h.comm, memory)
                     .ProcessTransfer(transferMode(TransferDirection::Upload, DataGroup::SetupData))
                     .Outcome,
                 TransferOutcome::Completed);
        const qint32 inMemory = memory.Value[memory.Address.indexOf(QStringLiteral("B1003"))];
        QCOMPARE(sim.command(QStringLiteral("set B1003 %1").arg(inMemory + 1)), QStringLiteral("ok"));

        QStringList rows;
        QTimer poll;
        QObject::connect(&poll, &QTimer::timeout, [&] {
            QWidget *dialog = QApplication::activeModalWidget();
            if (!dialog || dialog->objectName() != u"frmCompare")
                return;
            poll.stop();
            auto *grid = dialog->findChild<QTableWidget *>(QStringLiteral("grdItems"));
            for (int r = 0; grid && r < grid->rowCount(); ++r)
                rows << grid->item(r, 0)->text() + u'|' + grid->item(r, 1)->text() + u'|'
                            + grid->item(r, 2)->text();
            QTest::keyClick(dialog, Qt::Key_Escape);
        });
        poll.start(20);
        QVERIFY(chooseMenu(h.w(), {QStringLiteral("mnuFile"), QStringLiteral("mnuFileCompare")}));
        QTRY_VERIFY(!poll.isActive());
        QCOMPARE(rows, QStringList{QStringLiteral("Number of Cans to Blow-off for Each Mis-load|%1|%2")
                                       .arg(inMemory)
                                       .arg(inMemory + 1)});
    }
};

QTEST_MAIN(TestHistoryGui)
#include "test_history_gui.moc"
