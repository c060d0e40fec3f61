#include "comm/clock.h"
#include "comm/posixserialport.h"
#include "comm/rscomm.h"
#include "filedialogs.h"
#include "frmmdimain.h"
#include "machine/machinedata.h"
#include "messageboxprompt.h"

#include <QApplication>

int main(int argc, char *argv[])
{
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
