// CPU use of the program with the target board window open online, the
// simulated board paced at 9600 baud: the window's cycle must wait on the
// link, not spin. Prints figures.
//
//   bench_targetboard [SECONDS]   (KESTRO_BIN_DIR names the folder of kestro-boardsim)

#include "app/filedialogs.h"
#include "app/frmmdimain.h"
#include "benchfigures.h"
#include "comm/clock.h"
#include "comm/operatorprompt.h"
#include "comm/posixserialport.h"
#include "comm/rscomm.h"
#include "fakes/boardsimprocess.h"
#include "fakes/loggingprompt.h"
#include "machine/machinedata.h"
#include "targetboard/frmtargetboard.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/resource.h>

#include <cstdio>

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int seconds = argc > 1 ? QString::fromLocal8Bit(argv[1]).toInt() : 10;
    constexpr int Port = 68;
    constexpr int Baud = 9600;

    QTemporaryDir dir;
    // An R5110 project: every field of the window is shown and polled.
    QFile pdx(dir.filePath(QStringLiteral("LINE.pdx")));
    if (!pdx.open(QIODevice::WriteOnly))
        return 1;
    pdx.write("ALINE,1\r\n");
    pdx.close();

    BoardSimProcess sim;
    if (!sim.start({QStringLiteral("--pace"), QString::number(Baud)}) ||
        !sim.useAsPort(dir.path(), Port, Baud)) {
        std::fprintf(stderr,
                     "bench_targetboard: kestro-boardsim did not start (KESTRO_BIN_DIR?)\n");
        return 1;
    }

    SteadyClock clock;
    LoggingPrompt prompt;
    PosixSerialPort port(clock, dir.path());
    RSComm comm(clock, prompt, dir.path());
    MachineData data;
    QtFileDialogs dialogs;
    frmMDIMain window({comm, port, prompt, clock, data, dialogs, dir.path()});
    window.show();
    if (!QTest::qWaitForWindowActive(&window))
        std::fprintf(stderr, "bench_targetboard: the main window did not become active\n");

    frmTargetBoard board(window.util(), &window);
    if (!board.prepare(pdx.fileName()))
        return 1;
    board.show();
    if (!QTest::qWaitFor([&] { return board.FirstPassDone; }, 20000)) {
        std::fprintf(stderr, "bench_targetboard: no first pass (board not answering?)\n");
        return 1;
    }
    QTest::qWait(500);

    const qint64 reads0 = board.readCount();
    const qint64 turns0 = board.turnCount();
    const double cpu0 = bench::cpuSeconds();
    QElapsedTimer wall;
    wall.start();
    QTest::qWait(seconds * 1000);
    const double elapsed = double(wall.elapsed()) / 1000.0;
    const double cpu = bench::cpuSeconds() - cpu0;
    const qint64 reads = board.readCount() - reads0;
    const qint64 turns = board.turnCount() - turns0;

    // A byte read in read mode is two round trips of one byte each way:
    // 4 characters of 10 bits on the wire.
    const double wireReadsPerSecond = Baud / 10.0 / 4.0;
    const double readsPerSecond = double(reads) / elapsed;
    std::printf("Target board window online (R5110 project), board paced at %d baud, %.1f s\n",
                Baud, elapsed);
    std::printf("CPU use of the program: %.1f %% of one core\n", 100.0 * cpu / elapsed);
    std::printf("cycle turns: %lld (%.1f per second), register reads by the window: %lld "
                "(%.1f per second)\n",
                turns, double(turns) / elapsed, reads, readsPerSecond);
    std::printf("wire-time bound: %.0f reads per second; the window reached %.0f %% of it "
                "(the main window's background tick shares the link)\n",
                wireReadsPerSecond, 100.0 * readsPerSecond / wireReadsPerSecond);
    std::printf("still online: %s\n", comm.OnlineMode ? "yes" : "no");
    board.cmdOk_Click();
    QTest::qWait(100);
    comm.CloseRSComm();
    return 0;
}
