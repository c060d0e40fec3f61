#include "history/historysampler.h"

#include "comm/clock.h"
#include "comm/posixserialport.h"
#include "comm/rscomm.h"
#include "fakes/boardsimprocess.h"
#include "fakes/loggingprompt.h"
#include "machine/registermap.h"

#include <QTemporaryDir>
#include <QTest>

using namespace History;

// The recorder and its sampler on a real link to the simulated board: a
// shift ended at the machine (the simulator's console) and one ended from
// the program are each recorded once, however long the cycle goes on.
class TestHistoryBoard : public QObject
{
    Q_OBJECT

private slots:
    void eachShiftOnceWhoeverEndedIt()
    {
        QTemporaryDir dir;
        BoardSimProcess sim;
        QVERIFY(sim.start({QStringLiteral("--frozen")}) && sim.linkAsPort(dir.path(), 1));
        SteadyClock clock;
        LoggingPrompt prompt;
        PosixSerialPort port(clock, dir.path());
        RSComm comm(clock, prompt, dir.path());
        comm.OpenRSComm(port);
        QVERIFY(comm.OnlineMode);

        HistoryStore store;
        QVERIFY(store.open(dir.filePath(QStringLiteral("history.sqlite"))));
        HistoryRecorder recorder(store);
        HistorySampler sampler(recorder, comm, clock);
        sampler.setSpindleCount(comm.RSRead(QString(LiveRegister::SpindleCountRegister)).toInt());
        sampler.setPacing(0, 0);
        auto cycle = [&](int steps) {
            for (int i = 0; i < steps && !comm.CommError; ++i)
                sampler.step();
        };
        // The board's own program identity and comm error code, as the shifts and
        // faults carry them.
        for (const char *set : {"set B61424 75", "set B61425 57", "set B61426 0", "set B61432 9",
                                "set B61433 2", "set B8179 5"})
            QCOMPARE(sim.command(QString::fromLatin1(set)), QStringLiteral("ok"));
        cycle(100); // the counts the PC first sees are not a shift it watched end
        QCOMPARE(store.shifts().size(), 0);

        const QString curGood = QStringLiteral("set %1 ").arg(defaultAddress(Item::CurShiftGoodCans));
        const QString made = sim.command(QStringLiteral("get %1").arg(defaultAddress(Item::CurShiftGoodCans)));
        sim.command(QStringLiteral("set F137 1")); // End of Shift at the machine
        sim.command(QStringLiteral("set F137 0"));
        cycle(200);
        QCOMPARE(store.shifts().size(), 1);

        QCOMPARE(sim.command(curGood + QStringLiteral("777")), QStringLiteral("ok"));
        recorder.shiftEndedByProgram();
        comm.RSWrite(QString(LiveRegister::EndOfShiftFlag), QStringLiteral("1"));
        comm.RSWrite(QString(LiveRegister::EndOfShiftFlag), QStringLiteral("0"));
        cycle(200);
        QVERIFY(!comm.CommError);
        const QList<ShiftRecord> shifts = store.shifts();
        QCOMPARE(shifts.size(), 2);
        QCOMPARE(shifts[0].origin, ShiftOrigin::Machine);
        QVERIFY2(shifts[0].programIdentity.startsWith(QStringLiteral("K9")), qPrintable(shifts[0].programIdentity));
        QVERIFY(shifts[0].programIdentity.endsWith(QStringLiteral("(revision 2, checksum 9)")));
        const QList<FaultRecord> faults = store.faults();
        QCOMPARE(faults.size(), 1);
        QCOMPARE(faults[0].source, FaultSource::Comm);
        QCOMPARE(faults[0].code, 5);
        QCOMPARE(QString::number(shifts[0].goodCans), made);
        QCOMPARE(shifts[1].origin, ShiftOrigin::Program);
        QCOMPARE(shifts[1].goodCans, 777);
        QVERIFY(shifts[1].spindleCount > 0);
        QCOMPARE(shifts[1].trips.size(), qsizetype(shifts[1].spindleCount));
    }
};

QTEST_GUILESS_MAIN(TestHistoryBoard)
#include "test_history_board.moc"
