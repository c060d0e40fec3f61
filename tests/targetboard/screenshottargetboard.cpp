// kestro-screenshot-targetboard: opens the target board window online
// against the board on port 1 of a program folder, for a project file, and
// saves a picture of each of its four pages. Run by
// tools/screenshot-targetboard.sh under Xvfb; not a test.

#include "app/filedialogs.h"
#include "app/frmmdimain.h"
#include "comm/clock.h"
#include "comm/posixserialport.h"
#include "comm/rscomm.h"
#include "fakes/loggingprompt.h"
#include "machine/machinedata.h"
#include "targetboard/frmtargetboard.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QPixmap>
#include <QScreen>
#include <QTabWidget>
#include <QTimer>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addOptions({{"program-dir", "Program folder with Support/.", "DIR"},
                       {"out-dir", "Folder for page0.png .. page3.png.", "DIR"},
                       {"project", "Controller project file.", "FILE"}});
    parser.process(app);
    if (!parser.isSet("program-dir") || !parser.isSet("out-dir"))
        qFatal("kestro-screenshot-targetboard: --program-dir and --out-dir are required");
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
    frmTargetBoard board(window.util(), &window);
    if (!board.prepare(parser.value("project")))
        return 1;
    QTimer::singleShot(300, &board, [&] { board.show(); });
    // Each page once the first pass has run and the fields have been read.
    int page = 0;
    int status = 0;
    QTimer shots;
    QObject::connect(&shots, &QTimer::timeout, &board, [&] {
        if (!board.FirstPassDone)
            return;
        if (page > 0) {
            const QString file =
                QDir(parser.value("out-dir")).filePath(QStringLiteral("page%1.png").arg(page - 1));
            const bool saved = board.screen()->grabWindow(0).copy(board.frameGeometry()).save(file);
            std::printf("%s %s\n", saved ? "picture:" : "cannot write", qPrintable(file));
            status |= saved ? 0 : 1;
        }
        if (page == 4) {
            shots.stop();
            board.cmdOk_Click();
            QTimer::singleShot(300, [&] { QApplication::exit(status); });
        } else {
            board.tabTargetBoard->setCurrentIndex(page++);
        }
    });
    shots.start(1500);
    return app.exec();
}
