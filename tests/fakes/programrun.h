#pragma once

#include "boardsimprocess.h"

#include <QProcess>
#include <QProcessEnvironment>

// One run of a program of the build folder, with no input: how it ended and
// what it printed.
struct ProgramRun {
    int exitCode = -1; // -1: crashed or killed at the time limit
    QString out, err;

    // A program of the build folder, or the path given when it is absolute.
    static QString path(const QString &program)
    {
        return QDir(BoardSimProcess::binDir()).filePath(program);
    }

    // Starts the program with its input closed; finish() collects it.
    static void start(QProcess &p, const QString &program, const QStringList &args)
    {
        p.setProgram(path(program));
        p.setArguments(args);
        // A command that draws (the report) needs no display.
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        p.setProcessEnvironment(env);
        p.start();
        p.closeWriteChannel();
    }

    static ProgramRun finish(QProcess &p, int timeoutMs = 60000)
    {
        if (!p.waitForFinished(timeoutMs))
            p.kill();
        p.waitForFinished(2000);
        return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1,
                QString::fromUtf8(p.readAllStandardOutput()),
                QString::fromUtf8(p.readAllStandardError())};
    }

    static ProgramRun run(const QString &program, const QStringList &args, int timeoutMs = 60000)
    {
        QProcess p;
        start(p, program, args);
        return finish(p, timeoutMs);
    }

    // kestro-cli on port n of the build folder.
    static ProgramRun cli(int port, const QStringList &args, int timeoutMs = 60000)
    {
        return run(QStringLiteral("kestro-cli"),
                   QStringList{QStringLiteral("--port"), QString::number(port)} + args, timeoutMs);
    }
};
