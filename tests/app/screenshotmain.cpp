// kestro-screenshot-main: shows the real main window online against the
// board on port 1 of a program folder and saves a picture of the screen.
// Run by tools/screenshot-main.sh under Xvfb; not a test.

#include "app/filedialogs.h"
#include "app/frmmdimain.h"
#include "comm/clock.h"
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

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addOptions({{"program-dir", "Program folder with Support/.", "DIR"},
                       {"out", "PNG to write.", "FILE"},
                       {"settle-ms", "Time online before the picture.", "MS", "4000"},
                       {"window", "Child window 0..3 to show.", "N", "0"}});
    parser.process(app);
    if (!parser.isSet("program-dir") || !parser.isSet("out"))
        qFatal("kestro-screenshot-main: --program-dir and --out are required");
    const QString programDir = parser.value("program-dir");
    SteadyClock clock;
    LoggingPrompt prompt;
    PosixSerialPort port(clock, programDir);
    RSComm comm(clock, prompt, programDir);
    MachineData data;
    QtFileDialogs dialogs;
    frmMDIMain window({comm, port, prompt, clock, data, dialogs, programDir});
    window.setGeometry(12, 12, 1000, 680);
    window.show();
    window.activateWindow();
    int status = 0;
    QTimer::singleShot(500, &window, [&] {
        window.mnuWindowForm[qBound(0, parser.value("window").toInt(), 3)]->trigger();
        window.mnuViewOnline->trigger();
        if (!comm.OnlineMode) {
            qWarning("kestro-screenshot-main: the board did not answer");
            status = 1;
        }
    });
    QTimer::singleShot(500 + parser.value("settle-ms").toInt(), &window, [&] {
        if (!window.screen()->grabWindow(0).save(parser.value("out"))) {
            qWarning("kestro-screenshot-main: cannot write %s", qPrintable(parser.value("out")));
            status = 1;
        }
        for (int panel = 1; panel <= 4; ++panel)
            std::printf("panel %d: %s\n", panel, qPrintable(window.panelText(panel)));
        std::printf("caption: %s\n", qPrintable(window.windowTitle()));
        QApplication::exit(status);
    });
    return app.exec();
}
