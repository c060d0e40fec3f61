#include "fakes/boardsimprocess.h"
#include "fakes/programrun.h"

#include <QTemporaryDir>
#include <QtTest>

// The history as the command line leaves it, against the simulated board.
class TestHistoryE2E : public QObject
{
    Q_OBJECT

    static constexpr int kPort = 73;
    BoardSimProcess m_sim;
    QTemporaryDir m_dir;

    static ProgramRun cli(const QStringList &args) { return ProgramRun::cli(kPort, args, 30000); }
    QString file(const QString &name) const { return m_dir.filePath(name); }
    // The newest change the command line lists, as CSV.
    static QString lastChange()
    {
        const ProgramRun h = cli({QStringLiteral("history"), QStringLiteral("changes"),
                                  QStringLiteral("--csv")});
        return h.exitCode == 0 ? h.out.trimmed().split(u'\n').constLast() : h.err;
    }

private slots:
    void initTestCase()
    {
        qputenv("KESTRO_HISTORY", file(QStringLiteral("history.sqlite")).toUtf8());
        QVERIFY(m_sim.startOnCliPort(kPort, {QStringLiteral("--frozen")}));
    }
    void cleanupTestCase() { m_sim.stop(); }

    void writesAreRecordedWithTheValueTheyReplaced_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<int>("wrongEchoEvery");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("csvTail");
        QTest::newRow("taken") << "45" << 0 << 0 << ",W1004,Number of Pins to Pin Chain Blow-off Port,33,45,command write,yes,";
        // The board answers every echo wrongly: nothing is known, nothing taken.
        QTest::newRow("refused") << "46" << 1 << 3 << ",W1004,Number of Pins to Pin Chain Blow-off Port,,46,command write,no,";
    }
    void writesAreRecordedWithTheValueTheyReplaced()
    {
        QFETCH(QString, value);
        QFETCH(int, wrongEchoEvery);
        QFETCH(int, exitCode);
        QFETCH(QString, csvTail);
        QCOMPARE(m_sim.command(QStringLiteral("set W1004 33")), QStringLiteral("ok"));
        m_sim.command(QStringLiteral("wrong-echo %1").arg(wrongEchoEvery));
        const ProgramRun w = cli({QStringLiteral("write"), QStringLiteral("W1004"), value});
        m_sim.command(QStringLiteral("wrong-echo 0"));
        QCOMPARE(w.exitCode, exitCode);

        const QString last = lastChange();
        QVERIFY2(last.endsWith(csvTail), qPrintable(last));
        QVERIFY(last.contains(u',' + qEnvironmentVariable("USER", QStringLiteral("root")) + u','));
    }

    void diffAgainstTheBoardShowsTheWrittenItemOnly()
    {
        const QString a = file(QStringLiteral("A.sdt"));
        QCOMPARE(cli({QStringLiteral("upload"), QStringLiteral("all"), a}).exitCode, 0);
        const ProgramRun same = cli({QStringLiteral("diff"), a, QStringLiteral("--board")});
        QCOMPARE(same.exitCode, 0);

        const QString old = m_sim.command(QStringLiteral("get B1003"));
        const QString value = old == u"4" ? QStringLiteral("3") : QStringLiteral("4");
        QCOMPARE(cli({QStringLiteral("write"), QStringLiteral("B1003"), value}).exitCode, 0);
        const ProgramRun diff = cli({QStringLiteral("diff"), a, QStringLiteral("--board"),
                                     QStringLiteral("--group"), QStringLiteral("all")});
        QCOMPARE(diff.exitCode, 1);
        const QStringList lines = diff.out.trimmed().split(u'\n');
        QCOMPARE(lines.size(), 2);
        QCOMPARE(lines[1].simplified(),
                 QStringLiteral("Number of Cans to Blow-off for Each Mis-load B1003 %1 %2")
                     .arg(old, value));

        // Downloading A puts it back: the record lists that item alone, with
        // the value the board held.
        QCOMPARE(cli({QStringLiteral("download"), QStringLiteral("setup"), a}).exitCode, 0);
        const QString last = lastChange();
        QVERIFY2(last.endsWith(QStringLiteral(",command download,yes,B1003 Number of Cans to "
                                              "Blow-off for Each Mis-load: %1 -> %2")
                                   .arg(value, old)),
                 qPrintable(last));

        // A board that does not answer is no verdict.
        m_sim.command(QStringLiteral("silent on"));
        const ProgramRun dead = cli({QStringLiteral("diff"), a, QStringLiteral("--board")});
        m_sim.command(QStringLiteral("silent off"));
        QCOMPARE(dead.exitCode, 3);
        QVERIFY(dead.out.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestHistoryE2E)
#include "test_history_e2e.moc"
