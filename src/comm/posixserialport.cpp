#include "posixserialport.h"

#include "clock.h"
#include "commlog.h"
#include "statefolder.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/serial.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <termios.h>
#include <unistd.h>

namespace
{
// The longest single blocking read while a reply is awaited; the last part
// before the deadline is waited for with poll(2), to the millisecond.
constexpr int WaitSliceMs = 100;
} // namespace

QString serialErrorText(SerialError error)
{
    switch (error) {
    case SerialError::None:
        return QStringLiteral("No error");
    case SerialError::NoSuchDevice:
        return QStringLiteral("Invalid port number: no such device");
    case SerialError::DeviceBusy:
        return QStringLiteral("Port already open by another program");
    case SerialError::PermissionDenied:
        return QStringLiteral("Permission denied: the user may not open the port");
    case SerialError::ConfigurationFailed:
        return QStringLiteral("The device does not accept serial settings");
    case SerialError::NotOpen:
        return QStringLiteral("Port is not open");
    case SerialError::HungUp:
        return QStringLiteral("The device went away");
    case SerialError::IoFailure:
        return QStringLiteral("Input/output error on the port");
    }
    return {};
}

QString PosixSerialPort::lockHolder(const QString &path)
{
    struct stat st {};
    if (::stat(QFile::encodeName(path).constData(), &st) != 0)
        return {};
    QFile locks(QStringLiteral("/proc/locks"));
    if (!locks.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    // "1: FLOCK  ADVISORY  WRITE 812 00:1a:6 0 EOF": pid, then the file
    // system's major:minor in hex and the inode.
    const QString file = QStringLiteral("%1:%2:%3")
                             .arg(major(st.st_dev), 2, 16, QLatin1Char('0'))
                             .arg(minor(st.st_dev), 2, 16, QLatin1Char('0'))
                             .arg(quint64(st.st_ino));
    // Files in /proc have no size: read to the end, never test atEnd().
    const QList<QByteArray> lines = locks.readAll().split('\n');
    for (const QByteArray &line : lines) {
        const QStringList f = QString::fromLatin1(line).simplified().split(u' ');
        if (f.size() < 6 || f[5] != file || f[4].toInt() == ::getpid())
            continue;
        QFile cmdline(QStringLiteral("/proc/%1/cmdline").arg(f[4]));
        QStringList args;
        if (cmdline.open(QIODevice::ReadOnly))
            for (const QByteArray &a : cmdline.readAll().split('\0'))
                if (!a.isEmpty())
                    args << QString::fromLocal8Bit(a);
        if (!args.isEmpty())
            args[0] = QFileInfo(args[0]).fileName();
        return (args.isEmpty() ? QStringLiteral("a program") : args.join(u' ')) +
               QStringLiteral(", process ") + f[4];
    }
    return {};
}

PosixSerialPort::PosixSerialPort(Clock &clock, const QString &programDir)
    : m_clock(clock), m_programDir(programDir)
{
}

PosixSerialPort::~PosixSerialPort()
{
    close();
}

QString PosixSerialPort::devicePathFor(int portNumber, const QString &programDir)
{
    const QString link = StateFolder(programDir).readPath(StateFolder::portLinkName(portNumber));
    const QFileInfo info(link);
    // A dangling link still names the technician's choice: report that
    // device as missing rather than quietly trying another.
    if (info.exists() || info.isSymLink())
        return link;
    return QStringLiteral("/dev/ttyS%1").arg(portNumber - 1);
}

bool PosixSerialPort::deviceExists(int portNumber, const QString &programDir)
{
    return QFileInfo::exists(devicePathFor(portNumber, programDir));
}

QString PosixSerialPort::resolvedDevice(int portNumber, const QString &programDir)
{
    const QString path = devicePathFor(portNumber, programDir);
    const QFileInfo info(path);
    if (!info.isSymLink())
        return path;
    const QString target = info.canonicalFilePath();
    const QString shown = target.isEmpty() ? info.symLinkTarget() : target;
    // Beside the program the link is named as the user knows it, Support/COMn;
    // a link in the user's folder by its whole path.
    const QString relative = QDir(programDir).relativeFilePath(path);
    const QString linkName = relative.startsWith(QLatin1String("..")) ? path : relative;
    return linkName + QStringLiteral(" -> ") + shown;
}

QString PosixSerialPort::deviceName() const
{
    if (m_fd >= 0 || m_hungUp)
        return m_device;
    if (!m_fixedDevice.isEmpty())
        return m_fixedDevice;
    const QString device = resolvedDevice(m_portNumber, m_programDir);
    if (QFileInfo(devicePathFor(m_portNumber, m_programDir)).isSymLink())
        return device;
    // Without its link the port falls back to a built-in serial line: say
    // which link was looked for, so a technician knows what to restore.
    const QString link =
        StateFolder(m_programDir).readPath(StateFolder::portLinkName(m_portNumber));
    const QString relative = QDir(m_programDir).relativeFilePath(link);
    return device + QStringLiteral(", no link ") +
           (relative.startsWith(QLatin1String("..")) ? link : relative);
}

bool PosixSerialPort::open()
{
    if (isOpen())
        close();
    m_input.clear();
    m_hungUp = false;
    m_lowLatency = LowLatency::NotOpen;
    m_holder.clear();
    m_device = m_fixedDevice.isEmpty() ? resolvedDevice(m_portNumber, m_programDir) : m_fixedDevice;
    const QByteArray path = QFile::encodeName(
        m_fixedDevice.isEmpty() ? devicePathFor(m_portNumber, m_programDir) : m_fixedDevice);
    const int fd = ::open(path.constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        const int e = errno;
        m_error = (e == EBUSY)                                 ? SerialError::DeviceBusy
                  : (e == EACCES || e == EPERM)                ? SerialError::PermissionDenied
                  : (e == ENOENT || e == ENXIO || e == ENODEV) ? SerialError::NoSuchDevice
                                                               : SerialError::IoFailure;
        if (e == EBUSY)
            m_holder = lockHolder(QFile::decodeName(path));
        qCWarning(lcComm) << "cannot open" << path << std::strerror(e);
        return false;
    }
    termios tio{};
    if (::tcgetattr(fd, &tio) != 0) {
        m_error = SerialError::ConfigurationFailed;
        ::close(fd);
        return false;
    }
    // Nobody else may talk to the board while we hold the port. TIOCEXCL
    // does not stop root, so another KESTRO also finds the lock taken.
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        m_error = SerialError::DeviceBusy;
        m_holder = lockHolder(QFile::decodeName(path));
        qCWarning(lcComm) << "port held by another program:" << m_device << m_holder;
        ::close(fd);
        return false;
    }
    // The waiting side is opened before TIOCEXCL shuts the device to
    // other opens, ours included.
    int waitFd = ::open(path.constData(), O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (::ioctl(fd, TIOCEXCL) != 0) {
        m_error = SerialError::DeviceBusy;
        if (waitFd >= 0)
            ::close(waitFd);
        ::flock(fd, LOCK_UN);
        ::close(fd);
        return false;
    }
    ::cfmakeraw(&tio);
    tio.c_cflag |= CLOCAL | CREAD;
    tio.c_cflag &= ~(CSTOPB | PARENB | CRTSCTS);
    // VMIN 0, VTIME 1: a blocking read comes back with the first byte or
    // after a tenth of a second. A non-blocking read of an empty line still
    // gives EAGAIN (VTIME is not 0), so there a read of 0 bytes can only
    // mean the device hung up.
    tio.c_cc[VMIN] = 0;
    tio.c_cc[VTIME] = WaitSliceMs / 100;
    const speed_t speed = m_baud == 19200 ? B19200 : B9600;
    ::cfsetispeed(&tio, speed);
    ::cfsetospeed(&tio, speed);
    if (::tcsetattr(fd, TCSANOW, &tio) != 0) {
        m_error = SerialError::ConfigurationFailed;
        if (waitFd >= 0)
            ::close(waitFd);
        ::ioctl(fd, TIOCNXCL);
        ::flock(fd, LOCK_UN);
        ::close(fd);
        return false;
    }
    // CLOCAL is set: the waiting side may block from now on.
    if (waitFd >= 0 && ::fcntl(waitFd, F_SETFL, ::fcntl(waitFd, F_GETFL) & ~O_NONBLOCK) != 0) {
        ::close(waitFd);
        waitFd = -1;
    }
    ::tcflush(fd, TCIFLUSH);
    m_fd = fd;
    m_waitFd = waitFd;
    askLowLatency();
    m_error = SerialError::None;
    return true;
}

void PosixSerialPort::close()
{
    // A port its device hung up on keeps naming that device until the next
    // open: the operator is told which one went.
    if (m_fd >= 0) {
        m_hungUp = false;
        // The last bytes (the goodbye probe, the end of a program) must
        // reach the board; only unread input is thrown away.
        drainOutput();
        ::tcflush(m_fd, TCIFLUSH);
        release();
    }
    m_input.clear();
}

void PosixSerialPort::drainOutput()
{
    // tcdrain could wait for ever on a device that stopped taking bytes. The
    // bound is wall time whatever clock the port was given: the device is real.
    const QDeadlineTimer deadline(CloseDrainMs);
    for (;;) {
        int queued = 0;
        if (::ioctl(m_fd, TIOCOUTQ, &queued) != 0 || queued <= 0)
            return;
        const qint64 remaining = deadline.remainingTime();
        if (remaining <= 0) {
            qCWarning(lcComm) << queued << "bytes not sent before closing" << m_device;
            return;
        }
        // A byte takes about a millisecond: look again every 10 ms at most.
        ::poll(nullptr, 0, int(qMin<qint64>(remaining, 10)));
    }
}

void PosixSerialPort::askLowLatency()
{
    m_restoreLowLatency = false;
    serial_struct serial{};
    if (::ioctl(m_fd, TIOCGSERIAL, &serial) != 0) {
        m_lowLatency = LowLatency::NotOffered;
        qCInfo(lcComm) << "low-latency mode: not offered by the driver of" << m_device;
        return;
    }
    if (serial.flags & ASYNC_LOW_LATENCY) {
        m_lowLatency = LowLatency::On;
        qCInfo(lcComm) << "low-latency mode: already on for" << m_device;
        return;
    }
    serial.flags |= ASYNC_LOW_LATENCY;
    serial_struct check{};
    // Some drivers accept the call and ignore the flag: read it back.
    if (::ioctl(m_fd, TIOCSSERIAL, &serial) == 0 && ::ioctl(m_fd, TIOCGSERIAL, &check) == 0 &&
        (check.flags & ASYNC_LOW_LATENCY)) {
        m_lowLatency = LowLatency::On;
        m_restoreLowLatency = true;
        qCInfo(lcComm) << "low-latency mode: on for" << m_device;
        return;
    }
    m_lowLatency = LowLatency::Refused;
    qCWarning(lcComm) << "low-latency mode: refused by the driver of" << m_device
                      << std::strerror(errno);
}

void PosixSerialPort::restoreLowLatency()
{
    if (!m_restoreLowLatency)
        return;
    m_restoreLowLatency = false;
    serial_struct serial{};
    // A device that went away has nothing to restore.
    if (::ioctl(m_fd, TIOCGSERIAL, &serial) == 0) {
        serial.flags &= ~ASYNC_LOW_LATENCY;
        ::ioctl(m_fd, TIOCSSERIAL, &serial);
    }
}

void PosixSerialPort::release()
{
    restoreLowLatency();
    if (m_waitFd >= 0) {
        ::close(m_waitFd);
        m_waitFd = -1;
    }
    ::ioctl(m_fd, TIOCNXCL);
    ::flock(m_fd, LOCK_UN);
    ::close(m_fd);
    m_fd = -1;
}

void PosixSerialPort::hangUp(SerialError error)
{
    m_error = error;
    if (m_fd >= 0) {
        release();
        m_hungUp = true;
    }
    m_input.clear();
}

quint8 *PosixSerialPort::InputBuffer::room(qsizetype &length)
{
    if (m_head == m_tail) {
        m_head = m_tail = 0;
    } else if (m_head > 0 && m_tail == qsizetype(sizeof m_bytes)) {
        std::memmove(m_bytes, m_bytes + m_head, size_t(m_tail - m_head));
        m_tail -= m_head;
        m_head = 0;
    }
    length = qsizetype(sizeof m_bytes) - m_tail;
    return m_bytes + m_tail;
}

bool PosixSerialPort::readOnce()
{
    for (;;) {
        qsizetype room = 0;
        quint8 *into = m_input.room(room);
        if (room == 0)
            return true; // the rest stays with the device until bytes are taken
        const ssize_t n = ::read(m_fd, into, size_t(room));
        if (n > 0) {
            m_input.added(n);
            return true;
        }
        if (n == 0) {
            hangUp(SerialError::HungUp);
            return false;
        }
        if (errno == EINTR)
            continue;
        if (errno == EAGAIN || errno == EWOULDBLOCK)
            return true;
        hangUp(errno == EIO ? SerialError::HungUp : SerialError::IoFailure);
        return false;
    }
}

bool PosixSerialPort::readOrTimeOut()
{
    for (;;) {
        qsizetype room = 0;
        quint8 *into = m_input.room(room);
        if (room == 0)
            return true;
        const ssize_t n = ::read(m_waitFd, into, size_t(room));
        if (n > 0) {
            m_input.added(n);
            return true;
        }
        if (n == 0) {
            // A tenth of a second without a byte, or a device gone: the
            // non-blocking side tells them apart.
            return readOnce();
        }
        if (errno == EINTR)
            continue;
        hangUp(errno == EIO ? SerialError::HungUp : SerialError::IoFailure);
        return false;
    }
}

bool PosixSerialPort::drain()
{
    if (m_fd < 0)
        return false;
    for (;;) {
        const qsizetype before = m_input.size();
        if (!readOnce())
            return false;
        // Nothing more came (or no room for it): the device is drained.
        if (m_input.size() == before)
            return true;
    }
}

bool PosixSerialPort::sendByte(quint8 value)
{
    if (m_fd < 0) {
        m_error = SerialError::NotOpen;
        return false;
    }
    for (;;) {
        const ssize_t n = ::write(m_fd, &value, 1);
        if (n == 1)
            return true;
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            // Output full: a real UART drains within a byte time.
            pollfd p{m_fd, POLLOUT, 0};
            const int r = ::poll(&p, 1, 1000);
            if (r > 0 && !(p.revents & (POLLHUP | POLLERR)))
                continue;
            hangUp(r == 0 ? SerialError::IoFailure : SerialError::HungUp);
            return false;
        }
        hangUp(errno == EIO ? SerialError::HungUp : SerialError::IoFailure);
        return false;
    }
}

int PosixSerialPort::bytesWaiting()
{
    drain();
    return static_cast<int>(m_input.size());
}

int PosixSerialPort::readByte()
{
    if (m_input.isEmpty())
        drain();
    if (m_input.isEmpty())
        return -1;
    return m_input.takeFirst();
}

void PosixSerialPort::discardInput()
{
    if (m_fd >= 0) {
        ::tcflush(m_fd, TCIFLUSH);
        drain();
    }
    m_input.clear();
}

bool PosixSerialPort::waitForByte(qint64 deadlineMs)
{
    for (;;) {
        if (!m_input.isEmpty())
            return true;
        if (m_fd < 0)
            return false;
        const qint64 remaining = deadlineMs - m_clock.nowMs();
        if (remaining <= 0)
            return false;
        if (m_waitFd >= 0 && remaining > WaitSliceMs) {
            // One system call for the usual wait: the reply comes well
            // before the deadline.
            if (!readOrTimeOut())
                return false;
            continue;
        }
        pollfd p{m_fd, POLLIN, 0};
        const int r = ::poll(&p, 1, static_cast<int>(qMin<qint64>(remaining, 60000)));
        if (r < 0) {
            if (errno == EINTR)
                continue;
            hangUp(SerialError::IoFailure);
            return false;
        }
        if (r == 0)
            continue;
        if (p.revents & POLLIN) {
            // One read: a second one would only come back empty.
            if (!readOnce())
                return false;
            continue;
        }
        if (p.revents & (POLLHUP | POLLERR | POLLNVAL)) {
            hangUp(SerialError::HungUp);
            return false;
        }
    }
}
