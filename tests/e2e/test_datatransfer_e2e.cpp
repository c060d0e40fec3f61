#include "fakes/boardsimprocess.h"
#include "fakes/programrun.h"
#include "machine/registermap.h"
#include "machine/sdtfile.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

// kestro-cli's set-up file transfers against the simulated board: what moves
// is what the file or the board holds, each group only its own items, and on
// a faulty line no register changes unnamed.
class TestDataTransferE2E : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    BoardSimProcess m_sim;
    static constexpr int kPort = 41;

    QString path(const char *name) const { return m_dir.filePath(QLatin1String(name)); }
    static QList<qint32> boardValues(BoardSimProcess &sim, const DataSet &record)
    {
        QList<qint32> values;
        for (int i = 0; i <= gLastIndex; ++i)
            values << sim.command(QStringLiteral("get ") + record.Address[i]).toInt();
        return values;
    }
    // A record whose every value is one more than the board's.
    static DataSet changedFile(BoardSimProcess &sim, const QString &file)
    {
        DataSet d = buildDefaultData();
        d.Value = boardValues(sim, d);
        for (qint32 &v : d.Value)
            ++v;
        writeSetupFile(file, d);
        return d;
    }
    static DataSet read(const QString &file)
    {
        DataSet d;
        return readSetupFile(file, d) == MachineError::None ? d : DataSet{};
    }
    // The addresses named on lines of standard error that say so.
    static QStringList named(const QString &err, const char *lineMark)
    {
        static const QRegularExpression name(QStringLiteral("\\b([BWDF]\\d+)\\b"));
        QStringList names;
        for (const QString &line : err.split(u'\n'))
            if (line.contains(QLatin1String(lineMark)))
                for (auto it = name.globalMatch(line); it.hasNext();)
                    names << it.next().captured(1);
        return names;
    }
    static QSet<int> bytesOf(const QStringList &names)
    {
        QSet<int> bytes;
        for (const QString &n : names) {
            const int at = n.mid(1).toInt();
            const int size = n[0] == u'F' ? 0 : n[0] == u'D' ? 4 : n[0] == u'W' ? 2 : 1;
            if (size == 0)
                bytes << 32 + at / 8;
            for (int b = 0; b < size; ++b)
                bytes << at + b;
        }
        return bytes;
    }

private slots:
    void initTestCase() { QVERIFY(m_sim.startOnCliPort(kPort, {QStringLiteral("--frozen")})); }
    void cleanupTestCase() { m_sim.stop(); }

    void uploadDownloadRoundTrip()
    {
        ProgramRun r = ProgramRun::cli(kPort, {"upload", "all", path("board.sdt")});
        QVERIFY2(r.exitCode == 0 && r.out.isEmpty(),
                 qPrintable(r.err)); // no progress off a terminal
        QCOMPARE(QFileInfo(path("board.sdt")).size(), 1550);
        const DataSet record = read(path("board.sdt"));
        QCOMPARE(record.Version, gProgramVersion);
        QCOMPARE(record.Address, buildDefaultData().Address);
        QCOMPARE(record.Value, boardValues(m_sim, record));
        QVERIFY(QSet<qint32>(record.Value.begin(), record.Value.end()).size() > 100);

        // Each group moves its items and no others.
        const DataSet sent = changedFile(m_sim, path("changed.sdt"));
        QCOMPARE(ProgramRun::cli(kPort, {"download", "setup", path("changed.sdt")}).exitCode, 0);
        const QList<qint32> board = boardValues(m_sim, sent);
        for (int i = 0; i <= gLastIndex; ++i)
            QCOMPARE(board[i], (dataGroupOf(i) == DataGroup::SetupData ? sent : record).Value[i]);
        r = ProgramRun::cli(kPort, {"download", "all", path("changed.sdt")});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QCOMPARE(boardValues(m_sim, sent), sent.Value);
        QVERIFY(QFile::copy(path("board.sdt"), path("mixed.sdt")));
        QCOMPARE(ProgramRun::cli(kPort, {"upload", "shift", path("mixed.sdt")}).exitCode, 0);
        const DataSet mixed = read(path("mixed.sdt"));
        for (int i = 0; i <= gLastIndex; ++i)
            QCOMPARE(mixed.Value[i],
                     (dataGroupOf(i) == DataGroup::SetupData ? record : sent).Value[i]);
    }

    // On a faulty line every byte that changed beyond the registers the
    // command means to write is named, a register of the file not named holds
    // the file's value, and anything named fails the command.
    void faultyLine_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QString>("meant"); // empty: the file's group
        QTest::addColumn<int>("failures");  // -1: any number
        struct Case {
            const char *name, *command, *fault, *meant;
            int failures;
        };
        const char *clock = "B43008 B43010 B43012 B43015 B43016 B43017";
        for (const Case &c : std::initializer_list<Case>{
                 {"write, first echo wrong", "write W1092 777", "--wrong-echo-at 4", "W1092", -1},
                 {"write, second echo wrong", "write W1092 777", "--wrong-echo-at 7", "W1092", -1},
                 {"write, byte misheard", "write W1092 777", "--misheard-every 5", "W1092", -1},
                 {"download, echoes wrong", "download setup @", "--wrong-echo-every 4", "", 0},
                 {"download, garbage", "download setup @", "--garbage-every 3", "", 17},
                 {"download all, echoes wrong", "download all @", "--wrong-echo-every 7", "", -1},
                 {"download all, misheard", "download all @", "--misheard-every 11", "", -1},
                 {"clock, misheard", "board --set-clock", "--misheard-every 7", clock, -1},
                 {"faults and address, garbage", "board --reset-faults --address 5",
                  "--garbage-every 13", "B8176 B8177 B8178 B8179 B8180", -1}})
            QTest::newRow(c.name) << QString(c.command) << QString(c.fault) << QString(c.meant)
                                  << c.failures;
    }
    void faultyLine()
    {
        QFETCH(QString, command);
        QFETCH(QString, fault);
        QFETCH(QString, meant);
        QFETCH(int, failures);
        const QStringList args = command.replace(u'@', path("board.sdt")).split(u' ');
        const DataSet file = read(path("board.sdt"));
        const QList<int> group =
            dataGroupIndexes(args.value(1) == u"all" ? DataGroup::All : DataGroup::SetupData);
        QStringList registers = meant.split(u' ', Qt::SkipEmptyParts);
        for (int i : meant.isEmpty() ? group : QList<int>{})
            registers << file.Address[i];
        BoardSimProcess sim;
        QVERIFY(sim.startOnCliPort(74, QStringList{"--frozen", "--defaults", "--linger"} +
                                           fault.split(u' ')));
        QCOMPARE(sim.command("snapshot"), QStringLiteral("ok"));
        const ProgramRun r = ProgramRun::cli(74, args);
        const QStringList failed = named(r.err, "not written");
        const QSet<int> told =
            bytesOf(failed + named(r.err, "may have changed") + named(r.err, "failed"));
        const QSet<int> written = bytesOf(registers);
        static const QRegularExpression item(QStringLiteral("B(\\d+):\\d+>\\d+"));
        for (auto it = item.globalMatch(sim.command("changes")); it.hasNext();) {
            const int at = it.next().captured(1).toInt();
            QVERIFY2(written.contains(at) || told.contains(at),
                     qPrintable(QStringLiteral("B%1 changed unnamed\n%2").arg(at).arg(r.err)));
        }
        QCOMPARE(r.exitCode, told.isEmpty() ? 0 : 3);
        if (failures >= 0)
            QCOMPARE(failed.size(), failures);
        for (int i : group)
            if (meant.isEmpty() && !bytesOf({file.Address[i]}).intersects(told))
                QCOMPARE(sim.command("get " + file.Address[i]), QString::number(file.Value[i]));
        if (args[0] == u"write" && r.exitCode == 0)
            QCOMPARE(sim.command("get W1092"), QStringLiteral("777"));
    }

    // A garbled answer is never the operator's mistake nor the limit
    // switch's refusal: the channel is programmed, or the link failed.
    void setpointUnderNoise()
    {
        for (const char *fault : {"--garbage-every=5", "--garbage-every=7"}) {
            BoardSimProcess sim;
            QVERIFY(sim.startOnCliPort(45, {"--frozen", fault}));
            const ProgramRun r = ProgramRun::cli(45, {"pls", "setpoint", "3", "100", "200"});
            QVERIFY2(r.exitCode == 0 || r.exitCode == 3, qPrintable(r.err));
            QVERIFY2(!r.err.contains("refused") && !r.err.contains("greater than scale"),
                     qPrintable(r.err));
            if (r.exitCode == 0)
                QCOMPARE(sim.command("pls channel 3"), QStringLiteral("setpoint 100 200"));
            QCOMPARE(sim.command("pls channel 0"), QStringLiteral("clear"));
            QCOMPARE(sim.command("pls channel 31"), QStringLiteral("clear"));
        }
    }
};

QTEST_GUILESS_MAIN(TestDataTransferE2E)
#include "test_datatransfer_e2e.moc"
