// Monitor figures. First kestro-cli monitor as it runs on a line PC,
// against kestro-boardsim --pace 9600 and a mosquitto on 127.0.0.1: its CPU
// and the register reads a second over a stretch of time. Then how many
// event messages a second the monitor's publishing path (outbox row,
// QoS 1 publish, row removed on the broker's acknowledgement) gets through,
// beside a bare QoS 1 publish of the same messages.
//
//   bench_monitor [SECONDS]      (default 60; KESTRO_BIN_DIR names the programs)
#include "benchfigures.h"
#include "fakes/boardsimprocess.h"
#include "fakes/mosquittobroker.h"
#include "fakes/programrun.h"

#include "comm/clock.h"
#include "comm/posixserialport.h"
#include "comm/rscomm.h"
#include "fakes/loggingprompt.h"
#include "history/historyrecorder.h"
#include "history/historystore.h"
#include "monitor/linemonitor.h"
#include "monitor/monitorservice.h"
#include "monitor/mqttclient.h"
#include "monitor/outbox.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <unistd.h>

namespace
{

const QString kUser = QStringLiteral("bench");
const QString kPassword = QStringLiteral("bench-pw");

// CPU seconds of another process, from /proc/PID/stat.
double processCpuSeconds(qint64 pid)
{
    QFile f(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!f.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray stat = f.readAll();
    const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
    // utime and stime are fields 14 and 15 of the line, 12 and 13 after the name.
    return (fields.value(11).toDouble() + fields.value(12).toDouble()) / double(::sysconf(_SC_CLK_TCK));
}

void waitFor(const std::function<bool()> &done, int timeoutMs)
{
    QElapsedTimer t;
    t.start();
    while (!done() && t.elapsed() < timeoutMs)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
}

bool monitorRun(const QString &folder, int port, MosquittoBroker &broker, int seconds)
{
    BoardSimProcess sim;
    if (!sim.startOnCliPort(72, {QStringLiteral("--pace"), QStringLiteral("9600")})) {
        std::printf("ERROR: kestro-boardsim did not start (KESTRO_BIN_DIR?)\n");
        return false;
    }
    const QString config = QDir(folder).filePath(QStringLiteral("bench.conf"));
    QFile f(config);
    f.open(QIODevice::WriteOnly);
    f.write(QStringLiteral("line = bench\nusername = %1\npassword = %2\ndatabase = %3\n")
                .arg(kUser, kPassword, QDir(folder).filePath(QStringLiteral("history.sqlite")))
                .toUtf8());
    f.close();
    f.setPermissions(QFile::ReadOwner | QFile::WriteOwner);

    MqttSubscriber sub;
    sub.start(port, QStringLiteral("bench-sub"), kUser, kPassword, QStringLiteral("kestro/#"));
    QProcess monitor;
    ProgramRun::start(monitor, QStringLiteral("kestro-cli"),
                      {QStringLiteral("monitor"), QStringLiteral("--port"), QStringLiteral("72"),
                       QStringLiteral("--mqtt"), broker.url(), QStringLiteral("--config"), config});
    if (!monitor.waitForStarted(5000))
        return false;
    QElapsedTimer whole;
    whole.start();
    // Measured from the first state on, so the start-up is not counted.
    sub.waitFor([](const auto &m) { return !m.isEmpty(); }, 20000);
    const double cpu0 = processCpuSeconds(monitor.processId());
    const qsizetype states0 = sub.messages(QStringLiteral("kestro/bench/state")).size();
    QElapsedTimer wall;
    wall.start();
    sub.waitFor([](const auto &) { return false; }, seconds * 1000);
    const double cpu = processCpuSeconds(monitor.processId()) - cpu0;
    const double elapsed = wall.elapsed() / 1000.0;
    const qsizetype states = sub.messages(QStringLiteral("kestro/bench/state")).size() - states0;
    monitor.terminate();
    monitor.waitForFinished(10000);
    const double wholeSeconds = whole.elapsed() / 1000.0;
    const QString log = QString::fromUtf8(monitor.readAllStandardError());
    const auto m = QRegularExpression(QStringLiteral("stopping after (\\d+) register reads"))
                       .match(log);
    std::printf("monitor against the paced board, %.0f s: CPU %.3f s (%.2f %% of one core), "
                "%.1f states a second\n",
                elapsed, cpu, 100.0 * cpu / elapsed, states / elapsed);
    if (m.hasMatch())
        // The count runs from the start, so the rate is over the whole run.
        std::printf("register reads: %s in %.1f s from start to stop: %.1f a second\n",
                    qPrintable(m.captured(1)), wholeSeconds, m.captured(1).toDouble() / wholeSeconds);
    else
        std::printf("ERROR: the monitor did not report its reads:\n%s\n", qPrintable(log));
    return m.hasMatch();
}

bool publishRate(const QString &folder, MosquittoBroker &broker, int count)
{
    MqttClient client;
    MqttClient::Settings settings;
    BrokerUrl::parse(broker.url(), settings.url, nullptr);
    settings.clientId = QStringLiteral("bench-publisher");
    settings.username = kUser;
    settings.password = kPassword;
    QString why;
    if (!client.start(settings, &why)) {
        std::printf("ERROR: %s\n", qPrintable(why));
        return false;
    }
    waitFor([&] { return client.isConnected(); }, 10000);
    qint64 acked = 0;
    QObject::connect(&client, &MqttClient::delivered, [&](int) { ++acked; });

    QElapsedTimer t;
    t.start();
    for (int i = 0; i < count; ++i)
        client.publish(QStringLiteral("kestro/bench/raw"), QByteArray(200, 'x'), false);
    waitFor([&] { return acked >= count; }, 60000);
    const double bare = t.elapsed() / 1000.0;
    std::printf("bare QoS 1 publish: %d messages acknowledged in %.3f s: %.0f a second\n",
                int(acked), bare, acked / bare);

    // The monitor's own path: kept in the outbox, published, removed on ack.
    SteadyClock clock;
    LoggingPrompt prompt;
    PosixSerialPort port(clock, folder);
    RSComm comm(clock, prompt, folder);
    LineMonitor monitor(comm, port, clock, 1000);
    History::HistoryStore store;
    store.open(QDir(folder).filePath(QStringLiteral("publish.sqlite")));
    History::HistoryRecorder recorder(store);
    Outbox outbox;
    outbox.open(store.path(), nullptr);
    MonitorService service(monitor, recorder, client, &outbox, clock, QStringLiteral("bench"),
                           folder);
    const qint64 delivered0 = service.messagesDelivered();
    t.restart();
    for (int i = 0; i < count; ++i)
        service.publishEvent(QStringLiteral("fault"),
                             QJsonObject{{QStringLiteral("kind"), QStringLiteral("fault")},
                                         {QStringLiteral("code"), QString::number(i)}});
    waitFor([&] { return service.messagesDelivered() - delivered0 >= count && outbox.pending().isEmpty(); },
            120000);
    const double kept = t.elapsed() / 1000.0;
    const qint64 done = service.messagesDelivered() - delivered0;
    std::printf("event through the outbox: %d messages acknowledged and removed in %.3f s: "
                "%.0f a second (%d left in the outbox)\n",
                int(done), kept, done / kept, int(outbox.pending().size()));
    client.stop();
    return done >= count;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const int seconds = argc > 1 ? std::max(5, atoi(argv[1])) : 60;
    QTemporaryDir dir;
    MosquittoBroker broker;
    if (!broker.start(dir.path(), kUser, kPassword)) {
        std::printf("ERROR: mosquitto did not start (Debian package mosquitto)\n");
        return 1;
    }
    bench::printLoad();
    bool good = monitorRun(dir.path(), broker.port(), broker, seconds);
    good = publishRate(dir.path(), broker, 2000) && good;
    return good ? 0 : 1;
}
