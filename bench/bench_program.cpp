// Controller program transfer figures against the simulator on a pty: a
// 32 KiB program (2048 records of 16 bytes) sent into the board and read
// back, unpaced or paced at a baud rate (--pace 9600), against the wire-time
// lower bounds, with the CPU the program uses while it waits on the link.
#include "benchfigures.h"
#include "fakes/boardsimprocess.h"

#include "comm/clock.h"
#include "comm/operatorprompt.h"
#include "comm/posixserialport.h"
#include "comm/rscomm.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QTemporaryDir>
#include <QTextStream>

#include <chrono>
#include <sys/resource.h>

namespace
{

// Yes to the download's confirmation, OK to its report; prints the rest.
class BenchPrompt final : public OperatorPrompt
{
public:
    QString last;
    PromptAnswer ask(const QString &title, const QString &text, PromptIcon,
                     PromptButtons buttons) override
    {
        last = text;
        if (buttons == PromptButtons::YesNoCancel && title.startsWith(u"Program Download - ["))
            return PromptAnswer::Yes;
        if (buttons != PromptButtons::Ok)
            QTextStream(stderr) << "unexpected question: " << title << ": " << text << Qt::endl;
        return buttons == PromptButtons::Ok ? PromptAnswer::Ok : PromptAnswer::Cancel;
    }
};

double wallSeconds()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

QByteArray hashOf(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly)
               ? QCryptographicHash::hash(f.readAll(), QCryptographicHash::Sha1).toHex()
               : QByteArray();
}

// Wall and CPU time between the first and the last record.
struct StreamClock {
    double firstWall = 0, firstCpu = 0, lastWall = 0, lastCpu = 0;
    int yields = 0;
    void tick()
    {
        const double w = wallSeconds();
        const double c = bench::cpuSeconds();
        if (yields++ == 0) {
            firstWall = w;
            firstCpu = c;
        }
        lastWall = w;
        lastCpu = c;
    }
};

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    int pace = 0;
    const QStringList args = app.arguments();
    const qsizetype at = args.indexOf(QStringLiteral("--pace"));
    if (at > 0 && at + 1 < args.size())
        pace = args.at(at + 1).toInt();
    // Line noise during the read-back: every Nth answer of the board garbage.
    int garbage = 0;
    const qsizetype g = args.indexOf(QStringLiteral("--garbage-every"));
    if (g > 0 && g + 1 < args.size())
        garbage = args.at(g + 1).toInt();
    const int baud = pace > 0 ? pace : 9600;

    QTemporaryDir dir;
    const QDir samples(QDir(BoardSimProcess::binDir()).filePath(QStringLiteral("samples")));
    for (const char *ext : {"pdx", "rev", "hex", "lcf"}) {
        const QString name = QStringLiteral("SAMPLE.") + QLatin1String(ext);
        if (!QFile::copy(samples.filePath(name), dir.filePath(name))) {
            out << "sample project missing in " << samples.path() << Qt::endl;
            return 1;
        }
    }
    QFile back(dir.filePath(QStringLiteral("BACK.pdx")));
    if (!back.open(QIODevice::WriteOnly))
        return 1;
    back.write("D,read back\r\n");
    back.close();

    BoardSimProcess sim;
    QStringList simArgs{QStringLiteral("--frozen")};
    if (pace > 0)
        simArgs << QStringLiteral("--pace") << QString::number(pace);
    if (!sim.start(simArgs) || !sim.linkAsPort(dir.path(), 1)) {
        out << "simulator did not start" << Qt::endl;
        return 1;
    }
    SteadyClock clock;
    BenchPrompt prompt;
    PosixSerialPort port(clock, dir.path());
    RSComm comm(clock, prompt, dir.path());
    {
        QFile cfg(comm.CommSettingsFile());
        if (!cfg.open(QIODevice::WriteOnly))
            return 1;
        cfg.write("1," + QByteArray::number(baud) + "\r\n");
    }
    comm.OpenRSComm(port);
    if (!comm.OnlineMode) {
        out << "no board" << Qt::endl;
        return 1;
    }

    const int records = 2048;
    const double bitTime = 10.0 / baud;
    out << "program transfer, 32 KiB in " << records << " records, "
        << (pace > 0 ? QStringLiteral("paced at %1 baud").arg(pace) : QStringLiteral("unpaced"))
        << Qt::endl;

    // Download: each record is 3 + 16 bytes out and one answer back.
    comm.DownloadFile(dir.filePath(QStringLiteral("SAMPLE.pdx")));
    StreamClock down;
    comm.setProgramYield([&down] { down.tick(); });
    const double t0 = wallSeconds();
    comm.DumpProgram();
    const double t1 = wallSeconds();
    // The last yield comes before the end record, after the last answer.
    const double downStream = down.lastWall - down.firstWall;
    const double downBound = records * 20 * bitTime;
    out << "  download: " << prompt.last << Qt::endl;
    out << QStringLiteral("    whole command %1 s (fixed pauses 2.1 s); record stream %2 s\n")
               .arg(t1 - t0, 0, 'f', 2)
               .arg(downStream, 0, 'f', 3);
    out << QStringLiteral("    per record %1 ms, per byte %2 us; wire bound at %3 baud %4 s, "
                          "ratio %5\n")
               .arg(1000 * downStream / records, 0, 'f', 3)
               .arg(1e6 * downStream / (records * 20), 0, 'f', 1)
               .arg(baud)
               .arg(downBound, 0, 'f', 1)
               .arg(downStream / downBound, 0, 'f', 3);
    if (pace > 0)
        out << QStringLiteral("    overhead over the wire time: %1 ms per record\n")
                   .arg(1000 * (downStream - downBound) / records, 0, 'f', 3);
    out << QStringLiteral("    CPU during the stream %1 s (%2 % of the wall time)\n")
               .arg(down.lastCpu - down.firstCpu, 0, 'f', 3)
               .arg(100 * (down.lastCpu - down.firstCpu) / qMax(downStream, 1e-9), 0, 'f', 1)
        << Qt::flush;

    // Upload: every byte is a register read, two one-byte round trips, and
    // every byte is read at least twice to confirm it.
    if (garbage > 0)
        sim.command(QStringLiteral("garbage %1").arg(garbage));
    comm.UploadFile(back.fileName());
    comm.setInUploadMode(true);
    StreamClock up;
    comm.setProgramYield([&up] { up.tick(); });
    comm.UploadProgram();
    up.tick();
    const double upStream = up.lastWall - up.firstWall;
    const double upBound = 32768 * 4 * bitTime;
    out << "  upload"
        << (garbage > 0 ? QStringLiteral(" (every %1th answer garbage)").arg(garbage) : QString())
        << ": " << prompt.last << Qt::endl;
    const int reads = comm.programBytesRead();
    out << QStringLiteral("    register reads %1 for %2 bytes (%3 a byte, verification "
                          "included); one read a byte would be the bound below\n")
               .arg(reads)
               .arg(32768 + 10)
               .arg(double(reads) / (32768 + 10), 0, 'f', 3);
    out << QStringLiteral("    read-back %1 s, per record %2 ms, per byte %3 us; wire bound "
                          "at %4 baud %5 s, ratio %6\n")
               .arg(upStream, 0, 'f', 3)
               .arg(1000 * upStream / records, 0, 'f', 3)
               .arg(1e6 * upStream / 32768, 0, 'f', 1)
               .arg(baud)
               .arg(upBound, 0, 'f', 1)
               .arg(upStream / upBound, 0, 'f', 3);
    out << QStringLiteral("    CPU during the read-back %1 s (%2 % of the wall time)\n")
               .arg(up.lastCpu - up.firstCpu, 0, 'f', 3)
               .arg(100 * (up.lastCpu - up.firstCpu) / qMax(upStream, 1e-9), 0, 'f', 1);
    out << "  image read back "
        << (hashOf(dir.filePath(QStringLiteral("BACK.hex"))) ==
                    hashOf(dir.filePath(QStringLiteral("SAMPLE.hex")))
                ? "matches"
                : "DIFFERS")
        << Qt::endl;
    comm.CloseRSComm();
    return 0;
}
