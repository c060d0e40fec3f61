#include "fakes/boardsimprocess.h"
#include "fakes/mosquittobroker.h"
#include "fakes/programrun.h"
#include "history/historystore.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

// kestro-cli monitor against the simulator on a pty and a real mosquitto on
// 127.0.0.1: what the board does arrives at a subscriber, once, even when
// the broker or the board went away for a while.
class TestMonitorE2e : public QObject
{
    Q_OBJECT

    static constexpr int kPort = 71;
    const QString kUser = QStringLiteral("line-pc");
    const QString kPassword = QStringLiteral("s3cret-Wx9q");

    QTemporaryDir m_dir;
    MosquittoBroker m_broker;
    BoardSimProcess m_sim;
    QProcess m_monitor;
    MqttSubscriber m_sub;
    QString m_log;

    static QString topic(const char *leaf) { return QStringLiteral("kestro/L7/") + leaf; }
    QList<QJsonObject> events(const char *leaf, qsizetype from = 0) const
    {
        QList<QJsonObject> out;
        for (const auto &m : m_sub.messages(topic(leaf)).mid(from))
            out.append(QJsonDocument::fromJson(m.payload).object());
        return out;
    }
    bool waitFor(const std::function<bool()> &done, int ms)
    {
        return m_sub.waitFor([&](const auto &) { return done(); }, ms);
    }
    // Lets time pass so late duplicates would have arrived.
    void settle(int ms)
    {
        waitFor([] { return false; }, ms);
        m_log +=
            QString::fromUtf8(m_monitor.readAllStandardError() + m_monitor.readAllStandardOutput());
    }
    void sim(const QString &line) { QCOMPARE(m_sim.command(line), QStringLiteral("ok")); }
    QByteArray lastStatus() const
    {
        const auto status = m_sub.messages(topic("status"));
        return status.isEmpty() ? QByteArray() : status.last().payload;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_sim.startOnCliPort(kPort, {"--frozen"}));
        sim("set D1100 424242");
        sim("set W112 1480");
        const QString config = m_dir.filePath("l7.conf");
        QFile f(config);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(
            QStringLiteral(
                "# line 7\nline = L7\nusername = %1\npassword = %2\ndatabase = %3\npoll-ms = 200\n")
                .arg(kUser, kPassword, m_dir.filePath("history.sqlite"))
                .toUtf8());
        f.close();
        f.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
        ProgramRun::start(m_monitor, "kestro-cli",
                          {"monitor", "--port", QString::number(kPort), "--mqtt", m_broker.url(),
                           "--config", config});
        QVERIFY(m_monitor.waitForStarted(5000));
        // The broker comes up after the monitor, as after a power cut.
        QTest::qWait(1500);
        QVERIFY(m_broker.start(m_dir.path(), kUser, kPassword));
        QVERIFY(m_sub.start(m_broker.port(), "test-sub", kUser, kPassword, "kestro/L7/#"));
        QVERIFY(waitFor([&] { return lastStatus() == "online"; }, 15000));
    }

    void cleanupTestCase()
    {
        m_monitor.terminate();
        QVERIFY(m_monitor.waitForFinished(10000));
        m_sim.stop();
    }

    void retainedStateCarriesTheBoardsValues()
    {
        QVERIFY(waitFor([&] { return !events("state").isEmpty(); }, 10000));
        MqttSubscriber late; // handed the retained state
        QVERIFY(late.start(m_broker.port(), "late", kUser, kPassword, topic("state")));
        QVERIFY(late.waitFor([](const auto &m) { return !m.isEmpty(); }, 10000));
        QVERIFY(late.messages().first().retained);
        const QJsonObject state = QJsonDocument::fromJson(late.messages().first().payload).object();
        QCOMPARE(state[u"online"].toBool(), true);
        QCOMPARE(state[u"counts"][u"goodCans"].toInteger(), 424242);
        QCOMPARE(state[u"speed"][u"machineCpm"].toInt(), 1480);
        QCOMPARE(state[u"spindleCount"].toInt(), 36);
        QVERIFY(!state[u"time"].toString().isEmpty());
    }

    void faultAndShiftArriveOnce()
    {
        const qsizetype faults = events("fault").size(), shifts = events("shift").size();
        sim("fault 26");
        sim("set W1130 777");
        sim("set F137 1");
        sim("set F137 0");
        QVERIFY(waitFor(
            [&] {
                return !events("fault", faults).isEmpty() && !events("shift", shifts).isEmpty();
            },
            10000));
        settle(1500);
        const auto fault = events("fault", faults);
        QCOMPARE(fault.size(), 1);
        QCOMPARE(fault[0][u"kind"].toString(), QStringLiteral("fault"));
        QCOMPARE(fault[0][u"code"].toString(), QStringLiteral("1A"));
        QCOMPARE(fault[0][u"active"].toBool(), true);
        QVERIFY(!fault[0][u"text"].toString().isEmpty());
        const auto shift = events("shift", shifts);
        QCOMPARE(shift.size(), 1);
        QCOMPARE(shift[0][u"goodCans"].toInteger(), 424242);
        QCOMPARE(shift[0][u"spindleCount"].toInt(), 36);
        QCOMPARE(shift[0][u"trips"].toArray().size(), 36);
        QCOMPARE(shift[0][u"trips"][3].toInt(), 777); // spindle 4 of the shift that ended
        sim("fault 0");
        QVERIFY(waitFor([&] { return events("fault", faults).size() >= 2; }, 10000));
    }

    void eventsWhileTheBrokerIsAwayArriveInOrderOnce()
    {
        const qsizetype from = m_sub.messages().size();
        m_broker.stop();
        sim("fault 27");
        settle(1500);
        sim("fault 28");
        settle(1500);
        sim("set F137 1");
        sim("set F137 0");
        settle(7000);
        QVERIFY(m_broker.start(m_dir.path(), kUser, kPassword));
        QStringList order;
        const auto seen = [&] {
            order.clear();
            for (const auto &m : m_sub.messages().mid(from)) {
                if (m.topic == topic("fault"))
                    order << QJsonDocument::fromJson(m.payload).object()[u"code"].toString();
                else if (m.topic == topic("shift"))
                    order << "shift";
            }
            return order.size() >= 3;
        };
        QVERIFY(waitFor(seen, 30000));
        settle(3000);
        seen();
        QCOMPARE(order, (QStringList{"1B", "1C", "shift"}));
        sim("fault 0");
    }

    void silentBoardIsReportedAndWatchedAgain()
    {
        const qsizetype before = events("fault").size();
        sim("silent on");
        QVERIFY(waitFor([&] { return lastStatus() == "board lost"; }, 20000));
        sim("silent off");
        QVERIFY(waitFor([&] { return lastStatus() == "online"; }, 40000));
        QVERIFY(waitFor(
            [&] {
                return !events("state").isEmpty() && events("state").last()[u"online"].toBool();
            },
            10000));
        QList<bool> link;
        for (const QJsonObject &event : events("fault", before))
            if (event[u"kind"].toString() == u"link")
                link << event[u"active"].toBool();
        QCOMPARE(link, (QList<bool>{true, false}));
        QCOMPARE(m_monitor.state(), QProcess::Running);
    }

    void changeRecordedByAnotherProgramIsPublishedOnce()
    {
        History::HistoryStore store;
        QVERIFY(store.open(m_dir.filePath("history.sqlite")));
        History::ChangeRecord change;
        change.reg = "B1000";
        change.oldValue = "12";
        change.newValue = "15";
        change.origin = "command write";
        change.accepted = true;
        QVERIFY(store.recordChange(change) > 0);
        QVERIFY(waitFor([&] { return !events("change").isEmpty(); }, 15000));
        settle(6000); // one more look at the store
        const auto changes = events("change");
        QCOMPARE(changes.size(), 1);
        QCOMPARE(changes[0][u"register"].toString(), QStringLiteral("B1000"));
        QCOMPARE(changes[0][u"old"].toString(), QStringLiteral("12"));
        QCOMPARE(changes[0][u"new"].toString(), QStringLiteral("15"));
    }

    // Another program is told who holds the port; nobody is told the password.
    void monitorNamedPasswordNot()
    {
        const ProgramRun r = ProgramRun::cli(kPort, {"read", "W98"});
        QCOMPARE(r.exitCode, 3);
        QVERIFY2(r.err.contains(QStringLiteral("): kestro-cli monitor --port %1").arg(kPort)) &&
                     r.err.contains(QStringLiteral("process %1").arg(m_monitor.processId())),
                 qPrintable(r.err));
        QProcess ps;
        ps.start("ps", {"-eo", "args"});
        QVERIFY(ps.waitForFinished(5000));
        const QString processes = QString::fromUtf8(ps.readAllStandardOutput());
        QVERIFY(processes.contains("kestro-cli monitor") && !processes.contains(kPassword));
        settle(100);
        QVERIFY2(m_log.contains(kUser) && !m_log.contains(kPassword), qPrintable(m_log));
    }
};

QTEST_GUILESS_MAIN(TestMonitorE2e)
#include "test_monitor_e2e.moc"
