#pragma once

#include "serialport.h"

#include <QString>

class Clock;

// Serial port on a Linux tty (or pseudo-terminal) through termios and poll(2).
// Port number n is the device Support/COMn beside the program when that
// exists (a link a technician points at /dev/ttyUSB0, or the simulator's
// pty), otherwise /dev/ttyS(n-1).
//
// An open port is ours alone: TIOCEXCL keeps other openers out (root
// excepted) and an advisory flock keeps out every other program that asks,
// root included. Both are given back on close, after the output has gone.
//
// Every exchange is one round trip, so a USB adapter that holds received
// bytes for its latency timer (16 ms on FTDI) costs that on every byte: the
// port asks for low-latency mode on open and puts the flag back on close.
class PosixSerialPort final : public SerialPort
{
public:
    PosixSerialPort(Clock &clock, const QString &programDir);
    ~PosixSerialPort() override;

    static QString devicePathFor(int portNumber, const QString &programDir);
    static bool deviceExists(int portNumber, const QString &programDir);
    // The device the port number leads to now, the link followed: a USB
    // adapter that came back under another name is named by its new name.
    static QString resolvedDevice(int portNumber, const QString &programDir);
    // Longest wait for queued output on close; a stuck device is then
    // closed anyway.
    static constexpr int CloseDrainMs = 500;

    void setPortNumber(int number) override { m_portNumber = number; }
    // A device named outright (a service's config file) wins over the port
    // number's link.
    void setFixedDevice(const QString &path) { m_fixedDevice = path; }
    int portNumber() const override { return m_portNumber; }
    void setBaudRate(int baud) override { m_baud = baud; }
    int baudRate() const override { return m_baud; }

    bool open() override;
    void close() override;
    bool isOpen() const override { return m_fd >= 0; }

    bool sendByte(quint8 value) override;
    int bytesWaiting() override;
    int readByte() override;
    void discardInput() override;
    bool waitForByte(qint64 deadlineMs) override;

    SerialError lastError() const override { return m_error; }
    QString deviceName() const override;
    LowLatency lowLatency() const override { return m_lowLatency; }
    QString holder() const override { return m_holder; }
    // The process holding a lock on the file at path, from /proc/locks.
    static QString lockHolder(const QString &path);

private:
    // Bytes read from the device and not yet taken. Fixed storage: taking
    // the bytes of the dialogue one at a time never allocates.
    class InputBuffer
    {
    public:
        void clear() { m_head = m_tail = 0; }
        bool isEmpty() const { return m_head == m_tail; }
        qsizetype size() const { return m_tail - m_head; }
        int takeFirst() { return m_bytes[m_head++]; }
        // Free room at the end, after moving what is left to the front.
        quint8 *room(qsizetype &length);
        void added(qsizetype length) { m_tail += length; }

    private:
        quint8 m_bytes[4096];
        qsizetype m_head = 0;
        qsizetype m_tail = 0;
    };

    // Moves whatever the device holds into m_input; false when it hung up.
    bool drain();
    // One read of what poll(2) said is there; false when the device hung up.
    bool readOnce();
    // One blocking read on m_waitFd: back with the first byte or after a
    // tenth of a second; false when the device hung up.
    bool readOrTimeOut();
    void hangUp(SerialError error);
    // Waits, bounded, until the device has sent what we queued.
    void drainOutput();
    void release();
    // Asks the driver to pass on each byte at once; remembers the flag as
    // it was so that close gives it back.
    void askLowLatency();
    void restoreLowLatency();
    void busy(const QByteArray &path);

    Clock &m_clock;
    QString m_programDir;
    int m_portNumber = 1;
    int m_baud = 9600;
    int m_fd = -1;
    // A second, blocking, description of the same device. A reply is
    // awaited with a single read(2) on it (termios VTIME bounds the wait)
    // instead of poll(2) then read(2); -1 when the device would not open
    // twice, and the wait polls.
    int m_waitFd = -1;
    QString m_device;      // what the open port was opened on
    bool m_hungUp = false; // closed by its device: m_device still names it
    LowLatency m_lowLatency = LowLatency::NotOpen;
    bool m_restoreLowLatency = false; // we set the flag and must clear it
    InputBuffer m_input;
    SerialError m_error = SerialError::None;
    QString m_holder;
    QString m_fixedDevice;
};
