// CPU use of the program, exchanges and paint cycles per second with each
// operator window online, the simulated board paced at 9600 baud. Prints
// figures; the exchanges per second stand beside the most a cable carries.
//
//   bench_displays [SECONDS]   (per window; KESTRO_BIN_DIR names the folder of kestro-boardsim)

#include "app/filedialogs.h"
#include "app/frmmdimain.h"
#include "benchfigures.h"
#include "comm/clock.h"
#include "comm/operatorprompt.h"
#include "comm/posixserialport.h"
#include "comm/rscomm.h"
#include "countingport.h"
#include "displays/displayform.h"
#include "fakes/boardsimprocess.h"
#include "fakes/loggingprompt.h"
#include "machine/machinedata.h"
#include "machine/registermap.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <cstdio>

namespace
{

// Counts the paint cycles of one top-level window: a burst of paint events
// to its widgets, apart from the next burst by more than a few milliseconds.
class PaintCounter final : public QObject
{
public:
    explicit PaintCounter(QWidget *window) : m_window(window) { m_sincePaint.start(); }
    qint64 count = 0;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint && watched->isWidgetType() &&
            static_cast<QWidget *>(watched)->window() == m_window) {
            if (m_sincePaint.elapsed() > 5)
                ++count;
            m_sincePaint.start();
        }
        return false;
    }

private:
    QWidget *m_window;
    QElapsedTimer m_sincePaint;
};

// Runs the event loop as the program does (QTest::qWait would sleep in
// 10 ms steps between its turns, which the program never does).
void runEventLoop(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

// Where the CPU of an interval went, per exchange.
struct Breakdown {
    double user0 = bench::userSeconds();
    bench::Switches switches0 = bench::contextSwitches();

    void print(double cpu, qint64 exchanges) const
    {
        if (exchanges <= 0)
            return;
        const double user = bench::userSeconds() - user0;
        const bench::Switches switches = bench::contextSwitches();
        const double n = double(exchanges);
        std::printf("  per exchange: %.1f us in the program, %.1f us in the kernel; context "
                    "switches %.2f waiting, %.2f preempted\n",
                    1e6 * user / n, 1e6 * (cpu - user) / n,
                    double(switches.voluntary - switches0.voluntary) / n,
                    double(switches.involuntary - switches0.involuntary) / n);
    }
};

const char *const WindowNames[] = {"Main Display", "Set-up Parameters", "Shift Data", "I/O States"};

} // namespace

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int seconds = argc > 1 ? QString::fromLocal8Bit(argv[1]).toInt() : 10;
    constexpr int Port = 69;
    constexpr int Baud = 9600;
    // One exchange puts two bytes of ten bits on the cable.
    constexpr double MaxExchangesPerSecond = Baud / 20.0;

    QTemporaryDir dir;

    BoardSimProcess sim;
    if (!sim.start({QStringLiteral("--pace"), QString::number(Baud)}) ||
        !sim.useAsPort(dir.path(), Port, Baud)) {
        std::fprintf(stderr, "bench_displays: kestro-boardsim did not start (KESTRO_BIN_DIR?)\n");
        return 1;
    }

    SteadyClock clock;
    LoggingPrompt prompt;
    PosixSerialPort posixPort(clock, dir.path());
    CountingPort port(posixPort);
    RSComm comm(clock, prompt, dir.path());
    MachineData data;
    QtFileDialogs dialogs;
    frmMDIMain window({comm, port, prompt, clock, data, dialogs, dir.path()});
    window.show();
    if (!QTest::qWaitForWindowActive(&window))
        std::fprintf(stderr, "bench_displays: the window did not become active\n");
    PaintCounter paints(&window);
    app.installEventFilter(&paints);
    window.mnuViewOnline_Click();
    if (!comm.OnlineMode) {
        std::fprintf(stderr, "bench_displays: the board did not answer\n");
        return 1;
    }
    bool honest = true;
    bench::printLoad();
    std::printf("board paced at %d baud, %d s a window\n", Baud, seconds);

    // The link alone: the same kind of reads in a loop, no window cycle and
    // no event loop. What a window costs above this is its own work.
    double linkPerExchange = 0;
    {
        const QString addresses[] = {QString(LiveRegister::MachineCPM),
                                     QString(LiveRegister::Appl1RollRPM),
                                     QString(LiveRegister::Appl2RollRPM), QStringLiteral("D1100")};
        const qint64 exchanges0 = port.sent();
        const double cpu0 = bench::cpuSeconds();
        const Breakdown breakdown;
        QElapsedTimer wall;
        wall.start();
        for (int i = 0; wall.elapsed() < qMin(seconds, 5) * 1000 && !comm.CommError; ++i)
            comm.RSRead(addresses[i % 4]);
        const double elapsed = double(wall.elapsed()) / 1000.0;
        const double cpu = bench::cpuSeconds() - cpu0;
        const qint64 exchanges = port.sent() - exchanges0;
        linkPerExchange = exchanges > 0 ? 1e6 * cpu / double(exchanges) : 0.0;
        std::printf("The link alone (register reads in a loop, no window):\n"
                    "  CPU %.2f %% of one core, %.1f us per exchange\n",
                    100.0 * cpu / elapsed, linkPerExchange);
        breakdown.print(cpu, exchanges);
        std::printf("  ");
        honest &= bench::printAgainstCeiling("exchanges", double(exchanges) / elapsed,
                                             MaxExchangesPerSecond);
    }

    for (int index = 0; index < 4; ++index) {
        window.mnuWindowForm_Click(index);
        auto *display = qobject_cast<DisplayForm *>(window.currentChild());
        if (!display)
            return 1;
        if (!display->FormActive)
            display->Form_Activate();
        runEventLoop(1000); // first pass and layout out of the way

        const qint64 passes0 = display->passCount();
        const qint64 exchanges0 = port.sent();
        const qint64 paints0 = paints.count;
        const double cpu0 = bench::cpuSeconds();
        const Breakdown breakdown;
        QElapsedTimer wall;
        wall.start();
        runEventLoop(seconds * 1000);
        const double elapsed = double(wall.elapsed()) / 1000.0;
        const double cpu = bench::cpuSeconds() - cpu0;
        const qint64 passes = display->passCount() - passes0;
        const qint64 exchanges = port.sent() - exchanges0;
        const qint64 painted = paints.count - paints0;

        std::printf("%s online:\n", WindowNames[index]);
        const double perExchange = exchanges > 0 ? 1e6 * cpu / double(exchanges) : 0.0;
        std::printf("  CPU use of the program: %.2f %% of one core (target at most 1 %%: %s); "
                    "%.1f us per exchange, the window's own work %.1f us of it\n",
                    100.0 * cpu / elapsed, cpu / elapsed <= 0.01 ? "met" : "NOT met", perExchange,
                    perExchange - linkPerExchange);
        std::printf("  ");
        honest &= bench::printAgainstCeiling("exchanges", double(exchanges) / elapsed,
                                             MaxExchangesPerSecond);
        std::printf("  refresh passes %.2f per second, paint cycles %.1f per second\n",
                    double(passes) / elapsed, double(painted) / elapsed);
        breakdown.print(cpu, exchanges);
        if (!comm.OnlineMode) {
            std::printf("ERROR: the system went offline\n");
            honest = false;
        }
    }
    bench::printLoad();
    if (auto *display = qobject_cast<DisplayForm *>(window.currentChild()))
        display->Form_Unload();
    comm.CloseRSComm();
    return honest ? 0 : 2;
}
