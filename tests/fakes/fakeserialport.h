#pragma once

#include "comm/serialport.h"
#include "fakeclock.h"

#include <QByteArray>
#include <QList>
#include <algorithm>
#include <functional>

// A serial port whose far end is a function: every byte sent is handed to
// the responder, which may queue reply bytes (with a delay in fake time).
// A wait with nothing due moves the fake clock to the deadline.
class FakeSerialPort final : public SerialPort
{
public:
    struct Sent {
        quint8 byte;
        qint64 atMs;
    };
    using Responder = std::function<void(quint8 byte, FakeSerialPort &port)>;

    explicit FakeSerialPort(FakeClock &clock) : m_clock(clock) {}

    Responder responder;
    QList<Sent> sent;
    int openCount = 0;
    // Hang up after this many bytes were sent (-1: never).
    int hangUpAfter = -1;

    void reply(quint8 byte, qint64 delayMs = 0)
    {
        m_pending.append({byte, m_clock.nowMs() + delayMs});
    }
    QByteArray sentBytes() const
    {
        QByteArray out;
        for (const Sent &s : sent)
            out.append(char(s.byte));
        return out;
    }

    void setPortNumber(int number) override { m_port = number; }
    int portNumber() const override { return m_port; }
    void setBaudRate(int baud) override { m_baud = baud; }
    int baudRate() const override { return m_baud; }
    bool open() override
    {
        ++openCount;
        m_open = true;
        return true;
    }
    void close() override
    {
        m_open = false;
        m_pending.clear();
    }
    bool isOpen() const override { return m_open; }
    bool sendByte(quint8 value) override
    {
        if (!m_open)
            return false;
        sent.append({value, m_clock.nowMs()});
        if (hangUpAfter >= 0 && sent.size() > hangUpAfter) {
            m_open = false;
            m_error = SerialError::HungUp;
            return true;
        }
        if (responder)
            responder(value, *this);
        return true;
    }
    int bytesWaiting() override
    {
        return int(std::count_if(m_pending.begin(), m_pending.end(),
                                 [this](const Sent &p) { return p.atMs <= m_clock.nowMs(); }));
    }
    int readByte() override
    {
        for (qsizetype i = 0; i < m_pending.size(); ++i)
            if (m_pending[i].atMs <= m_clock.nowMs())
                return m_pending.takeAt(i).byte;
        return -1;
    }
    void discardInput() override
    {
        m_pending.removeIf([this](const Sent &p) { return p.atMs <= m_clock.nowMs(); });
    }
    bool waitForByte(qint64 deadlineMs) override
    {
        if (!m_open)
            return false;
        qint64 next = deadlineMs;
        for (const Sent &p : m_pending)
            next = qMin(next, p.atMs);
        m_clock.setNow(qMax(next, m_clock.nowMs()));
        return bytesWaiting() > 0;
    }
    SerialError lastError() const override { return m_error; }
    QString deviceName() const override { return QStringLiteral("fake%1").arg(m_port); }

private:
    FakeClock &m_clock;
    QList<Sent> m_pending;
    int m_port = 1;
    int m_baud = 9600;
    bool m_open = false;
    SerialError m_error = SerialError::None;
};
