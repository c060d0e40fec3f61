#pragma once

#include "linemonitor.h"
#include "history/historyrecorder.h"
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

// Publishes what the line monitor sees under kestro/<line>/: the retained
// state and the status as they are, and the faults, shifts and changes the
// history store records. Those go through the outbox, so a broker that is
// away gets them, in order, when it is back; the state is never queued, the
// newest one is enough.
class MonitorService final : public QObject, private History::Listener
{
    Q_OBJECT
public:
    MonitorService(LineMonitor &monitor, History::HistoryRecorder &recorder, MqttClient &mqtt,
                   Outbox *outbox, Clock &clock, const QString &line, const QString &programDir,
                   QObject *parent = nullptr);
    ~MonitorService() override;

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
    void shiftRecorded(const History::ShiftRecord &shift) override;
    void faultRecorded(const History::FaultRecord &fault) override;
    void changeRecorded(const History::ChangeRecord &change) override;
    // Writes others recorded in the store (the window, the command line)
    // while the monitor did not hold the port.
    void publishNewChanges();
    void onBroker(bool connected, const QString &reason);
    void onDelivered(int mid);
    void flushOutbox();
    void publishStatus();
    void publishState();
    QString faultText(int code) const;
    QString commErrorText(int code) const;
    QString now() const;

    LineMonitor &m_monitor;
    History::HistoryRecorder &m_recorder;
    MqttClient &m_mqtt;
    Outbox *m_outbox;
    Clock &m_clock;
    QString m_line;
    QString m_programDir;
    StateThrottle m_throttle;
    // Outbox rows handed to libmosquitto and not yet acknowledged, by mid.
    QHash<int, qint64> m_inFlight;
    QSet<qint64> m_handedRows;
    qint64 m_lastHandedId = 0;
    // Events kept only in memory when the outbox could not take them.
    QList<Outbox::Message> m_unkept;
    QTimer m_stateTimer;
    QTimer m_changeTimer;
    qint64 m_lastChangeId = -1;
    enum class LinkSeen { Never, Up, Lost };
    LinkSeen m_linkSeen = LinkSeen::Never;
    QString m_statusSent;
    qint64 m_handed = 0;
    qint64 m_delivered = 0;
};
