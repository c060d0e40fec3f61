#include "programcommands.h"

#include "consoleprompt.h"

#include "comm/rscomm.h"

#include <QElapsedTimer>
#include <QFileInfo>

namespace
{

constexpr int kDeclined = 1;

enum class Direction { Download, Upload };

// "Writing to Program Address: 4A30H  37%  0:42 left", redrawn at most four
// times a second on a terminal, once a second into a file or pipe.
class ProgressLine
{
public:
    ProgressLine(RSComm &comm, QTextStream &out, bool interactive, Direction direction)
        : m_comm(comm), m_out(out), m_interactive(interactive), m_direction(direction)
    {
        m_clock.start();
    }

    void update(bool force = false)
    {
        const qint64 now = m_clock.elapsed();
        if (!force && now - m_shownAt < (m_interactive ? 250 : 1000))
            return;
        m_shownAt = now;
        const int done = m_comm.programRecordsDone();
        const int total = m_comm.programRecordCount();
        QString line =
            (m_direction == Direction::Upload ? QStringLiteral("Reading From Program Address: ")
                                              : QStringLiteral("Writing to Program Address: ")) +
            m_comm.CurrentProgramAdd();
        if (total > 0) {
            line += QStringLiteral("  %1%").arg(100 * done / total, 3);
            if (done > 0) {
                const qint64 leftS = now * (total - done) / done / 1000;
                line += QStringLiteral("  %1:%2 left")
                            .arg(leftS / 60)
                            .arg(leftS % 60, 2, 10, QLatin1Char('0'));
            }
        }
        m_out << (m_interactive ? QStringLiteral("\r") : QString()) << line
              << (m_interactive ? QStringLiteral("   ") : QStringLiteral("\n")) << Qt::flush;
        m_shown = true;
    }
    void finish()
    {
        if (m_shown && m_interactive)
            m_out << Qt::endl;
    }

private:
    RSComm &m_comm;
    QTextStream &m_out;
    bool m_interactive;
    Direction m_direction;
    QElapsedTimer m_clock;
    qint64 m_shownAt = -1000000;
    bool m_shown = false;
};

// Runs a program transfer with its progress line on stderr.
void withProgress(CliContext &ctx, Direction direction, void (RSComm::*transfer)())
{
    RSComm &comm = ctx.comm;
    ProgressLine progress(comm, ctx.err, ctx.interactive, direction);
    comm.setProgramYield([&progress]() { progress.update(); });
    (comm.*transfer)();
    progress.update(true);
    progress.finish();
    comm.setProgramYield({});
}

int usage(CliContext &ctx, const QString &problem)
{
    ctx.err << "kestro-cli: " << problem << "\n"
            << "usage: kestro-cli program-download PROJECT.pdx [--yes]\n"
            << "       kestro-cli program-upload PROJECT.pdx" << Qt::endl;
    return CliExit::Usage;
}

int download(const QString &project, CliContext &ctx, ConsolePrompt &prompt)
{
    RSComm &comm = ctx.comm;
    comm.DownloadFile(project);
    if (!comm.ValidProgram()) {
        ctx.err << "kestro-cli: " << project << " is not a program to download" << Qt::endl;
        return CliExit::FileError;
    }
    if (!ctx.goOnline())
        return CliExit::CommFailure;

    withProgress(ctx, Direction::Download, &RSComm::DumpProgram);

    const QString last = prompt.lastText();
    if (last == u"Program Download Complete!")
        return CliExit::Ok;
    if (!comm.programTransferFault().isEmpty())
        ctx.err << "kestro-cli: program-download: " << comm.programTransferFault() << Qt::endl;
    if (prompt.lastTitle().startsWith(u"Program Download - ["))
        return kDeclined;
    if (last.startsWith(u"Currently Selected Program is Invalid") ||
        last.contains(u" File Does Not Exist.") || last.contains(u" File is Not Valid"))
        return CliExit::FileError;
    return CliExit::CommFailure;
}

int upload(const QString &project, CliContext &ctx, ConsolePrompt &prompt)
{
    RSComm &comm = ctx.comm;
    if (!ctx.goOnline())
        return CliExit::CommFailure;
    comm.UploadFile(project);
    comm.setInUploadMode(true);
    withProgress(ctx, Direction::Upload, &RSComm::UploadProgram);

    if (prompt.lastText() == u"Program Upload Complete!")
        return CliExit::Ok;
    if (!comm.programTransferFault().isEmpty())
        ctx.err << "kestro-cli: program-upload: " << comm.programTransferFault()
                << "; no file written" << Qt::endl;
    if (prompt.lastTitle() == u"RSComm-Upload Program" ||
        prompt.lastTitle() == u"RSComm UploadFile")
        return CliExit::FileError;
    if (!comm.CommError && prompt.lastText().isEmpty()) {
        ctx.err << "kestro-cli: " << project << " names no board type" << Qt::endl;
        return CliExit::FileError;
    }
    return CliExit::CommFailure;
}

} // namespace

int runProgramCommand(const QString &verb, const QStringList &args, CliContext &ctx,
                      ConsolePrompt &prompt)
{
    QStringList rest = args;
    const bool yes = rest.removeAll(QStringLiteral("--yes")) > 0;
    if (rest.size() != 1)
        return usage(ctx, verb + QStringLiteral(" needs one project file"));
    const QString project = QFileInfo(rest.front()).absoluteFilePath();
    if (!QFileInfo(project).isFile()) {
        ctx.err << "kestro-cli: cannot read " << rest.front() << Qt::endl;
        return CliExit::FileError;
    }
    if (yes)
        prompt.answerYesTo(QStringLiteral("Program Download - ["));
    if (verb == u"program-download")
        return download(project, ctx, prompt);
    if (verb == u"program-upload")
        return upload(project, ctx, prompt);
    return usage(ctx, QStringLiteral("unknown program command ") + verb);
}
