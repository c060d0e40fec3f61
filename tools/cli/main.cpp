// kestro-cli: register access and data transfers from the command line, on
// the same core as the window program.
#include "boardcommand.h"
#include "clicontext.h"
#include "consoleprompt.h"
#include "fixedport.h"

#include "comm/clock.h"
#include "comm/posixserialport.h"
#include "comm/rscomm.h"

#ifdef KESTRO_CLI_HAS_DATA
#include "datacommands.h"
#endif

#include <QCoreApplication>
#include <QLoggingCategory>
#include <QTextStream>
#include <cstdio>
#include <unistd.h>

namespace
{

const char *const kUsage =
    "Usage: kestro-cli [--port N] [--speed 9600|19200] [--trace] COMMAND ...\n"
    "\n"
    "Commands:\n"
    "  read ADDR...                 print register values (one address: the value;\n"
    "                               several: one \"ADDR VALUE\" line each)\n"
    "  write ADDR VALUE             write one register\n"
    "  upload setup|shift|all FILE.sdt    read a data group from the board into FILE\n"
    "  download setup|shift|all FILE.sdt  write a data group of FILE to the board\n"
    "  export FILE.sdt OUT.txt      write the shift data export of FILE\n"
    "  show FILE.sdt                list the items of FILE\n"
    "  board [--project FILE.pdx] [--set-clock] [--reset-faults] [--address N]\n"
    "                               the board's fault codes, program identity,\n"
    "                               network address and clock; the options reset\n"
    "                               the faults, set address 1 or the clock first\n"
    "\n"
    "Addresses: W98 (word), B52 (byte), D1304 (double), F119 (flag), B1016.0 (bit),\n"
    "EFF0H (byte by hex address).\n"
    "Without --port/--speed the port and speed come from Support/RSPort.cfg beside\n"
    "the program. Port N is the device Support/COMN beside the program when that\n"
    "exists, else /dev/ttyS(N-1).\n"
    "\n"
    "Exit codes: 0 ok, 2 usage, 3 communication failure, 4 value refused,\n"
    "5 file error.\n";

int usage(QTextStream &err, const QString &problem)
{
    err << "kestro-cli: " << problem << "\n\n" << kUsage << Qt::flush;
    return CliExit::Usage;
}

int readCommand(const QStringList &addresses, CliContext &ctx)
{
    if (addresses.isEmpty())
        return usage(ctx.err, QStringLiteral("read needs at least one address"));
    if (!ctx.goOnline())
        return CliExit::CommFailure;
    for (const QString &address : addresses) {
        const QString value = ctx.comm.RSRead(address);
        if (ctx.comm.CommError) {
            ctx.err << "kestro-cli: reading " << address << " failed" << Qt::endl;
            return CliExit::CommFailure;
        }
        if (addresses.size() == 1)
            ctx.out << value << Qt::endl;
        else
            ctx.out << address << ' ' << value << Qt::endl;
    }
    return CliExit::Ok;
}

int writeCommand(const QStringList &args, CliContext &ctx)
{
    if (args.size() != 2)
        return usage(ctx.err, QStringLiteral("write needs an address and a value"));
    DecodedAddress decoded;
    quint32 value = 0;
    const ValueCheck check = RSComm::PrepareValue(args[0], args[1], decoded, value);
    if (check != ValueCheck::Accepted) {
        // The same alert the window shows, through the console prompt.
        ctx.prompt.ask(QStringLiteral("ENTRY ALERT"),
                       QStringLiteral("Error:\r") + valueCheckMessage(check), PromptIcon::Critical,
                       PromptButtons::Ok);
        return CliExit::RefusedValue;
    }
    if (!ctx.goOnline())
        return CliExit::CommFailure;
    ctx.comm.RSWrite(args[0], args[1]);
    if (ctx.comm.CommError || ctx.comm.writeFailed()) {
        ctx.err << "kestro-cli: writing " << args[0] << " failed" << Qt::endl;
        return CliExit::CommFailure;
    }
    return CliExit::Ok;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    QTextStream err(stderr);

    QStringList args = app.arguments().mid(1);
    int portOverride = 0;
    int speedOverride = 0;
    while (!args.isEmpty() && args.first().startsWith(QLatin1String("--"))) {
        const QString option = args.takeFirst();
        if (option == u"--help") {
            out << kUsage << Qt::flush;
            return CliExit::Ok;
        }
        if (option == u"--trace") {
            QLoggingCategory::setFilterRules(QStringLiteral("kestro.comm.trace.debug=true"));
            continue;
        }
        if (args.isEmpty())
            return usage(err, option + QStringLiteral(" needs a value"));
        bool ok = false;
        const int value = args.takeFirst().toInt(&ok);
        if (option == u"--port" && ok && value >= 1 && value <= 99)
            portOverride = value;
        else if (option == u"--speed" && ok && (value == 9600 || value == 19200))
            speedOverride = value;
        else
            return usage(err, QStringLiteral("bad option ") + option);
    }
    if (args.isEmpty())
        return usage(err, QStringLiteral("no command given"));
    const QString verb = args.takeFirst();

    SteadyClock clock;
    ConsolePrompt prompt;
    const QString programDir = QCoreApplication::applicationDirPath();
    PosixSerialPort device(clock, programDir);
    FixedPort port(device, portOverride, speedOverride);
    RSComm comm(clock, prompt, programDir);

    CliContext ctx{comm, prompt, out, err, bool(::isatty(STDOUT_FILENO)), [&]() {
                       comm.OpenRSComm(port);
                       if (!comm.OnlineMode)
                           err << "kestro-cli: no answer from the board on " << port.deviceName()
                               << Qt::endl;
                       return comm.OnlineMode;
                   }};

    int code = CliExit::Usage;
    if (verb == u"read")
        code = readCommand(args, ctx);
    else if (verb == u"write")
        code = writeCommand(args, ctx);
    else if (verb == u"board")
        code = runBoardCommand(args, ctx);
#ifdef KESTRO_CLI_HAS_DATA
    else if (verb == u"upload" || verb == u"download" || verb == u"export" || verb == u"show")
        code = runDataCommand(verb, args, ctx);
#endif
    else
        return usage(err, QStringLiteral("unknown command ") + verb);

    if (comm.OnlineMode)
        comm.CloseRSComm();
    return code;
}
