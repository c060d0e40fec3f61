#pragma once

#include "linewatch.h"
#include "mqttclient.h"
#include "outbox.h"
#include "statethrottle.h"

#include <QDateTime>
#include <QHash>
#include <QSet>
#include <QJsonObject>
#include <QObject>
#include <QTimer>

#include <functional>

class Clock;
class LineMonitor;

// Publishes what the line monitor sees under kestro/<line>/: the retained
// state, faults, shifts and the status. Fault, shift and change messages go
// through the outbox, so a broker that is away gets them, in order, when it
// is back; the state is never queued, the newest one is enough.
class MonitorService final : public QObject
{
    Q_OBJECT
public:
    MonitorService(LineMonitor &monitor, MqttClient &mqtt, Outbox *outbox, Clock &clock,
                   const QString &line, const QString &programDir,
                   std::function<QDateTime()> wallClock, QObject *parent = nullptr);

    QString topic(const QString &leaf) const;
    // Messages handed to the broker connection (state included).
    qint64 messagesHanded() const { return m_handed; }
    qint64 messagesDelivered() const { return m_delivered; }
    // Queues one event message as the monitor's own events are (benchmark).
    void publishEvent(const QString &leaf, const QJsonObject &body);

    static QString statusText(bool linkUp);

private:
    void onLink(bool up, const QString &reason);
    void onValues(const LiveValues &values);
    void onFault(LineWatch::FaultKind kind, int code, int previous);
    void onShift(const ShiftCounts &shift);
    void onBroker(bool connected, const QString &reason);
    void onDelivered(int mid);
    void flushOutbox();
    void publishStatus();
    void publishState();
    QString faultText(int code) const;
    QString commErrorText(int code) const;
    QString now() const;

    LineMonitor &m_monitor;
    MqttClient &m_mqtt;
    Outbox *m_outbox;
    Clock &m_clock;
    QString m_line;
    QString m_programDir;
    std::function<QDateTime()> m_wallClock;
    StateThrottle m_throttle;
    // Outbox rows handed to libmosquitto and not yet acknowledged, by mid.
    QHash<int, qint64> m_inFlight;
    QSet<qint64> m_handedRows;
    // Events kept only in memory when the outbox could not take them.
    QList<Outbox::Message> m_unkept;
    QTimer m_stateTimer;
    enum class LinkSeen { Never, Up, Lost };
    LinkSeen m_linkSeen = LinkSeen::Never;
    QString m_statusSent;
    qint64 m_handed = 0;
    qint64 m_delivered = 0;
};
