#include "fakes/boardsimprocess.h"
#include "fakes/programrun.h"

#include "machine/machinedata.h"
#include "machine/registermap.h"
#include "machine/sdtfile.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

// kestro-cli's data commands against the simulated board, through a real pty.
class TestDataTransferE2E : public QObject
{
    Q_OBJECT

    using Run = ProgramRun;

    static void startCli(QProcess &p, int port, const QStringList &args)
    {
        ProgramRun::start(p, QStringLiteral("kestro-cli"),
                          QStringList{QStringLiteral("--port"), QString::number(port)} + args);
    }
    static Run finish(QProcess &p) { return ProgramRun::finish(p); }
    static Run cli(int port, const QStringList &args) { return ProgramRun::cli(port, args); }

    // The board's values of a record's items, asked from the simulator itself.
    static QList<qint32> boardValues(BoardSimProcess &sim, const DataSet &record)
    {
        QList<qint32> values;
        for (int i = 0; i <= gLastIndex; ++i)
            values << sim.command(QStringLiteral("get ") + record.Address[i]).toInt();
        return values;
    }

    // A transfer that stopped part-way moved items 0..k-1 and not k+1..137;
    // item k may have been caught mid-write. Returns k, or -1 when the board
    // does not show such a prefix.
    static int transferredPrefix(const QList<qint32> &board, const QList<qint32> &sent,
                                 const QList<qint32> &before)
    {
        int k = 0;
        while (k <= gLastIndex && board[k] == sent[k])
            ++k;
        for (int i = k + 1; i <= gLastIndex; ++i) {
            if (board[i] != before[i])
                return -1;
        }
        return k;
    }

    // Writes a set-up file whose every value differs from what the simulator
    // holds; before receives the board's record, the result is what was written.
    static DataSet prepareChangedFile(BoardSimProcess &sim, const QString &path, DataSet &before)
    {
        before = buildDefaultData();
        before.Value = boardValues(sim, before);
        const DataSet sent = changed(before);
        writeSetupFile(path, sent);
        return sent;
    }

    QString filePath(const QString &name) const { return m_dir.filePath(name); }

    // New values for every item, each different from the board's and in range.
    static DataSet changed(const DataSet &record)
    {
        DataSet d = record;
        for (int i = 0; i <= gLastIndex; ++i)
            d.Value[i] = record.Value[i] + 1;
        return d;
    }

    QTemporaryDir m_dir;
    BoardSimProcess m_sim;
    static constexpr int kPort = 41;

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY(m_sim.startOnCliPort(kPort, {QStringLiteral("--frozen")}));
    }
    void cleanupTestCase() { m_sim.stop(); }

    void uploadAllMatchesTheBoard()
    {
        const QString file = filePath("board.sdt");
        const Run r = cli(kPort, {"upload", "all", file});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QVERIFY(r.out.isEmpty()); // no progress line without a terminal
        QCOMPARE(QFileInfo(file).size(), 1550);

        DataSet record;
        QCOMPARE(readSetupFile(file, record), MachineError::None);
        QCOMPARE(record.Version, gProgramVersion);
        QCOMPARE(record.Address, buildDefaultData().Address);
        const QList<qint32> board = boardValues(m_sim, record);
        QCOMPARE(record.Value, board);
        // The simulator starts every item at its own value, none at the default.
        QCOMPARE(QSet<qint32>(board.begin(), board.end()).size() > 100, true);
    }

    void downloadChangedValuesAndUploadAgain()
    {
        const QString file = filePath("roundtrip.sdt");
        QCOMPARE(cli(kPort, {"upload", "all", file}).exitCode, 0);
        MachineData data;
        QCOMPARE(data.readFile(file), MachineError::None);
        data.applyLoadedFile();
        const DataSet before = data.gCurrentData;
        data.gCurrentData = changed(before);
        QCOMPARE(data.saveFile(file), MachineError::None);

        Run r = cli(kPort, {"download", "all", file});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QCOMPARE(boardValues(m_sim, before), data.gCurrentData.Value);

        const QString again = filePath("again.sdt");
        r = cli(kPort, {"upload", "all", again});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        DataSet back;
        QCOMPARE(readSetupFile(again, back), MachineError::None);
        QCOMPARE(back, data.gCurrentData);
    }

    void groupsMoveOnlyTheirItems()
    {
        const QString file = filePath("groups.sdt");
        QCOMPARE(cli(kPort, {"upload", "all", file}).exitCode, 0);
        MachineData data;
        QCOMPARE(data.readFile(file), MachineError::None);
        data.applyLoadedFile();
        const DataSet onBoard = data.gCurrentData;
        data.gCurrentData = changed(onBoard);
        QCOMPARE(data.saveFile(file), MachineError::None);

        // Set-up download: items 0 and 122..137 change on the board, nothing else.
        QCOMPARE(cli(kPort, {"download", "setup", file}).exitCode, 0);
        QList<qint32> board = boardValues(m_sim, onBoard);
        for (int i = 0; i <= gLastIndex; ++i) {
            const bool setup = dataGroupOf(i) == DataGroup::SetupData;
            QCOMPARE(board[i], setup ? data.gCurrentData.Value[i] : onBoard.Value[i]);
        }

        // Shift upload into the file: its set-up items keep the file's values.
        QCOMPARE(m_sim.command("set W1020 4321"), QStringLiteral("ok"));
        QCOMPARE(m_sim.command("set B1011 3"), QStringLiteral("ok"));
        QCOMPARE(cli(kPort, {"upload", "shift", file}).exitCode, 0);
        DataSet back;
        QCOMPARE(readSetupFile(file, back), MachineError::None);
        QCOMPARE(back.Value[Item::tripsPerSpindle(1)], 4321);
        QCOMPARE(back.Value[0], data.gCurrentData.Value[0]);
        for (int i = 2; i <= 121; ++i)
            QCOMPARE(back.Value[i], onBoard.Value[i]);
    }

    void exportAndShow()
    {
        const QString file = filePath("Line3.sdt");
        QCOMPARE(cli(kPort, {"upload", "all", file}).exitCode, 0);
        DataSet record;
        QCOMPARE(readSetupFile(file, record), MachineError::None);

        const QString out = filePath("shift.txt");
        Run r = cli(kPort, {"export", file, out});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QFile f(out);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QList<QByteArray> lines = f.readAll().split('\n');
        QCOMPARE(lines.size(), 97); // 96 lines, each ending in CR LF
        QCOMPARE(lines[0], QByteArray("Line3.sdt\r"));
        QVERIFY(lines[1].startsWith("Date: ") && lines[1].size() > 8);
        QCOMPARE(lines[5], " " + QByteArray::number(record.Value[Item::CurShiftGoodCans]) + "\r");
        QCOMPARE(lines[95], " " + QByteArray::number(record.Value[120]) + "\r");

        r = cli(kPort, {"show", file});
        QCOMPARE(r.exitCode, 0);
        const QStringList rows = r.out.split(u'\n', Qt::SkipEmptyParts);
        QCOMPARE(rows.size(), 3 + 138);
        QVERIFY(rows[0].contains(gProgramVersion));
        const QStringList row121 = rows[3 + 121].split(u' ', Qt::SkipEmptyParts);
        QCOMPARE(row121, QStringList({"121", "D1304", "LifetimeCanCount",
                                      QString::number(record.Value[121])}));
    }

    void refusals()
    {
        const QString file = filePath("refuse.sdt");
        QCOMPARE(cli(kPort, {"upload", "all", file}).exitCode, 0);
        QCOMPARE(cli(kPort, {"upload", "bogus", file}).exitCode, 2);
        QCOMPARE(cli(kPort, {"download", "all"}).exitCode, 2);
        QCOMPARE(cli(kPort, {"show"}).exitCode, 2);
        QCOMPARE(cli(kPort, {"download", "all", filePath("missing.sdt")}).exitCode, 5);

        // A file of another version is used only when the operator says so;
        // with no terminal to ask, the answer is Cancel.
        DataSet other;
        QCOMPARE(readSetupFile(file, other), MachineError::None);
        other.Version = QStringLiteral("KESTRO_R2.0.9");
        const QString otherFile = filePath("other.sdt");
        QCOMPARE(writeSetupFile(otherFile, other), MachineError::None);
        const Run asked = cli(kPort, {"download", "all", otherFile});
        QCOMPARE(asked.exitCode, 5);
        QVERIFY2(asked.err.contains("File created by set-up program version: KESTRO_R2.0.9\n"
                                    "Data tables may not be properly aligned."),
                 qPrintable(asked.err));
        QCOMPARE(cli(kPort, {"show", otherFile}).exitCode, 0);

        // A damaged file is neither used nor overwritten by an upload.
        const QString damaged = filePath("damaged.sdt");
        QFile::copy(file, damaged);
        QFile::resize(damaged, 700);
        const QByteArray damagedBytes = [&] {
            QFile f(damaged);
            f.open(QIODevice::ReadOnly);
            return f.readAll();
        }();
        Run r = cli(kPort, {"upload", "all", damaged});
        QCOMPARE(r.exitCode, 5);
        QVERIFY2(r.err.contains("too short"), qPrintable(r.err));
        QFile f(damaged);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(f.readAll(), damagedBytes);

        // A value the board's register cannot hold stops the download before
        // anything is written.
        MachineData data;
        QCOMPARE(data.readFile(file), MachineError::None);
        data.applyLoadedFile();
        const QList<qint32> board = boardValues(m_sim, data.gCurrentData);
        data.gCurrentData = changed(data.gCurrentData);
        data.gCurrentData.Value[Item::InfeedOpenBlowoffCans] = 300; // "B1000"
        data.gCurrentData.Value[Item::CurShiftGoodCans] = -5;
        QCOMPARE(data.saveFile(file), MachineError::None);
        r = cli(kPort, {"download", "all", file});
        QCOMPARE(r.exitCode, 4);
        QVERIFY2(r.err.contains("Entry out of Range (0-255).") &&
                     r.err.contains("Only Numerical Data Allowed."),
                 qPrintable(r.err));
        QCOMPARE(boardValues(m_sim, data.gCurrentData), board);
    }

    void boardVanishingPartWay()
    {
        // The simulator ends when it vanishes, so what it received cannot be
        // asked afterwards; the silent board below shows the prefix instead.
        BoardSimProcess vanishing;
        QVERIFY(vanishing.startOnCliPort(kPort + 1, {"--frozen", "--close-after", "400"}));
        const QString file = filePath("vanish.sdt");
        DataSet before;
        prepareChangedFile(vanishing, file, before);

        QElapsedTimer timer;
        timer.start();
        const Run r = cli(kPort + 1, {"download", "all", file});
        QCOMPARE(r.exitCode, 3);
        QVERIFY2(timer.elapsed() < 4000, "a hang-up needs no time-out sequence");
        QVERIFY2(r.err.contains("[KESTRO] Error Processing Request\n\nProcess Not Complete"),
                 qPrintable(r.err));
        // The error message is shown once.
        QCOMPARE(r.err.count("Error Processing Request"), 1);
        const QRegularExpression stopped("the link failed after (\\d+) of 138 registers");
        const QRegularExpressionMatch m = stopped.match(r.err);
        QVERIFY2(m.hasMatch(), qPrintable(r.err));
        QVERIFY(m.captured(1).toInt() > 10 && m.captured(1).toInt() < 138);
    }

    void boardGoingSilentPartWay()
    {
        BoardSimProcess slow;
        QVERIFY(slow.startOnCliPort(kPort + 2, {"--frozen", "--delay-ms", "3"}));
        const QString file = filePath("silent.sdt");
        DataSet before;
        const DataSet sent = prepareChangedFile(slow, file, before);
        QProcess p;
        startCli(p, kPort + 2, {"download", "all", file});
        // Silence the board once the download has passed item 40.
        const QString watched = QStringLiteral("get ") + before.Address[40];
        const QString target = QString::number(sent.Value[40]);
        QElapsedTimer timer;
        timer.start();
        while (slow.command(watched) != target && timer.elapsed() < 20000)
            QThread::msleep(5);
        QCOMPARE(slow.command("silent on"), QStringLiteral("ok"));
        const Run r = finish(p);
        QCOMPARE(slow.command("silent off"), QStringLiteral("ok"));
        QCOMPARE(r.exitCode, 3);
        QVERIFY2(r.err.contains("[WARNING - Communication Error!]"), qPrintable(r.err));
        QVERIFY2(r.err.contains("[KESTRO] Error Processing Request\n\nProcess Not Complete"),
                 qPrintable(r.err));
        const int k = transferredPrefix(boardValues(slow, before), sent.Value, before.Value);
        QVERIFY2(k > 40 && k < gLastIndex, qPrintable(QString::number(k)));
    }

    void interruptedUploadLeavesFileAlone()
    {
        const QString file = filePath("keep.sdt");
        QCOMPARE(cli(kPort, {"upload", "all", file}).exitCode, 0);
        QFile f(file);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QByteArray old = f.readAll();
        f.close();

        BoardSimProcess vanishing;
        QVERIFY(vanishing.startOnCliPort(kPort + 3, {"--frozen", "--close-after", "300"}));
        QCOMPARE(vanishing.command("set D1304 111"), QStringLiteral("ok"));
        const Run r = cli(kPort + 3, {"upload", "all", file});
        QCOMPARE(r.exitCode, 3);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(f.readAll(), old);
    }
};

QTEST_GUILESS_MAIN(TestDataTransferE2E)
#include "test_datatransfer_e2e.moc"
