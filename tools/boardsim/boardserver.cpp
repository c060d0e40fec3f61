#include "boardserver.h"

#include "boardmodel.h"
#include "machinesim.h"
#include "simsettings.h"

#include <QFileInfo>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <termios.h>
#include <unistd.h>

namespace
{

int signalPipe[2] = {-1, -1};

void onTerminationSignal(int)
{
    const char byte = 's';
    const ssize_t ignored = ::write(signalPipe[1], &byte, 1);
    (void)ignored;
}

bool installSignalHandlers()
{
    if (signalPipe[0] < 0 && ::pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return false;
    struct sigaction action;
    std::memset(&action, 0, sizeof action);
    action.sa_handler = onTerminationSignal;
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
    // A reader of stdout that has gone away must not end the board.
    std::signal(SIGPIPE, SIG_IGN);
    return true;
}

void writeAll(int fd, const QByteArray &data)
{
    qsizetype done = 0;
    while (done < data.size()) {
        const ssize_t n = ::write(fd, data.constData() + done, size_t(data.size() - done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;
        done += n;
    }
}

QString systemError(const char *what)
{
    return QStringLiteral("%1: %2").arg(QLatin1String(what),
                                        QString::fromLocal8Bit(std::strerror(errno)));
}

constexpr qint64 NsPerMs = 1000000;

} // namespace

BoardServer::BoardServer(BoardModel &board, MachineSim &machine, SimSettings &settings,
                         Options options)
    : m_board(board), m_machine(machine), m_settings(settings), m_options(std::move(options)),
      m_console(board, settings)
{
    m_clock.start();
}

BoardServer::~BoardServer()
{
    closeDevice();
    removeLink();
}

bool BoardServer::open(QString *error)
{
    if (!installSignalHandlers()) {
        *error = systemError("signal pipe");
        return false;
    }

    m_master = ::posix_openpt(O_RDWR | O_NOCTTY);
    if (m_master < 0 || ::grantpt(m_master) != 0 || ::unlockpt(m_master) != 0) {
        *error = systemError("pseudo-terminal");
        return false;
    }
    ::fcntl(m_master, F_SETFD, FD_CLOEXEC);
    ::fcntl(m_master, F_SETFL, ::fcntl(m_master, F_GETFL) | O_NONBLOCK);
    char name[256];
    if (::ptsname_r(m_master, name, sizeof name) != 0) {
        *error = systemError("ptsname");
        return false;
    }
    m_slavePath = QString::fromLocal8Bit(name);

    // Our own slave descriptor keeps the line up between clients, and raw
    // mode keeps the line discipline from echoing or translating bytes
    // before a client has set the port up.
    m_slave = ::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (m_slave < 0) {
        *error = systemError("slave device");
        return false;
    }
    struct termios settings;
    if (::tcgetattr(m_slave, &settings) == 0) {
        ::cfmakeraw(&settings);
        ::cfsetispeed(&settings, B9600);
        ::cfsetospeed(&settings, B9600);
        ::tcsetattr(m_slave, TCSANOW, &settings);
    }

    if (!m_options.linkPath.isEmpty()) {
        const QByteArray link = QFile::encodeName(m_options.linkPath);
        const QFileInfo existing(m_options.linkPath);
        if (existing.isSymLink()) {
            ::unlink(link.constData());
        } else if (existing.exists()) {
            *error = QStringLiteral("%1 exists and is not a symbolic link").arg(m_options.linkPath);
            return false;
        }
        if (::symlink(name, link.constData()) != 0) {
            *error = systemError("symbolic link");
            return false;
        }
        m_linkMade = true;
    }

    if (!m_options.tracePath.isEmpty()) {
        m_trace.setFileName(m_options.tracePath);
        if (!m_trace.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text)) {
            *error =
                QStringLiteral("trace file %1: %2").arg(m_options.tracePath, m_trace.errorString());
            return false;
        }
    }
    return true;
}

int BoardServer::run()
{
    m_running = true;
    // A paced reply is due to the microsecond; the kernel's default 50 us
    // of timer slack would add to every exchange and slow the board below
    // the cable it stands for.
    if (m_settings.paceBaud > 0)
        ::prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
    m_lastTickNs = nowNs();
    m_wasFrozen = m_settings.frozen;

    while (m_running) {
        struct pollfd fds[3];
        nfds_t count = 0;
        fds[count++] = {signalPipe[0], POLLIN, 0};
        fds[count++] = {m_master, POLLIN, 0};
        const bool watchConsole = m_consoleOpen;
        if (watchConsole)
            fds[count++] = {STDIN_FILENO, POLLIN, 0};

        const qint64 waitNs = pollTimeoutNs();
        const qint64 wakeTargetNs = nowNs() + waitNs;
        timespec timeout{time_t(waitNs / 1000000000), long(waitNs % 1000000000)};
        const int ready = ::ppoll(fds, count, waitNs < 0 ? nullptr : &timeout, nullptr);
        if (ready == 0 && m_settings.paceBaud > 0 && !m_replies.empty())
            arriveAtDueReply(wakeTargetNs);
        if (ready < 0 && errno != EINTR) {
            writeAll(STDERR_FILENO, systemError("ppoll").toLocal8Bit() + '\n');
            return 1;
        }

        if (ready > 0 && (fds[0].revents & POLLIN))
            m_running = false;
        if (m_running && ready > 0 && (fds[1].revents & POLLIN))
            readFromClient();
        if (m_running && ready > 0 && watchConsole &&
            (fds[2].revents & (POLLIN | POLLHUP | POLLERR | POLLNVAL)))
            readConsole();
        if (m_running) {
            sendDueReplies();
            advanceMachine();
        }
    }
    closeDevice();
    removeLink();
    return 0;
}

qint64 BoardServer::pollTimeoutNs() const
{
    qint64 wait = -1;
    const qint64 now = nowNs();
    if (!m_replies.empty())
        wait = qMax<qint64>(0, m_replies.front().dueNs - m_wakeEarlyNs - now);
    if (!m_settings.frozen) {
        const qint64 tick = qMax<qint64>(0, m_lastTickNs + m_options.tickMs * NsPerMs - now);
        wait = wait < 0 ? tick : qMin(wait, tick);
    }
    return wait;
}

void BoardServer::arriveAtDueReply(qint64 wakeTargetNs)
{
    // Even with 1 ns of timer slack a timed wake-up comes tens of
    // microseconds late on a busy machine, and each paced reply would carry
    // that on top of its wire time. So the wait ends that much early and the
    // rest is waited out here, never past the due time: the board is never
    // faster than the cable.
    constexpr qint64 MarginNs = 10000;
    constexpr qint64 MostEarlyNs = 200000;
    const qint64 lateNs = qMax<qint64>(0, nowNs() - wakeTargetNs);
    m_wakeLateNs += (lateNs - m_wakeLateNs) / 8;
    m_wakeEarlyNs = qMin(m_wakeLateNs + MarginNs, MostEarlyNs);
    const qint64 dueNs = m_replies.front().dueNs;
    if (dueNs - nowNs() > MostEarlyNs)
        return; // woken for a machine tick, not for this reply
    while (nowNs() < dueNs) {
    }
}

void BoardServer::readFromClient()
{
    quint8 buffer[256];
    const ssize_t n = ::read(m_master, buffer, sizeof buffer);
    for (ssize_t i = 0; i < n && m_running; ++i)
        receive(buffer[i]);
}

void BoardServer::receive(quint8 byte)
{
    ++m_received;
    if (m_options.closeAfter > 0 && m_received >= m_options.closeAfter) {
        trace(byte, -1);
        vanish();
        return;
    }
    if (m_settings.silent) {
        trace(byte, -1);
        return;
    }
    // A pty hands the byte over at once; on a cable the board has it only
    // once its ten bits have come in, after those of any byte before it.
    qint64 heardNs = nowNs();
    if (m_settings.paceBaud > 0) {
        heardNs = qMax(heardNs, m_receiveLineFreeNs) + byteWireNs();
        m_receiveLineFreeNs = heardNs;
    }
    if (m_settings.loopback) {
        trace(byte, byte);
        scheduleReply(byte, heardNs);
        return;
    }
    if (heardAtWrongSpeed()) {
        const quint8 noise = noiseFor(byte);
        trace(byte, noise);
        scheduleReply(noise, heardNs);
        return;
    }
    const auto reply = m_board.feed(byte);
    trace(byte, reply ? int(*reply) : -1);
    if (reply)
        scheduleReply(*reply, heardNs);
}

qint64 BoardServer::byteWireNs() const
{
    // Ten bits a byte: start, eight data, stop.
    return 10 * 1000000000LL / m_settings.paceBaud;
}

bool BoardServer::heardAtWrongSpeed() const
{
    if (m_settings.boardSpeed <= 0)
        return false;
    // The master side of a pty reports the speed the client set on its side.
    termios tio{};
    if (::tcgetattr(m_master, &tio) != 0)
        return false;
    const speed_t board = m_settings.boardSpeed == 19200 ? B19200 : B9600;
    return ::cfgetospeed(&tio) != board;
}

quint8 BoardServer::noiseFor(quint8 byte)
{
    // Never the handshake's acknowledge and never the byte itself: noise
    // must not pass for a board or for a loopback plug.
    for (;;) {
        m_noiseState ^= m_noiseState << 13;
        m_noiseState ^= m_noiseState >> 17;
        m_noiseState ^= m_noiseState << 5;
        const quint8 noise = quint8(m_noiseState >> 7);
        if (noise != 0x55 && noise != byte)
            return noise;
    }
}

void BoardServer::scheduleReply(quint8 byte, qint64 heardNs)
{
    qint64 due = heardNs + qint64(m_settings.delayMs) * NsPerMs;
    if (m_settings.paceBaud > 0) {
        due = qMax(due, m_lineFreeNs) + byteWireNs();
        m_lineFreeNs = due;
    }
    if (m_settings.adapterLatencyMs > 0) {
        // An adapter passes what it received on only when its timer runs out.
        const qint64 tick = qint64(m_settings.adapterLatencyMs) * NsPerMs;
        due = (due / tick + 1) * tick;
    }
    m_replies.push_back({due, byte});
    sendDueReplies();
}

void BoardServer::sendDueReplies()
{
    const qint64 now = nowNs();
    while (!m_replies.empty() && m_replies.front().dueNs <= now) {
        const quint8 byte = m_replies.front().byte;
        m_replies.pop_front();
        // With no client and a full line, the byte is lost like on a cable
        // with nobody at the other end.
        ssize_t n;
        do {
            n = ::write(m_master, &byte, 1);
        } while (n < 0 && errno == EINTR);
    }
}

void BoardServer::readConsole()
{
    char buffer[1024];
    const ssize_t n = ::read(STDIN_FILENO, buffer, sizeof buffer);
    if (n < 0 && (errno == EINTR || errno == EAGAIN))
        return;
    if (n <= 0) {
        // End of the console is not the end of the board: scripts close stdin.
        m_consoleOpen = false;
        if (!m_consoleBuffer.isEmpty())
            runCommand(QString::fromLocal8Bit(std::exchange(m_consoleBuffer, {})));
        return;
    }
    m_consoleBuffer.append(buffer, n);
    qsizetype end;
    while (m_running && (end = m_consoleBuffer.indexOf('\n')) >= 0) {
        const QByteArray line = m_consoleBuffer.left(end);
        m_consoleBuffer.remove(0, end + 1);
        runCommand(QString::fromLocal8Bit(line));
    }
}

void BoardServer::runCommand(QStringView line)
{
    const CommandProcessor::Result result = m_console.execute(line);
    if (!result.reply.isEmpty())
        writeAll(STDOUT_FILENO, result.reply.toLocal8Bit() + '\n');
    switch (result.outcome) {
    case CommandProcessor::Outcome::Continue:
        break;
    case CommandProcessor::Outcome::Vanish:
        vanish();
        break;
    case CommandProcessor::Outcome::Quit:
        m_running = false;
        break;
    }
}

void BoardServer::advanceMachine()
{
    const qint64 now = nowNs();
    if (m_settings.frozen) {
        m_wasFrozen = true;
        return;
    }
    if (m_wasFrozen) {
        // Frozen time is not made up for.
        m_wasFrozen = false;
        m_lastTickNs = now;
        return;
    }
    const qint64 elapsedMs = (now - m_lastTickNs) / NsPerMs;
    if (elapsedMs >= m_options.tickMs) {
        m_machine.advance(elapsedMs);
        m_lastTickNs += elapsedMs * NsPerMs;
    }
}

void BoardServer::trace(quint8 received, int replied)
{
    if (!m_trace.isOpen())
        return;
    QByteArray line = QByteArray::number(received, 16).rightJustified(2, '0').toUpper() + " -> ";
    line += replied < 0 ? QByteArray("--")
                        : QByteArray::number(replied, 16).rightJustified(2, '0').toUpper();
    m_trace.write(line + '\n');
    m_trace.flush();
}

void BoardServer::vanish()
{
    m_replies.clear();
    closeDevice();
    // A lingering board can still be asked what its memory holds.
    m_running = m_options.linger;
}

void BoardServer::closeDevice()
{
    if (m_master >= 0) {
        ::close(m_master);
        m_master = -1;
    }
    if (m_slave >= 0) {
        ::close(m_slave);
        m_slave = -1;
    }
    if (m_trace.isOpen())
        m_trace.close();
}

void BoardServer::removeLink()
{
    if (!m_linkMade)
        return;
    m_linkMade = false;
    const QByteArray link = QFile::encodeName(m_options.linkPath);
    char target[256];
    const ssize_t n = ::readlink(link.constData(), target, sizeof target - 1);
    // Leave alone a link that someone has pointed elsewhere meanwhile.
    if (n > 0 && QString::fromLocal8Bit(target, n) == m_slavePath)
        ::unlink(link.constData());
}
