#pragma once

#include <QString>
#include <QtGlobal>

// Failures of the serial-port layer. The numbers are stable: they appear in
// the operator's "Error Number = " messages.
enum class SerialError {
    None = 0,
    NoSuchDevice = 8002,
    DeviceBusy = 8005,
    PermissionDenied = 8010,
    ConfigurationFailed = 8015,
    NotOpen = 8018,
    HungUp = 8020,
    IoFailure = 8021,
};

QString serialErrorText(SerialError error);

// Whether the driver hands each received byte over at once instead of
// holding it for an adapter's latency timer.
enum class LowLatency {
    NotOpen,     // nothing asked yet
    On,          // set by us, or already on
    NotOffered,  // the driver has no such setting (a pty, some UARTs)
    Refused,     // the driver has it but would not change it
};

// What the register protocol needs of a serial port: a numbered port opened
// at 9600 or 19200 baud, 8N1, one byte at a time.
class SerialPort
{
public:
    virtual ~SerialPort() = default;

    virtual void setPortNumber(int number) = 0;
    virtual int portNumber() const = 0;
    virtual void setBaudRate(int baud) = 0;
    virtual int baudRate() const = 0;

    virtual bool open() = 0;
    virtual void close() = 0;
    virtual bool isOpen() const = 0;

    virtual bool sendByte(quint8 value) = 0;
    virtual int bytesWaiting() = 0;
    // The next waiting byte, or -1 when none is waiting.
    virtual int readByte() = 0;
    virtual void discardInput() = 0;
    // Waits until a byte is waiting or the clock passes deadlineMs (on the
    // scale of the Clock the port was given). Returns false at the deadline,
    // and also when the device hung up, after which isOpen() is false.
    virtual bool waitForByte(qint64 deadlineMs) = 0;

    virtual SerialError lastError() const = 0;
    // Device behind the port number, for messages and the settings window.
    virtual QString deviceName() const = 0;
    // What the driver said when the port was last opened.
    virtual LowLatency lowLatency() const { return LowLatency::NotOffered; }
    // After a failed open of a busy device: the program that holds it
    // ("kestro-cli monitor --line L1, process 812"), empty when unknown.
    virtual QString holder() const { return {}; }
};
