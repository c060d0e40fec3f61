#include "registerspace.h"

RegisterSpace::RegisterSpace()
{
    clear();
}

quint16 RegisterSpace::wordAt(int address) const
{
    return quint16(byteAt(address) | (byteAt(address + 1) << 8));
}

void RegisterSpace::setWord(int address, quint16 value)
{
    setByte(address, quint8(value & 0xFF));
    setByte(address + 1, quint8(value >> 8));
}

quint32 RegisterSpace::doubleAt(int address) const
{
    return quint32(wordAt(address + 2)) * 10000u + wordAt(address);
}

void RegisterSpace::setDouble(int address, quint32 value)
{
    if (value > DoubleMax)
        value = DoubleMax;
    setWord(address, quint16(value % 10000));
    setWord(address + 2, quint16(value / 10000));
}

void RegisterSpace::addToDouble(int address, quint32 amount)
{
    const quint64 sum = quint64(doubleAt(address)) + amount;
    setDouble(address, quint32(sum % (quint64(DoubleMax) + 1)));
}

void RegisterSpace::setBit(int address, int bit, bool on)
{
    const quint8 mask = quint8(1u << (bit & 7));
    const quint8 old = byteAt(address);
    setByte(address, on ? quint8(old | mask) : quint8(old & ~mask));
}

void RegisterSpace::clear()
{
    m_bytes.fill(0);
}
