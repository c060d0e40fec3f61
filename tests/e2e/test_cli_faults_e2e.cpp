#include "comm/clock.h"
#include "comm/posixserialport.h"
#include "fakes/boardsimprocess.h"
#include "fakes/programrun.h"
#include "machine/machinedata.h"
#include "machine/registermap.h"
#include "machine/sdtfile.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

// kestro-cli against a board that misbehaves: whatever goes wrong, the tool
// exits non-zero, names the registers that did not move, and leaves a set-up
// file either as it was or complete. Also the command line itself: addresses
// outside the notation, options anywhere, help and version.
class TestCliFaults : public QObject
{
    Q_OBJECT

    using Run = ProgramRun;

    static Run cli(const QStringList &args)
    {
        return ProgramRun::run(QStringLiteral("kestro-cli"), args);
    }

    // A simulator on its own port number, started with the given faults.
    struct Board {
        BoardSimProcess sim;
        int port = 0;
        bool start(int portNumber, const QStringList &faults)
        {
            port = portNumber;
            return sim.startOnCliPort(port, QStringList{QStringLiteral("--frozen")} + faults);
        }
    };

    static QByteArray contentOf(const QString &path)
    {
        QFile f(path);
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }

    // The addresses a run names as not moved ("not read: W98 (item ...").
    static QStringList namedFailures(const QString &err)
    {
        static const QRegularExpression line(
            QStringLiteral("^kestro-cli: not (?:read|written): (\\S+)"),
            QRegularExpression::MultilineOption);
        QStringList names;
        for (auto it = line.globalMatch(err); it.hasNext();)
            names << it.next().captured(1);
        return names;
    }

    QTemporaryDir m_dir;
    QString m_boardFile; // a complete upload of a healthy board
    QByteArray m_boardBytes;
    DataSet m_defaults = buildDefaultData();

    // Copies the healthy upload to a new file for one case to work on.
    QString existingFile(const QString &name)
    {
        const QString path = m_dir.filePath(name);
        QFile::remove(path);
        QFile::copy(m_boardFile, path);
        return path;
    }

    // Every register of the group that was not named holds the file's value
    // on the board; the named ones are reported in the summary count.
    void checkDownload(Board &board, const Run &r, DataGroup group)
    {
        MachineData data;
        QCOMPARE(data.readFile(m_boardFile), MachineError::None);
        data.applyLoadedFile();
        const QStringList failed = namedFailures(r.err);
        for (int index : dataGroupIndexes(group)) {
            const QString address = data.gCurrentData.addressAt(index);
            if (failed.contains(address))
                continue;
            QCOMPARE(board.sim.command(QStringLiteral("get ") + address),
                     QString::number(data.gCurrentData.valueAt(index)));
        }
        QVERIFY2(r.err.contains(QStringLiteral("kestro-cli: %1 of %2 registers not written")
                                    .arg(failed.size())
                                    .arg(dataGroupIndexes(group).size())),
                 qPrintable(r.err));
    }

private slots:
    void initTestCase()
    {
        Board healthy;
        QVERIFY(healthy.start(51, {}));
        m_boardFile = m_dir.filePath(QStringLiteral("board.sdt"));
        const Run r = cli({QStringLiteral("--port"), QStringLiteral("51"), QStringLiteral("upload"),
                           QStringLiteral("all"), m_boardFile});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        m_boardBytes = contentOf(m_boardFile);
        QVERIFY(!m_boardBytes.isEmpty());
    }

    void silentBoard()
    {
        Board board;
        QVERIFY(board.start(52, {QStringLiteral("--silent")}));
        const QString file = existingFile(QStringLiteral("silent.sdt"));
        const Run r = cli({QStringLiteral("upload"), QStringLiteral("setup"), file,
                           QStringLiteral("--port"), QStringLiteral("52")});
        QCOMPARE(r.exitCode, 3);
        QVERIFY2(r.err.contains(QStringLiteral("no answer from the board on")), qPrintable(r.err));
        QVERIFY(r.err.contains(QStringLiteral("COM52 -> /dev/pts/")));
        QCOMPARE(namedFailures(r.err).size(), 17);
        QVERIFY(r.err.contains(QStringLiteral("17 of 17 registers not read")));
        QCOMPARE(contentOf(file), m_boardBytes);
    }

    void portHeldByAnotherProgram()
    {
        // This test holds the board's device, as another KESTRO would.
        Board board;
        QVERIFY(board.start(49, {}));
        SteadyClock clock;
        PosixSerialPort holder(clock, BoardSimProcess::binDir());
        holder.setPortNumber(49);
        QVERIFY(holder.open());
        Run r = cli({QStringLiteral("read"), QStringLiteral("W98"), QStringLiteral("--port"),
                     QStringLiteral("49")});
        QCOMPARE(r.exitCode, 3);
        QVERIFY2(r.err.contains(QStringLiteral("Error Number = 8005")), qPrintable(r.err));
        QVERIFY(r.err.contains(QStringLiteral("Port already open by another program (")));
        QVERIFY(r.err.contains(QStringLiteral("kestro-cli: cannot use Support/COM49 -> ") +
                               board.sim.slavePath()));
        QVERIFY(r.out.isEmpty());
        // Given back, the port serves the next program at once.
        holder.close();
        r = cli({QStringLiteral("read"), QStringLiteral("B52"), QStringLiteral("--port"),
                 QStringLiteral("49")});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QCOMPARE(r.out, QStringLiteral("36\n"));
    }

    void wrongEchoEveryFewBytesDuringDownload()
    {
        // The case: the link stays up, so only the list tells.
        Board board;
        QVERIFY(board.start(53, {QStringLiteral("--defaults"), QStringLiteral("--wrong-echo-every"),
                                 QStringLiteral("4")}));
        const Run r = cli({QStringLiteral("--port"), QStringLiteral("53"),
                           QStringLiteral("download"), QStringLiteral("setup"), m_boardFile});
        QCOMPARE(r.exitCode, 3);
        QVERIFY2(!namedFailures(r.err).isEmpty(), qPrintable(r.err));
        checkDownload(board, r, DataGroup::SetupData);
    }

    void garbageEveryOtherByteDuringDownload()
    {
        // No write can get three good echoes in a row: every register fails.
        Board board;
        QVERIFY(board.start(54, {QStringLiteral("--defaults"), QStringLiteral("--garbage-every"),
                                 QStringLiteral("3")}));
        const Run r = cli({QStringLiteral("--port"), QStringLiteral("54"),
                           QStringLiteral("download"), QStringLiteral("setup"), m_boardFile});
        QCOMPARE(r.exitCode, 3);
        QCOMPARE(namedFailures(r.err).size(), 17);
        checkDownload(board, r, DataGroup::SetupData);
    }

    void oneWrongEchoDuringUpload()
    {
        // Probe, FF, 01, then the high address byte of item 0: its echo is wrong.
        Board board;
        QVERIFY(board.start(55, {QStringLiteral("--wrong-echo-at"), QStringLiteral("4")}));
        const QString file = existingFile(QStringLiteral("echo.sdt"));
        const QString fresh = m_dir.filePath(QStringLiteral("fresh.sdt"));
        Run r = cli(
            {QStringLiteral("upload"), QStringLiteral("setup"), file, QStringLiteral("--port=55")});
        QCOMPARE(r.exitCode, 3);
        QCOMPARE(namedFailures(r.err), QStringList{m_defaults.addressAt(0)});
        QVERIFY(r.err.contains(QStringLiteral("1 of 17 registers not read")));
        QCOMPARE(contentOf(file), m_boardBytes);
        // The fault is spent: the same upload now completes the file.
        r = cli(
            {QStringLiteral("--port=55"), QStringLiteral("upload"), QStringLiteral("all"), fresh});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QCOMPARE(contentOf(fresh), m_boardBytes);
    }

    void deviceVanishesMidUpload()
    {
        Board board;
        QVERIFY(board.start(56, {QStringLiteral("--close-after"), QStringLiteral("40")}));
        const QString file = existingFile(QStringLiteral("vanish.sdt"));
        const QString none = m_dir.filePath(QStringLiteral("none.sdt"));
        const Run r = cli({QStringLiteral("--port"), QStringLiteral("56"), QStringLiteral("upload"),
                           QStringLiteral("all"), file});
        QCOMPARE(r.exitCode, 3);
        const QStringList failed = namedFailures(r.err);
        QVERIFY2(failed.size() > 100, qPrintable(r.err)); // the one cut and those never tried
        QVERIFY(r.err.contains(QStringLiteral("not tried")));
        QVERIFY(r.err.contains(QStringLiteral("Error Processing Request")));
        QCOMPARE(contentOf(file), m_boardBytes);
        QVERIFY(r.ms < 4000);

        // A new file is not created at all.
        Board again;
        QVERIFY(again.start(57, {QStringLiteral("--close-after"), QStringLiteral("40")}));
        QCOMPARE(cli({QStringLiteral("--port"), QStringLiteral("57"), QStringLiteral("upload"),
                      QStringLiteral("shift"), none})
                     .exitCode,
                 3);
        QVERIFY(!QFile::exists(none));
    }

    void deviceVanishesMidDownload()
    {
        Board board;
        QVERIFY(board.start(58, {QStringLiteral("--defaults"), QStringLiteral("--close-after"),
                                 QStringLiteral("60")}));
        const Run r = cli({QStringLiteral("--port"), QStringLiteral("58"),
                           QStringLiteral("download"), QStringLiteral("all"), m_boardFile});
        QCOMPARE(r.exitCode, 3);
        const QStringList failed = namedFailures(r.err);
        QVERIFY2(failed.size() > 100 && failed.size() < 138, qPrintable(r.err));
        QVERIFY(
            r.err.contains(QStringLiteral("%1 of 138 registers not written").arg(failed.size())));
        // The registers that did move are the ones counted before the failure.
        QVERIFY2(r.err.contains(QStringLiteral("the link failed after %1 of 138 registers")
                                    .arg(138 - failed.size())),
                 qPrintable(r.err));
    }

    void readNamesTheRegistersItCouldNotRead()
    {
        // Probe, FF, 01, W98 high (4), low (5), high (6): B52's echo is fine,
        // W98's second high byte is not.
        Board board;
        QVERIFY(board.start(59, {QStringLiteral("--wrong-echo-at"), QStringLiteral("6")}));
        const Run r = cli({QStringLiteral("read"), QStringLiteral("W98"), QStringLiteral("B52"),
                           QStringLiteral("--port"), QStringLiteral("59")});
        QCOMPARE(r.exitCode, 3);
        QCOMPARE(r.out, QStringLiteral("B52 36\n")); // never "W98 0"
        QVERIFY2(r.err.contains(QStringLiteral("kestro-cli: not read: W98")), qPrintable(r.err));
    }

    void addressesOutsideTheNotationAreRefused_data()
    {
        QTest::addColumn<QString>("address");
        for (const char *a : {"Q12", "X10", "Y1", "I0", "W", "B-1", "B 5", "B70000", "W65535",
                              "D65533", "F600000", "B12.8", "Q1.1", "GFFH", "12345H", "F", ""})
            QTest::newRow(a) << QString::fromLatin1(a);
    }
    void addressesOutsideTheNotationAreRefused()
    {
        QFETCH(QString, address);
        // Port 50 has no device: a refusal must come before any open.
        Run r = cli({QStringLiteral("--port"), QStringLiteral("50"), QStringLiteral("write"),
                     address, QStringLiteral("5")});
        QCOMPARE(r.exitCode, 2);
        QVERIFY2(r.err.contains(QStringLiteral("bad address ") + address), qPrintable(r.err));
        r = cli({QStringLiteral("--port"), QStringLiteral("50"), QStringLiteral("read"),
                 QStringLiteral("W98"), address});
        QCOMPARE(r.exitCode, 2);
    }

    void addressesOfTheNotationAreAccepted()
    {
        // Accepted, so the tool goes on to the (missing) port: exit 3, not 2.
        for (const char *a : {"W98", "w98", "B8176", "D1304", "F119", "f8", "B1016.0", "W98.1",
                              "EFF0H", "FFH", "FFFFH", "B65535", "W65534", "D65532"}) {
            const Run r = cli({QStringLiteral("--port"), QStringLiteral("50"),
                               QStringLiteral("read"), QString::fromLatin1(a)});
            QVERIFY2(r.exitCode == 3, a);
        }
    }

    void fileWithAnAddressOutsideTheNotationIsRefused()
    {
        MachineData data;
        QCOMPARE(data.readFile(m_boardFile), MachineError::None);
        DataSet damaged = data.gFileData;
        damaged.Address[130] = QStringLiteral("Q12");
        const QString file = m_dir.filePath(QStringLiteral("damaged.sdt"));
        QCOMPARE(writeSetupFile(file, damaged), MachineError::None);
        const QByteArray bytes = contentOf(file);
        // Port 50 has no device: the refusal comes before any open.
        for (const char *verb : {"download", "upload"}) {
            const Run r = cli({QStringLiteral("--port"), QStringLiteral("50"),
                               QString::fromLatin1(verb), QStringLiteral("setup"), file});
            QCOMPARE(r.exitCode, 5);
            QVERIFY2(r.err.contains(QStringLiteral("item 130")) &&
                         r.err.contains(QStringLiteral("bad address Q12")),
                     qPrintable(r.err));
        }
        QCOMPARE(contentOf(file), bytes);
    }

    void optionsAnywhereHelpAndVersion()
    {
        // After the command an option is an option, not an address.
        Run r = cli({QStringLiteral("read"), QStringLiteral("W98"), QStringLiteral("--port"),
                     QStringLiteral("50")});
        QCOMPARE(r.exitCode, 3);
        QVERIFY2(!r.err.contains(QStringLiteral("bad address")), qPrintable(r.err));
        QCOMPARE(namedFailures(r.err), QStringList{QStringLiteral("W98")});
        QVERIFY(r.err.contains(QStringLiteral("COM50")) ||
                r.err.contains(QStringLiteral("ttyS49")));
        QCOMPARE(cli({QStringLiteral("read"), QStringLiteral("W98"), QStringLiteral("--bogus")})
                     .exitCode,
                 2);

        for (const char *help : {"-h", "--help"}) {
            r = cli({QStringLiteral("write"), QString::fromLatin1(help)});
            QCOMPARE(r.exitCode, 0);
            QVERIFY(r.out.startsWith(QStringLiteral("Usage: kestro-cli")));
            QVERIFY(r.out.contains(QStringLiteral("--version")));
        }
        r = cli({QStringLiteral("--version")});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, QStringLiteral("kestro-cli 2.1.3\n"));

        r = ProgramRun::run(QStringLiteral("kestro-boardsim"), {QStringLiteral("--version")});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, QStringLiteral("kestro-boardsim 2.1.3\n"));
        r = ProgramRun::run(QStringLiteral("kestro-boardsim"), {QStringLiteral("--help")});
        QCOMPARE(r.exitCode, 0);
        QVERIFY(r.out.contains(QStringLiteral("--garbage-every")));
        QVERIFY(r.out.contains(QStringLiteral("--wrong-echo-at")));

        if (QFile::exists(ProgramRun::path(QStringLiteral("kestro")))) {
            r = ProgramRun::run(QStringLiteral("kestro"), {QStringLiteral("--version")});
            QCOMPARE(r.exitCode, 0);
            QCOMPARE(r.out, QStringLiteral("kestro 2.1.3\n"));
            r = ProgramRun::run(QStringLiteral("kestro"), {QStringLiteral("-h")});
            QCOMPARE(r.exitCode, 0);
            QVERIFY(r.out.startsWith(QStringLiteral("Usage: kestro")));
        }
    }
};

QTEST_GUILESS_MAIN(TestCliFaults)
#include "test_cli_faults_e2e.moc"
