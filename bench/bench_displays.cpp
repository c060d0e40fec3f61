// CPU use of the program and refresh passes per second with the Main
// Display online, the simulated board paced at 9600 baud. Prints figures.
//
//   bench_displays [SECONDS]   (KESTRO_BIN_DIR names the folder of kestro-boardsim)

#include "app/filedialogs.h"
#include "app/frmmdimain.h"
#include "comm/clock.h"
#include "comm/operatorprompt.h"
#include "comm/posixserialport.h"
#include "comm/rscomm.h"
#include "displays/displayform.h"
#include "fakes/boardsimprocess.h"
#include "machine/machinedata.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/resource.h>

#include <cstdio>

namespace
{

class QuietPrompt final : public OperatorPrompt
{
public:
    PromptAnswer ask(const QString &title, const QString &text, PromptIcon,
                     PromptButtons buttons) override
    {
        std::fprintf(stderr, "[%s] %s\n", qPrintable(title), qPrintable(text));
        return buttons == PromptButtons::Ok ? PromptAnswer::Ok : PromptAnswer::Cancel;
    }
};

double cpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

} // namespace

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int seconds = argc > 1 ? QString::fromLocal8Bit(argv[1]).toInt() : 30;
    constexpr int Port = 69;

    QTemporaryDir dir;
    QDir().mkpath(dir.filePath(QStringLiteral("Support")));
    QFile cfg(dir.filePath(QStringLiteral("Support/RSPort.cfg")));
    if (!cfg.open(QIODevice::WriteOnly))
        return 1;
    cfg.write(QByteArray::number(Port) + ",9600\r\n");
    cfg.close();

    BoardSimProcess sim;
    if (!sim.start({QStringLiteral("--pace"), QStringLiteral("9600")}) ||
        !sim.linkAsPort(dir.path(), Port)) {
        std::fprintf(stderr, "bench_displays: kestro-boardsim did not start (KESTRO_BIN_DIR?)\n");
        return 1;
    }

    SteadyClock clock;
    QuietPrompt prompt;
    PosixSerialPort port(clock, dir.path());
    RSComm comm(clock, prompt, dir.path());
    MachineData data;
    QtFileDialogs dialogs;
    frmMDIMain window({comm, port, prompt, clock, data, dialogs, dir.path()});
    window.show();
    if (!QTest::qWaitForWindowActive(&window))
        std::fprintf(stderr, "bench_displays: the window did not become active\n");
    window.mnuViewOnline_Click();
    if (!comm.OnlineMode) {
        std::fprintf(stderr, "bench_displays: the board did not answer\n");
        return 1;
    }
    auto *display = qobject_cast<DisplayForm *>(window.currentChild());
    if (!display)
        return 1;
    if (!display->FormActive)
        display->Form_Activate();
    QTest::qWait(1000); // first pass and layout out of the way

    const qint64 passes0 = display->passCount();
    const qint64 reads0 = display->readCount();
    const double cpu0 = cpuSeconds();
    QElapsedTimer wall;
    wall.start();
    QTest::qWait(seconds * 1000);
    const double elapsed = double(wall.elapsed()) / 1000.0;
    const double cpu = cpuSeconds() - cpu0;
    const qint64 passes = display->passCount() - passes0;
    const qint64 reads = display->readCount() - reads0;

    std::printf("Main Display online, board paced at 9600 baud, %.1f s\n", elapsed);
    std::printf("CPU use of the program: %.1f %% of one core\n", 100.0 * cpu / elapsed);
    std::printf("refresh passes: %lld (%.2f per second), register reads by the window: %lld "
                "(%.1f per second)\n",
                passes, double(passes) / elapsed, reads, double(reads) / elapsed);
    std::printf("still online: %s\n", comm.OnlineMode ? "yes" : "no");
    display->Form_Unload();
    comm.CloseRSComm();
    return 0;
}
