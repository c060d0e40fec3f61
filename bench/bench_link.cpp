// Link figures against the simulator on a pty: the round trip per exchange,
// the upload and download of All at 9600 baud beside the least time the
// cable allows, and the CPU per exchange of kestro beside a plain pyserial
// client and a raw client (one write(2) and one blocking read(2) an
// exchange, the least any client that waits for each reply can do) doing the
// same exchanges against the same simulator.
//
//   bench_link   (KESTRO_BIN_DIR names the folder of kestro-boardsim,
//                 KESTRO_PYTHON the Python 3 that has pyserial)
#include "benchfigures.h"
#include "countingport.h"
#include "fakes/boardsimprocess.h"
#include "fakes/loggingprompt.h"

#include "comm/clock.h"
#include "comm/operatorprompt.h"
#include "comm/posixserialport.h"
#include "comm/rscomm.h"
#include "machine/datatransfer.h"
#include "machine/machinedata.h"

#include <QCoreApplication>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace
{

constexpr int Baud = 9600;

// A link through a counting port to a fresh simulator started with the given options.
struct Bench {
    QTemporaryDir dir;
    BoardSimProcess sim;
    SteadyClock clock;
    LoggingPrompt prompt;
    PosixSerialPort posixPort{clock, dir.path()};
    CountingPort port{posixPort};
    RSComm comm{clock, prompt, dir.path()};

    bool startSim(const QStringList &simArgs)
    {
        if (!sim.start(simArgs) || !sim.linkAsPort(dir.path(), 1)) {
            std::printf("ERROR: kestro-boardsim did not start (KESTRO_BIN_DIR?)\n");
            return false;
        }
        return true;
    }

    bool goOnline(int baud)
    {
        CommSettings settings;
        settings.baud = baud;
        if (CommSettings::write(comm.CommSettingsFile(), settings,
                                CommSettings::LineStyle::Compact))
            return false;
        comm.OpenRSComm(port);
        if (!comm.OnlineMode)
            std::printf("ERROR: the simulator did not answer\n");
        return comm.OnlineMode;
    }
};

struct TransferFigures {
    bool ok = false;
    double wall = 0;
    double cpu = 0;
    double wire = 0;
    qint64 exchanges = 0;
    int wrong = 0; // replies other than those recorded (raw client)
};

TransferFigures timeTransfer(Bench &b, DataSet &record, TransferMode mode)
{
    TransferFigures f;
    const qint64 sent0 = b.port.sent();
    const qint64 received0 = b.port.received();
    const double c0 = bench::cpuSeconds();
    const double t0 = bench::wallSeconds();
    const TransferResult result = DataTransfer(b.comm, record).ProcessTransfer(mode);
    f.wall = bench::wallSeconds() - t0;
    f.cpu = bench::cpuSeconds() - c0;
    f.exchanges = b.port.sent() - sent0;
    f.wire = double(f.exchanges + b.port.received() - received0) * 10.0 / Baud;
    f.ok = result.Outcome == TransferOutcome::Completed && !b.comm.CommError;
    if (!f.ok)
        std::printf("ERROR: %s failed after %d registers\n", qPrintable(transferCaption(mode)),
                    result.Transferred);
    return f;
}

bool printTransfer(const char *what, const TransferFigures &f, double target)
{
    if (!f.ok)
        return false;
    const bool honest = bench::printAgainstBound(what, f.wall, f.wire);
    std::printf("  %lld exchanges, CPU %.4f s (%.1f us per exchange, %.2f %% of one core); "
                "target: within %.2fx of the bound (%s)\n",
                f.exchanges, f.cpu, 1e6 * f.cpu / double(f.exchanges), 100.0 * f.cpu / f.wall,
                target, honest && f.wall <= target * f.wire ? "met" : "NOT met");
    return honest;
}

QString writeFile(const QTemporaryDir &dir, const QString &name, const QByteArray &bytes)
{
    const QString path = dir.filePath(name);
    QFile f(path);
    if (f.open(QIODevice::WriteOnly))
        f.write(bytes);
    return path;
}

// The same dialogue as the pyserial client, by the bare system calls: the
// floor of CPU per exchange on this machine for a client that sleeps until
// each reply (the read waits at most a second, as the others do).
TransferFigures rawClient(const QString &device, const QByteArray &sent, const QByteArray &expected)
{
    TransferFigures f;
    const int fd = ::open(QFile::encodeName(device).constData(), O_RDWR | O_NOCTTY);
    if (fd < 0)
        return f;
    termios t{};
    ::tcgetattr(fd, &t);
    ::cfmakeraw(&t);
    ::cfsetspeed(&t, B9600);
    t.c_cc[VMIN] = 0;
    t.c_cc[VTIME] = 10;
    ::tcsetattr(fd, TCSANOW, &t);
    ::tcflush(fd, TCIFLUSH);
    auto exchange = [&](quint8 value) {
        ++f.exchanges;
        quint8 reply = 0;
        if (::write(fd, &value, 1) != 1 || ::read(fd, &reply, 1) != 1)
            return -1;
        return int(reply);
    };
    const double c0 = bench::cpuSeconds();
    const double t0 = bench::wallSeconds();
    qsizetype start = 0;
    if (sent.size() >= 2 && quint8(sent[0]) == 0xFF) {
        for (int attempt = 0; attempt < 100; ++attempt) {
            ::tcflush(fd, TCIFLUSH);
            if (exchange(0xFF) == 0x55 && exchange(quint8(sent[1])) == 0x55)
                break;
        }
        start = 2;
    }
    for (qsizetype i = start; i < sent.size(); ++i) {
        const int reply = exchange(quint8(sent[i]));
        if (reply < 0 || (i < expected.size() && reply != quint8(expected[i])))
            ++f.wrong;
    }
    f.wall = bench::wallSeconds() - t0;
    f.cpu = bench::cpuSeconds() - c0;
    ::close(fd);
    f.ok = true;
    return f;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    bool honest = true;
    bench::printLoad();

    // 1. Round trip per exchange, simulator answering at once.
    {
        Bench b;
        if (!b.startSim({QStringLiteral("--frozen")}) || !b.goOnline(19200))
            return 1;
        b.comm.RSRead(QStringLiteral("B52")); // enter read mode
        QList<double> rtt;
        const double c0 = bench::cpuSeconds();
        for (int i = 0; i < 4000; ++i) {
            const double t0 = bench::wallSeconds();
            b.comm.ExchangeByte(i % 2 ? 0x34 : 0x00, RSComm::ReplyWait::Await,
                                RSComm::InputFlush::Keep);
            rtt << (bench::wallSeconds() - t0) * 1e6;
        }
        const double cpu = bench::cpuSeconds() - c0;
        std::sort(rtt.begin(), rtt.end());
        std::printf("round trip per exchange over a pty, no pacing: median %.1f us, p99 %.1f us, "
                    "CPU %.1f us per exchange (%lld exchanges)\n",
                    rtt[rtt.size() / 2], rtt[rtt.size() * 99 / 100], 1e6 * cpu / rtt.size(),
                    qint64(rtt.size()));
    }

    // 2. Upload and download of All against a board paced at 9600 baud.
    QByteArray uploadSent;
    QByteArray uploadReceived;
    {
        Bench b;
        if (!b.startSim(
                {QStringLiteral("--frozen"), QStringLiteral("--pace"), QString::number(Baud)}) ||
            !b.goOnline(Baud))
            return 1;
        MachineData data;
        b.port.startRecording();
        const TransferFigures up = timeTransfer(b, data.gCurrentData, TransferMode::UploadAll);
        b.port.stopRecording();
        uploadSent = b.port.sentLog();
        uploadReceived = b.port.receivedLog();
        const TransferFigures down = timeTransfer(b, data.gCurrentData, TransferMode::DownloadAll);
        std::printf("board paced at %d baud (10 bits a byte, both directions):\n", Baud);
        honest &= printTransfer("upload All", up, 1.05);
        honest &= printTransfer("download All", down, 1.05);
        b.comm.CloseRSComm();
    }

    // 3. CPU per exchange: kestro, a pyserial client and the raw client, the
    //    same exchanges (those of the upload of All) against one simulator
    //    paced at 9600.
    {
        Bench b;
        if (!b.startSim(
                {QStringLiteral("--frozen"), QStringLiteral("--pace"), QString::number(Baud)}))
            return 1;
        const QString sentPath = writeFile(b.dir, QStringLiteral("sent.bin"), uploadSent);
        const QString receivedPath =
            writeFile(b.dir, QStringLiteral("received.bin"), uploadReceived);
        const QString python = qEnvironmentVariableIsSet("KESTRO_PYTHON")
                                   ? qEnvironmentVariable("KESTRO_PYTHON")
                                   : QStringLiteral("/usr/bin/python3");
        // Rounds alternate between the clients so a burst of load from
        // elsewhere falls on all; the least figure of each is compared.
        constexpr int Rounds = 3;
        QList<double> pyPer;
        QList<double> rawPer;
        QList<double> oursPer;
        for (int round = 0; round < Rounds; ++round) {
            QProcess py;
            py.start(python, {QStringLiteral(KESTRO_BENCH_SOURCE_DIR "/pyserial_client.py"),
                              b.sim.slavePath(), QString::number(Baud), sentPath, receivedPath});
            const bool finished = py.waitForFinished(120000);
            const QString line = QString::fromUtf8(py.readAllStandardOutput()).trimmed();
            const QRegularExpressionMatch m =
                QRegularExpression(QStringLiteral("exchanges (\\d+) cpu ([0-9.]+) wall ([0-9.]+) "
                                                  "mismatches (\\d+) timeouts (\\d+)"))
                    .match(line);
            const QString pyErrors = QString::fromUtf8(py.readAllStandardError());
            if (!finished || py.exitCode() != 0 || !m.hasMatch()) {
                std::printf("ERROR: the pyserial client did not run (%s): %s\n", qPrintable(python),
                            qPrintable(pyErrors));
                return 1;
            }
            const qint64 pyExchanges = m.captured(1).toLongLong();
            const double pyCpu = m.captured(2).toDouble();
            const double pyWall = m.captured(3).toDouble();
            const int pyWrong = m.captured(4).toInt() + m.captured(5).toInt();
            if (pyWrong > 0)
                std::printf(
                    "ERROR: the pyserial client did not get the replies kestro got (%d): %s",
                    pyWrong, qPrintable(pyErrors));
            pyPer << 1e6 * pyCpu / double(pyExchanges);

            const TransferFigures raw = rawClient(b.sim.slavePath(), uploadSent, uploadReceived);
            if (!raw.ok || raw.wrong > 0) {
                std::printf("ERROR: the raw client did not get the replies kestro got (%d)\n",
                            raw.wrong);
                return 1;
            }
            rawPer << 1e6 * raw.cpu / double(raw.exchanges);

            if (!b.goOnline(Baud))
                return 1;
            MachineData data;
            const TransferFigures ours =
                timeTransfer(b, data.gCurrentData, TransferMode::UploadAll);
            if (!ours.ok)
                return 1;
            b.comm.CloseRSComm();
            oursPer << 1e6 * ours.cpu / double(ours.exchanges);
            std::printf("  round %d: pyserial %.1f us per exchange (%lld exchanges, %.3f s), "
                        "raw %.1f us (%lld, %.3f s), kestro %.1f us (%lld, %.3f s)\n",
                        round + 1, pyPer.last(), pyExchanges, pyWall, rawPer.last(), raw.exchanges,
                        raw.wall, oursPer.last(), ours.exchanges, ours.wall);
        }
        const double pyBest = *std::min_element(pyPer.begin(), pyPer.end());
        const double rawBest = *std::min_element(rawPer.begin(), rawPer.end());
        const double oursBest = *std::min_element(oursPer.begin(), oursPer.end());
        std::printf("CPU per exchange, upload All at %d baud, one simulator, least of %d rounds:\n"
                    "  pyserial client %.1f us, kestro %.1f us: kestro is %.2fx cheaper "
                    "(target: at least 3x, %s)\n"
                    "  raw write/read client %.1f us: kestro costs %.2fx the raw client, "
                    "pyserial %.2fx\n",
                    Baud, Rounds, pyBest, oursBest, pyBest / oursBest,
                    pyBest >= 3 * oursBest ? "met" : "NOT met", rawBest, oursBest / rawBest,
                    pyBest / rawBest);
    }

    // 4. CPU while waiting: a board that answers each byte after 200 ms.
    {
        Bench b;
        if (!b.startSim({QStringLiteral("--frozen"), QStringLiteral("--delay-ms"),
                         QStringLiteral("200")}) ||
            !b.goOnline(Baud))
            return 1;
        const double c0 = bench::cpuSeconds();
        const double t0 = bench::wallSeconds();
        for (int i = 0; i < 10; ++i)
            b.comm.ExchangeByte(0xFF, RSComm::ReplyWait::Await, RSComm::InputFlush::FlushFirst);
        const double wall = bench::wallSeconds() - t0;
        const double cpu = bench::cpuSeconds() - c0;
        std::printf("waiting for slow replies: %.5f CPU seconds per wall second (%.2f s waited)\n",
                    cpu / wall, wall);
    }
    bench::printLoad();
    return honest ? 0 : 2;
}
