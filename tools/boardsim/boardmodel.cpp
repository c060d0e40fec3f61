#include "boardmodel.h"

#include "boardregisters.h"

#include <QRandomGenerator>

namespace
{
quint8 wrongEcho(quint8 byte)
{
    const quint8 wrong = byte ^ 0x01;
    return wrong == BoardModel::Acknowledge ? quint8(byte ^ 0x02) : wrong;
}
} // namespace

BoardModel::BoardModel()
    : m_pls(m_registers, [this](int address, quint16 value) {
          m_registers.setWord(address, value);
          notifyWritten(address);
          notifyWritten(address + 1);
      })
{
}

BoardModel::Mode BoardModel::mode() const
{
    switch (m_phase) {
    case Phase::ReadHigh:
    case Phase::ReadLow:
        return Mode::Read;
    case Phase::WriteHigh:
    case Phase::WriteLow:
    case Phase::WriteData:
        return Mode::Write;
    case Phase::QueryLow:
    case Phase::QueryHigh:
        return Mode::Query;
    case Phase::LimitSwitch:
        return Mode::LimitSwitch;
    case Phase::Idle:
    case Phase::AwaitMode:
    case Phase::ProgramLoad:
        break;
    }
    return Mode::None;
}

std::optional<quint8> BoardModel::feed(quint8 byte)
{
    std::optional<quint8> reply = answer(byte);
    if (!reply)
        return reply;
    ++m_exchanges;
    if (m_exchanges == m_wrongAnswerAt)
        return quint8(*reply ^ 0x01);
    if (m_garbageEvery > 0 && m_exchanges % m_garbageEvery == 0) {
        // Any byte but the right one.
        const quint8 noise = quint8(QRandomGenerator::global()->bounded(1, 256));
        return quint8(*reply ^ noise);
    }
    return reply;
}

std::optional<quint8> BoardModel::answer(quint8 byte)
{
    switch (m_phase) {
    case Phase::Idle:
        if (byte == Attention)
            return attention();
        return refuse(byte);

    case Phase::AwaitMode:
        if (byte == Attention)
            return attention();
        return selectMode(byte);

    case Phase::ReadHigh:
        if (byte == Attention)
            return attention();
        m_high = heard(byte);
        return echo(m_high, Phase::ReadLow);

    case Phase::ReadLow: {
        const int address = m_high * 256 + byte;
        const quint8 data = m_registers.byteAt(address);
        m_phase = Phase::ReadHigh;
        return data;
    }

    case Phase::WriteHigh:
        if (byte == Attention)
            return attention();
        m_high = heard(byte);
        return echo(m_high, Phase::WriteLow);

    case Phase::WriteLow:
        m_low = heard(byte);
        return echo(m_low, Phase::WriteData);

    case Phase::WriteData: {
        const int address = m_high * 256 + m_low;
        const quint8 data = heard(byte);
        const bool wrong = nextEchoIsWrong();
        m_phase = Phase::WriteHigh;
        if (!(wrong && m_wrongEchoDrops)) {
            m_registers.setByte(address, data);
            notifyWritten(address);
        }
        return wrong ? wrongEcho(data) : data;
    }

    case Phase::QueryLow:
        if (byte == Attention)
            return attention();
        m_queryWord = queryValue(m_queryCode);
        m_phase = Phase::QueryHigh;
        return quint8(m_queryWord & 0xFF);

    case Phase::QueryHigh:
        if (byte == Attention)
            return attention();
        m_phase = Phase::Idle;
        return quint8(m_queryWord >> 8);

    case Phase::LimitSwitch: {
        if (byte == Attention && m_pls.takesAttention()) {
            m_pls.abandon();
            return attention();
        }
        const auto reply = m_pls.feed(byte);
        if (!m_pls.inExchange())
            m_phase = Phase::Idle;
        return reply;
    }
    case Phase::ProgramLoad: {
        const ProgramMemory::Step step = m_program.feed(byte);
        if (step.leaveMode)
            m_phase = Phase::Idle;
        return step.reply;
    }
    }
    return std::nullopt;
}

std::optional<quint8> BoardModel::attention()
{
    m_phase = Phase::AwaitMode;
    return Acknowledge;
}

// The mode table. Program load (03) goes to ProgramMemory, the limit-switch
// modes to PlsModel; any other mode byte is refused.
std::optional<quint8> BoardModel::selectMode(quint8 modeByte)
{
    switch (modeByte) {
    case ReadModeByte:
        m_phase = Phase::ReadHigh;
        break;
    case WriteModeByte:
        m_phase = Phase::WriteHigh;
        break;
    case QueryScaleFactor:
    case QueryOffset:
    case QueryPosition:
    case QuerySpeed:
        m_queryCode = modeByte;
        m_phase = Phase::QueryLow;
        break;
    case ProgramMemory::ModeByte:
        m_program.begin();
        m_phase = Phase::ProgramLoad;
        break;
    default:
        if (m_pls.begin(modeByte)) {
            m_phase = Phase::LimitSwitch;
            break;
        }
        m_phase = Phase::Idle;
        return refuse(modeByte);
    }
    return Acknowledge;
}

std::optional<quint8> BoardModel::refuse(quint8 byte) const
{
    // Echoed, so a trace shows what was refused, but never as an acknowledge.
    return byte == Acknowledge ? quint8(~Acknowledge) : byte;
}

std::optional<quint8> BoardModel::echo(quint8 byte, Phase next)
{
    const bool wrong = nextEchoIsWrong();
    m_phase = wrong && m_wrongEchoDrops ? transactionStart() : next;
    return wrong ? wrongEcho(byte) : byte;
}

quint8 BoardModel::heard(quint8 byte)
{
    if (m_misheardEvery <= 0 || ++m_transactionBytes < m_misheardEvery)
        return byte;
    m_transactionBytes = 0;
    return byte ^ 0x01;
}

bool BoardModel::nextEchoIsWrong()
{
    if (m_wrongEchoEvery <= 0)
        return false;
    ++m_echoCount;
    if (m_echoCount < m_wrongEchoEvery)
        return false;
    m_echoCount = 0;
    return true;
}

BoardModel::Phase BoardModel::transactionStart() const
{
    return mode() == Mode::Write ? Phase::WriteHigh : Phase::ReadHigh;
}

void BoardModel::setWrongEchoEvery(int n, bool dropTransaction)
{
    m_wrongEchoEvery = qMax(0, n);
    m_wrongEchoDrops = dropTransaction;
    m_echoCount = 0;
}

void BoardModel::setMisheardEvery(int n)
{
    m_misheardEvery = qMax(0, n);
    m_transactionBytes = 0;
}

void BoardModel::setGarbageEvery(int n)
{
    m_garbageEvery = qMax(0, n);
}

void BoardModel::setWrongAnswerAt(int n)
{
    m_wrongAnswerAt = qMax(0, n);
}

void BoardModel::notifyWritten(int address)
{
    if (m_writeObserver)
        m_writeObserver(address);
}

quint32 BoardModel::value(const RegisterAddress &address) const
{
    const int at = address.byteAddress();
    switch (address.kind()) {
    case RegisterAddress::Kind::Byte:
        return m_registers.byteAt(at);
    case RegisterAddress::Kind::Word:
        return m_registers.wordAt(at);
    case RegisterAddress::Kind::Double:
        return m_registers.doubleAt(at);
    case RegisterAddress::Kind::Bit:
        break;
    }
    return m_registers.bitAt(at, address.bit()) ? 1 : 0;
}

void BoardModel::storeValue(const RegisterAddress &address, quint32 value)
{
    const int at = address.byteAddress();
    switch (address.kind()) {
    case RegisterAddress::Kind::Byte:
        m_registers.setByte(at, quint8(value));
        break;
    case RegisterAddress::Kind::Word:
        m_registers.setWord(at, quint16(value));
        break;
    case RegisterAddress::Kind::Double:
        m_registers.setDouble(at, value);
        break;
    case RegisterAddress::Kind::Bit:
        m_registers.setBit(at, address.bit(), value != 0);
        break;
    }
    for (int i = 0; i < address.byteCount(); ++i)
        notifyWritten(at + i);
}

quint16 BoardModel::queryValue(quint8 code) const
{
    switch (code) {
    case QueryScaleFactor:
        return m_registers.wordAt(BoardRegisters::ResolverScale);
    case QueryOffset:
        return m_registers.wordAt(BoardRegisters::ResolverOffset);
    case QueryPosition:
        return m_registers.wordAt(BoardRegisters::ResolverPosition);
    case QuerySpeed:
        return m_registers.wordAt(BoardRegisters::MachineCpm);
    default:
        break;
    }
    return 0;
}
