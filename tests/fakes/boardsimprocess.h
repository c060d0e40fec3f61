#pragma once

#include "comm/commsettings.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

// Runs kestro-boardsim for a test or a benchmark: a board on a real pty.
class BoardSimProcess
{
public:
    ~BoardSimProcess() { stop(); }

    static QString binDir()
    {
        const QString dir = qEnvironmentVariable("KESTRO_BIN_DIR");
        return dir.isEmpty() ? QStringLiteral(".") : dir;
    }

    // Starts the simulator and waits for the pty path it prints first.
    bool start(const QStringList &args)
    {
        m_process.start(QDir(binDir()).filePath(QStringLiteral("kestro-boardsim")), args);
        m_slavePath = m_process.waitForStarted(5000) ? readLine(5000) : QString();
        return m_slavePath.startsWith(QLatin1Char('/'));
    }

    // Makes DIR/Support/COMn point at the simulator's pty.
    bool linkAsPort(const QString &programDir, int portNumber) const
    {
        const QString link =
            QDir(programDir).filePath(QStringLiteral("Support/COM%1").arg(portNumber));
        QDir().mkpath(QFileInfo(link).path());
        QFile::remove(link);
        return QFile::link(m_slavePath, link);
    }

    // Makes port n of a program folder lead to the simulator, and the link's
    // settings file choose that port at the given speed.
    bool useAsPort(const QString &programDir, int portNumber, int baud = 9600) const
    {
        CommSettings settings;
        settings.port = portNumber;
        settings.baud = baud;
        return !CommSettings::write(QDir(programDir).filePath(QStringLiteral("Support/RSPort.cfg")),
                                    settings, CommSettings::LineStyle::Compact) &&
               linkAsPort(programDir, portNumber);
    }

    // One line on the simulator's command stream, and its one-line answer.
    QString command(const QString &line)
    {
        m_process.write(line.toUtf8() + '\n');
        m_process.waitForBytesWritten(2000);
        return readLine(5000);
    }

    // Starts the simulator as port n of the command-line tool: a link in the
    // build folder's Support/, removed again when the simulator is stopped.
    bool startOnCliPort(int portNumber, const QStringList &args)
    {
        m_cliPort = portNumber;
        return start(args) && linkAsPort(binDir(), portNumber);
    }

    void stop()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.write("quit\n");
            if (!m_process.waitForFinished(2000))
                m_process.kill();
            m_process.waitForFinished(2000);
        }
        if (m_cliPort > 0)
            QFile::remove(QDir(binDir()).filePath(QStringLiteral("Support/COM%1").arg(m_cliPort)));
        m_cliPort = 0;
    }

    QString slavePath() const { return m_slavePath; }
    QProcess &process() { return m_process; }

private:
    QString readLine(int timeoutMs)
    {
        while (!m_process.canReadLine() && m_process.waitForReadyRead(timeoutMs)) {
        }
        return QString::fromUtf8(m_process.readLine()).trimmed();
    }

    QProcess m_process;
    QString m_slavePath;
    int m_cliPort = 0;
};
