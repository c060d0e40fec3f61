#include "comm/clock.h"
#include "comm/posixserialport.h"
#include "comm/rscomm.h"
#include "filedialogs.h"
#include "frmmdimain.h"
#include "machine/machinedata.h"
#include "messageboxprompt.h"

#include <QApplication>

#include <cstdio>
#include <cstring>

int main(int argc, char *argv[])
{
    // The program takes no arguments; these two answer before any window
    // (or display) is needed.
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--version") == 0) {
            std::printf("kestro 2.1.3\n");
            return 0;
        }
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            std::printf("Usage: kestro [-h|--help] [--version]\n\n"
                        "Set-up and monitoring of the T6800 controller of the blow-off and\n"
                        "colour-control station, over the serial link. The port and speed\n"
                        "are set in Edit > Comm Port and kept in RSPort.cfg: in\n"
                        "Support/ beside the program when that folder may be written, else\n"
                        "in ~/.config/kestro. No other argument is read.\n");
            return 0;
        }
    }
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("KESTRO"));
    QApplication::setApplicationVersion(QStringLiteral("2.1.3"));
    // The program keeps its data files beside itself (Support/, Help/).
    const QString programDir = QApplication::applicationDirPath();

    SteadyClock clock;
    MessageBoxPrompt prompt;
    PosixSerialPort commPort(clock, programDir);
    RSComm rsComm(clock, prompt, programDir);
    MachineData data;
    QtFileDialogs fileDialogs;

    frmMDIMain window({rsComm, commPort, prompt, clock, data, fileDialogs, programDir});
    // Shut-down ends the program at once, with no further window events.
    QObject::connect(&window, &frmMDIMain::programEnded, &app, [] { QApplication::exit(0); });
    app.setQuitOnLastWindowClosed(false);
    window.show();
    return app.exec();
}
