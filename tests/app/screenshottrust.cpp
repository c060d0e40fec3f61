// kestro-screenshot-trust: the main window online against the board on port
// 1, with chosen replies corrupted on the way in, and pictures of what the
// operator then sees. Run by tools/screenshot-trust.sh under Xvfb; not a test.
//   --case upload: an upload with two registers not read, its message, then
//                  the save question of File > New.
//   --case stale:  the Main Display while the reads of Good Cans fail.

#include "app/messageboxprompt.h"
#include "appharness.h"
#include "displays/frmmain.h"
#include "displays/valuelabel.h"
#include "machine/registermap.h"

#include <QCommandLineParser>
#include <QMessageBox>
#include <QPixmap>
#include <QScreen>

namespace
{

// A wrong echo of a multi-byte register's second address byte fails the
// read without a link error.
QByteArray failedReadOf(const QString &address)
{
    const int a = RSComm::DecodeAddress(address).ByteAddress;
    return QByteArray(1, char((a / 256) & 0xFF)) + char(a % 256) + char(((a + 1) / 256) & 0xFF);
}

bool save(QWidget &window, const QString &path)
{
    const bool ok = window.screen()->grabWindow(0).save(path);
    std::printf("%s %s\n", ok ? "picture:" : "cannot write", qPrintable(path));
    return ok;
}

// Pictures the next message box once it is up and painted, then closes it.
void pictureTheBox(QWidget &window, const QString &path)
{
    whenModal<QMessageBox>(&window, [&window, path](QMessageBox *box) {
        QTimer::singleShot(400, box, [&window, path, box] {
            save(window, path);
            std::printf("box: %s\n", qPrintable(box->text().replace(u'\n', QStringLiteral(" / "))));
            std::fflush(stdout);
            box->reject();
        });
    });
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addOptions({{"program-dir", "Program folder.", "DIR"},
                       {"out", "PNG prefix.", "PREFIX"},
                       {"case", "upload or stale.", "CASE"}});
    parser.process(app);
    const QString programDir = parser.value("program-dir");
    const QString out = parser.value("out");
    const bool upload = parser.value("case") == u"upload";

    SteadyClock clock;
    MessageBoxPrompt prompt;
    PosixSerialPort realPort(clock, programDir);
    RecordingPort port(realPort);
    RSComm comm(clock, prompt, programDir);
    MachineData data;
    QtFileDialogs dialogs;
    frmMDIMain window({comm, port, prompt, clock, data, dialogs, programDir});
    window.setGeometry(12, 12, 1000, 680);
    window.show();
    window.activateWindow();

    const QList<QByteArray> triggers =
        upload ? QList<QByteArray>{failedReadOf("W1092"), failedReadOf("W1096")}
               : QList<QByteArray>{failedReadOf(defaultAddress(Item::CurShiftGoodCans))};
    bool corrupting = false;
    port.replyFilter = [&](const QByteArray &sent, int reply) {
        for (const QByteArray &t : triggers)
            if (corrupting && sent.endsWith(t))
                return reply ^ 0x45;
        return reply;
    };
    int status = 0;
    QTimer::singleShot(500, &window, [&] {
        window.mnuViewOnline->trigger();
        if (!comm.OnlineMode) {
            qWarning("kestro-screenshot-trust: the board did not answer");
            QApplication::exit(1);
        } else if (upload) {
            corrupting = true;
            pictureTheBox(window, out + "-message.png");
            window.mnuFileUploadData_Click(3);
            corrupting = false;
            std::printf("caption: %s\n", qPrintable(window.windowTitle()));
            pictureTheBox(window, out + "-save-question.png");
            window.mnuFileNew_Click();
            QApplication::exit(0);
        } else {
            // A few passes of good values, then every read of Good Cans fails.
            QTimer::singleShot(2500, &window, [&] { corrupting = true; });
            QTimer::singleShot(6000, &window, [&] {
                status = save(window, out + ".png") ? 0 : 1;
                if (auto *display = qobject_cast<frmMain *>(window.currentChild()))
                    std::printf("good cans: %s, tip: %s\n",
                                qPrintable(display->lblDisplay[3]->text()),
                                qPrintable(display->lblDisplay[3]->toolTip()));
                QApplication::exit(status);
            });
        }
    });
    return app.exec();
}
