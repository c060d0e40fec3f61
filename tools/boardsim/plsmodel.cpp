#include "plsmodel.h"

#include "boardregisters.h"
#include "registeraddress.h"
#include "registerspace.h"

#include <QElapsedTimer>
#include <QStringList>

#include <memory>

namespace
{

constexpr quint8 Acknowledge = 0x55;
constexpr quint8 Ready = 0x00;

quint16 wordOf(const QByteArray &data, int at)
{
    return quint16(quint8(data[at]) | quint8(data[at + 1]) << 8);
}

PlsModel::Clock steadyClock()
{
    auto timer = std::make_shared<QElapsedTimer>();
    timer->start();
    return [timer] { return timer->elapsed(); };
}

} // namespace

PlsModel::PlsModel(const RegisterSpace &registers, WordStore store)
    : m_registers(registers), m_storeWord(std::move(store)), m_clock(steadyClock())
{
    // A configuration of its own from the start, so an upload shows something.
    for (int i = 0; i < ConfigCount; ++i)
        m_config[size_t(i)] = quint8(10 + i);
}

bool PlsModel::isModeByte(quint8 byte)
{
    return dataLength(byte) > 0 || byte == ConfigReadCode || byte == RecallCode;
}

int PlsModel::dataLength(quint8 modeByte)
{
    switch (modeByte) {
    case SetpointCode:
    case PulseTrainCode:
        return 6;
    case OffsetCode:
    case ScaleFactorCode:
        return 2;
    default:
        break;
    }
    for (quint8 code : ConfigBlockCodes)
        if (code == modeByte)
            return 6;
    return 0;
}

quint16 PlsModel::scaleFactor() const
{
    return m_registers.wordAt(BoardRegisters::ResolverScale);
}

quint16 PlsModel::offset() const
{
    return m_registers.wordAt(BoardRegisters::ResolverOffset);
}

bool PlsModel::begin(quint8 modeByte)
{
    m_modeByte = modeByte;
    m_data.clear();
    m_step = 0;
    if (dataLength(modeByte) > 0)
        m_phase = Phase::Data;
    else if (modeByte == RecallCode)
        m_phase = Phase::RecallChannel;
    else if (modeByte == ConfigReadCode)
        m_phase = Phase::ConfigRead;
    else
        m_phase = Phase::Idle;
    return m_phase != Phase::Idle;
}

std::optional<quint8> PlsModel::refuse(quint8 byte)
{
    m_phase = Phase::Idle;
    return byte == Acknowledge ? quint8(~Acknowledge) : byte;
}

std::optional<quint8> PlsModel::feed(quint8 byte)
{
    switch (m_phase) {
    case Phase::Idle:
        return refuse(byte);

    case Phase::Data:
        // A channel beyond the last is refused at once.
        if (m_data.isEmpty() && (m_modeByte == SetpointCode || m_modeByte == PulseTrainCode) &&
            byte >= ChannelCount)
            return refuse(byte);
        m_data.append(char(byte));
        if (m_data.size() < dataLength(m_modeByte))
            return Acknowledge;
        if (!store())
            return refuse(byte);
        m_busyUntil = m_clock() + m_busyMs;
        m_phase = Phase::PollAck;
        return Acknowledge;

    case Phase::PollAck:
        if (byte != ReadyPoll)
            return byte == Acknowledge ? quint8(~Acknowledge) : byte;
        m_phase = Phase::PollStatus;
        return Acknowledge;

    case Phase::PollStatus:
        if (byte != Acknowledge) {
            m_phase = Phase::PollAck;
            return byte;
        }
        if (busy()) {
            m_phase = Phase::PollAck;
            return Acknowledge;
        }
        m_phase = Phase::PollDone;
        return Ready;

    case Phase::PollDone:
        m_phase = Phase::Idle;
        return Acknowledge;

    case Phase::RecallChannel: {
        if (byte >= ChannelCount)
            return refuse(byte);
        const Channel &c = m_channels[byte];
        m_recallAnswers[0] = c.kind == Channel::Kind::Setpoint ? 1 : 0;
        m_recallAnswers[1] = quint8(c.first & 0xFF);
        m_recallAnswers[2] = quint8(c.first >> 8);
        m_step = 0;
        m_phase = Phase::RecallAnswers;
        return Acknowledge;
    }

    case Phase::RecallAnswers: {
        const quint8 answer = m_recallAnswers[m_step];
        if (++m_step == 3)
            m_phase = Phase::Idle;
        return answer;
    }

    case Phase::ConfigRead: {
        const quint8 answer = m_config[size_t(m_step)];
        if (++m_step == ConfigUploadCount)
            m_phase = Phase::Idle;
        return answer;
    }
    }
    return std::nullopt;
}

bool PlsModel::store()
{
    switch (m_modeByte) {
    case SetpointCode:
    case PulseTrainCode:
        return storeChannel();
    case ScaleFactorCode: {
        const quint16 scale = wordOf(m_data, 0);
        if (scale == 0)
            return false;
        m_storeWord(BoardRegisters::ResolverScale, scale);
        return true;
    }
    case OffsetCode: {
        const quint16 offset = wordOf(m_data, 0);
        if (offset >= scaleFactor())
            return false;
        m_storeWord(BoardRegisters::ResolverOffset, offset);
        return true;
    }
    default:
        break;
    }
    for (int block = 0; block < 4; ++block) {
        if (ConfigBlockCodes[block] != m_modeByte)
            continue;
        for (int i = 0; i < 6; ++i)
            m_config[size_t(block * 6 + i)] = quint8(m_data[i]);
        return true;
    }
    return false;
}

bool PlsModel::storeChannel()
{
    const int number = quint8(m_data[0]);
    const quint16 first = wordOf(m_data, 1);
    const quint16 second = wordOf(m_data, 3);
    const quint8 kind = quint8(m_data[5]);
    const int scale = scaleFactor();
    Channel c;
    c.first = first;
    c.second = second;
    if (m_modeByte == SetpointCode && kind == 1) {
        if (first >= scale || second >= scale)
            return false;
        c.kind = Channel::Kind::Setpoint;
    } else if (m_modeByte == SetpointCode && kind == 0) {
        if (first != 0 || second != 0)
            return false;
        c.kind = Channel::Kind::Clear;
    } else if (m_modeByte == PulseTrainCode && kind == 0) {
        const int on = second & 0xFF;
        const int off = second >> 8;
        if (on == 0 || off == 0 || scale % (on + off) != 0 || first >= scale)
            return false;
        c.kind = Channel::Kind::PulseTrain;
    } else {
        return false;
    }
    m_channels[size_t(number)] = c;
    return true;
}

QString PlsModel::consoleCommand(const QList<QStringView> &args)
{
    const QString usage = QStringLiteral("error: usage: pls busy MS | pls channel N | pls config");
    if (args.isEmpty())
        return usage;
    const QString command = args.front().toString().toLower();
    if (command == u"busy" && args.size() == 2) {
        const auto ms = parseUnsigned(args[1]);
        if (!ms || *ms > 600000)
            return QStringLiteral("error: usage: pls busy MS (0-600000)");
        setBusyMs(int(*ms));
        return QStringLiteral("ok");
    }
    if (command == u"channel" && args.size() == 2) {
        const auto n = parseUnsigned(args[1]);
        if (!n || *n >= quint32(ChannelCount))
            return QStringLiteral("error: channel must be 0-%1").arg(ChannelCount - 1);
        const Channel &c = channel(int(*n));
        switch (c.kind) {
        case Channel::Kind::Clear:
            break;
        case Channel::Kind::Setpoint:
            return QStringLiteral("setpoint %1 %2").arg(c.first).arg(c.second);
        case Channel::Kind::PulseTrain:
            return QStringLiteral("pulse %1 %2 %3")
                .arg(c.first)
                .arg(c.second & 0xFF)
                .arg(c.second >> 8);
        }
        return QStringLiteral("clear");
    }
    if (command == u"config" && args.size() == 1) {
        QStringList values;
        for (quint8 v : m_config)
            values << QString::number(v);
        return values.join(u' ');
    }
    return usage;
}
