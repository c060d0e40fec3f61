#include "fakes/boardsimprocess.h"
#include "fakes/programrun.h"

#include <QCryptographicHash>
#include <QTemporaryDir>
#include <QtTest>

// Controller program download and read-back with kestro-cli against the
// simulated board on a real pty, with the sample project made at build time.
class TestProgramE2E : public QObject
{
    Q_OBJECT

    using Run = ProgramRun;

    static Run cli(int port, const QStringList &args)
    {
        return ProgramRun::cli(port, args, 120000);
    }

    static QByteArray fileHash(const QString &path)
    {
        QFile f(path);
        if (!f.open(QIODevice::ReadOnly))
            return "<missing>";
        return QCryptographicHash::hash(f.readAll(), QCryptographicHash::Sha1).toHex();
    }

    // The sample project copied into dir as SAMPLE.*.
    static QString copySample(const QTemporaryDir &dir)
    {
        const QDir samples(QDir(BoardSimProcess::binDir()).filePath(QStringLiteral("samples")));
        for (const char *ext : {"pdx", "rev", "hex", "lcf"}) {
            const QString name = QStringLiteral("SAMPLE.") + QLatin1String(ext);
            QFile::copy(samples.filePath(name), dir.filePath(name));
        }
        return dir.filePath(QStringLiteral("SAMPLE.pdx"));
    }

    static QByteArray imageBytesAt(const QString &hexPath, int address, int count)
    {
        QFile f(hexPath);
        if (!f.open(QIODevice::ReadOnly))
            return {};
        QByteArray memory(65536, '\0');
        for (const QByteArray &raw : f.readAll().split('\n')) {
            const QByteArray line = raw.trimmed();
            if (line.size() < 11 || line.mid(7, 2) != "00")
                continue;
            const QByteArray bytes = QByteArray::fromHex(line.mid(1));
            const int at = quint8(bytes[1]) * 256 + quint8(bytes[2]);
            memory.replace(at, quint8(bytes[0]), bytes.mid(4, quint8(bytes[0])));
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

private slots:
    void init()
    {
        QVERIFY(QFile::exists(
            QDir(BoardSimProcess::binDir()).filePath(QStringLiteral("samples/SAMPLE.hex"))));
    }

    void downloadThenUploadRoundTrip()
    {
        QTemporaryDir dir;
        const QString pdx = copySample(dir);
        const QByteArray hexBefore = fileHash(dir.filePath(QStringLiteral("SAMPLE.hex")));
        BoardSimProcess sim;
        QVERIFY(sim.start({QStringLiteral("--frozen")}));
        QVERIFY(sim.linkAsPort(BoardSimProcess::binDir(), 81));

        const Run down =
            cli(81, {QStringLiteral("program-download"), pdx, QStringLiteral("--yes")});
        QCOMPARE(down.exitCode, 0);
        QVERIFY2(down.err.contains(QStringLiteral("[Program Download] Program Download Complete!")),
                 qPrintable(down.err));
        QVERIFY(down.err.contains(QStringLiteral("Program Download - [KSTDEMO1]")));
        QCOMPARE(sim.command(QStringLiteral("program")), QStringLiteral("records 2048 last BFF0H"));
        const QString hex = dir.filePath(QStringLiteral("SAMPLE.hex"));
        QCOMPARE(boardBytes(sim, 0x4000, 16), imageBytesAt(hex, 0x4000, 16));
        QCOMPARE(boardBytes(sim, 0xBFF0, 16), imageBytesAt(hex, 0xBFF0, 16));
        QCOMPARE(boardBytes(sim, 0xEFF0, 8), QByteArray("KSTDEMO1"));
        QCOMPARE(sim.command(QStringLiteral("get B8181")), QStringLiteral("86"));
        // A download never changes a file.
        QCOMPARE(fileHash(hex), hexBefore);

        QTemporaryDir other;
        QFile pdx2(other.filePath(QStringLiteral("BACK.pdx")));
        QVERIFY(pdx2.open(QIODevice::WriteOnly));
        pdx2.write("D,read back\r\n");
        pdx2.close();
        const Run up = cli(81, {QStringLiteral("program-upload"), pdx2.fileName()});
        QCOMPARE(up.exitCode, 0);
        QVERIFY(up.err.contains(QStringLiteral("Program Upload Complete!")));
        QCOMPARE(fileHash(other.filePath(QStringLiteral("BACK.hex"))), hexBefore);
        QCOMPARE(fileHash(other.filePath(QStringLiteral("BACK.rev"))),
                 fileHash(dir.filePath(QStringLiteral("SAMPLE.rev"))));
        QCOMPARE(QDir(other.path()).entryList(QDir::Files).size(), 3);
        QFile::remove(QDir(BoardSimProcess::binDir()).filePath(QStringLiteral("Support/COM81")));
    }

    void identWithNulBytesRoundTrip()
    {
        BoardSimProcess sim;
        QVERIFY(sim.start({QStringLiteral("--frozen")}));
        QVERIFY(sim.linkAsPort(BoardSimProcess::binDir(), 85));
        const QList<int> ident = {0x41, 0x42, 0x43, 0, 0, 0, 0, 0, 0xCD, 0x05};
        for (int i = 0; i < ident.size(); ++i)
            QCOMPARE(sim.command(QStringLiteral("set %1H %2").arg(0xEFF0 + i, 4, 16).arg(ident[i])),
                     QStringLiteral("ok"));

        QTemporaryDir dir;
        QFile pdx(dir.filePath(QStringLiteral("NUL.pdx")));
        QVERIFY(pdx.open(QIODevice::WriteOnly));
        pdx.write("D,nul ident\r\n");
        pdx.close();
        QCOMPARE(cli(85, {QStringLiteral("program-upload"), pdx.fileName()}).exitCode, 0);
        QFile rev(dir.filePath(QStringLiteral("NUL.rev")));
        QVERIFY(rev.open(QIODevice::ReadOnly));
        QCOMPARE(rev.readAll(), QByteArray("ABC\0\0\0\0\0<=05\r\n", 14));

        for (int i = 0; i < ident.size(); ++i)
            sim.command(QStringLiteral("set %1H 88").arg(0xEFF0 + i, 4, 16));
        const Run down =
            cli(85, {QStringLiteral("program-download"), pdx.fileName(), QStringLiteral("--yes")});
        QCOMPARE(down.exitCode, 0);
        QByteArray expected;
        for (int b : ident)
            expected.append(char(b));
        QCOMPARE(boardBytes(sim, 0xEFF0, 10), expected);
        QFile::remove(QDir(BoardSimProcess::binDir()).filePath(QStringLiteral("Support/COM85")));
    }

    void boardFaultsStopTheDownload_data()
    {
        QTest::addColumn<QString>("option");
        QTest::addColumn<QString>("where");
        QTest::newRow("wrong sum on record 50")
            << QStringLiteral("--program-wrong-sum=50") << QStringLiteral("records 50 last 4310H");
        QTest::newRow("silent on record 5")
            << QStringLiteral("--program-silent=5") << QStringLiteral("records 5 last 4040H");
    }
    void boardFaultsStopTheDownload()
    {
        QFETCH(QString, option);
        QFETCH(QString, where);
        QTemporaryDir dir;
        const QString pdx = copySample(dir);
        const QString hex = dir.filePath(QStringLiteral("SAMPLE.hex"));
        BoardSimProcess sim;
        QVERIFY(sim.start({QStringLiteral("--frozen"), option}));
        QVERIFY(sim.linkAsPort(BoardSimProcess::binDir(), 82));
        const int last = where.section(u' ', 3).left(4).toInt(nullptr, 16);
        // What the board held after the failing record before the download.
        const QByteArray untouched = boardBytes(sim, last + 16, 16);
        QVERIFY(untouched != imageBytesAt(hex, last + 16, 16));
        const Run down =
            cli(82, {QStringLiteral("program-download"), pdx, QStringLiteral("--yes")});
        QCOMPARE(down.exitCode, 3);
        QVERIFY2(down.err.contains(QStringLiteral("Checksum Error, Program Download Halted!")),
                 qPrintable(down.err));
        QVERIFY(!down.err.contains(QStringLiteral("Program Download Complete!")));
        QCOMPARE(sim.command(QStringLiteral("program")), where);
        // The record the board failed on landed; the one after it never went out.
        QCOMPARE(boardBytes(sim, last, 16), imageBytesAt(hex, last, 16));
        QCOMPARE(boardBytes(sim, last + 16, 16), untouched);
        // The ident was not written.
        QVERIFY(boardBytes(sim, 0xEFF0, 8) != QByteArray("KSTDEMO1"));
        QFile::remove(QDir(BoardSimProcess::binDir()).filePath(QStringLiteral("Support/COM82")));
    }

    void failedUploadLeavesTheFiles()
    {
        QTemporaryDir dir;
        const QString pdx = copySample(dir);
        QHash<QString, QByteArray> before;
        for (const QString &f : QDir(dir.path()).entryList(QDir::Files))
            before.insert(f, fileHash(dir.filePath(f)));
        BoardSimProcess sim;
        // The board vanishes part-way through the memory.
        QVERIFY(sim.start({QStringLiteral("--frozen"), QStringLiteral("--close-after=20000")}));
        QVERIFY(sim.linkAsPort(BoardSimProcess::binDir(), 83));
        const Run up = cli(83, {QStringLiteral("program-upload"), pdx});
        QVERIFY(up.exitCode != 0);
        QCOMPARE(up.exitCode, 3);
        QVERIFY2(up.err.contains(QStringLiteral("Program Upload Not Complete!")),
                 qPrintable(up.err));
        QHash<QString, QByteArray> after;
        for (const QString &f : QDir(dir.path()).entryList(QDir::Files))
            after.insert(f, fileHash(dir.filePath(f)));
        QCOMPARE(after, before);
        QFile::remove(QDir(BoardSimProcess::binDir()).filePath(QStringLiteral("Support/COM83")));
    }

    void invalidProjectSendsNothing()
    {
        QTemporaryDir dir;
        const QString pdx = copySample(dir);
        QFile::remove(dir.filePath(QStringLiteral("SAMPLE.rev")));
        BoardSimProcess sim;
        QVERIFY(sim.start({QStringLiteral("--frozen")}));
        QVERIFY(sim.linkAsPort(BoardSimProcess::binDir(), 84));
        const Run down =
            cli(84, {QStringLiteral("program-download"), pdx, QStringLiteral("--yes")});
        QCOMPARE(down.exitCode, 5);
        QVERIFY(down.err.contains(QStringLiteral(" Revision File is Not Valid")));
        QCOMPARE(sim.command(QStringLiteral("program")), QStringLiteral("records 0 last -"));
        QCOMPARE(cli(84, {QStringLiteral("program-download")}).exitCode, 2);
        QCOMPARE(
            cli(84, {QStringLiteral("program-upload"), dir.filePath(QStringLiteral("none.pdx"))})
                .exitCode,
            5);
        QFile::remove(QDir(BoardSimProcess::binDir()).filePath(QStringLiteral("Support/COM84")));
    }
};

QTEST_GUILESS_MAIN(TestProgramE2E)
#include "test_program_e2e.moc"
