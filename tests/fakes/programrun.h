#pragma once

#include "boardsimprocess.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QProcessEnvironment>

// One run of a program of the build folder, with no input: how it ended and
// what it printed.
struct ProgramRun {
    int exitCode = -1; // -1: crashed or killed at the time limit
    QString out;
    QString err;
    qint64 ms = 0;

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
        QElapsedTimer timer;
        timer.start();
        if (!p.waitForFinished(timeoutMs))
            p.kill();
        ProgramRun r;
        r.ms = timer.elapsed();
        r.exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
        r.out = QString::fromUtf8(p.readAllStandardOutput());
        r.err = QString::fromUtf8(p.readAllStandardError());
        return r;
    }

    static ProgramRun run(const QString &program, const QStringList &args, int timeoutMs = 60000)
    {
        QProcess p;
        QElapsedTimer timer;
        timer.start();
        start(p, program, args);
        ProgramRun r = finish(p, timeoutMs);
        r.ms = timer.elapsed();
        return r;
    }

    // kestro-cli on port n of the build folder.
    static ProgramRun cli(int port, const QStringList &args, int timeoutMs = 60000)
    {
        return run(QStringLiteral("kestro-cli"),
                   QStringList{QStringLiteral("--port"), QString::number(port)} + args, timeoutMs);
    }
};
