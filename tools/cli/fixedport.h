#pragma once

#include "comm/serialport.h"

// A port whose number and speed, when given on the command line, win over
// the settings file the communications object reads.
class FixedPort final : public SerialPort
{
public:
    FixedPort(SerialPort &device, int portNumber, int baud)
        : m_device(device), m_portNumber(portNumber), m_baud(baud)
    {
    }

    void setPortNumber(int number) override
    {
        m_device.setPortNumber(m_portNumber ? m_portNumber : number);
    }
    int portNumber() const override { return m_device.portNumber(); }
    void setBaudRate(int baud) override { m_device.setBaudRate(m_baud ? m_baud : baud); }
    int baudRate() const override { return m_device.baudRate(); }
    bool open() override { return m_device.open(); }
    void close() override { m_device.close(); }
    bool isOpen() const override { return m_device.isOpen(); }
    bool sendByte(quint8 value) override { return m_device.sendByte(value); }
    int bytesWaiting() override { return m_device.bytesWaiting(); }
    int readByte() override { return m_device.readByte(); }
    void discardInput() override { m_device.discardInput(); }
    bool waitForByte(qint64 deadlineMs) override { return m_device.waitForByte(deadlineMs); }
    SerialError lastError() const override { return m_device.lastError(); }
    QString deviceName() const override { return m_device.deviceName(); }
    LowLatency lowLatency() const override { return m_device.lowLatency(); }
    QString holder() const override { return m_device.holder(); }

private:
    SerialPort &m_device;
    int m_portNumber;
    int m_baud;
};
