#pragma once

// An operator window's surroundings: the real link to the simulated board on
// a pty and the shell's module; a scripted prompt answers every box.

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

    // Starts the frozen simulator and points COM<number> of a fresh program
    // folder at it.
    bool start(int number, const QStringList &simArgs = {})
    {
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates)); // count grouping
        port = std::make_unique<PosixSerialPort>(clock, dir.path());
        comm = std::make_unique<RSComm>(clock, prompt, dir.path());
        util = std::make_unique<ModUtility>(*comm, *port, prompt, clock, data, dir.path());
        util->InitializeGlobals();
        return dir.isValid() && sim.start(QStringList{QStringLiteral("--frozen")} + simArgs) &&
               sim.useAsPort(dir.path(), number);
    }
    void stop() { sim.stop(); }

    // Sets registers on the board: "W112=345 W526=120".
    bool set(const QString &assignments)
    {
        for (const QString &a : assignments.split(u' ')) {
            if (sim.command(QStringLiteral("set ") + QString(a).replace(u'=', u' ')) != u"ok")
                return false;
        }
        return true;
    }
    QString get(const QString &address) { return sim.command(QStringLiteral("get ") + address); }

    void goOffline()
    {
        comm->OnlineMode = false;
        util->ApplyCommMode();
    }
};
