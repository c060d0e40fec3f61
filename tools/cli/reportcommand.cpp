#include "reportcommand.h"

#include "clicontext.h"

#include "machine/machinedata.h"
#include "machine/machineerror.h"
#include "report/modreport.h"
#include "report/reportjob.h"

#include <QFileInfo>
#include <QGuiApplication>
#include <QPageLayout>
#include <QPageSize>
#include <QPdfWriter>
#include <QSaveFile>
#include <QTextStream>

#include <cstdlib>
#include <cstring>

namespace
{

const char *const ReportUsage =
    "Usage: kestro-cli report FILE.sdt OUT.pdf [--setup-only|--shift-only] [--title TEXT]\n"
    "  Prints the report of the set-up file FILE.sdt into OUT.pdf (Letter paper).\n"
    "  The header names the file as \"[FILE.sdt]\" unless --title gives another text.\n";

int usage(QTextStream &err, const QString &problem)
{
    err << "kestro-cli: " << problem << "\n" << ReportUsage << Qt::flush;
    return CliExit::Usage;
}

} // namespace

int runReportCommand(int argc, char *argv[])
{
    // Global options come before the command word; the report needs none of them.
    int verbAt = 1;
    while (verbAt < argc && std::strncmp(argv[verbAt], "--", 2) == 0) {
        const bool takesValue =
            std::strcmp(argv[verbAt], "--port") == 0 || std::strcmp(argv[verbAt], "--speed") == 0;
        verbAt += takesValue ? 2 : 1;
    }
    if (verbAt >= argc || std::strcmp(argv[verbAt], "report") != 0)
        return -1;

    // The report needs fonts but no display.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QTextStream out(stdout);
    QTextStream err(stderr);

    QStringList args = app.arguments().mid(verbAt + 1);
    ReportOptions options;
    QString title;
    bool titleGiven = false;
    QStringList files;
    while (!args.isEmpty()) {
        const QString arg = args.takeFirst();
        if (arg == u"--setup-only") {
            options.gPrintShiftDataCounts = false;
        } else if (arg == u"--shift-only") {
            options.gPrintSetupParameters = false;
        } else if (arg == u"--title") {
            if (args.isEmpty())
                return usage(err, QStringLiteral("--title needs a text"));
            title = args.takeFirst();
            titleGiven = true;
        } else if (arg.startsWith(QLatin1String("--")) && arg.size() > 2) {
            return usage(err, QStringLiteral("bad option ") + arg);
        } else {
            files << arg;
        }
    }
    if (files.size() != 2)
        return usage(err, QStringLiteral("report needs a set-up file and an output file"));
    if (!options.gPrintSetupParameters && !options.gPrintShiftDataCounts)
        return usage(err, QStringLiteral("--setup-only and --shift-only exclude each other"));

    const QString &path = files[0];
    const QString &outPath = files[1];
    MachineData data;
    if (MachineError e = data.readFile(path); e != MachineError::None) {
        err << "kestro-cli: " << path << ": " << machineErrorText(e) << Qt::endl;
        return CliExit::FileError;
    }
    if (data.gFileData.Version != gProgramVersion)
        err << "kestro-cli: " << path << " was made by " << data.gFileData.Version
            << "; its data tables may not be properly aligned" << Qt::endl;
    data.applyLoadedFile();
    if (!titleGiven)
        title = QLatin1Char('[') + QFileInfo(path).fileName() + QLatin1Char(']');

    // Written beside the target and renamed into place only when complete.
    QSaveFile file(outPath);
    if (!file.open(QIODevice::WriteOnly)) {
        err << "kestro-cli: " << outPath << ": " << file.errorString() << Qt::endl;
        return CliExit::FileError;
    }
    {
        QPdfWriter writer(&file);
        writer.setResolution(600);
        writer.setTitle(QStringLiteral("KESTRO Report: ") + title);
        writer.setCreator(QStringLiteral("KESTRO 2.1.3"));
        // A printer's usual unprintable border.
        writer.setPageLayout(QPageLayout(QPageSize(QPageSize::Letter), QPageLayout::Portrait,
                                         QMarginsF(0.25, 0.25, 0.25, 0.25), QPageLayout::Inch));
        ReportJob job(writer);
        ModReport report(job, data.gCurrentData, options);
        report.RunReport(title);
        if (!job.end()) {
            file.cancelWriting();
            err << "kestro-cli: " << outPath << ": the report could not be drawn" << Qt::endl;
            return CliExit::FileError;
        }
    }
    if (!file.commit()) {
        err << "kestro-cli: " << outPath << ": " << file.errorString() << Qt::endl;
        return CliExit::FileError;
    }
    out << outPath << Qt::endl;
    return CliExit::Ok;
}
