#include "registeraddress.h"

#include "registerspace.h"

std::optional<quint32> parseUnsigned(QStringView text)
{
    if (text.isEmpty() || text.size() > 10)
        return std::nullopt;
    quint64 value = 0;
    for (QChar c : text) {
        if (c < u'0' || c > u'9')
            return std::nullopt;
        value = value * 10 + (c.unicode() - u'0');
    }
    if (value > 0xFFFFFFFFull)
        return std::nullopt;
    return quint32(value);
}

namespace
{

std::optional<int> decimalNumber(QStringView text)
{
    // Register numbers stay well inside int.
    const auto value = text.size() <= 9 ? parseUnsigned(text) : std::nullopt;
    return value ? std::optional<int>(int(*value)) : std::nullopt;
}

std::optional<int> hexNumber(QStringView text)
{
    if (text.isEmpty() || text.size() > 4)
        return std::nullopt;
    bool ok = false;
    const int value = text.toString().toInt(&ok, 16);
    if (!ok)
        return std::nullopt;
    return value;
}

void setError(QString *error, const QString &text)
{
    if (error)
        *error = text;
}

} // namespace

std::optional<RegisterAddress> RegisterAddress::parse(QStringView text, QString *error)
{
    text = text.trimmed();
    if (text.size() < 2) {
        setError(error, QStringLiteral("bad address"));
        return std::nullopt;
    }

    if (text.endsWith(u'H') || text.endsWith(u'h')) {
        const auto value = hexNumber(text.chopped(1));
        if (!value) {
            setError(error, QStringLiteral("bad hexadecimal address"));
            return std::nullopt;
        }
        return RegisterAddress(Kind::Byte, *value, -1);
    }

    const QChar letter = text.front().toUpper();
    const QStringView rest = text.mid(1);

    const qsizetype point = rest.indexOf(u'.');
    if (point >= 0) {
        const auto byte = decimalNumber(rest.left(point));
        const auto bit = decimalNumber(rest.mid(point + 1));
        if (!QStringView(u"BWDF").contains(letter) || !byte || !bit || *bit > 7 ||
            *byte >= RegisterSpace::Size) {
            setError(error, QStringLiteral("bad bit address"));
            return std::nullopt;
        }
        return RegisterAddress(Kind::Bit, *byte, *bit);
    }

    const auto number = decimalNumber(rest);
    if (!number) {
        setError(error, QStringLiteral("bad address number"));
        return std::nullopt;
    }
    std::optional<RegisterAddress> result;
    switch (letter.unicode()) {
    case u'B':
        result = RegisterAddress(Kind::Byte, *number, -1);
        break;
    case u'W':
        result = RegisterAddress(Kind::Word, *number, -1);
        break;
    case u'D':
        result = RegisterAddress(Kind::Double, *number, -1);
        break;
    case u'F':
        result = RegisterAddress(Kind::Bit, RegisterSpace::flagByte(*number),
                                 RegisterSpace::flagBit(*number));
        break;
    default:
        setError(error, QStringLiteral("unknown register letter"));
        return std::nullopt;
    }
    if (result->byteAddress() + result->byteCount() > RegisterSpace::Size) {
        setError(error, QStringLiteral("address out of range"));
        return std::nullopt;
    }
    return result;
}

int RegisterAddress::byteCount() const
{
    switch (m_kind) {
    case Kind::Word:
        return 2;
    case Kind::Double:
        return 4;
    case Kind::Byte:
    case Kind::Bit:
        break;
    }
    return 1;
}

quint32 RegisterAddress::maxValue() const
{
    switch (m_kind) {
    case Kind::Byte:
        return 255;
    case Kind::Word:
        return 65535;
    case Kind::Double:
        return RegisterSpace::DoubleMax;
    case Kind::Bit:
        break;
    }
    return 1;
}
