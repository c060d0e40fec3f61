#include "fakes/boardsimprocess.h"
#include "fakes/programrun.h"

#include <QTemporaryDir>
#include <QtTest>

// kestro-cli's program transfers and limit-switch programming against the
// simulated board when the line is noisy or the device goes away: the
// outcome is right, or the command fails naming why and leaves no file half
// written.
class TestNoisyCliE2E : public QObject
{
    Q_OBJECT

    static QByteArray fileBytes(const QString &path)
    {
        QFile f(path);
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
    }
    static void writeFile(const QString &path, const QByteArray &content)
    {
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(content);
    }
    // The image an upload of a code "4" board (8 KiB from 2000H) must write:
    // that memory as the simulator's console reads it.
    static QByteArray expectedImage(BoardSimProcess &sim)
    {
        QByteArray out;
        for (int address = 0x2000; address < 0x4000; address += 16) {
            QByteArray record;
            record.append(char(16)).append(char(address >> 8)).append(char(address)).append('\0');
            for (int i = 0; i < 16; ++i)
                record.append(char(
                    sim.command(QStringLiteral("get %1H").arg(QString::number(address + i, 16)))
                        .toInt()));
            int sum = 0;
            for (const char b : std::as_const(record))
                sum += quint8(b);
            record.append(char(-sum));
            out += ':' + record.toHex().toUpper() + "\r\n";
        }
        return out + ":00000001FF\r\n";
    }

private slots:
    void uploadUnderNoiseIsVerified()
    {
        const QString fault = QStringLiteral("--garbage-every=13");
        QTemporaryDir dir;
        writeFile(dir.filePath(QStringLiteral("BACK.pdx")), "4,read back\r\n");
        BoardSimProcess sim;
        QVERIFY(sim.start({QStringLiteral("--frozen"), fault}));
        const QByteArray image = expectedImage(sim);
        QVERIFY(sim.linkAsPort(BoardSimProcess::binDir(), 91));

        const ProgramRun up = ProgramRun::cli(
            91, {QStringLiteral("program-upload"), dir.filePath(QStringLiteral("BACK.pdx"))},
            240000);
        QFile::remove(QDir(BoardSimProcess::binDir()).filePath(QStringLiteral("Support/COM91")));

        QVERIFY2(up.exitCode == 0, qPrintable(up.err.right(400)));
        QVERIFY(fileBytes(dir.filePath(QStringLiteral("BACK.hex"))) == image);
    }

    void downloadNamesALostDevice()
    {
        QTemporaryDir dir;
        const QDir samples(QDir(BoardSimProcess::binDir()).filePath(QStringLiteral("samples")));
        for (const char *ext : {"pdx", "rev", "hex", "lcf"})
            QFile::copy(samples.filePath(QStringLiteral("SAMPLE.") + QLatin1String(ext)),
                        dir.filePath(QStringLiteral("SAMPLE.") + QLatin1String(ext)));
        BoardSimProcess sim;
        QVERIFY(sim.start({QStringLiteral("--frozen"), QStringLiteral("--close-after=3000")}));
        QVERIFY(sim.linkAsPort(BoardSimProcess::binDir(), 92));
        const ProgramRun down = ProgramRun::cli(92, {QStringLiteral("program-download"),
                                                     dir.filePath(QStringLiteral("SAMPLE.pdx")),
                                                     QStringLiteral("--yes")});
        QFile::remove(QDir(BoardSimProcess::binDir()).filePath(QStringLiteral("Support/COM92")));
        QCOMPARE(down.exitCode, 3);
        QVERIFY2(!down.err.contains(QStringLiteral("Checksum Error")), qPrintable(down.err));
        QVERIFY2(down.err.contains(QStringLiteral("was lost at record")), qPrintable(down.err));
    }

    // A garbled answer is never the operator's mistake (exit 4) nor the
    // limit switch's refusal: the channel is programmed as asked, or the
    // command fails on the link.
    void setpointUnderNoise_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::newRow("every 5th answer garbage") << "--garbage-every=5";
        QTest::newRow("every 7th answer garbage") << "--garbage-every=7";
    }
    void setpointUnderNoise()
    {
        QFETCH(QString, fault);
        BoardSimProcess sim;
        QVERIFY(sim.start({QStringLiteral("--frozen"), fault}));
        QCOMPARE(sim.command(QStringLiteral("set W186 360")), QStringLiteral("ok"));
        QVERIFY(sim.linkAsPort(BoardSimProcess::binDir(), 93));
        const ProgramRun r = ProgramRun::cli(93, {QStringLiteral("pls"), QStringLiteral("setpoint"),
                                                  QStringLiteral("3"), QStringLiteral("100"),
                                                  QStringLiteral("200")});
        QFile::remove(QDir(BoardSimProcess::binDir()).filePath(QStringLiteral("Support/COM93")));
        const QString channel = sim.command(QStringLiteral("pls channel 3"));
        QVERIFY2(r.exitCode == 0 || r.exitCode == 3, qPrintable(r.err));
        QVERIFY2(!r.err.contains(QStringLiteral("refused")) &&
                     !r.err.contains(QStringLiteral("greater than scale")),
                 qPrintable(r.err));
        if (r.exitCode == 0)
            QCOMPARE(channel, QStringLiteral("setpoint 100 200"));
        for (int other : {0, 31, 255 & 31})
            if (other != 3)
                QCOMPARE(sim.command(QStringLiteral("pls channel %1").arg(other)),
                         QStringLiteral("clear"));
    }

    void assignTakesOnlyCharacterDevices()
    {
        const ProgramRun r = ProgramRun::run(QStringLiteral("kestro-cli"),
                                             {QStringLiteral("ports"), QStringLiteral("--assign"),
                                              QStringLiteral("62"), QStringLiteral("/etc/passwd")});
        QCOMPARE(r.exitCode, 5);
        QVERIFY2(r.err.contains(QStringLiteral("/etc/passwd is not a character device")),
                 qPrintable(r.err));
        QVERIFY(!QFileInfo::exists(
            QDir(BoardSimProcess::binDir()).filePath(QStringLiteral("Support/COM62"))));
    }

    // Settings that cannot be read (the box answered Cancel) name the port
    // asked for and the file's fault, not an unset device's "No error".
    void unreadableSettingsNameTheirCause()
    {
        QTemporaryDir dir;
        const QString cli = dir.filePath(QStringLiteral("kestro-cli"));
        QVERIFY(QFile::copy(ProgramRun::path(QStringLiteral("kestro-cli")), cli));
        QVERIFY(QDir(dir.path()).mkpath(QStringLiteral("Support")));
        writeFile(dir.filePath(QStringLiteral("Support/RSPort.cfg")), "5");
        QProcess p;
        p.setProgram(cli);
        p.setArguments({QStringLiteral("--port"), QStringLiteral("61"), QStringLiteral("read"),
                        QStringLiteral("W98")});
        p.start();
        p.closeWriteChannel();
        const ProgramRun r = ProgramRun::finish(p);
        QCOMPARE(r.exitCode, 3);
        QVERIFY2(r.err.contains(QStringLiteral("cannot use port 61")) &&
                     r.err.contains(QStringLiteral("RSPort.cfg: Input past end of file")) &&
                     !r.err.contains(QStringLiteral("No error")),
                 qPrintable(r.err));
    }
};

QTEST_GUILESS_MAIN(TestNoisyCliE2E)
#include "test_noisy_cli_e2e.moc"
