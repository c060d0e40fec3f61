#pragma once

#include <QtGlobal>

#include <array>

// The board's flat 64 KiB byte-addressed memory with the value images the
// register protocol uses: words little-endian, doubles as two words holding
// value mod 10000 (low) and value div 10000 (high).
class RegisterSpace
{
public:
    static constexpr int Size = 65536;
    static constexpr quint32 DoubleMax = 655359999;

    RegisterSpace();

    quint8 byteAt(int address) const { return m_bytes[wrap(address)]; }
    void setByte(int address, quint8 value) { m_bytes[wrap(address)] = value; }

    quint16 wordAt(int address) const;
    void setWord(int address, quint16 value);

    // Value of a double register as the client assembles it: high word * 10000
    // + low word, even when the low word holds more than 9999.
    quint32 doubleAt(int address) const;
    // Values above DoubleMax are stored as DoubleMax.
    void setDouble(int address, quint32 value);
    // Adds with wrap-around past DoubleMax, as a counter on the board would.
    void addToDouble(int address, quint32 amount);

    bool bitAt(int address, int bit) const { return (byteAt(address) >> bit) & 1; }
    void setBit(int address, int bit, bool on);

    // Flag n lives in bit n mod 8 of byte 32 + n div 8.
    static int flagByte(int flag) { return 32 + flag / 8; }
    static int flagBit(int flag) { return flag % 8; }
    bool flag(int flag) const { return bitAt(flagByte(flag), flagBit(flag)); }
    void setFlag(int flag, bool on) { setBit(flagByte(flag), flagBit(flag), on); }

    void clear();

private:
    static int wrap(int address) { return address & (Size - 1); }

    std::array<quint8, Size> m_bytes;
};
