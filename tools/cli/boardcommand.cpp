#include "boardcommand.h"

#include "comm/projectfile.h"
#include "comm/rscomm.h"
#include "comm/targetboardfacts.h"
#include "machine/shiftexport.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFileInfo>

namespace TB = TargetBoardFacts;

namespace
{

struct BoardOptions {
    QString project;
    bool setClock = false;
    bool resetFaults = false;
    QString address;
};

// Reads one register; false (with a message) when the exchange failed.
bool readRegister(CliContext &ctx, const QString &address, QString &value)
{
    if (ctx.comm.CommError)
        return false;
    value = ctx.comm.RSRead(address);
    // A read whose exchange failed gives "0": never a value.
    if (ctx.comm.CommError || ctx.comm.lastTransactionFailed()) {
        ctx.err << "kestro-cli: reading " << address << " failed" << Qt::endl;
        return false;
    }
    return true;
}

bool writeRegister(CliContext &ctx, const QString &address, const QString &value)
{
    if (ctx.comm.CommError)
        return false;
    ctx.comm.RSWrite(address, value);
    if (ctx.comm.CommError || ctx.comm.lastTransactionFailed()) {
        const QString holds = ctx.comm.lastWriteReadBack();
        ctx.err << "kestro-cli: writing " << address << " failed"
                << (holds.isEmpty() ? QStringLiteral(" (its value is unknown)")
                                    : QStringLiteral(" (it holds %1)").arg(holds))
                << Qt::endl;
        return false;
    }
    return true;
}

QString printable(const QString &name)
{
    QString shown;
    for (QChar c : name) {
        if (c.unicode() >= 32)
            shown += c;
    }
    return shown;
}

} // namespace

int runBoardCommand(const QStringList &args, CliContext &ctx)
{
    BoardOptions options;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString &a = args[i];
        if (a == u"--set-clock") {
            options.setClock = true;
        } else if (a == u"--reset-faults") {
            options.resetFaults = true;
        } else if ((a == u"--project" || a == u"--address") && i + 1 < args.size()) {
            (a == u"--project" ? options.project : options.address) = args[++i];
        } else {
            ctx.err << "kestro-cli: board: bad argument " << a << Qt::endl;
            return CliExit::Usage;
        }
    }

    // The project and the address are checked before the board is touched.
    qint16 boardType = 0;
    TB::DiskIdentity disk;
    QString hexFile;
    if (!options.project.isEmpty()) {
        if (!QFileInfo::exists(options.project)) {
            ctx.err << "kestro-cli: project file " << options.project << " not found" << Qt::endl;
            return CliExit::FileError;
        }
        bool emptyItem = false;
        boardType = projectBoardType(options.project, &emptyItem);
        int number = 0;
        QString why;
        if (emptyItem) {
            ctx.err << "kestro-cli: project file " << options.project << " names no board type"
                    << Qt::endl;
            return CliExit::FileError;
        }
        const QString rev = changeExtension(options.project, QStringLiteral("rev"));
        if (!TB::readDiskIdentity(rev, disk, &number, &why)) {
            ctx.err << "kestro-cli: " << rev << ": " << why << Qt::endl;
            return CliExit::FileError;
        }
        hexFile = changeExtension(options.project, QStringLiteral("hex"));
    }
    if (!options.address.isEmpty()) {
        bool ok = false;
        const int n = options.address.toInt(&ok);
        if (!ok || n < 1 || n > 32) {
            ctx.prompt.ask(QStringLiteral("Set-upCurrent Network Address 1:"),
                           QStringLiteral("Only a Number Between 1 and 32 can be Entered"),
                           PromptIcon::Information, PromptButtons::Ok);
            return CliExit::RefusedValue;
        }
    }

    if (!ctx.goOnline())
        return CliExit::CommFailure;
    bool failed = false;

    if (options.resetFaults) {
        for (const char *address : {"B8178", "B8179", "B8177", "B8176"})
            failed |= !writeRegister(ctx, QString::fromLatin1(address), QStringLiteral("0"));
    }
    if (!options.address.isEmpty())
        failed |= !writeRegister(ctx, TB::setupAddress(0), options.address);
    if (options.setClock) {
        // Each part taken from the PC clock at the moment of its write.
        failed |= !writeRegister(ctx, QStringLiteral("B43012"),
                                 QString::number(QTime::currentTime().hour()));
        failed |= !writeRegister(ctx, QStringLiteral("B43010"),
                                 QString::number(QTime::currentTime().minute()));
        failed |= !writeRegister(ctx, QStringLiteral("B43008"),
                                 QString::number(QTime::currentTime().second()));
        failed |= !writeRegister(ctx, QStringLiteral("B43016"),
                                 QString::number(QDate::currentDate().month()));
        failed |= !writeRegister(ctx, QStringLiteral("B43015"),
                                 QString::number(QDate::currentDate().day()));
        failed |= !writeRegister(ctx, QStringLiteral("B43017"),
                                 QString::number(QDate::currentDate().year()).right(2));
    }
    if (failed)
        return CliExit::CommFailure;

    // Fault codes and comm errors.
    const QString programDir = QCoreApplication::applicationDirPath();
    QString codes[TB::FaultRegisterCount];
    for (int i = 0; i < TB::FaultRegisterCount; ++i) {
        QString value;
        if (!readRegister(ctx, TB::faultRegister(i), value))
            return CliExit::CommFailure;
        codes[i] = TB::codeText(value.toLongLong());
    }
    // Each code file read once for its rows: fault codes, then comm errors.
    struct CodeFileRead {
        QString path;
        QByteArray content;
        TB::CodeFile state;
    };
    CodeFileRead codeFiles[2] = {{TB::faultCodesFile(programDir), {}, {}},
                                 {TB::commErrCodesFile(programDir), {}, {}}};
    QStringList unreadable;
    for (CodeFileRead &file : codeFiles) {
        file.state = TB::readCodeFile(file.path, file.content);
        if (file.state == TB::CodeFile::Unreadable)
            unreadable.append(file.path);
    }
    for (int i = 0; i < TB::FaultRegisterCount; ++i) {
        if (i == TB::CoCpuSlotIndex) {
            if (boardType == 50)
                ctx.out << TB::faultRowCaption(i, codes[i],
                                               QString::number(TB::codeValue(codes[i])))
                        << Qt::endl;
            continue;
        }
        if (i == TB::CorrectiveActionIndex) {
            ctx.out << TB::faultRowPlainCaption(i) << ' ' << TB::correctiveAction(codes[i])
                    << Qt::endl;
            continue;
        }
        QString text;
        const CodeFileRead &file = codeFiles[i < 2 ? 0 : 1];
        ctx.out << TB::faultRowCaption(i, codes[i]);
        if (file.state == TB::CodeFile::Read && TB::lookUpCode(file.content, codes[i], text))
            ctx.out << "  " << text;
        ctx.out << Qt::endl;
    }

    // Identity in the board against the project.
    TB::BoardIdentity board;
    for (int k = 0; k < TB::IdentityByteCount; ++k) {
        QString value;
        if (!readRegister(ctx, TB::identityRegister(k), value))
            return CliExit::CommFailure;
        board.take(k, value);
    }
    ctx.out << "In Target Board: Name: " << printable(board.name)
            << "  Revision: " << board.revision << "  Checksum: " << board.checksum << Qt::endl;
    if (!options.project.isEmpty()) {
        const QFileInfo hex(hexFile);
        ctx.out << "On Disk: Name: " << disk.name << "  Revision: " << disk.revision
                << "  Checksum: " << disk.checksum
                << "  Target Board: " << RSComm::TargetboardName(boardType)
                << "  Rev Date: " << (hex.exists() ? uploadTimeText(hex.lastModified()) : "-")
                << Qt::endl;
        const bool same = printable(board.name) == disk.name &&
                          board.revision == QString::number(disk.revision) &&
                          board.checksum == QString::number(disk.checksum);
        ctx.out << "Program: "
                << (same ? "the board holds the project's program"
                         : "the board's program differs from the project")
                << Qt::endl;
    }

    // Network address and clock.
    QString setup[TB::SetupFieldCount];
    for (int i = 0; i < TB::SetupFieldCount; ++i) {
        if (!readRegister(ctx, TB::setupAddress(i), setup[i]))
            return CliExit::CommFailure;
        setup[i] = TB::setupFieldText(setup[i]);
    }
    ctx.out << "Current Network Address 1: " << setup[0] << Qt::endl;
    if (TB::boardHasSecondAddress(boardType))
        ctx.out << "Current Network Address 2: " << setup[1] << Qt::endl;
    ctx.out << "Target Board Time: " << setup[2] << " : " << setup[3] << " : " << setup[4]
            << "  Date: " << setup[5] << " - " << setup[6] << " - " << setup[7] << Qt::endl;
    const QDateTime now = QDateTime::currentDateTime();
    ctx.out << "Current Time: " << TB::pcTimeText(now.time())
            << "  Date: " << TB::pcDateText(now.date()) << Qt::endl;
    // Rows without their text must not pass for codes the file does not know.
    for (const QString &file : std::as_const(unreadable))
        ctx.err << "kestro-cli: cannot read " << file << ": " << TB::codeFileErrorText()
                << Qt::endl;
    return unreadable.isEmpty() ? CliExit::Ok : CliExit::FileError;
}
