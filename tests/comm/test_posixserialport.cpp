#include "comm/clock.h"
#include "comm/posixserialport.h"

#include <QTemporaryDir>
#include <QtTest>

#include <chrono>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

// The real port layer against a pseudo-terminal made here: the test holds
// the master side and plays the board byte by byte.
class TestPosixSerialPort : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    SteadyClock m_clock;
    int m_master = -1;
    int m_slave = -1;

    void makePty(int portNumber)
    {
        char name[256] = {};
        QVERIFY(::openpty(&m_master, &m_slave, name, nullptr, nullptr) == 0);
        termios tio{};
        ::tcgetattr(m_slave, &tio);
        ::cfmakeraw(&tio);
        ::tcsetattr(m_slave, TCSANOW, &tio);
        QDir().mkpath(m_dir.filePath(QStringLiteral("Support")));
        const QString link = m_dir.filePath(QStringLiteral("Support/COM%1").arg(portNumber));
        QFile::remove(link);
        QVERIFY(QFile::link(QString::fromLocal8Bit(name), link));
    }
    void closePty()
    {
        if (m_slave >= 0)
            ::close(m_slave);
        if (m_master >= 0)
            ::close(m_master);
        m_slave = m_master = -1;
    }
    int masterRead(int timeoutMs = 1000)
    {
        pollfd p{m_master, POLLIN, 0};
        if (::poll(&p, 1, timeoutMs) <= 0)
            return -1;
        unsigned char b = 0;
        return ::read(m_master, &b, 1) == 1 ? b : -1;
    }

private slots:
    void cleanup() { closePty(); }

    // A port that cannot be opened says why, naming the device the link
    // points at now (an adapter that came back as another device included).
    void refusedOpens_data()
    {
        QTest::addColumn<QString>("target"); // empty: a plain file
        QTest::addColumn<int>("error");
        QTest::newRow("dangling link") << "/dev/ttyUSB-not-there" << int(SerialError::NoSuchDevice);
        QTest::newRow("not a tty") << "" << int(SerialError::ConfigurationFailed);
    }
    void refusedOpens()
    {
        QFETCH(QString, target);
        QCOMPARE(PosixSerialPort::devicePathFor(3, m_dir.path()), QStringLiteral("/dev/ttyS2"));
        QDir().mkpath(m_dir.filePath(QStringLiteral("Support")));
        const QString link = m_dir.filePath(QStringLiteral("Support/COM4"));
        QFile::remove(link);
        if (target.isEmpty()) {
            QFile plain(link);
            QVERIFY(plain.open(QIODevice::WriteOnly));
        } else {
            QVERIFY(QFile::link(target, link));
            QCOMPARE(PosixSerialPort::devicePathFor(4, m_dir.path()), link);
            QVERIFY(!PosixSerialPort::deviceExists(4, m_dir.path()));
        }
        PosixSerialPort port(m_clock, m_dir.path());
        port.setPortNumber(4);
        QVERIFY(!port.open());
        QTEST(int(port.lastError()), "error");
        QVERIFY(!port.isOpen());
        QVERIFY2(port.deviceName().contains(target), qPrintable(port.deviceName()));
    }

    void exchangesBytesAndHoldsTheDeviceAlone()
    {
        makePty(5);
        // Bytes already waiting before the open are not the board's answers.
        QCOMPARE(::write(m_master, "\x11\x22", 2), ssize_t(2));
        QTest::qWait(20);
        PosixSerialPort port(m_clock, m_dir.path());
        port.setPortNumber(5);
        port.setBaudRate(19200);
        QCOMPARE(port.lowLatency(), LowLatency::NotOpen);
        QVERIFY(port.open());
        QCOMPARE(port.lowLatency(), LowLatency::NotOffered); // a pty has none, and opens
        QCOMPARE(port.bytesWaiting(), 0);
        QVERIFY(port.sendByte(0xFF));
        QCOMPARE(masterRead(), 0xFF);
        QCOMPARE(::write(m_master, "\x55\x01", 2), ssize_t(2));
        QVERIFY(port.waitForByte(m_clock.nowMs() + 1000));
        QCOMPARE(port.readByte(), 0x55);
        QVERIFY(port.waitForByte(m_clock.nowMs() + 1000));
        QCOMPARE(port.bytesWaiting(), 1);
        port.discardInput();
        QCOMPARE(port.bytesWaiting(), 0);
        QCOMPARE(port.readByte(), -1);

        // Another holder of the same device (another KESTRO, even as root).
        PosixSerialPort second(m_clock, m_dir.path());
        second.setPortNumber(5);
        QVERIFY(!second.open());
        QCOMPARE(second.lastError(), SerialError::DeviceBusy);
        QVERIFY2(second.deviceName().contains(QStringLiteral("/dev/pts/")),
                 qPrintable(second.deviceName()));
        port.close();
        // The exclusive mark is gone from the tty with the close.
        int exclusive = -1;
        QCOMPARE(::ioctl(m_slave, TIOCGEXCL, &exclusive), 0);
        QCOMPARE(exclusive, 0);
        QVERIFY(second.open());
    }

    void hangUpClosesThePort()
    {
        makePty(7);
        PosixSerialPort port(m_clock, m_dir.path());
        port.setPortNumber(7);
        QVERIFY(port.open());
        const QString device = port.deviceName();
        QVERIFY(port.sendByte(0xFF));
        // The far end vanishes: no more master, and nobody else holds the slave.
        ::close(m_slave);
        m_slave = -1;
        ::close(m_master);
        m_master = -1;
        const qint64 start = m_clock.nowMs();
        QVERIFY(!port.waitForByte(start + 5000));
        QVERIFY(m_clock.nowMs() - start < 1000);
        QVERIFY(!port.isOpen());
        QCOMPARE(port.lastError(), SerialError::HungUp);
        // The device that hung up is the one named, even with its link gone.
        QVERIFY(QFile::remove(m_dir.filePath(QStringLiteral("Support/COM7"))));
        QCOMPARE(port.deviceName(), device);
        QVERIFY(!port.sendByte(0x01));
    }
};

QTEST_GUILESS_MAIN(TestPosixSerialPort)
#include "test_posixserialport.moc"
