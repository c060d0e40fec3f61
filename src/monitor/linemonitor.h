#pragma once

#include "history/historystore.h"

#include <QObject>
#include <QString>
#include <QTimer>

class Clock;

// What one pass of the monitor reads from the board.
struct LiveValues {
    qint64 goodCans = 0;
    qint64 blowoffs = 0;
    qint64 lifetimeX1000 = 0;
    int machineCpm = 0;
    int appl1Rpm = 0;
    int appl2Rpm = 0;
    int faultCode = 0;
    int commErrorCode = 0;
    int alarmWord = 0;
    // The last shift's good cans and blow-offs: they change when a shift ends.
    qint64 lastShiftGoodCans = 0;
    qint64 lastShiftBlowoffs = 0;

    bool operator==(const LiveValues &) const = default;
};

class RSComm;
class SerialPort;

// Watches one line's board through the one communications object: a pass of
// register reads every poll interval, one exchange at a time. A failed
// exchange latches as everywhere else; the link is then closed and opened
// again after 1 s, 2 s, 4 s ... at most 30 s. It never gives up.
class LineMonitor final : public QObject
{
    Q_OBJECT
public:
    LineMonitor(RSComm &comm, SerialPort &port, Clock &clock, int pollMs,
                QObject *parent = nullptr);

    void start();
    void stop();

    bool linkUp() const { return m_linkUp; }
    // A whole pass has been read since the link came up.
    bool valuesCurrent() const { return m_linkUp && m_valuesCurrent; }
    int spindleCount() const { return m_spindleCount; }
    // The board's program identity, read each time the link comes up.
    const QString &programIdentity() const { return m_programIdentity; }
    const LiveValues &values() const { return m_values; }
    // Register reads since start, for the link's use.
    qint64 registerReads() const { return m_reads; }
    // Runs one pass now (opening the link when its back-off is over).
    void pass();

    static constexpr qint64 MaxBackoffMs = 30000;

signals:
    void linkChanged(bool up, const QString &reason);
    void valuesRead(const LiveValues &values);
    // The last shift's whole record: once after start, then whenever its
    // counts moved (a shift ended, whoever ended it).
    void lastShiftRead(const History::ShiftRecord &shift);

private:
    bool openLink();
    void linkLost(const QString &reason);
    // False when the read failed (the link is then lost).
    bool read(const QString &address, qint64 &value);
    bool readShift(History::ShiftRecord &shift);

    RSComm &m_comm;
    SerialPort &m_port;
    Clock &m_clock;
    QTimer m_timer;
    bool m_haveValues = false;
    LiveValues m_values;
    bool m_linkUp = false;
    bool m_valuesCurrent = false;
    bool m_everUp = false;
    QString m_lastFailure;
    qint64 m_nextAttemptMs = 0;
    qint64 m_backoffMs = 1000;
    int m_spindleCount = 0;
    QString m_programIdentity;
    bool m_shiftPending = true; // the first record is read at once
    qint64 m_reads = 0;
};
