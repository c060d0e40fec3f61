#pragma once

#include "comm/commsettings.h"

#include <QDir>
#include <QFile>
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
        const QString fromEnv =
            QProcessEnvironment::systemEnvironment().value(QStringLiteral("KESTRO_BIN_DIR"));
        return fromEnv.isEmpty() ? QStringLiteral(".") : fromEnv;
    }

    // Starts the simulator and waits for the pty path it prints first.
    bool start(const QStringList &args)
    {
        m_process.setProgram(QDir(binDir()).filePath(QStringLiteral("kestro-boardsim")));
        m_process.setArguments(args);
        m_process.setProcessChannelMode(QProcess::SeparateChannels);
        m_process.start();
        if (!m_process.waitForStarted(5000))
            return false;
        m_slavePath = readLine(5000);
        return m_slavePath.startsWith(QLatin1Char('/'));
    }

    // Makes DIR/Support/COMn point at the simulator's pty.
    bool linkAsPort(const QString &programDir, int portNumber) const
    {
        const QString support = QDir(programDir).filePath(QStringLiteral("Support"));
        QDir().mkpath(support);
        const QString link = QDir(support).filePath(QStringLiteral("COM%1").arg(portNumber));
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

    // Removes port n's link from the build folder, where the command-line
    // tests point it.
    static void unlinkPort(int portNumber)
    {
        QFile::remove(QDir(binDir()).filePath(QStringLiteral("Support/COM%1").arg(portNumber)));
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
            if (!m_process.waitForFinished(2000)) {
                m_process.kill();
                m_process.waitForFinished(2000);
            }
        }
        if (m_cliPort > 0) {
            unlinkPort(m_cliPort);
            m_cliPort = 0;
        }
    }

    bool running() const { return m_process.state() == QProcess::Running; }
    QString slavePath() const { return m_slavePath; }
    QProcess &process() { return m_process; }

private:
    QString readLine(int timeoutMs)
    {
        while (!m_process.canReadLine()) {
            if (!m_process.waitForReadyRead(timeoutMs))
                return {};
        }
        return QString::fromUtf8(m_process.readLine()).trimmed();
    }

    QProcess m_process;
    QString m_slavePath;
    int m_cliPort = 0;
};
