#include "fakes/boardsimprocess.h"
#include "fakes/programrun.h"

#include <QTemporaryDir>
#include <QtTest>

// Controller program download and read-back with kestro-cli against the
// simulated board, with the sample project made at build time.
class TestProgramE2E : public QObject
{
    Q_OBJECT

    static constexpr int kPort = 81;
    QTemporaryDir m_dir;
    BoardSimProcess m_sim;

    static QByteArray contentOf(const QString &path)
    {
        QFile f(path);
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
    }
    static void writeFile(const QString &path, const QByteArray &content)
    {
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(content);
    }
    // The sample project copied into a new folder as SAMPLE.*.
    QString copySample(const QString &folder)
    {
        QDir().mkpath(m_dir.filePath(folder));
        for (const char *ext : {".pdx", ".rev", ".hex", ".lcf"})
            QFile::copy(ProgramRun::path(QStringLiteral("samples/SAMPLE") + ext),
                        m_dir.filePath(folder + "/SAMPLE" + ext));
        return m_dir.filePath(folder + "/SAMPLE.pdx");
    }
    // Bytes of memory as an Intel-hex image, or as the board holds them.
    static QByteArray imageBytes(const QString &hexPath, int address, int count)
    {
        QByteArray memory(65536, '\0');
        for (const QByteArray &raw : contentOf(hexPath).split('\n')) {
            const QByteArray bytes = QByteArray::fromHex(raw.trimmed().mid(1));
            if (bytes.size() > 4 && bytes[3] == 0)
                memory.replace(quint8(bytes[1]) * 256 + quint8(bytes[2]), quint8(bytes[0]),
                               bytes.mid(4, quint8(bytes[0])));
        }
        return memory.mid(address, count);
    }
    static QByteArray boardBytes(BoardSimProcess &sim, int address, int count)
    {
        QByteArray out;
        for (int i = 0; i < count; ++i)
            out.append(char(
                sim.command(QStringLiteral("get %1H").arg(address + i, 4, 16, QLatin1Char('0')))
                    .toInt()));
        return out;
    }
    ProgramRun cli(BoardSimProcess &sim, const QStringList &args, const QStringList &options = {})
    {
        sim.stop();
        if (!sim.startOnCliPort(kPort, QStringList{"--frozen"} + options))
            return {};
        return ProgramRun::cli(kPort, args, 240000);
    }

private slots:
    void downloadThenUploadRoundTrip()
    {
        const QString pdx = copySample("down");
        const QByteArray hex = contentOf(m_dir.filePath("down/SAMPLE.hex"));
        const ProgramRun down = cli(m_sim, {"program-download", pdx, "--yes"});
        QCOMPARE(down.exitCode, 0);
        QVERIFY2(down.err.contains("[Program Download] Program Download Complete!") &&
                     down.err.contains("Program Download - [KSTDEMO1]"),
                 qPrintable(down.err));
        QCOMPARE(m_sim.command("program"), QStringLiteral("records 2048 last BFF0H"));
        for (int at : {0x4000, 0xBFF0})
            QCOMPARE(boardBytes(m_sim, at, 16),
                     imageBytes(m_dir.filePath("down/SAMPLE.hex"), at, 16));
        QCOMPARE(boardBytes(m_sim, 0xEFF0, 8), QByteArray("KSTDEMO1"));
        QCOMPARE(m_sim.command("get B8181"), QStringLiteral("86"));
        QCOMPARE(contentOf(m_dir.filePath("down/SAMPLE.hex")), hex); // never changes a file

        QDir().mkpath(m_dir.filePath("back"));
        writeFile(m_dir.filePath("back/BACK.pdx"), "D,read back\r\n");
        const ProgramRun up =
            ProgramRun::cli(kPort, {"program-upload", m_dir.filePath("back/BACK.pdx")}, 240000);
        QCOMPARE(up.exitCode, 0);
        QVERIFY(up.err.contains("Program Upload Complete!"));
        QCOMPARE(contentOf(m_dir.filePath("back/BACK.hex")), hex);
        QCOMPARE(contentOf(m_dir.filePath("back/BACK.rev")),
                 contentOf(m_dir.filePath("down/SAMPLE.rev")));
        QCOMPARE(QDir(m_dir.filePath("back")).entryList(QDir::Files).size(), 3);
    }

    // The record the board failed on landed, the one after it never went
    // out, and the ident was not written.
    void boardFaultsStopTheDownload_data()
    {
        QTest::addColumn<QString>("option");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("where");
        QTest::newRow("wrong sum on record 50") << "--program-wrong-sum=50"
                                                << "Checksum Error, Program Download Halted!"
                                                << "records 50 last 4310H";
        QTest::newRow("device lost") << "--close-after=3000"
                                     << "was lost at record"
                                     << "";
    }
    void boardFaultsStopTheDownload()
    {
        QFETCH(QString, option);
        QFETCH(QString, message);
        QFETCH(QString, where);
        const QString pdx = copySample("faults");
        const ProgramRun down = cli(m_sim, {"program-download", pdx, "--yes"}, {option});
        QCOMPARE(down.exitCode, 3);
        QVERIFY2(down.err.contains(message) && !down.err.contains("Download Complete!") &&
                     (!where.isEmpty() || !down.err.contains("Checksum Error")),
                 qPrintable(down.err));
        if (where.isEmpty())
            return;
        QCOMPARE(m_sim.command("program"), where);
        const int last = where.section(u' ', 3).left(4).toInt(nullptr, 16);
        const QString hex = m_dir.filePath("faults/SAMPLE.hex");
        QCOMPARE(boardBytes(m_sim, last, 16), imageBytes(hex, last, 16));
        QVERIFY(boardBytes(m_sim, last + 16, 16) != imageBytes(hex, last + 16, 16));
        QVERIFY(boardBytes(m_sim, 0xEFF0, 8) != QByteArray("KSTDEMO1"));
    }
};

QTEST_GUILESS_MAIN(TestProgramE2E)
#include "test_program_e2e.moc"
