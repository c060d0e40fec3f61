#pragma once

// An operator window on its own, with the real link to the simulated board
// on a pty and the shell's module; a scripted prompt answers every box.

#include "app/modutility.h"
#include "comm/clock.h"
#include "comm/posixserialport.h"
#include "comm/registerlink.h"
#include "comm/rscomm.h"
#include "displays/displayform.h"
#include "fakes/boardsimprocess.h"
#include "fakes/scriptedprompt.h"
#include "machine/machinedata.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLocale>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

struct DisplayFixture {
    QTemporaryDir dir;
    SteadyClock clock;
    ScriptedPrompt prompt;
    std::unique_ptr<PosixSerialPort> port;
    std::unique_ptr<RSComm> comm;
    MachineData data;
    std::unique_ptr<ModUtility> util;
    BoardSimProcess sim;
    int portNumber = 0;

    // Starts the frozen simulator and points COM<n> of a fresh program
    // folder at it.
    bool start(int number, const QStringList &simArgs = {})
    {
        portNumber = number;
        // Counts are checked with the grouping of this locale.
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
        if (!dir.isValid())
            return false;
        port = std::make_unique<PosixSerialPort>(clock, dir.path());
        comm = std::make_unique<RSComm>(clock, prompt, dir.path());
        util = std::make_unique<ModUtility>(*comm, *port, prompt, clock, data, dir.path());
        util->InitializeGlobals();
        return sim.start(QStringList{QStringLiteral("--frozen")} + simArgs) &&
               sim.useAsPort(dir.path(), number);
    }

    void stop() { sim.stop(); }

    bool set(const QString &address, qint64 value)
    {
        return sim.command(QStringLiteral("set %1 %2").arg(address).arg(value)) == u"ok";
    }
    QString get(const QString &address) { return sim.command(QStringLiteral("get ") + address); }

    bool goOnline()
    {
        comm->OnlineMode = true;
        util->ApplyCommMode();
        return comm->OnlineMode;
    }
    void goOffline()
    {
        comm->OnlineMode = false;
        util->ApplyCommMode();
    }

    // Shows the window in front and starts its cycle, as the main window does.
    // A fresh window of the kind under test, active and cycling.
    template <class Form> Form &open(std::unique_ptr<Form> &form)
    {
        form = std::make_unique<Form>(*util);
        if (!activate(*form))
            qFatal("window did not become active");
        return *form;
    }

    // Unloads the window and puts back what a test may have changed.
    template <class Form> void reset(std::unique_ptr<Form> &form)
    {
        if (form)
            form->Form_Unload();
        form.reset();
        prompt.asked.clear();
        prompt.answers.clear();
        data.gSpindleCount = 0;
        util->gOfflineEditing = false;
        data.resetToDefaults();
        if (comm->OnlineMode)
            goOffline();
    }

    static bool activate(DisplayForm &form)
    {
        form.resize(900, 600);
        form.show();
        if (!QTest::qWaitForWindowActive(&form))
            return false;
        form.Form_Activate();
        return form.FormActive;
    }

    // Waits until the cycle has finished this many more whole passes.
    static bool waitPasses(DisplayForm &form, int passes, int timeoutMs = 10000)
    {
        const qint64 target = form.passCount() + passes;
        return QTest::qWaitFor([&] { return form.passCount() >= target; }, timeoutMs);
    }
};

// Records the writes of a command sequence; a write can be made to fail.
class RecordingLink final : public RegisterLink
{
public:
    QStringList writes;
    int failAtWrite = -1; // 0-based; that write latches the error

    QString RSRead(const QString &) override { return QStringLiteral("0"); }
    void RSWrite(const QString &add, const QString &dataValue) override
    {
        if (m_error)
            return;
        if (writes.size() == failAtWrite)
            m_error = true;
        writes.append(add + u'=' + dataValue);
    }
    bool commErrorSet() const override { return m_error; }

private:
    bool m_error = false;
};
