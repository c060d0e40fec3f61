#include "historycommand.h"

#include "comm/rscomm.h"
#include "history/historycsv.h"
#include "history/historystore.h"
#include "history/itemdiff.h"
#include "machine/datatransfer.h"
#include "machine/machinedata.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QProcessEnvironment>

using namespace Qt::StringLiterals;

namespace
{

const char *const HistoryUsage =
    "usage: kestro-cli history shifts|faults|changes [--since DATE] [--csv]\n"
    "       kestro-cli diff A.sdt B.sdt|--board [--group setup|shift|all]\n";

int usage(QTextStream &err, const QString &problem)
{
    err << "kestro-cli: " << problem << "\n" << HistoryUsage << Qt::flush;
    return CliExit::Usage;
}

// "2026-03-02" (that day's start) or "2026-03-02T06:00" / "2026-03-02 06:00".
QDateTime parseSince(QString text)
{
    text.replace(u' ', u'T');
    QDateTime t = QDateTime::fromString(text, Qt::ISODate);
    if (!t.isValid()) {
        const QDate d = QDate::fromString(text, Qt::ISODate);
        if (d.isValid())
            t = d.startOfDay();
    }
    return t;
}

// Takes "--name" (and its value) out of args.
bool takeFlag(QStringList &args, const QString &name)
{
    return args.removeAll(name) > 0;
}

bool takeValue(QStringList &args, const QString &name, QString &value, bool &missing)
{
    const qsizetype at = args.indexOf(name);
    if (at < 0)
        return false;
    if (at + 1 >= args.size()) {
        missing = true;
        args.remove(at);
        return false;
    }
    value = args.at(at + 1);
    args.remove(at, 2);
    return true;
}

} // namespace

QString cliHistoryPath(const QString &programDir)
{
    const QString chosen = QProcessEnvironment::systemEnvironment().value(u"KESTRO_HISTORY"_s);
    return chosen.isEmpty() ? History::HistoryStore::defaultPath(programDir) : chosen;
}

int runHistoryCommand(const QStringList &arguments, const QString &programDir, QTextStream &out,
                      QTextStream &err)
{
    QStringList args = arguments;
    const bool csv = takeFlag(args, u"--csv"_s);
    QString sinceText;
    bool missing = false;
    History::Query query;
    if (takeValue(args, u"--since"_s, sinceText, missing)) {
        query.since = parseSince(sinceText);
        if (!query.since.isValid())
            return usage(err, u"bad date for --since: "_s + sinceText);
    }
    if (missing)
        return usage(err, u"--since needs a date"_s);
    if (args.size() != 1)
        return usage(err, u"history needs one of shifts, faults, changes"_s);

    const QString path = cliHistoryPath(programDir);
    if (!QFileInfo::exists(path)) {
        err << "kestro-cli: no history recorded yet (" << path << ")" << Qt::endl;
        return CliExit::FileError;
    }
    History::HistoryStore store;
    if (!store.open(path)) {
        err << "kestro-cli: " << path << ": " << store.lastError() << Qt::endl;
        return CliExit::FileError;
    }
    History::Table table;
    if (args[0] == u"shifts")
        table = History::shiftTable(store.shifts(query));
    else if (args[0] == u"faults")
        table = History::faultTable(store.faults(query));
    else if (args[0] == u"changes")
        table = History::changeTable(store.changes(query));
    else
        return usage(err, u"unknown history kind "_s + args[0]);
    out << (csv ? History::csvText(table) : History::alignedText(table)) << Qt::flush;
    return CliExit::Ok;
}

int runDiffCommand(const QStringList &arguments, CliContext &ctx)
{
    QStringList args = arguments;
    const bool board = takeFlag(args, u"--board"_s);
    QString groupName = u"setup"_s;
    bool missing = false;
    takeValue(args, u"--group"_s, groupName, missing);
    if (missing)
        return usage(ctx.err, u"--group needs setup, shift or all"_s);
    const DataGroup group = groupName == u"all"     ? DataGroup::All
                            : groupName == u"shift" ? DataGroup::ShiftData
                                                    : DataGroup::SetupData;
    if (groupName != u"all" && groupName != u"shift" && groupName != u"setup")
        return usage(ctx.err, u"unknown data group "_s + groupName);
    if (args.size() != (board ? 1 : 2))
        return usage(ctx.err, u"diff needs two set-up files, or one and --board"_s);

    MachineData first;
    MachineData second;
    for (int i = 0; i < args.size(); ++i) {
        MachineData &data = i == 0 ? first : second;
        if (const MachineError e = data.readFile(args[i]); e != MachineError::None) {
            ctx.err << "kestro-cli: " << args[i] << ": " << machineErrorText(e) << Qt::endl;
            return CliExit::FileError;
        }
        data.applyLoadedFile();
    }
    QString secondName = board ? u"Board"_s : QFileInfo(args[1]).fileName();
    if (board) {
        // The board's values through the first file's addresses, as an upload
        // of the group would read them.
        second.gCurrentData = first.gCurrentData;
        if (!ctx.goOnline()) {
            ctx.err << "kestro-cli: the board was not read" << Qt::endl;
            return CliExit::CommFailure;
        }
        TransferCallbacks callbacks;
        callbacks.yieldEvents = [] { QCoreApplication::processEvents(); };
        const TransferResult result =
            DataTransfer(ctx.comm, second.gCurrentData)
                .ProcessTransfer(transferMode(TransferDirection::Upload, group), callbacks);
        const QList<int> indexes = dataGroupIndexes(group);
        if (result.Outcome != TransferOutcome::Completed || !result.Failed.isEmpty()) {
            for (int index : result.Failed + indexes.mid(result.Transferred))
                ctx.err << "kestro-cli: not read: " << first.gCurrentData.addressAt(index)
                        << " (item " << index << ", " << itemName(index) << ")" << Qt::endl;
            return CliExit::CommFailure;
        }
    }
    const QList<History::ItemDifference> diffs =
        History::differingItems(first.gCurrentData, second.gCurrentData, group);
    if (diffs.isEmpty()) {
        ctx.out << "No differences in " << dataGroupName(group) << Qt::endl;
        return CliExit::Ok;
    }
    History::Table table{{u"Item"_s, u"Register"_s, QFileInfo(args[0]).fileName(), secondName}};
    for (const History::ItemDifference &d : diffs)
        table << QStringList{d.caption, d.address, QString::number(d.first),
                             QString::number(d.second)};
    ctx.out << History::alignedText(table) << Qt::flush;
    return 1;
}
