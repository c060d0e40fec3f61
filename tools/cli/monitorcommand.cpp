#include "monitorcommand.h"

#include "clicontext.h"
#include "fixedport.h"

#include "comm/clock.h"
#include "comm/operatorprompt.h"
#include "comm/posixserialport.h"
#include "comm/rscomm.h"
#include "history/historyrecorder.h"
#include "history/historystore.h"
#include "monitor/linemonitor.h"
#include "monitor/monitorconfig.h"
#include "monitor/monitorservice.h"
#include "monitor/mqttclient.h"
#include "monitor/outbox.h"

#include <QCoreApplication>
#include <QDir>
#include <QLoggingCategory>
#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

Q_DECLARE_LOGGING_CATEGORY(lcMonitor)

namespace
{

// Nobody is there to answer: every question gets the answer of a closed
// box, and the link's questions become lines in the log.
class MonitorPrompt final : public OperatorPrompt
{
public:
    PromptAnswer ask(const QString &title, const QString &text, PromptIcon,
                     PromptButtons buttons) override
    {
        const QString line = title + QStringLiteral(": ") +
                             promptDisplayText(text).replace(u'\n', u' ').simplified();
        if (line != m_last)
            qCInfo(lcMonitor).noquote() << line;
        m_last = line;
        return escapeAnswer(buttons);
    }

private:
    QString m_last;
};

int stopPipe[2] = {-1, -1};
void onStopSignal(int)
{
    const char c = 1;
    [[maybe_unused]] const auto n = ::write(stopPipe[1], &c, 1);
}

} // namespace

int runMonitorCommand(const QStringList &args, const QString &programDir, int portOverride,
                      int speedOverride, QTextStream &err)
{
    QString line, mqtt, configPath;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString &a = args[i];
        QString *target = a == u"--line" ? &line : a == u"--mqtt" ? &mqtt
                                               : a == u"--config" ? &configPath
                                                                  : nullptr;
        if (!target || i + 1 >= args.size()) {
            err << "kestro-cli: monitor: "
                << (target ? a + QStringLiteral(" needs a value")
                           : QStringLiteral("unexpected ") + a)
                << Qt::endl;
            return CliExit::Usage;
        }
        *target = args[++i];
    }

    MonitorConfig config;
    QString why;
    if (!configPath.isEmpty() && !MonitorConfig::load(configPath, config, &why)) {
        err << "kestro-cli: monitor: " << why << Qt::endl;
        return CliExit::FileError;
    }
    if (!line.isEmpty())
        config.line = line;
    if (!mqtt.isEmpty())
        config.mqtt = mqtt;
    if (config.line.isEmpty())
        config.line = QStringLiteral("line1");
    if (config.line.contains(u'/') || config.line.contains(u'+') || config.line.contains(u'#')) {
        err << "kestro-cli: monitor: a line name may not contain / + or #" << Qt::endl;
        return CliExit::Usage;
    }
    BrokerUrl url;
    if (!config.mqtt.isEmpty() && !BrokerUrl::parse(config.mqtt, url, &why)) {
        err << "kestro-cli: monitor: " << why << Qt::endl;
        return CliExit::Usage;
    }

    SteadyClock clock;
    MonitorPrompt prompt;
    PosixSerialPort device(clock, programDir);
    if (!portOverride)
        device.setFixedDevice(config.device);
    FixedPort port(device, portOverride ? portOverride : config.port,
                   speedOverride ? speedOverride : config.speed);
    RSComm comm(clock, prompt, programDir);

    // Recording is best effort: without a usable file the history and the
    // outbox live in memory, and the line is still watched and published.
    History::HistoryStore store;
    store.setProblemHandler([](const QString &problem) {
        qCWarning(lcMonitor).noquote() << "history:" << problem;
    });
    QString database =
        config.database.isEmpty() ? History::HistoryStore::defaultPath(programDir) : config.database;
    if (!store.open(database)) {
        qCWarning(lcMonitor).noquote() << "history kept in memory only:" << store.lastError();
        database = QStringLiteral(":memory:");
        store.open(database);
    }
    Outbox outbox;
    const bool outboxOpen = outbox.open(database, &why);
    if (!outboxOpen)
        qCWarning(lcMonitor).noquote()
            << "messages for the broker are kept in memory only:" << why;
    History::HistoryRecorder recorder(store);

    MqttClient client;
    LineMonitor monitor(comm, port, clock, config.pollMs);
    MonitorService service(monitor, recorder, client, outboxOpen ? &outbox : nullptr, clock,
                           config.line, programDir);
    if (!config.mqtt.isEmpty()) {
        MqttClient::Settings settings;
        settings.url = url;
        settings.clientId =
            QStringLiteral("kestro-%1-%2").arg(config.line).arg(QCoreApplication::applicationPid());
        settings.username = config.username;
        settings.password = config.password;
        settings.caFile = config.caFile;
        settings.certFile = config.certFile;
        settings.keyFile = config.keyFile;
        settings.willTopic = service.topic(QStringLiteral("status"));
        settings.willPayload = "offline";
        if (!client.start(settings, &why)) {
            err << "kestro-cli: monitor: " << why << Qt::endl;
            return CliExit::FileError;
        }
        // Who it logs in as, never with what.
        qCInfo(lcMonitor).noquote()
            << "line" << config.line << "publishing to" << url.text() +
                   (config.username.isEmpty() ? QString() : QStringLiteral(" as ") + config.username);
    }

    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, stopPipe) == 0) {
        std::signal(SIGTERM, onStopSignal);
        std::signal(SIGINT, onStopSignal);
    }
    QSocketNotifier stopNotifier(stopPipe[0], QSocketNotifier::Read);
    QObject::connect(&stopNotifier, &QSocketNotifier::activated, qApp, &QCoreApplication::quit);

    monitor.start();
    QCoreApplication::exec();
    monitor.stop();
    qCInfo(lcMonitor) << "stopping after" << monitor.registerReads() << "register reads,"
                      << service.messagesHanded() << "messages handed to the broker";
    client.stop();
    return CliExit::Ok;
}
