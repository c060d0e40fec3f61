// Link figures against the simulator on a pty: round-trip time per exchange,
// the time to read the whole data table at 9600 baud against the wire-time
// lower bound, and the CPU the program burns while it waits for replies.
#include "fakes/boardsimprocess.h"

#include "comm/clock.h"
#include "comm/operatorprompt.h"
#include "comm/posixserialport.h"
#include "comm/rscomm.h"
#include "machine/dataset.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>
#include <chrono>
#include <sys/resource.h>

namespace
{

class NoPrompt final : public OperatorPrompt
{
public:
    PromptAnswer ask(const QString &title, const QString &text, PromptIcon, PromptButtons) override
    {
        QTextStream(stderr) << "unexpected message: " << title << ": " << text << Qt::endl;
        return PromptAnswer::Cancel;
    }
};

double cpuSeconds()
{
    rusage u{};
    ::getrusage(RUSAGE_SELF, &u);
    return u.ru_utime.tv_sec + u.ru_stime.tv_sec + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

double wallSeconds()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

// A link to a fresh simulator started with the given options.
struct Bench {
    QTemporaryDir dir;
    BoardSimProcess sim;
    SteadyClock clock;
    NoPrompt prompt;
    PosixSerialPort port{clock, dir.path()};
    RSComm comm{clock, prompt, dir.path()};

    bool start(const QStringList &simArgs, int baud)
    {
        if (!sim.start(simArgs) || !sim.linkAsPort(dir.path(), 1))
            return false;
        QFile cfg(comm.CommSettingsFile());
        if (!cfg.open(QIODevice::WriteOnly))
            return false;
        cfg.write(QByteArray::number(1) + ',' + QByteArray::number(baud) + "\r\n");
        cfg.close();
        comm.OpenRSComm(port);
        return comm.OnlineMode;
    }
};

int byteCount(const QString &address)
{
    return RSComm::DecodeAddress(address).byteCount();
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    const QStringList addresses = buildDefaultData().Address;

    // 1. Round trip per exchange, simulator answering at once.
    {
        Bench b;
        if (!b.start({QStringLiteral("--frozen")}, 19200)) {
            out << "simulator did not start or answer" << Qt::endl;
            return 1;
        }
        b.comm.RSRead(QStringLiteral("B52")); // enter read mode
        QList<double> rtt;
        for (int i = 0; i < 4000; ++i) {
            const double t0 = wallSeconds();
            b.comm.ExchangeByte(i % 2 ? 0x34 : 0x00, RSComm::ReplyWait::Await,
                                RSComm::InputFlush::Keep);
            rtt << (wallSeconds() - t0) * 1e6;
        }
        std::sort(rtt.begin(), rtt.end());
        out << QStringLiteral("round trip per exchange over a pty, no pacing: median %1 us, p99 %2 "
                              "us (%3 exchanges)")
                   .arg(rtt[rtt.size() / 2], 0, 'f', 1)
                   .arg(rtt[rtt.size() * 99 / 100], 0, 'f', 1)
                   .arg(rtt.size())
            << Qt::endl;
        const double medianUs = rtt[rtt.size() / 2];

        int bytes = 0;
        for (const QString &a : addresses)
            bytes += byteCount(a);
        const int exchanges = 2 + 2 * bytes; // one handshake, two exchanges a byte
        const double wireSeconds = exchanges * 2 * 10.0 / 9600.0;
        const double projected = wireSeconds + exchanges * medianUs / 1e6;
        out << QStringLiteral("data table: %1 registers, %2 bytes, %3 exchanges")
                   .arg(addresses.size())
                   .arg(bytes)
                   .arg(exchanges)
            << Qt::endl;
        out << QStringLiteral("projected read of the data table at 9600 baud: %1 s; wire-time "
                              "lower bound %2 s; ratio %3")
                   .arg(projected, 0, 'f', 3)
                   .arg(wireSeconds, 0, 'f', 3)
                   .arg(projected / wireSeconds, 0, 'f', 3)
            << Qt::endl;
    }

    // 2. The same read for real, against a board paced at 9600 baud.
    {
        Bench b;
        if (!b.start({QStringLiteral("--frozen"), QStringLiteral("--pace"), QStringLiteral("9600")},
                     9600))
            return 1;
        const double c0 = cpuSeconds();
        const double t0 = wallSeconds();
        for (const QString &a : addresses)
            b.comm.RSRead(a);
        const double wall = wallSeconds() - t0;
        const double cpu = cpuSeconds() - c0;
        out << QStringLiteral("measured read of the data table, board paced at 9600 baud: %1 s "
                              "(CPU %2 s, %3 % of one core)%4")
                   .arg(wall, 0, 'f', 3)
                   .arg(cpu, 0, 'f', 3)
                   .arg(100 * cpu / wall, 0, 'f', 1)
                   .arg(b.comm.CommError ? QStringLiteral(" COMM ERROR") : QString())
            << Qt::endl;
    }

    // 3. CPU while waiting: a board that answers each byte after 200 ms.
    {
        Bench b;
        if (!b.start(
                {QStringLiteral("--frozen"), QStringLiteral("--delay-ms"), QStringLiteral("200")},
                9600))
            return 1;
        const double c0 = cpuSeconds();
        const double t0 = wallSeconds();
        for (int i = 0; i < 10; ++i)
            b.comm.ExchangeByte(0xFF, RSComm::ReplyWait::Await, RSComm::InputFlush::FlushFirst);
        const double wall = wallSeconds() - t0;
        const double cpu = cpuSeconds() - c0;
        out << QStringLiteral(
                   "waiting for slow replies: %1 CPU seconds per wall second (%2 s waited)")
                   .arg(cpu / wall, 0, 'f', 5)
                   .arg(wall, 0, 'f', 2)
            << Qt::endl;
    }
    return 0;
}
