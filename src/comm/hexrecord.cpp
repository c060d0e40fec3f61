#include "hexrecord.h"

namespace
{

int hexDigit(QChar c)
{
    const char16_t u = c.unicode();
    if (u >= '0' && u <= '9')
        return u - '0';
    if (u >= 'A' && u <= 'F')
        return u - 'A' + 10;
    if (u >= 'a' && u <= 'f')
        return u - 'a' + 10;
    return -1;
}

// The byte in the two characters at 1-based column pos; -1 when the line ends
// before them or they are not hexadecimal digits, -2 for the first case.
int byteAt(const QString &line, int pos)
{
    if (pos + 1 > line.size())
        return -2;
    const int high = hexDigit(line.at(pos - 1));
    const int low = hexDigit(line.at(pos));
    if (high < 0 || low < 0)
        return -1;
    return high * 16 + low;
}

} // namespace

HexRecord HexRecord::parse(const QString &line)
{
    HexRecord r;
    if (!line.startsWith(QLatin1Char(':'))) {
        r.m_status = Status::NoColon;
        return r;
    }
    auto fail = [&r](int code) {
        r.m_status = code == -2 ? Status::Truncated : Status::BadDigits;
        return r;
    };
    const int length = byteAt(line, 2);
    if (length < 0)
        return fail(length);
    r.m_length = length;
    if (length == 0) {
        // Nothing of an empty record goes to the board.
        r.m_status = Status::Ok;
        return r;
    }
    const int high = byteAt(line, 4);
    if (high < 0)
        return fail(high);
    const int low = byteAt(line, 6);
    if (low < 0)
        return fail(low);
    r.m_addressHigh = high;
    r.m_addressLow = low;
    r.m_addressText = line.mid(3, 4);
    for (int k = 0; k < length; ++k) {
        const int b = byteAt(line, 10 + 2 * k);
        if (b < 0)
            return fail(b);
        r.m_data.append(char(b));
    }
    r.m_status = Status::Ok;
    return r;
}

quint8 HexRecord::sum() const
{
    int total = m_length + m_addressHigh + m_addressLow;
    for (const char b : m_data)
        total += quint8(b);
    return quint8(total & 0xFF);
}

int HexRecord::firstUnsoundLine(const QStringList &lines, QString *why)
{
    auto unsound = [why](qsizetype at, const QString &reason) {
        if (why)
            *why = QStringLiteral("line %1: %2").arg(at + 1).arg(reason);
        return int(at);
    };
    for (qsizetype at = 0; at < lines.size(); ++at) {
        const QString &line = lines.at(at);
        const HexRecord r = parse(line);
        switch (r.status()) {
        case Status::NoColon:
            return unsound(at, line.isEmpty() ? QStringLiteral("empty")
                                              : QStringLiteral("does not begin with \":\""));
        case Status::BadDigits:
            return unsound(at, QStringLiteral("not hexadecimal"));
        case Status::Truncated:
            return unsound(at, QStringLiteral("shorter than its record"));
        case Status::Ok:
            break;
        }
        const qsizetype size = 11 + 2 * qsizetype(r.length());
        if (line.size() < size)
            return unsound(at, QStringLiteral("shorter than its record"));
        if (line.size() > size)
            return unsound(at, QStringLiteral("longer than its record"));
        int total = 0;
        for (qsizetype pos = 2; pos + 1 <= size; pos += 2) {
            const int b = byteAt(line, int(pos));
            if (b < 0)
                return unsound(at, QStringLiteral("not hexadecimal"));
            total += b;
        }
        if (total % 256 != 0)
            return unsound(at, QStringLiteral("checksum wrong"));
        const int type = byteAt(line, 8);
        const int address = byteAt(line, 4) * 256 + byteAt(line, 6);
        if (type == 1) {
            if (r.length() != 0)
                return unsound(at, QStringLiteral("end record with data"));
            if (at != lines.size() - 1)
                return unsound(at + 1, QStringLiteral("after the end record"));
        } else if (type != 0) {
            return unsound(at, QStringLiteral("record type %1 not taken").arg(type));
        } else if (address + r.length() > 0x10000) {
            return unsound(at, QStringLiteral("runs past FFFFH"));
        }
    }
    return -1;
}
