#include "commandprocessor.h"

#include "boardmodel.h"
#include "boardregisters.h"
#include "registeraddress.h"
#include "simsettings.h"

#include <QList>

#include <optional>

namespace
{

std::optional<bool> onOff(QStringView text)
{
    if (text.compare(u"on", Qt::CaseInsensitive) == 0)
        return true;
    if (text.compare(u"off", Qt::CaseInsensitive) == 0)
        return false;
    return std::nullopt;
}

QString error(const QString &reason)
{
    return QStringLiteral("error: ") + reason;
}

const QString Ok = QStringLiteral("ok");

} // namespace

CommandProcessor::CommandProcessor(BoardModel &board, SimSettings &settings)
    : m_board(board), m_settings(settings)
{
}

CommandProcessor::Result CommandProcessor::execute(QStringView line)
{
    QString text = line.toString();
    text.replace(u'\t', u' ');
    const QList<QStringView> words = QStringView(text).trimmed().split(u' ', Qt::SkipEmptyParts);
    if (words.isEmpty())
        return {};
    const QString command = words.front().toString().toLower();
    const qsizetype args = words.size() - 1;

    auto wrongArguments = [&](const char *usage) {
        return Result{error(QStringLiteral("usage: ") + QLatin1String(usage))};
    };

    if (command == u"set") {
        if (args != 2)
            return wrongArguments("set ADDR VALUE");
        return {set(words[1], words[2])};
    }
    if (command == u"get") {
        if (args != 1)
            return wrongArguments("get ADDR");
        return {get(words[1])};
    }
    if (command == u"snapshot") {
        // The whole memory, for "changes" to compare against later.
        m_snapshot.resize(RegisterSpace::Size);
        for (int a = 0; a < RegisterSpace::Size; ++a)
            m_snapshot[a] = char(m_board.registers().byteAt(a));
        return {Ok};
    }
    if (command == u"changes") {
        if (m_snapshot.isEmpty())
            return {error(QStringLiteral("no snapshot taken"))};
        QStringList changed;
        for (int a = 0; a < RegisterSpace::Size; ++a) {
            const quint8 before = quint8(m_snapshot[a]);
            const quint8 now = m_board.registers().byteAt(a);
            if (before != now)
                changed << QStringLiteral("B%1:%2>%3").arg(a).arg(before).arg(now);
        }
        return {changed.isEmpty() ? QStringLiteral("none") : changed.join(u' ')};
    }
    if (command == u"silent" || command == u"frozen") {
        const auto on = args == 1 ? onOff(words[1]) : std::nullopt;
        if (!on)
            return command == u"silent" ? wrongArguments("silent on|off")
                                        : wrongArguments("frozen on|off");
        (command == u"silent" ? m_settings.silent : m_settings.frozen) = *on;
        return {Ok};
    }
    if (command == u"wrong-echo" || command == u"delay" || command == u"pace" ||
        command == u"garbage" || command == u"wrong-echo-at" || command == u"misheard") {
        const auto n = args == 1 ? parseUnsigned(words[1]) : std::nullopt;
        if (!n || *n > 1000000)
            return wrongArguments(command == u"wrong-echo"      ? "wrong-echo N"
                                  : command == u"garbage"       ? "garbage N"
                                  : command == u"wrong-echo-at" ? "wrong-echo-at N"
                                  : command == u"misheard"      ? "misheard N"
                                  : command == u"delay"         ? "delay MS"
                                                                : "pace BAUD");
        if (command == u"wrong-echo")
            m_board.setWrongEchoEvery(int(*n));
        else if (command == u"garbage")
            m_board.setGarbageEvery(int(*n));
        else if (command == u"misheard")
            m_board.setMisheardEvery(int(*n));
        else if (command == u"wrong-echo-at")
            // Counted from now: the Nth exchange after this command.
            m_board.setWrongAnswerAt(*n ? m_board.exchanges() + int(*n) : 0);
        else if (command == u"delay")
            m_settings.delayMs = int(*n);
        else
            m_settings.paceBaud = int(*n);
        return {Ok};
    }
    if (command == u"pls")
        return {m_board.limitSwitch().consoleCommand(words.mid(1))};
    if (command == u"program-wrong-sum" || command == u"program-silent") {
        const auto n = args == 1 ? parseUnsigned(words[1]) : std::nullopt;
        if (!n || *n > 1000000)
            return wrongArguments(command == u"program-silent" ? "program-silent N"
                                                               : "program-wrong-sum N");
        if (command == u"program-silent")
            m_board.programMemory().setSilentOnRecord(int(*n));
        else
            m_board.programMemory().setWrongSumOnRecord(int(*n));
        return {Ok};
    }
    if (command == u"program" && args == 0) {
        const ProgramMemory &program = m_board.programMemory();
        const int last = program.lastRecordAddress();
        return {QStringLiteral("records %1 last %2")
                    .arg(program.recordsLoaded())
                    .arg(last < 0
                             ? QStringLiteral("-")
                             : QStringLiteral("%1H").arg(last, 4, 16, QLatin1Char('0')).toUpper())};
    }
    if (command == u"fault") {
        const auto code = args == 1 ? parseUnsigned(words[1]) : std::nullopt;
        if (!code || *code > 255)
            return wrongArguments("fault CODE (0-255)");
        return {fault(quint8(*code))};
    }
    if (command == u"mode" && args == 0)
        return {modeName()};
    if (command == u"close" && args == 0)
        return {Ok, Outcome::Vanish};
    if (command == u"quit" && args == 0)
        return {Ok, Outcome::Quit};
    return {error(QStringLiteral("unknown command '%1'").arg(line.trimmed()))};
}

QString CommandProcessor::set(QStringView addressText, QStringView valueText)
{
    QString why;
    const auto address = RegisterAddress::parse(addressText, &why);
    if (!address)
        return error(why + QStringLiteral(" '") + addressText.toString() + u'\'');
    const auto value = parseUnsigned(valueText);
    if (!value)
        return error(QStringLiteral("value must be a decimal number"));
    if (*value > address->maxValue())
        return error(QStringLiteral("value out of range (0-%1)").arg(address->maxValue()));
    m_board.storeValue(*address, *value);
    return Ok;
}

// The board's fault logic: a fault becomes the current one and is kept as
// the last one; fault 0 clears only the current fault.
QString CommandProcessor::fault(quint8 code)
{
    m_board.registers().setByte(BoardRegisters::CurrentFault, code);
    if (code != 0)
        m_board.registers().setByte(BoardRegisters::LastFault, code);
    return Ok;
}

QString CommandProcessor::get(QStringView addressText) const
{
    QString why;
    const auto address = RegisterAddress::parse(addressText, &why);
    if (!address)
        return error(why + QStringLiteral(" '") + addressText.toString() + u'\'');
    return QString::number(m_board.value(*address));
}

QString CommandProcessor::modeName() const
{
    if (m_board.awaitingModeByte())
        return QStringLiteral("attention");
    if (m_board.inProgramLoad())
        return QStringLiteral("program");
    switch (m_board.mode()) {
    case BoardModel::Mode::Read:
        return QStringLiteral("read");
    case BoardModel::Mode::Write:
        return QStringLiteral("write");
    case BoardModel::Mode::Query:
        return QStringLiteral("query");
    case BoardModel::Mode::LimitSwitch:
        return QStringLiteral("limit-switch");
    case BoardModel::Mode::None:
        break;
    }
    return QStringLiteral("none");
}
