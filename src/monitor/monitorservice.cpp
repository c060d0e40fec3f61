#include "monitorservice.h"

#include "linemonitor.h"

#include "comm/clock.h"
#include "comm/targetboardfacts.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QLoggingCategory>

Q_DECLARE_LOGGING_CATEGORY(lcMonitor)

MonitorService::MonitorService(LineMonitor &monitor, MqttClient &mqtt, Outbox *outbox,
                               Clock &clock, const QString &line, const QString &programDir,
                               std::function<QDateTime()> wallClock, QObject *parent)
    : QObject(parent), m_monitor(monitor), m_mqtt(mqtt), m_outbox(outbox), m_clock(clock),
      m_line(line), m_programDir(programDir), m_wallClock(std::move(wallClock))
{
    connect(&monitor, &LineMonitor::linkChanged, this, &MonitorService::onLink);
    connect(&monitor, &LineMonitor::valuesRead, this, &MonitorService::onValues);
    connect(&monitor, &LineMonitor::faultChanged, this, &MonitorService::onFault);
    connect(&monitor, &LineMonitor::shiftEnded, this, &MonitorService::onShift);
    connect(&mqtt, &MqttClient::connectionChanged, this, &MonitorService::onBroker);
    connect(&mqtt, &MqttClient::delivered, this, &MonitorService::onDelivered);
    // A state held back by the one-a-second rule, or one whose board went
    // silent, still goes out.
    m_stateTimer.setInterval(int(StateThrottle::MinGapMs));
    connect(&m_stateTimer, &QTimer::timeout, this, &MonitorService::publishState);
    m_stateTimer.start();
}

QString MonitorService::topic(const QString &leaf) const
{
    return QStringLiteral("kestro/") + m_line + u'/' + leaf;
}

QString MonitorService::statusText(bool linkUp)
{
    return linkUp ? QStringLiteral("online") : QStringLiteral("board lost");
}

QString MonitorService::now() const
{
    return m_wallClock().toUTC().toString(Qt::ISODateWithMs);
}

QString MonitorService::faultText(int code) const
{
    QString text;
    TargetBoardFacts::lookUpCodeFile(TargetBoardFacts::faultCodesFile(m_programDir),
                                     TargetBoardFacts::codeText(code), text);
    return text;
}

QString MonitorService::commErrorText(int code) const
{
    QString text;
    TargetBoardFacts::lookUpCodeFile(TargetBoardFacts::commErrCodesFile(m_programDir),
                                     TargetBoardFacts::codeText(code), text);
    return text;
}

void MonitorService::publishEvent(const QString &leaf, const QJsonObject &body)
{
    QJsonObject message = body;
    message[QStringLiteral("line")] = m_line;
    message[QStringLiteral("time")] = now();
    const QByteArray payload = QJsonDocument(message).toJson(QJsonDocument::Compact);
    const qint64 id = m_outbox ? m_outbox->add(topic(leaf), payload) : 0;
    if (id == 0) {
        // Not kept on disk: it waits in memory, still in order.
        static qint64 memoryId = 0;
        m_unkept.append({--memoryId, topic(leaf), payload});
    }
    flushOutbox();
}

void MonitorService::flushOutbox()
{
    if (!m_mqtt.isConnected())
        return;
    QList<Outbox::Message> pending = m_unkept;
    if (m_outbox)
        pending += m_outbox->pending();
    for (const Outbox::Message &message : pending) {
        if (m_handedRows.contains(message.id))
            continue;
        const int mid = m_mqtt.publish(message.topic, message.payload, false);
        if (mid <= 0)
            return; // kept; tried again with the next event or connection
        m_inFlight.insert(mid, message.id);
        m_handedRows.insert(message.id);
        ++m_handed;
    }
}

void MonitorService::onDelivered(int mid)
{
    ++m_delivered;
    const auto it = m_inFlight.find(mid);
    if (it == m_inFlight.end())
        return;
    const qint64 id = it.value();
    m_inFlight.erase(it);
    m_handedRows.remove(id);
    if (id > 0 && m_outbox)
        m_outbox->remove(id);
    else
        m_unkept.removeIf([id](const Outbox::Message &m) { return m.id == id; });
}

void MonitorService::onBroker(bool connected, const QString &reason)
{
    if (!connected) {
        qCWarning(lcMonitor).noquote() << "broker connection lost:" << reason << "- retrying";
        return;
    }
    qCInfo(lcMonitor) << "connected to the broker";
    m_statusSent.clear();
    publishStatus();
    m_throttle.forget();
    publishState();
    flushOutbox();
}

void MonitorService::publishStatus()
{
    const QString status = statusText(m_monitor.linkUp());
    if (!m_mqtt.isConnected() || status == m_statusSent)
        return;
    if (m_mqtt.publish(topic(QStringLiteral("status")), status.toUtf8(), true) > 0) {
        ++m_handed;
        m_statusSent = status;
    }
}

void MonitorService::onLink(bool up, const QString &reason)
{
    publishStatus();
    // One message when the board is lost and one when it is back; a retry
    // that fails for another reason is no news, nor is the first contact.
    const LinkSeen seen = up ? LinkSeen::Up : LinkSeen::Lost;
    if (seen != m_linkSeen && (seen == LinkSeen::Lost || m_linkSeen == LinkSeen::Lost))
        publishEvent(QStringLiteral("fault"),
                     QJsonObject{{QStringLiteral("kind"), QStringLiteral("link")},
                                 {QStringLiteral("active"), !up},
                                 {QStringLiteral("text"),
                                  up ? QStringLiteral("the board answers again") : reason}});
    m_linkSeen = seen;
    publishState();
}

void MonitorService::onFault(LineWatch::FaultKind kind, int code, int previous)
{
    const bool fault = kind == LineWatch::FaultKind::Fault;
    const QString text = fault ? faultText(code) : commErrorText(code);
    publishEvent(QStringLiteral("fault"),
                 QJsonObject{{QStringLiteral("kind"), fault ? QStringLiteral("fault")
                                                            : QStringLiteral("commError")},
                             {QStringLiteral("active"), code > 0},
                             {QStringLiteral("code"), TargetBoardFacts::codeText(code)},
                             {QStringLiteral("previous"), TargetBoardFacts::codeText(previous)},
                             {QStringLiteral("text"), text}});
}

void MonitorService::onShift(const ShiftCounts &shift)
{
    static const char *const names[6] = {"goodCans",       "blowoffs",   "badCanBlowoffs",
                                         "manualBlowoffs", "qcBlowoffs", "restartBlowoffs"};
    QJsonObject body;
    for (int i = 0; i < 6; ++i)
        body[QLatin1String(names[i])] = shift.counts[i];
    QJsonArray trips;
    for (int t : shift.trips)
        trips.append(t);
    body[QStringLiteral("spindleCount")] = shift.spindleCount;
    body[QStringLiteral("trips")] = trips;
    publishEvent(QStringLiteral("shift"), body);
}

void MonitorService::onValues(const LiveValues &)
{
    publishState();
}

void MonitorService::publishState()
{
    if (!m_mqtt.isConnected())
        return;
    const LiveValues &v = m_monitor.values();
    // Online once a whole pass is read: never a state of zeros that look live.
    if (m_monitor.linkUp() && !m_monitor.valuesCurrent())
        return;
    const bool online = m_monitor.valuesCurrent();
    QJsonObject state{{QStringLiteral("line"), m_line}, {QStringLiteral("online"), online}};
    if (online) {
        state[QStringLiteral("counts")] =
            QJsonObject{{QStringLiteral("goodCans"), v.goodCans},
                        {QStringLiteral("blowoffs"), v.blowoffs},
                        {QStringLiteral("lifetimeX1000"), v.lifetimeX1000}};
        state[QStringLiteral("speed")] =
            QJsonObject{{QStringLiteral("machineCpm"), v.machineCpm},
                        {QStringLiteral("appl1Rpm"), v.appl1Rpm},
                        {QStringLiteral("appl2Rpm"), v.appl2Rpm}};
        state[QStringLiteral("fault")] =
            QJsonObject{{QStringLiteral("code"), TargetBoardFacts::codeText(v.faultCode)},
                        {QStringLiteral("text"), v.faultCode > 0 ? faultText(v.faultCode)
                                                                 : QString()}};
        state[QStringLiteral("commError")] =
            QJsonObject{{QStringLiteral("code"), TargetBoardFacts::codeText(v.commErrorCode)},
                        {QStringLiteral("text"), commErrorText(v.commErrorCode)}};
        state[QStringLiteral("alarmWord")] = v.alarmWord;
        state[QStringLiteral("spindleCount")] = m_monitor.spindleCount();
    }
    const QByteArray content = QJsonDocument(state).toJson(QJsonDocument::Compact);
    const qint64 nowMs = m_clock.nowMs();
    if (!m_throttle.due(nowMs, content))
        return;
    state[QStringLiteral("time")] = now();
    if (m_mqtt.publish(topic(QStringLiteral("state")),
                       QJsonDocument(state).toJson(QJsonDocument::Compact), true) > 0) {
        ++m_handed;
        m_throttle.sent(nowMs, content);
    }
}
