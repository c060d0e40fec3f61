// kestro-screenshot-main: shows the real main window online against the
// board on port 1 of a program folder and saves a picture of the screen.
// Run by tools/screenshot-main.sh under Xvfb; not a test.

#include "app/filedialogs.h"
#include "app/frmmdimain.h"
#include "comm/clock.h"
#include "comm/operatorprompt.h"
#include "comm/posixserialport.h"
#include "comm/rscomm.h"
#include "fakes/loggingprompt.h"
#include "machine/machinedata.h"

#include <QAction>
#include <QApplication>
#include <QCommandLineParser>
#include <QPixmap>
#include <QScreen>
#include <QTimer>

#include <cstdio>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption dirOption(QStringLiteral("program-dir"),
                                       QStringLiteral("Program folder with Support/."),
                                       QStringLiteral("DIR"));
    const QCommandLineOption outOption(QStringLiteral("out"), QStringLiteral("PNG to write."),
                                       QStringLiteral("FILE"));
    const QCommandLineOption settleOption(QStringLiteral("settle-ms"),
                                          QStringLiteral("Time online before the picture."),
                                          QStringLiteral("MS"), QStringLiteral("4000"));
    const QCommandLineOption windowOption(QStringLiteral("window"),
                                          QStringLiteral("Child window 0..3 to show."),
                                          QStringLiteral("N"), QStringLiteral("0"));
    parser.addHelpOption();
    parser.addOptions({dirOption, outOption, settleOption, windowOption});
    parser.process(app);
    if (!parser.isSet(dirOption) || !parser.isSet(outOption)) {
        std::fprintf(stderr, "kestro-screenshot-main: --program-dir and --out are required\n");
        return 2;
    }
    const QString programDir = parser.value(dirOption);

    SteadyClock clock;
    LoggingPrompt prompt;
    PosixSerialPort port(clock, programDir);
    RSComm comm(clock, prompt, programDir);
    MachineData data;
    QtFileDialogs dialogs;
    frmMDIMain window({comm, port, prompt, clock, data, dialogs, programDir});
    window.resize(1000, 680);
    window.move(12, 12);
    window.show();
    window.activateWindow();

    int status = 0;
    QTimer::singleShot(500, &window, [&] {
        window.mnuWindowForm[qBound(0, parser.value(windowOption).toInt(), 3)]->trigger();
        window.mnuViewOnline->trigger();
        if (!comm.OnlineMode) {
            std::fprintf(stderr, "kestro-screenshot-main: the board did not answer\n");
            status = 1;
        }
    });
    QTimer::singleShot(500 + parser.value(settleOption).toInt(), &window, [&] {
        const QPixmap shot = window.screen()->grabWindow(0);
        if (!shot.save(parser.value(outOption))) {
            std::fprintf(stderr, "kestro-screenshot-main: cannot write %s\n",
                         qPrintable(parser.value(outOption)));
            status = 1;
        }
        for (int panel = 1; panel <= 4; ++panel)
            std::printf("panel %d: %s\n", panel, qPrintable(window.panelText(panel)));
        std::printf("caption: %s\n", qPrintable(window.windowTitle()));
        QApplication::exit(status);
    });
    return app.exec();
}
