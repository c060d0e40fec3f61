// kestro-boardsim: a T6800 target board running the decorator's user program,
// on a pseudo-terminal, for trying the utility without the machine.

#include "boardmodel.h"
#include "boardserver.h"
#include "machinesim.h"
#include "simsettings.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDateTime>

#include <cstdio>
#include <optional>

namespace
{

std::optional<int> numberOption(const QCommandLineParser &parser, const QString &name, int min)
{
    bool ok = false;
    const int value = parser.value(name).toInt(&ok);
    if (!ok || value < min) {
        std::fprintf(stderr, "kestro-boardsim: --%s needs a whole number of at least %d\n",
                     qPrintable(name), min);
        return std::nullopt;
    }
    return value;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("kestro-boardsim"));
    QCoreApplication::setApplicationVersion(QStringLiteral(KESTRO_VERSION));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Simulated T6800 target board on a pseudo-terminal. The first line on stdout is the\n"
        "device path; then stdin takes commands (set ADDR VALUE, get ADDR, snapshot, changes,\n"
        "silent on|off, "
        "wrong-echo N, misheard N, garbage N, wrong-echo-at N, delay MS, pace BAUD, frozen on|off, mode,\n"
        "pls busy MS|channel N|config, program-wrong-sum N, program-silent N, program,\n"
        "close, quit)."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption link(QStringLiteral("link"),
                                  QStringLiteral("Also make PATH a symbolic link to the device."),
                                  QStringLiteral("PATH"));
    const QCommandLineOption pace(
        QStringLiteral("pace"),
        QStringLiteral("Take the wire time of the byte received and of the reply at BAUD."),
        QStringLiteral("BAUD"));
    const QCommandLineOption trace(QStringLiteral("trace"),
                                   QStringLiteral("Write every byte both ways to FILE."),
                                   QStringLiteral("FILE"));
    const QCommandLineOption silent(QStringLiteral("silent"), QStringLiteral("Never answer."));
    const QCommandLineOption wrongEcho(QStringLiteral("wrong-echo-every"),
                                       QStringLiteral("Answer every Nth echo wrongly (the board keeps its place)."),
                                       QStringLiteral("N"));
    const QCommandLineOption wrongEchoDrops(
        QStringLiteral("wrong-echo-drops"),
        QStringLiteral("With --wrong-echo-every: forget the transaction at a wrong echo (nothing\n"
                       "stored) instead of going on as a real board does."));
    const QCommandLineOption misheard(
        QStringLiteral("misheard-every"),
        QStringLiteral("Take every Nth address or data byte with one bit flipped, and echo it."),
        QStringLiteral("N"));
    const QCommandLineOption garbage(
        QStringLiteral("garbage-every"),
        QStringLiteral("Answer a random wrong byte on every Nth exchange."), QStringLiteral("N"));
    const QCommandLineOption wrongAt(QStringLiteral("wrong-echo-at"),
                                     QStringLiteral("Answer wrongly on exchange N only."),
                                     QStringLiteral("N"));
    const QCommandLineOption delay(QStringLiteral("delay-ms"),
                                   QStringLiteral("Delay each reply by N milliseconds."),
                                   QStringLiteral("N"));
    const QCommandLineOption closeAfter(
        QStringLiteral("close-after"),
        QStringLiteral("Vanish on receiving the Nth byte (it is not answered)."),
        QStringLiteral("N"));
    const QCommandLineOption linger(
        QStringLiteral("linger"),
        QStringLiteral("After vanishing, go on taking console commands (get, changes)."));
    const QCommandLineOption frozen(QStringLiteral("frozen"),
                                    QStringLiteral("Keep the machine still (values change only "
                                                   "by commands)."));
    const QCommandLineOption defaults(QStringLiteral("defaults"),
                                      QStringLiteral("Start the set-up parameters at their "
                                                     "factory defaults."));
    const QCommandLineOption plsBusy(
        QStringLiteral("pls-busy-ms"),
        QStringLiteral("Keep the limit switch busy N ms after each programming exchange."),
        QStringLiteral("N"));
    const QCommandLineOption programWrongSum(
        QStringLiteral("program-wrong-sum"),
        QStringLiteral("Answer record N of a program load with a wrong sum."), QStringLiteral("N"));
    const QCommandLineOption programSilent(
        QStringLiteral("program-silent"),
        QStringLiteral("Do not answer record N of a program load."), QStringLiteral("N"));
    const QCommandLineOption adapterLatency(
        QStringLiteral("adapter-latency-ms"),
        QStringLiteral("Hold each reply until the next N ms tick, as a USB adapter's latency "
                       "timer does."),
        QStringLiteral("N"));
    const QCommandLineOption loopback(
        QStringLiteral("loopback"),
        QStringLiteral("Be a loopback plug: every byte comes back unchanged."));
    const QCommandLineOption boardSpeed(
        QStringLiteral("board-speed"),
        QStringLiteral("Answer only when the port was opened at BAUD (9600 or 19200); at another "
                       "speed the replies are noise."),
        QStringLiteral("BAUD"));
    parser.addOptions({link, pace, trace, silent, wrongEcho, wrongEchoDrops, misheard, garbage,
                       wrongAt, delay, closeAfter, linger, frozen, defaults, plsBusy,
                       programWrongSum, programSilent, adapterLatency, loopback, boardSpeed});
    parser.process(app);
    if (!parser.positionalArguments().isEmpty()) {
        std::fprintf(stderr, "kestro-boardsim: unexpected argument %s\n",
                     qPrintable(parser.positionalArguments().front()));
        return 2;
    }

    SimSettings settings;
    settings.silent = parser.isSet(silent);
    settings.frozen = parser.isSet(frozen);
    settings.loopback = parser.isSet(loopback);
    if (parser.isSet(boardSpeed)) {
        settings.boardSpeed = parser.value(boardSpeed).toInt();
        if (settings.boardSpeed != 9600 && settings.boardSpeed != 19200) {
            std::fprintf(stderr, "kestro-boardsim: --board-speed is 9600 or 19200\n");
            return 2;
        }
    }
    BoardServer::Options serverOptions;
    serverOptions.linkPath = parser.value(link);
    serverOptions.tracePath = parser.value(trace);
    serverOptions.linger = parser.isSet(linger);
    int wrongEchoEvery = 0;
    int misheardEvery = 0;
    int plsBusyMs = PlsModel::DefaultBusyMs;
    int garbageEvery = 0;
    int wrongAnswerAt = 0;
    int wrongSumRecord = 0;
    int silentRecord = 0;
    struct NumberOption {
        const QCommandLineOption &option;
        int min;
        int *target;
    };
    for (const NumberOption &o :
         {NumberOption{pace, 1, &settings.paceBaud}, NumberOption{delay, 0, &settings.delayMs},
          NumberOption{wrongEcho, 0, &wrongEchoEvery}, NumberOption{misheard, 0, &misheardEvery},
          NumberOption{garbage, 0, &garbageEvery},
          NumberOption{wrongAt, 0, &wrongAnswerAt},
          NumberOption{closeAfter, 1, &serverOptions.closeAfter},
          NumberOption{plsBusy, 0, &plsBusyMs}, NumberOption{programWrongSum, 0, &wrongSumRecord},
          NumberOption{programSilent, 0, &silentRecord},
          NumberOption{adapterLatency, 0, &settings.adapterLatencyMs}}) {
        if (!parser.isSet(o.option))
            continue;
        const auto value = numberOption(parser, o.option.names().front(), o.min);
        if (!value)
            return 2;
        *o.target = *value;
    }

    BoardModel board;
    board.setWrongEchoEvery(wrongEchoEvery, parser.isSet(wrongEchoDrops));
    board.setMisheardEvery(misheardEvery);
    board.limitSwitch().setBusyMs(plsBusyMs);
    board.setGarbageEvery(garbageEvery);
    board.setWrongAnswerAt(wrongAnswerAt);
    board.programMemory().setWrongSumOnRecord(wrongSumRecord);
    board.programMemory().setSilentOnRecord(silentRecord);
    MachineSim machine(board, QDateTime::currentDateTime());
    machine.loadStartValues(parser.isSet(defaults) ? MachineSim::SetupValues::Factory
                                                   : MachineSim::SetupValues::Distinct);

    BoardServer server(board, machine, settings, serverOptions);
    QString error;
    if (!server.open(&error)) {
        std::fprintf(stderr, "kestro-boardsim: %s\n", qPrintable(error));
        return 1;
    }
    std::printf("%s\n", qPrintable(server.slavePath()));
    std::fflush(stdout);
    return server.run();
}
