#pragma once

#include <QString>
#include <QStringView>

#include <optional>

// A plain unsigned decimal number of at most 10 digits that fits 32 bits;
// nothing for anything else (signs, blanks, letters, empty text).
std::optional<quint32> parseUnsigned(QStringView text);

// A register named the way the operator console names it: W98, B52, D1100,
// F119, B1016.0 or EFF0H.
class RegisterAddress
{
public:
    enum class Kind { Byte, Word, Double, Bit };

    // Nothing, with a reason in *error, when the text is not a register name.
    static std::optional<RegisterAddress> parse(QStringView text, QString *error = nullptr);

    Kind kind() const { return m_kind; }
    int byteAddress() const { return m_byteAddress; }
    int bit() const { return m_bit; }
    int byteCount() const;
    quint32 maxValue() const;

private:
    RegisterAddress(Kind kind, int byteAddress, int bit)
        : m_kind(kind), m_byteAddress(byteAddress), m_bit(bit)
    {
    }

    Kind m_kind;
    int m_byteAddress;
    int m_bit;
};
