// kestro-screenshot-trust: the main window online against the board on
// port 1, with chosen replies corrupted on the way in, and pictures of what
// the operator then sees. Run by tools/screenshot-trust.sh under Xvfb; not a
// test.
//   --case upload: an upload with two registers not read, its message, then
//                  the save question of File > New.
//   --case stale:  the Main Display while the reads of Good Cans fail.

#include "app/frmmdimain.h"
#include "app/messageboxprompt.h"
#include "appharness.h"
#include "displays/frmmain.h"
#include "displays/valuelabel.h"
#include "machine/registermap.h"

#include <QCommandLineParser>
#include <QMessageBox>
#include <QPixmap>
#include <QScreen>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace
{

// The reply to the second address byte of a multi-byte register: a wrong
// echo there fails the read without a link error.
QByteArray failedReadOf(const QString &address)
{
    const int a = RSComm::DecodeAddress(address).ByteAddress;
    QByteArray bytes;
    bytes.append(char((a / 256) & 0xFF)).append(char(a % 256)).append(char(((a + 1) / 256) & 0xFF));
    return bytes;
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
    auto *poll = new QTimer(&window);
    poll->setInterval(200);
    QObject::connect(poll, &QTimer::timeout, &window, [&window, path, poll] {
        auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        if (!box || !box->isVisible())
            return;
        poll->stop();
        poll->deleteLater();
        QTimer::singleShot(400, box, [&window, path, box] {
            save(window, path);
            std::printf("box: %s\n", qPrintable(box->text().replace(u'\n', u" / "_s)));
            std::fflush(stdout);
            box->reject();
        });
    });
    poll->start();
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption dirOption(u"program-dir"_s, u"Program folder."_s, u"DIR"_s);
    const QCommandLineOption outOption(u"out"_s, u"PNG prefix."_s, u"PREFIX"_s);
    const QCommandLineOption caseOption(u"case"_s, u"upload or stale."_s, u"CASE"_s);
    parser.addOptions({dirOption, outOption, caseOption});
    parser.process(app);
    const QString programDir = parser.value(dirOption);
    const QString out = parser.value(outOption);
    const bool upload = parser.value(caseOption) == u"upload";

    SteadyClock clock;
    MessageBoxPrompt prompt;
    PosixSerialPort realPort(clock, programDir);
    RecordingPort port(realPort);
    RSComm comm(clock, prompt, programDir);
    MachineData data;
    QtFileDialogs dialogs;
    frmMDIMain window({comm, port, prompt, clock, data, dialogs, programDir});
    window.resize(1000, 680);
    window.move(12, 12);
    window.show();
    window.activateWindow();

    const QList<QByteArray> triggers =
        upload ? QList<QByteArray>{failedReadOf(u"W1092"_s), failedReadOf(u"W1096"_s)}
               : QList<QByteArray>{failedReadOf(defaultAddress(Item::CurShiftGoodCans))};
    bool corrupting = false;
    port.replyFilter = [&](const QByteArray &sent, int reply) {
        for (const QByteArray &t : triggers) {
            if (corrupting && sent.endsWith(t))
                return reply ^ 0x45;
        }
        return reply;
    };

    int status = 0;
    QTimer::singleShot(500, &window, [&] {
        window.mnuViewOnline->trigger();
        if (!comm.OnlineMode) {
            std::fprintf(stderr, "kestro-screenshot-trust: the board did not answer\n");
            status = 1;
            QApplication::exit(1);
            return;
        }
        if (upload) {
            corrupting = true;
            pictureTheBox(window, out + u"-message.png"_s);
            window.mnuFileUploadData_Click(3);
            corrupting = false;
            std::printf("caption: %s\n", qPrintable(window.windowTitle()));
            std::fflush(stdout);
            pictureTheBox(window, out + u"-save-question.png"_s);
            window.mnuFileNew_Click();
            QApplication::exit(status);
        } else {
            // A few passes of good values, then every read of Good Cans fails.
            QTimer::singleShot(2500, &window, [&] { corrupting = true; });
            QTimer::singleShot(6000, &window, [&] {
                if (!save(window, out + u".png"_s))
                    status = 1;
                auto *display = qobject_cast<frmMain *>(window.currentChild());
                if (display)
                    std::printf("good cans: %s, tip: %s\n",
                                qPrintable(display->lblDisplay[3]->text()),
                                qPrintable(display->lblDisplay[3]->toolTip()));
                QApplication::exit(status);
            });
        }
    });
    return app.exec();
}
