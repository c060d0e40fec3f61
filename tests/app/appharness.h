#pragma once

// The real main window with its real link, driven by a test: a scripted
// prompt answers every message box, scripted file dialogs answer every file
// question, and the program folder is a fresh temporary one with the shipped
// Support files copied in.

#include "app/filedialogs.h"
#include "app/frmmdimain.h"
#include "comm/clock.h"
#include "comm/posixserialport.h"
#include "comm/rscomm.h"
#include "fakes/boardsimprocess.h"
#include "fakes/scriptedprompt.h"
#include "machine/machinedata.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QList>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QTabBar>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>

// Answers the file dialogs from a queue (nullopt = Cancel), recording each.
class ScriptedFileDialogs final : public FileDialogs
{
public:
    struct Asked {
        bool save;
        QString filter;
        QString initialPath;
    };

    std::optional<QString> openFile(QWidget *, const QString &filter,
                                    const QString &initialPath) override
    {
        return answer(false, filter, initialPath);
    }
    std::optional<QString> saveFile(QWidget *, const QString &filter,
                                    const QString &initialPath) override
    {
        return answer(true, filter, initialPath);
    }

    QList<std::optional<QString>> answers;
    QList<Asked> asked;

private:
    std::optional<QString> answer(bool save, const QString &filter, const QString &initialPath)
    {
        asked.append({save, filter, initialPath});
        return answers.isEmpty() ? std::nullopt : answers.takeFirst();
    }
};

// Forwards to a real port and keeps every byte sent and every open.
class RecordingPort final : public SerialPort
{
public:
    explicit RecordingPort(SerialPort &inner) : m_inner(inner) {}

    QByteArray sent;
    int openCount = 0;
    // May change a reply, seeing the bytes sent so far (a corrupted byte).
    std::function<int(const QByteArray &sent, int reply)> replyFilter;

    void setPortNumber(int number) override { m_inner.setPortNumber(number); }
    int portNumber() const override { return m_inner.portNumber(); }
    void setBaudRate(int baud) override { m_inner.setBaudRate(baud); }
    int baudRate() const override { return m_inner.baudRate(); }
    bool open() override
    {
        ++openCount;
        return m_inner.open();
    }
    void close() override { m_inner.close(); }
    bool isOpen() const override { return m_inner.isOpen(); }
    bool sendByte(quint8 value) override
    {
        sent.append(char(value));
        return m_inner.sendByte(value);
    }
    int bytesWaiting() override { return m_inner.bytesWaiting(); }
    int readByte() override
    {
        const int reply = m_inner.readByte();
        return replyFilter && reply >= 0 ? replyFilter(sent, reply) : reply;
    }
    void discardInput() override { m_inner.discardInput(); }
    bool waitForByte(qint64 deadlineMs) override { return m_inner.waitForByte(deadlineMs); }
    SerialError lastError() const override { return m_inner.lastError(); }
    QString deviceName() const override { return m_inner.deviceName(); }

private:
    SerialPort &m_inner;
};

// Chooses a menu item with the mouse as an operator does: the menu bar title,
// any submenu, then the item, each found by its object name (a menu by its
// own or its action's). The window must be shown.
inline bool chooseMenu(QMainWindow &w, const QStringList &path)
{
    QWidget *where = w.menuBar();
    QMenu *menu = nullptr;
    for (const QString &name : path) {
        QAction *action = nullptr;
        for (QAction *a : menu ? menu->actions() : w.menuBar()->actions())
            if (a->objectName() == name || (a->menu() && a->menu()->objectName() == name))
                action = a;
        if (!action)
            return false;
        const QRect r = menu ? menu->actionGeometry(action) : w.menuBar()->actionGeometry(action);
        QTest::mouseClick(where, Qt::LeftButton, {}, r.center());
        if (!action->menu())
            return true;
        menu = action->menu();
        if (!QTest::qWaitFor([menu] { return menu->isVisible(); }, 2000))
            return false;
        where = menu;
    }
    return false;
}

// The bytes that switch the board into write mode: no write without them.
inline bool wroteAnything(const RecordingPort &port)
{
    return port.sent.contains(QByteArray("\xFF\x02", 2));
}

inline void clickTab(QTabBar *bar, int index)
{
    QTest::mouseClick(bar, Qt::LeftButton, {}, bar->tabRect(index).center());
}

inline void clickInto(QLineEdit *txt)
{
    QTest::mouseClick(txt, Qt::LeftButton, {}, txt->rect().center());
}

// The offscreen platform has no window manager to hand the activation back
// after a popup or a modal window; do what one would.
inline bool backInFront(QWidget &w)
{
    w.activateWindow();
    return QTest::qWaitForWindowActive(&w);
}

// Window menu opened with Alt+W, item n picked by its mnemonic digit.
inline bool chooseWindow(frmMDIMain &w, int n)
{
    QTest::keyClick(&w, Qt::Key_W, Qt::AltModifier);
    if (!QTest::qWaitFor([&] { return w.mnuWindow->isVisible(); }))
        return false;
    QTest::keyClick(w.mnuWindow, Qt::Key(Qt::Key_0 + n));
    return QTest::qWaitFor([&] { return !w.mnuWindow->isVisible(); }) && backInFront(w);
}

// Runs body once a modal window of type T is in front, while the command
// that opened it is still running.
template <typename T> void whenModal(QObject *context, const std::function<void(T *)> &body)
{
    auto *poll = new QTimer(context);
    poll->setInterval(10);
    QObject::connect(poll, &QTimer::timeout, context, [poll, body] {
        if (auto *window = qobject_cast<T *>(QApplication::activeModalWidget())) {
            poll->stop();
            poll->deleteLater();
            body(window);
        }
    });
    poll->start();
}

struct AppHarness {
    QTemporaryDir dir;
    SteadyClock clock;
    ScriptedPrompt prompt;
    ScriptedFileDialogs dialogs;
    std::unique_ptr<PosixSerialPort> realPort;
    std::unique_ptr<RecordingPort> port;
    std::unique_ptr<RSComm> comm;
    MachineData data;
    std::unique_ptr<frmMDIMain> window;

    QString programDir() const { return dir.path(); }

    enum class BackgroundTimer { Stopped, Running };

    // Builds the program folder and the window. The window's own timer is
    // stopped unless asked for, so each test decides when a background tick
    // runs.
    bool start(BackgroundTimer timer = BackgroundTimer::Stopped)
    {
        // A fresh program folder with the shipped fault texts.
        const QString faults = QStringLiteral("Support/FaultErrCodes.txt");
        if (!dir.isValid() || !QDir(dir.path()).mkpath(QStringLiteral("Support")) ||
            !QFile::copy(QDir(BoardSimProcess::binDir()).filePath(faults), dir.filePath(faults)))
            return false;
        realPort = std::make_unique<PosixSerialPort>(clock, dir.path());
        port = std::make_unique<RecordingPort>(*realPort);
        comm = std::make_unique<RSComm>(clock, prompt, dir.path());
        window = std::make_unique<frmMDIMain>(
            frmMDIMain::Collaborators{*comm, *port, prompt, clock, data, dialogs, dir.path()});
        if (timer == BackgroundTimer::Stopped)
            window->tmrBackgroungUpdate->stop();
        return true;
    }

    // The same, with a simulator started with these options as port 1.
    bool startWithBoard(BoardSimProcess &sim,
                        const QStringList &simArgs = {QStringLiteral("--frozen")},
                        BackgroundTimer timer = BackgroundTimer::Stopped)
    {
        return start(timer) && sim.start(simArgs) && sim.linkAsPort(dir.path(), 1);
    }

    frmMDIMain &w() { return *window; }
    ModUtility &util() { return window->util(); }

    // Shown and active, at a size where every child window fits.
    bool show()
    {
        window->resize(1000, 720);
        window->show();
        return backInFront(*window);
    }
    // Shown against a simulator and taken online with F3.
    bool online(BoardSimProcess &sim, const QStringList &simArgs = {QStringLiteral("--frozen")},
                BackgroundTimer timer = BackgroundTimer::Stopped)
    {
        if (!startWithBoard(sim, simArgs, timer) || !show())
            return false;
        QTest::keyClick(window.get(), Qt::Key_F3);
        return comm->OnlineMode;
    }
};
