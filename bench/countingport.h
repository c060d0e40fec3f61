#pragma once

#include "comm/serialport.h"

#include <QByteArray>

// Passes every call to the real port and counts the bytes that cross the
// cable, so a figure can be set beside the time the cable itself needs.
// Optionally keeps the bytes sent and received in order.
class CountingPort final : public SerialPort
{
public:
    explicit CountingPort(SerialPort &inner) : m_inner(inner) {}

    void setPortNumber(int number) override { m_inner.setPortNumber(number); }
    int portNumber() const override { return m_inner.portNumber(); }
    void setBaudRate(int baud) override { m_inner.setBaudRate(baud); }
    int baudRate() const override { return m_inner.baudRate(); }
    bool open() override { return m_inner.open(); }
    void close() override { m_inner.close(); }
    bool isOpen() const override { return m_inner.isOpen(); }

    bool sendByte(quint8 value) override
    {
        const bool sent = m_inner.sendByte(value);
        if (sent) {
            ++m_sent;
            if (m_recording)
                m_sentLog.append(char(value));
        }
        return sent;
    }
    int bytesWaiting() override { return m_inner.bytesWaiting(); }
    int readByte() override
    {
        const int b = m_inner.readByte();
        if (b >= 0) {
            ++m_received;
            if (m_recording)
                m_receivedLog.append(char(b));
        }
        return b;
    }
    void discardInput() override { m_inner.discardInput(); }
    bool waitForByte(qint64 deadlineMs) override { return m_inner.waitForByte(deadlineMs); }
    SerialError lastError() const override { return m_inner.lastError(); }
    QString deviceName() const override { return m_inner.deviceName(); }

    qint64 sent() const { return m_sent; }
    qint64 received() const { return m_received; }
    // Seconds the cable needs for the bytes counted so far: ten bits a byte
    // (start, eight data, stop), and the dialogue never overlaps two bytes.
    double wireSeconds(int baud) const { return double(m_sent + m_received) * 10.0 / baud; }

    void startRecording()
    {
        m_recording = true;
        m_sentLog.clear();
        m_receivedLog.clear();
    }
    void stopRecording() { m_recording = false; }
    const QByteArray &sentLog() const { return m_sentLog; }
    const QByteArray &receivedLog() const { return m_receivedLog; }

private:
    SerialPort &m_inner;
    qint64 m_sent = 0;
    qint64 m_received = 0;
    bool m_recording = false;
    QByteArray m_sentLog;
    QByteArray m_receivedLog;
};
