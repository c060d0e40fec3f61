#include "monitorservice.h"

#include "linemonitor.h"

#include "comm/clock.h"
#include "comm/targetboardfacts.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QLoggingCategory>

Q_DECLARE_LOGGING_CATEGORY(lcMonitor)

MonitorService::MonitorService(LineMonitor &monitor, History::HistoryRecorder &recorder,
                               MqttClient &mqtt, Outbox *outbox, Clock &clock,
                               const QString &line, const QString &programDir, QObject *parent)
    : QObject(parent), m_monitor(monitor), m_recorder(recorder), m_mqtt(mqtt), m_outbox(outbox),
      m_clock(clock), m_line(line), m_programDir(programDir)
{
    recorder.store().addListener(this);
    connect(&monitor, &LineMonitor::linkChanged, this, &MonitorService::onLink);
    connect(&monitor, &LineMonitor::valuesRead, this, &MonitorService::onValues);
    connect(&monitor, &LineMonitor::lastShiftRead, this,
            [this](const History::ShiftRecord &shift) {
                m_recorder.setMachine(m_line, m_monitor.programIdentity(),
                                      m_monitor.spindleCount());
                m_recorder.lastShiftSeen(shift);
            });
    connect(&mqtt, &MqttClient::connectionChanged, this, &MonitorService::onBroker);
    connect(&mqtt, &MqttClient::delivered, this, &MonitorService::onDelivered);
    // A state held back by the one-a-second rule, or one whose board went
    // silent, still goes out.
    m_stateTimer.setInterval(int(StateThrottle::MinGapMs));
    connect(&m_stateTimer, &QTimer::timeout, this, &MonitorService::publishState);
    m_stateTimer.start();
    m_changeTimer.setInterval(5000);
    connect(&m_changeTimer, &QTimer::timeout, this, &MonitorService::publishNewChanges);
    m_changeTimer.start();
    publishNewChanges();
}

MonitorService::~MonitorService()
{
    m_recorder.store().removeListener(this);
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
    return m_recorder.store().now().toUTC().toString(Qt::ISODateWithMs);
}

QString MonitorService::faultText(int code) const
{
    return TargetBoardFacts::codeFileText(TargetBoardFacts::faultCodesFile(m_programDir), code);
}

QString MonitorService::commErrorText(int code) const
{
    return TargetBoardFacts::codeFileText(TargetBoardFacts::commErrCodesFile(m_programDir), code);
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
    // Rows handed over before stay with libmosquitto, which sends them again
    // after a reconnection, in order, until the broker acknowledges them.
    QList<Outbox::Message> pending;
    for (const Outbox::Message &m : std::as_const(m_unkept))
        if (!m_handedRows.contains(m.id))
            pending.append(m);
    if (m_outbox)
        pending += m_outbox->pending(m_lastHandedId);
    for (const Outbox::Message &message : std::as_const(pending)) {
        const int mid = m_mqtt.publish(message.topic, message.payload, false);
        if (mid <= 0)
            return; // kept; tried again with the next event or connection
        m_inFlight.insert(mid, message.id);
        m_handedRows.insert(message.id);
        if (message.id > 0)
            m_lastHandedId = message.id;
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

void MonitorService::faultRecorded(const History::FaultRecord &fault)
{
    using History::FaultSource;
    publishEvent(QStringLiteral("fault"),
                 QJsonObject{{QStringLiteral("kind"),
                              fault.source == FaultSource::Board  ? QStringLiteral("fault")
                              : fault.source == FaultSource::Comm ? QStringLiteral("commError")
                                                                  : QStringLiteral("link")},
                             {QStringLiteral("active"), fault.code > 0},
                             {QStringLiteral("code"), TargetBoardFacts::codeText(fault.code)},
                             {QStringLiteral("text"), fault.text},
                             {QStringLiteral("at"), fault.at.toUTC().toString(Qt::ISODateWithMs)}});
}

void MonitorService::shiftRecorded(const History::ShiftRecord &shift)
{
    QJsonArray trips;
    for (qint32 t : shift.trips)
        trips.append(t);
    publishEvent(QStringLiteral("shift"),
                 QJsonObject{{QStringLiteral("goodCans"), shift.goodCans},
                             {QStringLiteral("blowoffs"), shift.blowoffs},
                             {QStringLiteral("badCanBlowoffs"), shift.badCanBlowoffs},
                             {QStringLiteral("manualBlowoffs"), shift.manualBlowoffs},
                             {QStringLiteral("qcBlowoffs"), shift.qcBlowoffs},
                             {QStringLiteral("restartBlowoffs"), shift.restartBlowoffs},
                             {QStringLiteral("spindleCount"), shift.spindleCount},
                             {QStringLiteral("trips"), trips},
                             {QStringLiteral("endedBy"), History::shiftOriginName(shift.origin)},
                             {QStringLiteral("endedAt"),
                              shift.endedAt.toUTC().toString(Qt::ISODateWithMs)}});
}

void MonitorService::changeRecorded(const History::ChangeRecord &change)
{
    QJsonArray items;
    for (const History::ChangeItem &item : change.items)
        items.append(QJsonObject{{QStringLiteral("register"), item.reg},
                                 {QStringLiteral("caption"), item.caption},
                                 {QStringLiteral("old"), item.oldValue},
                                 {QStringLiteral("new"), item.newValue}});
    publishEvent(QStringLiteral("change"),
                 QJsonObject{{QStringLiteral("at"), change.at.toUTC().toString(Qt::ISODateWithMs)},
                             {QStringLiteral("login"), change.login},
                             {QStringLiteral("register"), change.reg},
                             {QStringLiteral("caption"), change.caption},
                             {QStringLiteral("old"), change.oldValue},
                             {QStringLiteral("new"), change.newValue},
                             {QStringLiteral("origin"), change.origin},
                             {QStringLiteral("accepted"), change.accepted},
                             {QStringLiteral("items"), items}});
    m_lastChangeId = qMax(m_lastChangeId, change.id);
    if (m_outbox)
        m_outbox->setMark(QStringLiteral("change"), m_lastChangeId);
}

void MonitorService::publishNewChanges()
{
    if (!m_recorder.store().isOpen())
        return;
    const auto changes = m_recorder.store().changes();
    if (m_lastChangeId < 0) {
        // The first run on a store publishes from then on, not its past.
        m_lastChangeId = m_outbox ? m_outbox->mark(QStringLiteral("change"), -1) : -1;
        if (m_lastChangeId < 0) {
            m_lastChangeId = changes.isEmpty() ? 0 : changes.last().id;
            if (m_outbox)
                m_outbox->setMark(QStringLiteral("change"), m_lastChangeId);
        }
    }
    for (const History::ChangeRecord &change : changes)
        if (change.id > m_lastChangeId)
            changeRecorded(change);
}

void MonitorService::onValues(const LiveValues &v)
{
    m_recorder.faultCodeSeen(v.faultCode, v.faultCode > 0 ? faultText(v.faultCode) : QString());
    m_recorder.commErrorSeen(v.commErrorCode, commErrorText(v.commErrorCode));
    History::SnapshotRecord snapshot;
    snapshot.goodCans = qint32(v.goodCans);
    snapshot.blowoffs = qint32(v.blowoffs);
    snapshot.speed = v.machineCpm;
    snapshot.lifetimeCount = qint32(v.lifetimeX1000);
    m_recorder.productionSeen(snapshot);
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
