// kestro-cli: register access and data transfers from the command line, on
// the same core as the window program.
#include "boardcommand.h"
#include "cliaddress.h"
#include "clicontext.h"
#include "consoleprompt.h"
#include "doctorcommand.h"
#include "fixedport.h"
#include "plscommands.h"
#include "portscommand.h"

#include "comm/clock.h"
#include "comm/posixserialport.h"
#include "comm/rscomm.h"

#ifdef KESTRO_CLI_HAS_DATA
#include "datacommands.h"
#endif
#ifdef KESTRO_CLI_HAS_REPORT
#include "reportcommand.h"
#endif
#include "programcommands.h"
#ifdef KESTRO_CLI_HAS_MONITOR
#include "monitorcommand.h"
#endif
#include "historycommand.h"

#include "history/historystore.h"
#include "history/writeaudit.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <QTextStream>
#include <cstdio>
#include <unistd.h>

namespace
{

const char *const kUsage =
    "Usage: kestro-cli [--port N] [--speed 9600|19200] [--trace] COMMAND ...\n"
    "       kestro-cli -h|--help|--version\n"
    "\n"
    "Commands:\n"
    "  read ADDR...                 print register values (one address: the value;\n"
    "                               several: one \"ADDR VALUE\" line each)\n"
    "  write ADDR VALUE             write one register\n"
    "  upload setup|shift|all FILE.sdt    read a data group from the board into FILE\n"
    "  download setup|shift|all FILE.sdt  write a data group of FILE to the board\n"
    "  export FILE.sdt OUT.txt      write the shift data export of FILE\n"
    "  show FILE.sdt                list the items of FILE\n"
    "  pls query|setpoint|pulse|clear|recall|offset|config-download|config-upload ...\n"
    "                               the limit switch (kestro-cli pls help)\n"
    "  report FILE.sdt OUT.pdf [--setup-only|--shift-only] [--title TEXT]\n"
    "                               print the report of FILE into a PDF\n"
    "  program-download PROJECT.pdx [--yes]  send the controller program of PROJECT\n"
    "                               (--yes answers its confirmation)\n"
    "  program-upload PROJECT.pdx   read the board's program into PROJECT's files\n"
    "  board [--project FILE.pdx] [--set-clock] [--reset-faults] [--address N]\n"
    "                               the board's fault codes, program identity,\n"
    "                               network address and clock; the options reset\n"
    "                               the faults, set address 1 or the clock first\n"
    "  diff A.sdt B.sdt|--board [--group setup|shift|all]\n"
    "                               list the items (of the set-up data unless\n"
    "                               --group says otherwise) whose values differ\n"
    "                               between two files, or a file and the board;\n"
    "                               exit 0 same, 1 different, 3 board not read\n"
    "  history shifts|faults|changes [--since DATE] [--csv]\n"
    "                               what the history recorded (DATE: 2026-03-02\n"
    "                               or 2026-03-02T06:00); writes and downloads are\n"
    "                               recorded there, in $KESTRO_HISTORY when set\n"
    "  ports [--assign N DEVICE]    list the serial devices, the device the port\n"
    "                               leads to and whether you may open it; --assign\n"
    "                               makes port N lead to DEVICE\n"
    "  doctor [--exchanges N]       check the link: the device, the cable and the\n"
    "                               board, each fault with its fix; on a healthy\n"
    "                               board N exchanges (200) are timed\n"
    "  monitor [--line NAME] [--mqtt URL] [--config FILE]\n"
    "                               watch the board until stopped and publish its\n"
    "                               state, faults and shifts to an MQTT broker\n"
    "                               (kestro/NAME/...); the broker's user and\n"
    "                               password only from FILE\n"
    "\n"
    "Addresses: W98 (word), B52 (byte), D1304 (double), F119 (flag), B1016.0 (bit),\n"
    "EFF0H (byte by hex address). Any other address is refused.\n"
    "Options may stand anywhere on the line; \"--\" ends them.\n"
    "Without --port/--speed the port and speed come from RSPort.cfg: in\n"
    "~/.config/kestro when the program's Support/ folder is read-only (installed),\n"
    "else in Support/ beside the program. Port N is the link COMN there (or in\n"
    "Support/) when it exists, else /dev/ttyS(N-1).\n"
    "\n"
    "Exit codes: 0 ok, 1 declined at the confirmation, 2 usage or bad address,\n"
    "3 communication failure (any register not read or not written; they are\n"
    "named on standard error), 4 value refused, 5 file error.\n";

int usage(QTextStream &err, const QString &problem)
{
    err << "kestro-cli: " << problem << "\n\n" << kUsage << Qt::flush;
    return CliExit::Usage;
}

bool addressesGood(const QStringList &addresses, QTextStream &err)
{
    bool good = true;
    for (const QString &address : addresses) {
        if (const QString problem = addressProblem(address); !problem.isEmpty()) {
            err << "kestro-cli: bad address " << address << ": " << problem << Qt::endl;
            good = false;
        }
    }
    return good;
}

int readCommand(const QStringList &addresses, CliContext &ctx)
{
    if (addresses.isEmpty())
        return usage(ctx.err, QStringLiteral("read needs at least one address"));
    if (!addressesGood(addresses, ctx.err))
        return CliExit::Usage;
    if (!ctx.goOnline()) {
        ctx.err << "kestro-cli: not read: " << addresses.join(QStringLiteral(", ")) << Qt::endl;
        return CliExit::CommFailure;
    }
    // A register that could not be read is named, never shown as "0".
    QStringList failed;
    for (const QString &address : addresses) {
        if (ctx.comm.CommError) {
            failed << address;
            continue;
        }
        const QString value = ctx.comm.RSRead(address);
        if (ctx.comm.lastTransactionFailed()) {
            failed << address;
            continue;
        }
        if (addresses.size() == 1)
            ctx.out << value << Qt::endl;
        else
            ctx.out << address << ' ' << value << Qt::endl;
    }
    if (failed.isEmpty())
        return CliExit::Ok;
    ctx.err << "kestro-cli: not read: " << failed.join(QStringLiteral(", ")) << Qt::endl;
    return CliExit::CommFailure;
}

int writeCommand(const QStringList &args, CliContext &ctx)
{
    if (args.size() != 2)
        return usage(ctx.err, QStringLiteral("write needs an address and a value"));
    if (!addressesGood({args[0]}, ctx.err))
        return CliExit::Usage;
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
    if (!ctx.goOnline()) {
        ctx.err << "kestro-cli: not written: " << args[0] << Qt::endl;
        return CliExit::CommFailure;
    }
    // Read first, so the record of the change carries the value it replaced.
    ctx.comm.RSRead(args[0]);
    const History::WriteAudit::Origin origin(ctx.audit, QStringLiteral("command write"));
    ctx.comm.RSWrite(args[0], args[1]);
    if (ctx.comm.CommError || ctx.comm.lastTransactionFailed()) {
        const QString holds = ctx.comm.lastWriteReadBack();
        ctx.err << "kestro-cli: not written: " << args[0]
                << (holds.isEmpty() ? QStringLiteral(" (its value is unknown)")
                                    : QStringLiteral(" (it holds %1)").arg(holds))
                << Qt::endl;
        return CliExit::CommFailure;
    }
    return CliExit::Ok;
}


// Values taken by an option of one of the commands, -1 for any other word.
int commandOptionValues(const QString &option)
{
    if (option == u"--clear" || option == u"--yes" || option == u"--set-clock" ||
        option == u"--reset-faults" || option == u"--csv" || option == u"--board")
        return 0;
    if (option == u"--project" || option == u"--address" || option == u"--exchanges" ||
        option == u"--since" || option == u"--group" || option == u"--line" ||
        option == u"--mqtt" || option == u"--config")
        return 1;
    if (option == u"--assign")
        return 2;
    return -1;
}

} // namespace

int main(int argc, char *argv[])
{
#ifdef KESTRO_CLI_HAS_REPORT
    if (const int code = runReportCommand(argc, argv); code >= 0)
        return code;
#endif
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    QTextStream err(stderr);

    // Options may come before or after the command; a word after "--" is
    // never an option. "-5" is a value (refused later), not an option.
    const QStringList all = app.arguments().mid(1);
    QStringList args;
    int portOverride = 0;
    int speedOverride = 0;
    for (qsizetype i = 0; i < all.size(); ++i) {
        QString option = all[i];
        if (option == u"--") {
            args += all.mid(i + 1);
            break;
        }
        const bool isOption =
            option.startsWith(QLatin1String("--")) ||
            (option.size() > 1 && option.startsWith(u'-') && !option[1].isDigit());
        if (!isOption) {
            args << option;
            continue;
        }
        if (option == u"--help" || option == u"-h") {
            out << kUsage << Qt::flush;
            return CliExit::Ok;
        }
        if (option == u"--version") {
            out << "kestro-cli " << KESTRO_VERSION << Qt::endl;
            return CliExit::Ok;
        }
        if (option == u"--trace") {
            QLoggingCategory::setFilterRules(QStringLiteral("kestro.comm.trace.debug=true"));
            continue;
        }
        // The commands' own options go to them, with their values.
        if (const int values = commandOptionValues(option); values >= 0) {
            args << option;
            for (int v = 0; v < values && i + 1 < all.size(); ++v)
                args << all[++i];
            continue;
        }
        QString valueText;
        if (const qsizetype eq = option.indexOf(u'='); eq > 0) {
            valueText = option.mid(eq + 1);
            option.truncate(eq);
        } else if (option == u"--port" || option == u"--speed") {
            if (i + 1 >= all.size())
                return usage(err, option + QStringLiteral(" needs a value"));
            valueText = all[++i];
        }
        bool ok = false;
        const int value = valueText.toInt(&ok);
        if (option == u"--port" && ok && value >= 1 && value <= 99)
            portOverride = value;
        else if (option == u"--speed" && ok && (value == 9600 || value == 19200))
            speedOverride = value;
        else if (option == u"--port" || option == u"--speed")
            return usage(err, QStringLiteral("bad value for ") + option + QStringLiteral(": ") +
                                  valueText);
        else
            return usage(err, QStringLiteral("unknown option ") + option);
    }
    if (args.isEmpty())
        return usage(err, QStringLiteral("no command given"));
    const QString verb = args.takeFirst();

    const QString programDir = QCoreApplication::applicationDirPath();
    if (verb == u"ports")
        return runPortsCommand(args, programDir, portOverride, out, err);
    if (verb == u"doctor")
        return runDoctorCommand(args, programDir, portOverride, speedOverride, out, err);
#ifdef KESTRO_CLI_HAS_MONITOR
    if (verb == u"monitor")
        return runMonitorCommand(args, programDir, portOverride, speedOverride, err);
#endif
    if (verb == u"history")
        return runHistoryCommand(args, programDir, out, err);

    SteadyClock clock;
    ConsolePrompt prompt;
    PosixSerialPort device(clock, programDir);
    FixedPort port(device, portOverride, speedOverride);
    RSComm comm(clock, prompt, programDir);

    // Writes are recorded; a history file that cannot be written is said
    // once and never stops the command.
    History::HistoryStore store;
    store.setProblemHandler([&err](const QString &problem) {
        err << "kestro-cli: " << problem << Qt::endl;
    });
    History::WriteAudit audit(store);
    if (verb == u"write" || verb == u"download") {
        store.open(cliHistoryPath(programDir));
        comm.setRegisterObserver(&audit);
    }

    CliContext ctx{
        comm, prompt, out, err, bool(::isatty(STDOUT_FILENO)), [&]() {
            comm.OpenRSComm(port);
            // Settings that could not be read leave the port unset:
            // its device and error would name nothing real.
            if (comm.setupFailed())
                err << "kestro-cli: cannot use "
                    << (portOverride > 0
                            ? QStringLiteral("port %1 (%2)")
                                  .arg(portOverride)
                                  .arg(PosixSerialPort::resolvedDevice(portOverride, programDir))
                            : QStringLiteral("the port"))
                    << ": " << comm.setupFailure() << Qt::endl;
            else if (!comm.OnlineMode && !port.isOpen())
                err << "kestro-cli: cannot use " << port.deviceName() << ": "
                    << serialErrorText(port.lastError())
                    << (port.holder().isEmpty() ? QString() : QStringLiteral(": ") + port.holder())
                    << Qt::endl;
            else if (!comm.OnlineMode)
                err << "kestro-cli: no answer from the board on " << port.deviceName() << Qt::endl;
            return comm.OnlineMode;
        },
                   &audit};

    int code = CliExit::Usage;
    if (verb == u"read")
        code = readCommand(args, ctx);
    else if (verb == u"write")
        code = writeCommand(args, ctx);
    else if (verb == u"pls")
        code = runPlsCommand(args, ctx);
    else if (verb == u"diff")
        code = runDiffCommand(args, ctx);
    else if (verb == u"board")
        code = runBoardCommand(args, ctx);
#ifdef KESTRO_CLI_HAS_DATA
    else if (verb == u"upload" || verb == u"download" || verb == u"export" || verb == u"show")
        code = runDataCommand(verb, args, ctx);
#endif
    else if (verb.startsWith(u"program-"))
        code = runProgramCommand(verb, args, ctx, prompt);
    else
        return usage(err, QStringLiteral("unknown command ") + verb);

    // Whatever the command was, a register changed that nobody asked for
    // makes it fail, named.
    if (const QList<RSComm::StrayWrite> strays = comm.takeStrayWrites(); !strays.isEmpty()) {
        err << "kestro-cli: may have changed, not asked for: "
            << RSComm::strayWriteTexts(strays).join(QStringLiteral("; ")) << Qt::endl;
        code = CliExit::CommFailure;
    }
    // An adapter pulled during the command: say which, so that the
    // technician knows the next run needs it back.
    if (code != CliExit::Ok && device.lastError() == SerialError::HungUp)
        err << "kestro-cli: the device " << device.deviceName()
            << " went away during the command (unplugged?); plug it back in and run the "
               "command again"
            << Qt::endl;
    if (comm.OnlineMode)
        comm.CloseRSComm();
    return code;
}
