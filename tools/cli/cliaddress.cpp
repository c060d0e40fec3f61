#include "cliaddress.h"

#include <QRegularExpression>

namespace
{

constexpr qint64 kLastByte = 65535;

} // namespace

QString addressProblem(const QString &address)
{
    static const QRegularExpression hex(QStringLiteral("^[0-9A-Fa-f]{1,4}[Hh]$"));
    static const QRegularExpression bit(QStringLiteral("^[BWDFbwdf]([0-9]{1,5})\\.[0-7]$"));
    static const QRegularExpression plain(QStringLiteral("^([A-Za-z])([0-9]{1,7})$"));

    if (hex.match(address).hasMatch())
        return {};
    if (const auto m = bit.match(address); m.hasMatch()) {
        if (m.captured(1).toLongLong() > kLastByte)
            return QStringLiteral("byte %1 lies beyond the board's 64 KiB").arg(m.captured(1));
        return {};
    }
    const auto m = plain.match(address);
    if (!m.hasMatch())
        return QStringLiteral("not a register address");
    const QChar letter = m.captured(1).front().toUpper();
    const qint64 number = m.captured(2).toLongLong();
    qint64 lastByte = 0;
    switch (letter.unicode()) {
    case 'B':
        lastByte = number;
        break;
    case 'W':
        lastByte = number + 1;
        break;
    case 'D':
        lastByte = number + 3;
        break;
    case 'F':
        lastByte = 32 + number / 8;
        break;
    case 'X':
    case 'Y':
    case 'I':
        return QStringLiteral("an I/O point name, which the T6800 has no register for");
    default:
        return QStringLiteral("unknown register letter %1").arg(m.captured(1));
    }
    if (lastByte > kLastByte)
        return QStringLiteral("lies beyond the board's 64 KiB");
    return {};
}
