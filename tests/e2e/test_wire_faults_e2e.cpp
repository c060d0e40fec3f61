#include "fakes/boardsimprocess.h"
#include "fakes/programrun.h"

#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QtTest>

// kestro-cli's writing commands against a board that mishears or answers
// wrongly, with the board's whole memory compared before and after: a byte
// the command did not mean to write is never changed unless the command
// names it and fails.
class TestWireFaults : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_setup;

    // The bytes a command writes on a healthy board: every write triplet of
    // its trace ("XX -> YY" a line).
    static QSet<int> writtenInTrace(const QString &path)
    {
        QFile f(path);
        if (!f.open(QIODevice::ReadOnly))
            return {};
        QList<int> sent;
        QList<int> replies;
        for (const QByteArray &line : f.readAll().split('\n')) {
            const QList<QByteArray> parts = line.split(' ');
            if (parts.size() < 3)
                continue;
            bool ok = false;
            sent << parts[0].toInt(nullptr, 16);
            replies << parts[2].toInt(&ok, 16);
            if (!ok)
                replies.last() = -1;
        }
        QSet<int> written;
        enum { Other, Await, Write } mode = Other;
        for (qsizetype i = 0; i < sent.size(); ++i) {
            if (sent[i] == 0xFF && replies[i] == 0x55) {
                mode = Await;
            } else if (mode == Await) {
                mode = sent[i] == 0x02 ? Write : Other;
            } else if (mode == Write && i + 2 < sent.size()) {
                written << sent[i] * 256 + sent[i + 1];
                i += 2;
            }
        }
        return written;
    }

    static QSet<int> namedBytes(const QString &err)
    {
        static const QRegularExpression name(QStringLiteral("\\b([BWDF])(\\d+)\\b"));
        QSet<int> named;
        for (const QString &line : err.split(u'\n')) {
            if (!line.contains(QLatin1String("not written")) &&
                !line.contains(QLatin1String("may have changed")) &&
                !line.contains(QLatin1String("failed")))
                continue;
            for (auto it = name.globalMatch(line); it.hasNext();) {
                const auto m = it.next();
                const int n = m.captured(2).toInt();
                const QChar kind = m.captured(1)[0];
                if (kind == u'F') {
                    named << 32 + n / 8;
                    continue;
                }
                const int count = kind == u'D' ? 4 : kind == u'W' ? 2 : 1;
                for (int b = 0; b < count; ++b)
                    named << n + b;
            }
        }
        return named;
    }

    static QMap<int, int> changes(BoardSimProcess &sim)
    {
        QMap<int, int> changed;
        static const QRegularExpression item(QStringLiteral("B(\\d+):(\\d+)>(\\d+)"));
        for (auto it = item.globalMatch(sim.command(QStringLiteral("changes"))); it.hasNext();) {
            const auto m = it.next();
            changed.insert(m.captured(1).toInt(), m.captured(3).toInt());
        }
        return changed;
    }

private slots:
    void initTestCase()
    {
        BoardSimProcess sim;
        QVERIFY(sim.startOnCliPort(72, {QStringLiteral("--frozen")}));
        m_setup = m_dir.filePath(QStringLiteral("board.sdt"));
        const ProgramRun r =
            ProgramRun::cli(72, {QStringLiteral("upload"), QStringLiteral("all"), m_setup});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
    }

    void noUnnamedChange_data()
    {
        QTest::addColumn<QStringList>("command");
        QTest::addColumn<QStringList>("fault");
        const QStringList write{QStringLiteral("write"), QStringLiteral("W1092"),
                                QStringLiteral("777")};
        // Exchanges: probe, FF, 02, then the high byte of each triplet.
        QTest::newRow("write, first high echo wrong")
            << write << QStringList{QStringLiteral("--wrong-echo-at"), QStringLiteral("4")};
        QTest::newRow("write, second high echo wrong")
            << write << QStringList{QStringLiteral("--wrong-echo-at"), QStringLiteral("7")};
        QTest::newRow("write, byte misheard")
            << write << QStringList{QStringLiteral("--misheard-every"), QStringLiteral("5")};
        const QStringList download{QStringLiteral("download"), QStringLiteral("all"),
                                   QStringLiteral("SETUP")};
        QTest::newRow("download, wrong echoes")
            << download << QStringList{QStringLiteral("--wrong-echo-every"), QStringLiteral("7")};
        QTest::newRow("download, misheard bytes")
            << download << QStringList{QStringLiteral("--misheard-every"), QStringLiteral("11")};
        QTest::newRow("set the clock, misheard bytes")
            << QStringList{QStringLiteral("board"), QStringLiteral("--set-clock")}
            << QStringList{QStringLiteral("--misheard-every"), QStringLiteral("7")};
        QTest::newRow("reset faults and address, garbage")
            << QStringList{QStringLiteral("board"), QStringLiteral("--reset-faults"),
                           QStringLiteral("--address"), QStringLiteral("5")}
            << QStringList{QStringLiteral("--garbage-every"), QStringLiteral("13")};
    }
    void noUnnamedChange()
    {
        QFETCH(QStringList, command);
        QFETCH(QStringList, fault);
        command.replaceInStrings(QStringLiteral("SETUP"), m_setup);
        const QString trace = m_dir.filePath(QStringLiteral("clean.trace"));
        QSet<int> meant;
        {
            BoardSimProcess clean;
            QVERIFY(clean.startOnCliPort(73, {QStringLiteral("--frozen"), QStringLiteral("--trace"),
                                              trace}));
            const ProgramRun r = ProgramRun::cli(73, command);
            QVERIFY2(r.exitCode == 0, qPrintable(r.err));
            clean.stop();
            meant = writtenInTrace(trace);
            QVERIFY(!meant.isEmpty());
        }
        BoardSimProcess sim;
        QVERIFY(sim.startOnCliPort(74, QStringList{QStringLiteral("--frozen"),
                                                   QStringLiteral("--linger")} +
                                           fault));
        QCOMPARE(sim.command(QStringLiteral("snapshot")), QStringLiteral("ok"));
        const ProgramRun r = ProgramRun::cli(74, command);
        const QSet<int> named = namedBytes(r.err);
        const QMap<int, int> changed = changes(sim);
        bool strayChange = false;
        for (auto it = changed.cbegin(); it != changed.cend(); ++it) {
            if (meant.contains(it.key()))
                continue;
            strayChange = true;
            QVERIFY2(named.contains(it.key()),
                     qPrintable(QStringLiteral("B%1 changed unnamed\n%2").arg(it.key()).arg(r.err)));
        }
        if (strayChange || !named.isEmpty())
            QCOMPARE(r.exitCode, 3);
        if (command.first() == u"write" && r.exitCode == 0)
            QCOMPARE(sim.command(QStringLiteral("get W1092")), QStringLiteral("777"));
    }
};

QTEST_GUILESS_MAIN(TestWireFaults)
#include "test_wire_faults_e2e.moc"
