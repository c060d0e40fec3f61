// kestro-screenshot-targetboard: opens the target board window online
// against the board on port 1 of a program folder, for a project file, and
// saves a picture of each of its four pages. Run by
// tools/screenshot-targetboard.sh under Xvfb; not a test.

#include "app/filedialogs.h"
#include "app/frmmdimain.h"
#include "comm/clock.h"
#include "comm/operatorprompt.h"
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

#include <cstdio>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption dirOption(QStringLiteral("program-dir"),
                                       QStringLiteral("Program folder with Support/."),
                                       QStringLiteral("DIR"));
    const QCommandLineOption outOption(QStringLiteral("out-dir"),
                                       QStringLiteral("Folder for page0.png .. page3.png."),
                                       QStringLiteral("DIR"));
    const QCommandLineOption projectOption(QStringLiteral("project"),
                                           QStringLiteral("Controller project file."),
                                           QStringLiteral("FILE"));
    parser.addHelpOption();
    parser.addOptions({dirOption, outOption, projectOption});
    parser.process(app);
    if (!parser.isSet(dirOption) || !parser.isSet(outOption)) {
        std::fprintf(stderr,
                     "kestro-screenshot-targetboard: --program-dir and --out-dir are required\n");
        return 2;
    }
    const QString programDir = parser.value(dirOption);
    const QDir outDir(parser.value(outOption));

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

    frmTargetBoard board(window.util(), &window);
    if (!board.prepare(parser.value(projectOption)))
        return 1;
    int status = 0;
    QTimer::singleShot(300, &board, [&] { board.show(); });

    // Each page once the first pass has run and the fields have been read.
    int page = 0;
    QTimer shots;
    shots.setInterval(1500);
    QObject::connect(&shots, &QTimer::timeout, &board, [&] {
        if (!board.FirstPassDone)
            return;
        if (page > 0) {
            const QPixmap shot = board.screen()->grabWindow(0).copy(board.frameGeometry());
            const QString file = outDir.filePath(QStringLiteral("page%1.png").arg(page - 1));
            if (!shot.save(file)) {
                std::fprintf(stderr, "cannot write %s\n", qPrintable(file));
                status = 1;
            }
            std::printf("%s\n", qPrintable(file));
        }
        if (page == 4) {
            board.cmdOk_Click();
            QTimer::singleShot(300, [&] { QApplication::exit(status); });
            shots.stop();
            return;
        }
        board.tabTargetBoard->setCurrentIndex(page++);
    });
    shots.start();
    return app.exec();
}
