// What a USB adapter's latency timer costs: Upload All at 9600 baud against
// the paced simulator with no adapter, with a 16 ms timer (an FTDI adapter
// as shipped) and with a 1 ms timer (low-latency mode, or the udev rule),
// each beside the wire-time bound.
//
//   bench_latency   (KESTRO_BIN_DIR names the folder of kestro-boardsim)
#include "benchfigures.h"
#include "countingport.h"
#include "fakes/boardsimprocess.h"
#include "fakes/loggingprompt.h"

#include "comm/clock.h"
#include "comm/posixserialport.h"
#include "comm/rscomm.h"
#include "machine/datatransfer.h"
#include "machine/machinedata.h"

#include <QCoreApplication>
#include <QTemporaryDir>

namespace
{

constexpr int Baud = 9600;

// Upload All once against a fresh simulator with the given adapter timer;
// false when the figure could not be taken or beat the cable.
bool uploadAll(int adapterLatencyMs)
{
    QTemporaryDir dir;
    BoardSimProcess sim;
    SteadyClock clock;
    LoggingPrompt prompt;
    PosixSerialPort posixPort(clock, dir.path());
    CountingPort port(posixPort);
    RSComm comm(clock, prompt, dir.path());
    QStringList args{QStringLiteral("--frozen"), QStringLiteral("--pace"), QString::number(Baud)};
    if (adapterLatencyMs > 0)
        args << QStringLiteral("--adapter-latency-ms") << QString::number(adapterLatencyMs);
    if (!sim.start(args) || !sim.linkAsPort(dir.path(), 1)) {
        std::printf("ERROR: kestro-boardsim did not start (KESTRO_BIN_DIR?)\n");
        return false;
    }
    comm.OpenRSComm(port);
    if (!comm.OnlineMode) {
        std::printf("ERROR: the simulator did not answer\n");
        return false;
    }
    DataSet record = buildDefaultData();
    const qint64 sent0 = port.sent();
    const qint64 received0 = port.received();
    const double t0 = bench::wallSeconds();
    const TransferResult result = DataTransfer(comm, record).ProcessTransfer(TransferMode::UploadAll);
    const double wall = bench::wallSeconds() - t0;
    const qint64 exchanges = port.sent() - sent0;
    const double wire = double(exchanges + port.received() - received0) * 10.0 / Baud;
    comm.CloseRSComm();
    if (result.Outcome != TransferOutcome::Completed) {
        std::printf("ERROR: Upload All failed after %d registers\n", result.Transferred);
        return false;
    }
    const QByteArray what =
        adapterLatencyMs > 0
            ? QStringLiteral("Upload All, adapter timer %1 ms").arg(adapterLatencyMs).toUtf8()
            : QByteArrayLiteral("Upload All, no adapter");
    const bool honest = bench::printAgainstBound(what.constData(), wall, wire);
    std::printf("  %lld exchanges, %.2f ms an exchange\n", exchanges, 1000.0 * wall / double(exchanges));
    return honest;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    bench::printLoad();
    bool ok = true;
    for (const int timer : {0, 16, 1})
        ok = uploadAll(timer) && ok;
    return ok ? 0 : 1;
}
