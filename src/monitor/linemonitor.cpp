#include "linemonitor.h"

#include "comm/clock.h"
#include "comm/rscomm.h"
#include "comm/serialport.h"
#include "comm/targetboardfacts.h"
#include "machine/registermap.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcMonitor, "kestro.monitor")

LineMonitor::LineMonitor(RSComm &comm, SerialPort &port, Clock &clock, int pollMs,
                         QObject *parent)
    : QObject(parent), m_comm(comm), m_port(port), m_clock(clock)
{
    m_timer.setInterval(pollMs);
    connect(&m_timer, &QTimer::timeout, this, &LineMonitor::pass);
}

void LineMonitor::start()
{
    m_timer.start();
    pass();
}

void LineMonitor::stop()
{
    m_timer.stop();
    if (m_comm.OnlineMode)
        m_comm.CloseRSComm();
}

bool LineMonitor::openLink()
{
    m_comm.OpenRSComm(m_port);
    if (!m_comm.OnlineMode) {
        QString reason;
        if (!m_port.isOpen() && m_port.lastError() != SerialError::None)
            reason = QStringLiteral("cannot use %1: %2")
                         .arg(m_port.deviceName(), serialErrorText(m_port.lastError())) +
                     (m_port.holder().isEmpty() ? QString() : QStringLiteral(": ") + m_port.holder());
        else
            reason = QStringLiteral("no answer from the board on ") + m_port.deviceName();
        if (m_port.isOpen())
            m_port.close();
        linkLost(reason);
        return false;
    }
    // The spindle count does not change while the machine runs; read once.
    if (m_spindleCount == 0) {
        qint64 n = 0;
        if (!read(QString(LiveRegister::SpindleCountRegister), n))
            return false;
        m_spindleCount = int(n);
    }
    // The program the board runs, once per link: another board may answer.
    TargetBoardFacts::BoardIdentity identity;
    for (int k = 0; k < TargetBoardFacts::IdentityByteCount; ++k) {
        qint64 byte = 0;
        if (!read(TargetBoardFacts::identityRegister(k), byte))
            return false;
        identity.take(k, QString::number(byte));
    }
    m_programIdentity = identity.summary();
    m_linkUp = m_everUp = true;
    m_backoffMs = 1000;
    m_lastFailure.clear();
    qCInfo(lcMonitor) << "link to the board up on" << m_port.deviceName();
    emit linkChanged(true, QString());
    return true;
}

void LineMonitor::linkLost(const QString &reason)
{
    if (m_comm.OnlineMode)
        m_comm.CloseRSComm();
    const bool wasUp = m_linkUp;
    m_linkUp = m_valuesCurrent = false;
    m_nextAttemptMs = m_clock.nowMs() + m_backoffMs;
    // Said once per episode and reason, not at every retry.
    if (wasUp || reason != m_lastFailure) {
        qCWarning(lcMonitor).noquote() << "link to the board lost:" << reason << "- retrying";
        emit linkChanged(false, reason);
    }
    m_lastFailure = reason;
    m_backoffMs = qMin(m_backoffMs * 2, MaxBackoffMs);
}

bool LineMonitor::read(const QString &address, qint64 &value)
{
    if (m_comm.CommError) {
        linkLost(QStringLiteral("the board stopped answering"));
        return false;
    }
    ++m_reads;
    const QString text = m_comm.RSRead(address);
    // A failed read is a lost link, never the value 0.
    if (m_comm.CommError || m_comm.lastTransactionFailed()) {
        linkLost(QStringLiteral("the board stopped answering (reading %1)").arg(address));
        return false;
    }
    value = text.toLongLong();
    return true;
}

bool LineMonitor::readShift(History::ShiftRecord &shift)
{
    using namespace Item;
    qint32 *const targets[6] = {&shift.goodCans,       &shift.blowoffs,   &shift.badCanBlowoffs,
                                &shift.manualBlowoffs, &shift.qcBlowoffs, &shift.restartBlowoffs};
    for (int i = 0; i < 6; ++i) {
        qint64 value = 0;
        if (!read(defaultAddress(LastShiftGoodCans + i), value))
            return false;
        *targets[i] = qint32(value);
    }
    shift.spindleCount = m_spindleCount;
    const int spindles = qBound(0, m_spindleCount, MaxSpindles);
    for (int s = 1; s <= spindles; ++s) {
        qint64 trips = 0;
        if (!read(defaultAddress(lastShiftTrips(s)), trips))
            return false;
        shift.trips.append(qint32(trips));
    }
    return true;
}

void LineMonitor::pass()
{
    if (!m_linkUp) {
        if (m_clock.nowMs() < m_nextAttemptMs || !openLink())
            return;
    }
    LiveValues v;
    struct Slot {
        const char *address;
        qint64 *target;
    };
    qint64 cpm = 0, a1 = 0, a2 = 0, fault = 0, commError = 0, alarms = 0;
    const Slot passReads[] = {
        {"B8176", &fault},       {"B8179", &commError},     {"W98", &alarms},
        {"W112", &cpm},          {"W526", &a1},             {"W528", &a2},
        {"D1100", &v.goodCans},  {"D1104", &v.blowoffs},    {"D1304", &v.lifetimeX1000},
        {"D1200", &v.lastShiftGoodCans}, {"D1204", &v.lastShiftBlowoffs},
    };
    for (const Slot &slot : passReads)
        if (!read(QString::fromLatin1(slot.address), *slot.target))
            return;
    v.machineCpm = int(cpm);
    v.appl1Rpm = int(a1);
    v.appl2Rpm = int(a2);
    // The code is a byte; a value above 127 reads as a signed byte would not.
    v.faultCode = int(fault);
    v.commErrorCode = int(commError);
    v.alarmWord = int(alarms);

    // A shift that ends copies the current counts over the last shift's.
    const bool lastShiftMoved = m_haveValues && (v.lastShiftGoodCans != m_values.lastShiftGoodCans ||
                                                 v.lastShiftBlowoffs != m_values.lastShiftBlowoffs);
    m_values = v;
    m_haveValues = m_valuesCurrent = true;
    emit valuesRead(v);
    // A record that could not be read yet is read after the link is back:
    // the board keeps it until the next shift ends.
    m_shiftPending = m_shiftPending || lastShiftMoved;
    if (m_shiftPending) {
        History::ShiftRecord shift;
        if (!readShift(shift))
            return;
        m_shiftPending = false;
        emit lastShiftRead(shift);
    }
}
