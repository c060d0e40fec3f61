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
    const QString kLine = QStringLiteral("L7");

    QTemporaryDir m_dir;
    MosquittoBroker m_broker;
    BoardSimProcess m_sim;
    QProcess m_monitor;
    MqttSubscriber m_sub;
    QString m_log;

    QString topic(const char *leaf) const
    {
        return QStringLiteral("kestro/%1/%2").arg(kLine, QLatin1String(leaf));
    }
    static QJsonObject json(const MqttSubscriber::Message &m)
    {
        return QJsonDocument::fromJson(m.payload).object();
    }
    QList<QJsonObject> events(const char *leaf, qsizetype from = 0) const
    {
        QList<QJsonObject> out;
        const auto all = m_sub.messages(topic(leaf));
        for (qsizetype i = from; i < all.size(); ++i)
            out.append(json(all[i]));
        return out;
    }
    QString writeConfig(const QString &name, QFile::Permissions mode)
    {
        const QString path = m_dir.filePath(name);
        QFile f(path);
        f.open(QIODevice::WriteOnly);
        f.write(QStringLiteral("# line 7\nline = %1\nusername = %2\npassword = %3\n"
                               "database = %4\npoll-ms = 200\n")
                    .arg(kLine, kUser, kPassword, m_dir.filePath(QStringLiteral("history.sqlite")))
                    .toUtf8());
        f.close();
        f.setPermissions(mode);
        return path;
    }
    // Lets a little time pass so late duplicates would have arrived.
    void settle(int ms)
    {
        m_sub.waitFor([](const auto &) { return false; }, ms);
        m_log += QString::fromUtf8(m_monitor.readAllStandardError() +
                                   m_monitor.readAllStandardOutput());
    }
    int simValue(const char *address)
    {
        return m_sim.command(QStringLiteral("get ") + QLatin1String(address)).toInt();
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY(m_sim.startOnCliPort(kPort, {QStringLiteral("--frozen")}));
        QCOMPARE(m_sim.command(QStringLiteral("set D1100 424242")), QStringLiteral("ok"));
        QCOMPARE(m_sim.command(QStringLiteral("set W112 1480")), QStringLiteral("ok"));
        const QString config = writeConfig(QStringLiteral("l7.conf"),
                                           QFile::ReadOwner | QFile::WriteOwner);
        ProgramRun::start(m_monitor, QStringLiteral("kestro-cli"),
                          {QStringLiteral("monitor"), QStringLiteral("--port"),
                           QString::number(kPort), QStringLiteral("--mqtt"), m_broker.url(),
                           QStringLiteral("--config"), config});
        QVERIFY(m_monitor.waitForStarted(5000));
        // The broker comes up after the monitor, as after a power cut.
        QTest::qWait(1500);
        QVERIFY(m_broker.start(m_dir.path(), kUser, kPassword));
        QVERIFY(m_sub.start(m_broker.port(), QStringLiteral("test-sub"), kUser, kPassword,
                            QStringLiteral("kestro/L7/#")));
        QVERIFY(m_sub.waitFor(
            [&](const auto &) {
                const auto status = m_sub.messages(topic("status"));
                return !status.isEmpty() && status.last().payload == "online";
            },
            15000));
    }

    void cleanupTestCase()
    {
        m_monitor.terminate();
        QVERIFY(m_monitor.waitForFinished(10000));
        m_log += QString::fromUtf8(m_monitor.readAllStandardError() +
                                   m_monitor.readAllStandardOutput());
        m_sim.stop();
    }

    void retainedStateCarriesTheBoardsValues()
    {
        QVERIFY(m_sub.waitFor([&](const auto &) { return !events("state").isEmpty(); }, 10000));
        // A subscriber that comes later is handed the retained state.
        MqttSubscriber late;
        QVERIFY(late.start(m_broker.port(), QStringLiteral("late"), kUser, kPassword,
                           topic("state")));
        QVERIFY(late.waitFor([](const auto &m) { return !m.isEmpty(); }, 10000));
        const auto first = late.messages().first();
        QVERIFY(first.retained);
        const QJsonObject state = json(first);
        QCOMPARE(state[u"online"].toBool(), true);
        QCOMPARE(state[u"counts"][u"goodCans"].toInteger(), 424242);
        QCOMPARE(state[u"speed"][u"machineCpm"].toInt(), 1480);
        QCOMPARE(state[u"spindleCount"].toInt(), simValue("B52"));
        QVERIFY(!state[u"time"].toString().isEmpty());
    }

    void faultAtTheBoardArrivesOnce()
    {
        const qsizetype before = events("fault").size();
        QCOMPARE(m_sim.command(QStringLiteral("fault 26")), QStringLiteral("ok"));
        QVERIFY(m_sub.waitFor([&](const auto &) { return events("fault", before).size() >= 1; },
                              10000));
        settle(1500);
        const auto faults = events("fault", before);
        QCOMPARE(faults.size(), 1);
        QCOMPARE(faults[0][u"kind"].toString(), QStringLiteral("fault"));
        QCOMPARE(faults[0][u"code"].toString(), QStringLiteral("1A"));
        QCOMPARE(faults[0][u"active"].toBool(), true);
        QVERIFY(!faults[0][u"text"].toString().isEmpty());
        QCOMPARE(m_sim.command(QStringLiteral("fault 0")), QStringLiteral("ok"));
        QVERIFY(m_sub.waitFor([&](const auto &) { return events("fault", before).size() >= 2; },
                              10000));
    }

    void shiftEndedAtTheBoardArrivesOnceWithItsCounts()
    {
        const qsizetype before = events("shift").size();
        QCOMPARE(m_sim.command(QStringLiteral("set W1130 777")), QStringLiteral("ok"));
        const int goodCans = simValue("D1100");
        QCOMPARE(m_sim.command(QStringLiteral("set F137 1")), QStringLiteral("ok"));
        QCOMPARE(m_sim.command(QStringLiteral("set F137 0")), QStringLiteral("ok"));
        QVERIFY(m_sub.waitFor([&](const auto &) { return events("shift", before).size() >= 1; },
                              10000));
        settle(1500);
        const auto shifts = events("shift", before);
        QCOMPARE(shifts.size(), 1);
        QCOMPARE(shifts[0][u"goodCans"].toInteger(), goodCans);
        const int spindles = simValue("B52");
        QCOMPARE(shifts[0][u"spindleCount"].toInt(), spindles);
        const QJsonArray trips = shifts[0][u"trips"].toArray();
        QCOMPARE(trips.size(), spindles);
        QCOMPARE(trips[3].toInt(), 777); // spindle 4 of the shift that ended
    }

    void eventsWhileTheBrokerIsAwayArriveInOrderOnce()
    {
        const qsizetype faultsBefore = events("fault").size();
        const qsizetype shiftsBefore = events("shift").size();
        const qsizetype allBefore = m_sub.messages().size();
        m_broker.stop();
        QCOMPARE(m_sim.command(QStringLiteral("fault 27")), QStringLiteral("ok"));
        settle(1500);
        QCOMPARE(m_sim.command(QStringLiteral("fault 28")), QStringLiteral("ok"));
        settle(1500);
        QCOMPARE(m_sim.command(QStringLiteral("set F137 1")), QStringLiteral("ok"));
        QCOMPARE(m_sim.command(QStringLiteral("set F137 0")), QStringLiteral("ok"));
        settle(10000 - 3000);
        QVERIFY(m_broker.start(m_dir.path(), kUser, kPassword));
        QVERIFY(m_sub.waitFor(
            [&](const auto &) {
                return events("fault", faultsBefore).size() >= 2 &&
                       events("shift", shiftsBefore).size() >= 1;
            },
            30000));
        settle(3000);
        QStringList order;
        const auto all = m_sub.messages();
        for (qsizetype i = allBefore; i < all.size(); ++i) {
            if (all[i].topic == topic("fault"))
                order << json(all[i])[u"code"].toString();
            else if (all[i].topic == topic("shift"))
                order << QStringLiteral("shift");
        }
        QCOMPARE(order, (QStringList{QStringLiteral("1B"), QStringLiteral("1C"),
                                     QStringLiteral("shift")}));
        QCOMPARE(m_sim.command(QStringLiteral("fault 0")), QStringLiteral("ok"));
    }

    void silentBoardIsReportedAndWatchedAgain()
    {
        const qsizetype before = events("fault").size();
        auto lastStatus = [&]() {
            const auto status = m_sub.messages(topic("status"));
            return status.isEmpty() ? QByteArray() : status.last().payload;
        };
        QCOMPARE(m_sim.command(QStringLiteral("silent on")), QStringLiteral("ok"));
        QVERIFY(m_sub.waitFor([&](const auto &) { return lastStatus() == "board lost"; }, 20000));
        QCOMPARE(m_sim.command(QStringLiteral("silent off")), QStringLiteral("ok"));
        QVERIFY(m_sub.waitFor([&](const auto &) { return lastStatus() == "online"; }, 40000));
        QVERIFY(m_sub.waitFor(
            [&](const auto &) {
                const auto states = events("state");
                return !states.isEmpty() && states.last()[u"online"].toBool();
            },
            10000));
        QList<QJsonObject> links;
        for (const QJsonObject &event : events("fault", before))
            if (event[u"kind"].toString() == u"link")
                links.append(event);
        QCOMPARE(links.size(), 2);
        QCOMPARE(links.first()[u"active"].toBool(), true);
        QCOMPARE(links.last()[u"active"].toBool(), false);
        QCOMPARE(m_monitor.state(), QProcess::Running);
    }

    void changeRecordedByAnotherProgramIsPublished()
    {
        History::HistoryStore store;
        QVERIFY(store.open(m_dir.filePath(QStringLiteral("history.sqlite"))));
        History::ChangeRecord change;
        change.reg = QStringLiteral("B1000");
        change.oldValue = QStringLiteral("12");
        change.newValue = QStringLiteral("15");
        change.origin = QStringLiteral("command write");
        change.accepted = true;
        QVERIFY(store.recordChange(change) > 0);
        QVERIFY(m_sub.waitFor([&](const auto &) { return !events("change").isEmpty(); }, 15000));
        settle(6000); // one more look at the store: still once
        const auto changes = events("change");
        QCOMPARE(changes.size(), 1);
        QCOMPARE(changes[0][u"register"].toString(), QStringLiteral("B1000"));
        QCOMPARE(changes[0][u"old"].toString(), QStringLiteral("12"));
        QCOMPARE(changes[0][u"new"].toString(), QStringLiteral("15"));
    }

    void portHeldByTheMonitorNamesIt()
    {
        const ProgramRun r = ProgramRun::cli(kPort, {QStringLiteral("read"), QStringLiteral("W98")});
        QCOMPARE(r.exitCode, 3);
        // The link's own refusal, the one the window shows, names it.
        QVERIFY2(r.err.contains(QStringLiteral("): kestro-cli monitor --port %1").arg(kPort)) &&
                     r.err.contains(QStringLiteral("process %1").arg(m_monitor.processId())),
                 qPrintable(r.err));
    }

    void configOthersMayReadIsRefused()
    {
        const QString config = writeConfig(QStringLiteral("open.conf"),
                                           QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther);
        const ProgramRun r = ProgramRun::run(
            QStringLiteral("kestro-cli"), {QStringLiteral("monitor"), QStringLiteral("--port"),
                                           QString::number(kPort), QStringLiteral("--config"),
                                           config});
        QCOMPARE(r.exitCode, 5);
        QVERIFY2(r.err.contains(config) && r.err.contains(QStringLiteral("other users")),
                 qPrintable(r.err));
        QVERIFY(!r.err.contains(kPassword));
    }

    void passwordNeverShown()
    {
        QProcess ps;
        ps.start(QStringLiteral("ps"), {QStringLiteral("-eo"), QStringLiteral("args")});
        QVERIFY(ps.waitForFinished(5000));
        const QString processes = QString::fromUtf8(ps.readAllStandardOutput());
        QVERIFY(processes.contains(QStringLiteral("kestro-cli monitor")));
        QVERIFY(!processes.contains(kPassword));
        settle(100);
        // It logged who it is and whom it logs in as, never with what.
        QVERIFY2(m_log.contains(kUser), qPrintable(m_log));
        QVERIFY(!m_log.contains(kPassword));
    }
};

QTEST_GUILESS_MAIN(TestMonitorE2e)
#include "test_monitor_e2e.moc"
