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
        "device path; then stdin takes commands (set ADDR VALUE, get ADDR, silent on|off,\n"
        "wrong-echo N, delay MS, pace BAUD, frozen on|off, mode, close, quit)."));
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
                                       QStringLiteral("Answer every Nth echo wrongly."),
                                       QStringLiteral("N"));
    const QCommandLineOption delay(QStringLiteral("delay-ms"),
                                   QStringLiteral("Delay each reply by N milliseconds."),
                                   QStringLiteral("N"));
    const QCommandLineOption closeAfter(
        QStringLiteral("close-after"),
        QStringLiteral("Vanish on receiving the Nth byte (it is not answered)."),
        QStringLiteral("N"));
    const QCommandLineOption frozen(QStringLiteral("frozen"),
                                    QStringLiteral("Keep the machine still (values change only "
                                                   "by commands)."));
    const QCommandLineOption defaults(QStringLiteral("defaults"),
                                      QStringLiteral("Start the set-up parameters at their "
                                                     "factory defaults."));
    parser.addOptions({link, pace, trace, silent, wrongEcho, delay, closeAfter, frozen, defaults});
    parser.process(app);
    if (!parser.positionalArguments().isEmpty()) {
        std::fprintf(stderr, "kestro-boardsim: unexpected argument %s\n",
                     qPrintable(parser.positionalArguments().front()));
        return 2;
    }

    SimSettings settings;
    settings.silent = parser.isSet(silent);
    settings.frozen = parser.isSet(frozen);
    BoardServer::Options serverOptions;
    serverOptions.linkPath = parser.value(link);
    serverOptions.tracePath = parser.value(trace);
    int wrongEchoEvery = 0;
    struct NumberOption {
        const QCommandLineOption &option;
        int min;
        int *target;
    };
    for (const NumberOption &o :
         {NumberOption{pace, 1, &settings.paceBaud}, NumberOption{delay, 0, &settings.delayMs},
          NumberOption{wrongEcho, 0, &wrongEchoEvery},
          NumberOption{closeAfter, 1, &serverOptions.closeAfter}}) {
        if (!parser.isSet(o.option))
            continue;
        const auto value = numberOption(parser, o.option.names().front(), o.min);
        if (!value)
            return 2;
        *o.target = *value;
    }

    BoardModel board;
    board.setWrongEchoEvery(wrongEchoEvery);
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
