#include "plscommands.h"

#include "comm/numbertext.h"
#include "comm/rscomm.h"

#include <QFile>
#include <QSaveFile>

#include <optional>

namespace
{

const char *const PlsUsage =
    "usage: kestro-cli [--port N] pls query\n"
    "       kestro-cli pls setpoint CHAN ON OFF [--clear]\n"
    "       kestro-cli pls pulse CHAN ON OFF START\n"
    "       kestro-cli pls clear CHAN\n"
    "       kestro-cli pls recall CHAN\n"
    "       kestro-cli pls offset POSITION\n"
    "       kestro-cli pls config-download FILE [SCALE]   (24 values, one a line)\n"
    "       kestro-cli pls config-upload FILE             (19 values, one a line)\n"
    "CHAN is 0-255; positions and divisions 0-32767; configuration values 0-255.\n";

constexpr int MaxInteger = 32767;

int usage(CliContext &ctx, const QString &problem)
{
    ctx.err << "kestro-cli: " << problem << "\n" << PlsUsage << Qt::flush;
    return CliExit::Usage;
}

// A whole number argument. Not a number: usage; a number out of range: refused.
struct Argument {
    std::optional<qint16> value;
    int failure = CliExit::Ok;
};

Argument numberArgument(CliContext &ctx, const QString &name, const QString &text, int max)
{
    bool ok = false;
    const qlonglong n = text.toLongLong(&ok);
    if (!ok)
        return {std::nullopt,
                usage(ctx, name + QStringLiteral(" must be a whole number, not ") + text)};
    if (n < 0 || n > max) {
        ctx.err << "kestro-cli: " << name << ' ' << text << " out of range (0-" << max << ")"
                << Qt::endl;
        return {std::nullopt, CliExit::RefusedValue};
    }
    return {qint16(n), CliExit::Ok};
}

// Exit code and message for an operation of the limit switch that failed.
int plsFailure(CliContext &ctx, const QString &what)
{
    if (!ctx.comm.plsFault().isEmpty()) {
        ctx.err << "kestro-cli: " << what << ": " << ctx.comm.plsFault() << Qt::endl;
        return CliExit::CommFailure;
    }
    switch (ctx.comm.plsOutcome()) {
    case RSComm::PLSOutcome::ValueRefused:
        ctx.err << "kestro-cli: " << what << ": value refused, nothing sent" << Qt::endl;
        return CliExit::RefusedValue;
    case RSComm::PLSOutcome::BoardRefused:
        ctx.err << "kestro-cli: " << what << ": refused by the limit switch" << Qt::endl;
        break;
    case RSComm::PLSOutcome::NotReady:
        ctx.err << "kestro-cli: " << what << ": the limit switch stayed busy" << Qt::endl;
        break;
    case RSComm::PLSOutcome::NoAnswer:
    case RSComm::PLSOutcome::Done:
        ctx.err << "kestro-cli: " << what << ": no answer from the limit switch" << Qt::endl;
        break;
    }
    return CliExit::CommFailure;
}

int queryCommand(CliContext &ctx)
{
    if (!ctx.goOnline())
        return CliExit::CommFailure;
    struct Line {
        const char *name;
        QString (RSComm::*query)();
    };
    const Line lines[] = {{"scale-factor", &RSComm::PLSScaleFactor},
                          {"offset", &RSComm::PLSOffset},
                          {"position", &RSComm::PLSPos},
                          {"speed", &RSComm::PLSRpm}};
    for (const Line &line : lines) {
        const QString value = (ctx.comm.*line.query)();
        if (ctx.comm.CommError || leadingNumber(value) == RSComm::QueryFailed) {
            ctx.err << "kestro-cli: reading the " << line.name << " failed" << Qt::endl;
            return CliExit::CommFailure;
        }
        ctx.out << line.name << ' ' << value.trimmed() << Qt::endl;
    }
    return CliExit::Ok;
}

// Arguments all numbers in range, in order; the first failure's exit code.
int parseNumbers(CliContext &ctx, const QStringList &args, const QStringList &names,
                 const QList<int> &maxima, QList<qint16> &values)
{
    for (qsizetype i = 0; i < names.size(); ++i) {
        const Argument a = numberArgument(ctx, names[i], args[i], maxima[i]);
        if (!a.value)
            return a.failure;
        values.append(*a.value);
    }
    return CliExit::Ok;
}

int channelCommand(const QString &verb, QStringList args, CliContext &ctx)
{
    RSComm::ChannelClear clear = RSComm::ChannelClear::Keep;
    if (verb == u"setpoint" && args.removeAll(QStringLiteral("--clear")) > 0)
        clear = RSComm::ChannelClear::ClearFirst;

    QStringList names{QStringLiteral("CHAN")};
    if (verb == u"setpoint")
        names << QStringLiteral("ON") << QStringLiteral("OFF");
    else if (verb == u"pulse")
        names << QStringLiteral("ON") << QStringLiteral("OFF") << QStringLiteral("START");
    if (args.size() != names.size())
        return usage(ctx,
                     QStringLiteral("pls ") + verb + QStringLiteral(" needs ") + names.join(u' '));
    QList<int> maxima(names.size(), MaxInteger);
    maxima[0] = 255;
    QList<qint16> v;
    if (int code = parseNumbers(ctx, args, names, maxima, v); code != CliExit::Ok)
        return code;

    if (!ctx.goOnline())
        return CliExit::CommFailure;
    bool done = false;
    if (verb == u"setpoint")
        done = ctx.comm.SingleSetpoint(v[0], v[1], v[2], clear);
    else if (verb == u"pulse")
        done = ctx.comm.PulseTrain(v[0], v[1], v[2], v[3]);
    else if (verb == u"clear")
        done = ctx.comm.ClearPLSChan(v[0]);
    else
        done = ctx.comm.RecallChannel(v[0]);

    const QString what = verb + QStringLiteral(" channel ") + args[0];
    if (done && verb == u"recall")
        ctx.out << "state " << ctx.comm.ChannelRecallState() << '\n'
                << "position " << ctx.comm.ChannelRecallPos() << Qt::endl;
    if (!done && verb == u"recall" && ctx.comm.plsOutcome() == RSComm::PLSOutcome::BoardRefused)
        ctx.err << "kestro-cli: " << what << ": state " << ctx.comm.ChannelRecallState()
                << " (no position)" << Qt::endl;
    return done ? int(CliExit::Ok) : plsFailure(ctx, what);
}

int offsetCommand(const QStringList &args, CliContext &ctx)
{
    if (args.size() != 1)
        return usage(ctx, QStringLiteral("pls offset needs POSITION"));
    const Argument position = numberArgument(ctx, QStringLiteral("POSITION"), args[0], MaxInteger);
    if (!position.value)
        return position.failure;
    if (!ctx.goOnline())
        return CliExit::CommFailure;
    if (!ctx.comm.SetPLSOffset(*position.value))
        return plsFailure(ctx, QStringLiteral("offset"));
    return CliExit::Ok;
}

// A configuration file: one value a line, blank lines ignored, every value 0-255.
int readConfigFile(CliContext &ctx, const QString &path, QList<qint16> &values)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        ctx.err << "kestro-cli: " << path << ": " << file.errorString() << Qt::endl;
        return CliExit::FileError;
    }
    const QList<QByteArray> lines = file.readAll().split('\n');
    QList<int> numbers;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QByteArray text = lines[i].trimmed();
        if (text.isEmpty())
            continue;
        bool ok = false;
        const int n = text.toInt(&ok);
        if (!ok) {
            ctx.err << "kestro-cli: " << path << " line " << i + 1 << ": not a whole number"
                    << Qt::endl;
            return CliExit::FileError;
        }
        numbers.append(n);
    }
    if (numbers.size() != RSComm::PLSConfigDownloadCount) {
        ctx.err << "kestro-cli: " << path << " holds " << numbers.size() << " values, "
                << RSComm::PLSConfigDownloadCount << " needed" << Qt::endl;
        return CliExit::FileError;
    }
    for (qsizetype i = 0; i < numbers.size(); ++i) {
        if (numbers[i] < 0 || numbers[i] > 255) {
            ctx.err << "kestro-cli: " << path << " value " << i + 1 << " (" << numbers[i]
                    << ") out of range (0-255)" << Qt::endl;
            return CliExit::RefusedValue;
        }
        values.append(qint16(numbers[i]));
    }
    return CliExit::Ok;
}

int configDownloadCommand(const QStringList &args, CliContext &ctx)
{
    if (args.size() != 1 && args.size() != 2)
        return usage(ctx, QStringLiteral("pls config-download needs FILE and may take SCALE"));
    QList<qint16> values;
    if (int code = readConfigFile(ctx, args[0], values); code != CliExit::Ok)
        return code;
    std::optional<qint16> scale;
    if (args.size() == 2) {
        const Argument a = numberArgument(ctx, QStringLiteral("SCALE"), args[1], MaxInteger);
        if (!a.value)
            return a.failure;
        if (*a.value == 0) {
            ctx.err << "kestro-cli: SCALE 0 out of range (1-" << MaxInteger << ")" << Qt::endl;
            return CliExit::RefusedValue;
        }
        scale = a.value;
    }
    if (!ctx.goOnline())
        return CliExit::CommFailure;
    if (!scale) {
        // Written back with the configuration: it must be the board's own.
        constexpr quint8 scaleFactorQuery = 0x18;
        const int current = ctx.comm.ConfirmedQuery(scaleFactorQuery);
        if (ctx.comm.CommError || current <= 0 || current > MaxInteger) {
            ctx.err << "kestro-cli: reading the scale factor failed" << Qt::endl;
            return CliExit::CommFailure;
        }
        scale = qint16(current);
    }
    if (!ctx.comm.PLSConfigDownload(values, *scale))
        return plsFailure(ctx, QStringLiteral("configuration download"));
    return CliExit::Ok;
}

int configUploadCommand(const QStringList &args, CliContext &ctx)
{
    if (args.size() != 1)
        return usage(ctx, QStringLiteral("pls config-upload needs FILE"));
    const QString &path = args[0];
    if (!ctx.goOnline())
        return CliExit::CommFailure;
    bool ok = false;
    const QList<qint16> values = ctx.comm.PLSConfigUpload(&ok);
    if (!ok) {
        plsFailure(ctx, QStringLiteral("configuration upload"));
        ctx.err << "kestro-cli: " << path << " left unchanged" << Qt::endl;
        return CliExit::CommFailure;
    }
    // Written aside and renamed, so a failure never leaves half a file.
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly)) {
        for (const qint16 value : values)
            file.write(QByteArray::number(value) + "\r\n");
        if (file.commit())
            return CliExit::Ok;
    }
    ctx.err << "kestro-cli: " << path << ": " << file.errorString() << Qt::endl;
    return CliExit::FileError;
}

} // namespace

int runPlsCommand(const QStringList &args, CliContext &ctx)
{
    if (args.isEmpty())
        return usage(ctx, QStringLiteral("pls needs a command"));
    const QString verb = args.front();
    const QStringList rest = args.mid(1);
    if (verb == u"--help" || verb == u"help") {
        ctx.out << PlsUsage << Qt::flush;
        return CliExit::Ok;
    }
    if (verb == u"query")
        return rest.isEmpty() ? queryCommand(ctx)
                              : usage(ctx, QStringLiteral("pls query takes no arguments"));
    if (verb == u"setpoint" || verb == u"pulse" || verb == u"clear" || verb == u"recall")
        return channelCommand(verb, rest, ctx);
    if (verb == u"offset")
        return offsetCommand(rest, ctx);
    if (verb == u"config-download")
        return configDownloadCommand(rest, ctx);
    if (verb == u"config-upload")
        return configUploadCommand(rest, ctx);
    return usage(ctx, QStringLiteral("unknown pls command ") + verb);
}
