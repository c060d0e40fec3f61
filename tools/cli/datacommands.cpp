#include "datacommands.h"

#include "cliaddress.h"

#include "comm/numbertext.h"
#include "comm/operatorprompt.h"
#include "comm/rscomm.h"
#include "history/writeaudit.h"
#include "machine/datatransfer.h"
#include "machine/machinedata.h"
#include "machine/registermap.h"
#include "machine/sdtfile.h"
#include "machine/shiftexport.h"
#include "machine/valuetext.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFileInfo>
#include <optional>

namespace
{

const char *const DataUsage =
    "usage: kestro-cli [--port N] upload|download setup|shift|all FILE.sdt\n"
    "       kestro-cli export FILE.sdt OUT.txt\n"
    "       kestro-cli show FILE.sdt\n";

int usage(CliContext &ctx, const QString &problem)
{
    ctx.err << "kestro-cli: " << problem << "\n" << DataUsage << Qt::flush;
    return CliExit::Usage;
}

std::optional<DataGroup> groupFromName(const QString &name)
{
    if (name == u"setup")
        return DataGroup::SetupData;
    if (name == u"shift")
        return DataGroup::ShiftData;
    if (name == u"all")
        return DataGroup::All;
    return std::nullopt;
}

QString displayText(QString text)
{
    return text.replace(QStringLiteral("\r\n"), QStringLiteral("\n")).replace(u'\r', u'\n');
}

int fileFailure(CliContext &ctx, const QString &path, MachineError error)
{
    ctx.err << "kestro-cli: " << path << ": " << machineErrorText(error) << Qt::endl;
    return CliExit::FileError;
}

// File Open as the window does it: read whole, the version question, apply.
// Returns CliExit::Ok when data.gCurrentData holds the file's record.
int openSetupFile(CliContext &ctx, MachineData &data, const QString &path)
{
    if (MachineError e = data.readFile(path); e != MachineError::None)
        return fileFailure(ctx, path, e);
    if (data.gFileData.Version != gProgramVersion) {
        const PromptAnswer answer = ctx.prompt.ask(
            QStringLiteral("KESTRO"),
            QStringLiteral("File created by set-up program version: ") + data.gFileData.Version +
                QStringLiteral("\r\nData tables may not be properly aligned.\r\n\r\n"
                               "Do you wish to continue?"),
            PromptIcon::Information, PromptButtons::YesNoCancel);
        if (answer != PromptAnswer::Yes) {
            ctx.err << "kestro-cli: " << path << " not used" << Qt::endl;
            return CliExit::FileError;
        }
    }
    data.applyLoadedFile();
    return CliExit::Ok;
}

// A transfer through a record whose item has no address, or one outside the
// notation, would move byte 32 of the board; such a table (from a short or
// damaged file) is refused.
int checkAddresses(CliContext &ctx, const DataSet &record, DataGroup group, const QString &path)
{
    for (int index : dataGroupIndexes(group)) {
        if (record.addressAt(index).isEmpty()) {
            ctx.err << "kestro-cli: " << path << ": item " << index << " (" << itemName(index)
                    << ") has no register address" << Qt::endl;
            return CliExit::FileError;
        }
        if (const QString problem = addressProblem(record.addressAt(index)); !problem.isEmpty()) {
            ctx.err << "kestro-cli: " << path << ": item " << index << " (" << itemName(index)
                    << ") has the bad address " << record.addressAt(index) << ": " << problem
                    << Qt::endl;
            return CliExit::FileError;
        }
    }
    return CliExit::Ok;
}

// Every value of a download is checked before the first write, so a refused
// value leaves the board untouched.
int checkValues(CliContext &ctx, const DataSet &record, DataGroup group)
{
    int refused = 0;
    for (int index : dataGroupIndexes(group)) {
        DecodedAddress decoded;
        quint32 image = 0;
        const QString text = plainNumberText(record.valueAt(index));
        const ValueCheck check =
            RSComm::PrepareValue(record.addressAt(index), text, decoded, image);
        if (check != ValueCheck::Accepted) {
            ctx.err << "kestro-cli: item " << index << " (" << itemName(index) << ", "
                    << record.addressAt(index) << ") value" << text << ": "
                    << valueCheckMessage(check) << Qt::endl;
            ++refused;
        }
    }
    return refused == 0 ? int(CliExit::Ok) : int(CliExit::RefusedValue);
}

// Names each register of the group as not moved, when the link never came up.
int noTransfer(CliContext &ctx, const DataSet &record, TransferMode mode)
{
    const bool upload = transferDirection(mode) == TransferDirection::Upload;
    for (int index : dataGroupIndexes(transferGroup(mode))) {
        ctx.err << "kestro-cli: " << (upload ? "not read: " : "not written: ")
                << record.addressAt(index) << " (item " << index << ", " << itemName(index)
                << ", not tried)" << Qt::endl;
    }
    ctx.err << "kestro-cli: " << transferCount(mode) << " of " << transferCount(mode)
            << " registers " << (upload ? "not read" : "not written") << Qt::endl;
    return CliExit::CommFailure;
}

int runTransfer(CliContext &ctx, DataSet &record, TransferMode mode)
{
    const QString caption = transferCaption(mode);
    TransferCallbacks callbacks;
    callbacks.yieldEvents = [] { QCoreApplication::processEvents(); };
    if (ctx.interactive) {
        callbacks.progress = [&ctx, &caption](int value, int maximum) {
            ctx.out << '\r' << caption << "  " << value << '/' << maximum << Qt::flush;
        };
    }
    const TransferResult result = DataTransfer(ctx.comm, record).ProcessTransfer(mode, callbacks);
    if (ctx.interactive && result.Transferred > 0)
        ctx.out << Qt::endl;
    if (result.Outcome == TransferOutcome::CommError) {
        ctx.err << "[" << TransferErrorTitle << "] " << displayText(TransferErrorText) << Qt::endl;
        ctx.err << "kestro-cli: the link failed after " << result.moved() << " of "
                << transferCount(mode) << " registers" << Qt::endl;
    }
    // Every register that did not move is named: a wrong echo leaves the link
    // up, so only this list tells the operator the data is not what it seems.
    const bool upload = transferDirection(mode) == TransferDirection::Upload;
    const QList<int> indexes = dataGroupIndexes(transferGroup(mode));
    const QList<int> notTried = indexes.mid(result.Transferred);
    for (int index : result.Failed + notTried) {
        QString state = QStringLiteral(", not tried)");
        if (result.Failed.contains(index)) {
            state = upload ? QStringLiteral(")")
                    : result.ReadBack.contains(index)
                        ? QStringLiteral("; it holds %1)").arg(result.ReadBack.value(index))
                        : QStringLiteral("; its value is unknown)");
        }
        ctx.err << "kestro-cli: " << (upload ? "not read: " : "not written: ")
                << record.addressAt(index) << " (item " << index << ", " << itemName(index)
                << state << Qt::endl;
    }
    if (result.Outcome == TransferOutcome::CommError || !result.Failed.isEmpty()) {
        ctx.err << "kestro-cli: " << result.Failed.size() + notTried.size() << " of "
                << transferCount(mode) << " registers " << (upload ? "not read" : "not written")
                << Qt::endl;
        return CliExit::CommFailure;
    }
    return CliExit::Ok;
}

// A read's data byte has no echo, so line noise can hand over a wrong value
// that looks right. The group is read a second time; a register whose two
// values differ is read until a value comes twice, or it is named and the
// upload fails.
int verifyUpload(CliContext &ctx, DataSet &record, TransferMode mode)
{
    DataSet again = record;
    TransferCallbacks callbacks;
    callbacks.yieldEvents = [] { QCoreApplication::processEvents(); };
    const TransferResult second = DataTransfer(ctx.comm, again).ProcessTransfer(mode, callbacks);
    QList<int> unconfirmed;
    for (int index : dataGroupIndexes(transferGroup(mode))) {
        if (second.Outcome == TransferOutcome::Completed && !second.Failed.contains(index) &&
            again.valueAt(index) == record.valueAt(index))
            continue;
        QList<qint32> seen{record.valueAt(index)};
        if (!second.Failed.contains(index))
            seen << again.valueAt(index);
        bool confirmed = false;
        for (int i = 0; i < 4 && !ctx.comm.CommError && !confirmed; ++i) {
            const qint32 value = roundedTextValue(ctx.comm.RSRead(record.addressAt(index)));
            if (ctx.comm.lastTransactionFailed())
                continue;
            confirmed = seen.contains(value);
            if (confirmed)
                record.Value[index] = value;
            seen << value;
        }
        if (!confirmed)
            unconfirmed << index;
    }
    for (int index : std::as_const(unconfirmed)) {
        ctx.err << "kestro-cli: not confirmed: " << record.addressAt(index) << " (item " << index
                << ", " << itemName(index) << ", two reads never agreed)" << Qt::endl;
    }
    if (unconfirmed.isEmpty())
        return CliExit::Ok;
    ctx.err << "kestro-cli: " << unconfirmed.size() << " of " << transferCount(mode)
            << " registers not confirmed" << Qt::endl;
    return CliExit::CommFailure;
}

int uploadCommand(CliContext &ctx, DataGroup group, const QString &path)
{
    MachineData data;
    if (QFileInfo::exists(path)) {
        if (int code = openSetupFile(ctx, data, path); code != CliExit::Ok)
            return code;
    }
    if (int code = checkAddresses(ctx, data.gCurrentData, group, path); code != CliExit::Ok)
        return code;
    const TransferMode mode = transferMode(TransferDirection::Upload, group);
    if (!ctx.goOnline()) {
        noTransfer(ctx, data.gCurrentData, mode);
        ctx.err << "kestro-cli: " << path << " left unchanged" << Qt::endl;
        return CliExit::CommFailure;
    }
    if (int code = runTransfer(ctx, data.gCurrentData, mode); code != CliExit::Ok) {
        ctx.err << "kestro-cli: " << path << " left unchanged" << Qt::endl;
        return code;
    }
    if (int code = verifyUpload(ctx, data.gCurrentData, mode); code != CliExit::Ok) {
        ctx.err << "kestro-cli: " << path << " left unchanged" << Qt::endl;
        return code;
    }
    if (MachineError e = data.saveFile(path); e != MachineError::None)
        return fileFailure(ctx, path, e);
    return CliExit::Ok;
}

int downloadCommand(CliContext &ctx, DataGroup group, const QString &path)
{
    MachineData data;
    if (int code = openSetupFile(ctx, data, path); code != CliExit::Ok)
        return code;
    if (int code = checkAddresses(ctx, data.gCurrentData, group, path); code != CliExit::Ok)
        return code;
    if (int code = checkValues(ctx, data.gCurrentData, group); code != CliExit::Ok)
        return code;
    const TransferMode mode = transferMode(TransferDirection::Download, group);
    if (!ctx.goOnline())
        return noTransfer(ctx, data.gCurrentData, mode);
    if (ctx.audit && ctx.audit->recording()) {
        // The board's values first, so the record lists what each item held
        // before; one that could not be read keeps an unknown old value.
        DataSet before = data.gCurrentData;
        TransferCallbacks callbacks;
        callbacks.yieldEvents = [] { QCoreApplication::processEvents(); };
        DataTransfer(ctx.comm, before)
            .ProcessTransfer(transferMode(TransferDirection::Upload, group), callbacks);
        if (ctx.comm.CommError) {
            ctx.err << "kestro-cli: nothing written: the link failed while reading the board's "
                       "values first"
                    << Qt::endl;
            return CliExit::CommFailure;
        }
    }
    if (ctx.audit)
        ctx.audit->beginBatch(QStringLiteral("command download"),
                              dataGroupName(group) + QStringLiteral(" from ") +
                                  QFileInfo(path).fileName());
    const int code = runTransfer(ctx, data.gCurrentData, mode);
    if (ctx.audit)
        ctx.audit->endBatch();
    return code;
}

int exportCommand(CliContext &ctx, const QString &path, const QString &outPath)
{
    MachineData data;
    if (int code = openSetupFile(ctx, data, path); code != CliExit::Ok)
        return code;
    // Opening a file stamps the data with the time it was opened.
    const QString uploadTime = uploadTimeText(QDateTime::currentDateTime());
    const MachineError e =
        writeShiftExport(outPath, data.gCurrentData, QFileInfo(path).fileName(), uploadTime);
    if (e != MachineError::None)
        return fileFailure(ctx, outPath, e);
    return CliExit::Ok;
}

int showCommand(CliContext &ctx, const QString &path)
{
    MachineData data;
    if (MachineError e = data.readFile(path); e != MachineError::None)
        return fileFailure(ctx, path, e);
    const DataSet &file = data.gFileData;
    ctx.out << "Version: " << file.Version << '\n';
    ctx.out << "Stored:  " << file.Address.size() << " addresses, " << file.Value.size()
            << " values\n";
    data.applyLoadedFile();
    const DataSet &record = data.gCurrentData;
    ctx.out << QStringLiteral("%1  %2  %3 %4\n")
                   .arg(QStringLiteral("Index"), 5)
                   .arg(QStringLiteral("Address"), -8)
                   .arg(QStringLiteral("Item"), -26)
                   .arg(QStringLiteral("Value"), 11);
    for (int i = 0; i <= gLastIndex; ++i) {
        ctx.out << QStringLiteral("%1  %2  %3 %4\n")
                       .arg(i, 5)
                       .arg(record.Address[i], -8)
                       .arg(itemName(i), -26)
                       .arg(record.Value[i], 11);
    }
    ctx.out << Qt::flush;
    return CliExit::Ok;
}

} // namespace

int runDataCommand(const QString &verb, const QStringList &args, CliContext &ctx)
{
    if (verb == u"upload" || verb == u"download") {
        if (args.size() != 2)
            return usage(ctx, verb + QStringLiteral(" needs a group and a file"));
        const std::optional<DataGroup> group = groupFromName(args[0]);
        if (!group)
            return usage(ctx, QStringLiteral("unknown data group ") + args[0]);
        return verb == u"upload" ? uploadCommand(ctx, *group, args[1])
                                 : downloadCommand(ctx, *group, args[1]);
    }
    if (verb == u"export") {
        if (args.size() != 2)
            return usage(ctx, QStringLiteral("export needs a set-up file and an output file"));
        return exportCommand(ctx, args[0], args[1]);
    }
    if (verb == u"show") {
        if (args.size() != 1)
            return usage(ctx, QStringLiteral("show needs one set-up file"));
        return showCommand(ctx, args[0]);
    }
    return usage(ctx, QStringLiteral("unknown command ") + verb);
}
