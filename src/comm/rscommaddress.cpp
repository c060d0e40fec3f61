// Address notation and value encodings of the communications object.
#include "rscomm.h"

#include "numbertext.h"

#include <QHash>
#include <array>

namespace
{

int hexValue(QStringView text)
{
    bool ok = false;
    const int v = text.isEmpty() ? 0 : text.toInt(&ok, 16);
    return ok ? v : 0;
}

int number(QStringView text)
{
    return static_cast<int>(leadingNumber(text));
}

bool isGroupA(int code)
{
    static constexpr std::array codes{49, 51, 52, 53, 54, 56, 58, 59, 60, 61, 65, 66};
    return std::find(codes.begin(), codes.end(), code) != codes.end();
}

// Byte address of an I/O point of the smaller board models: key is the
// board code, the letter and the point number.
int ioPointByte(int code, QChar letter, int point)
{
    struct Entry {
        int code;
        char letter;
        std::initializer_list<std::pair<int, int>> points;
    };
    static const Entry table[] = {
        {49,
         'X',
         {{30, 49},
          {31, 50},
          {50, 51},
          {51, 52},
          {60, 53},
          {61, 54},
          {70, 55},
          {71, 56},
          {80, 57}}},
        {49,
         'Y',
         {{81, 58},
          {90, 59},
          {100, 60},
          {110, 61},
          {111, 62},
          {120, 63},
          {121, 64},
          {130, 65},
          {140, 66},
          {141, 67}}},
        {58, 'X', {{10, 51}, {11, 52}}},
        {58, 'Y', {{0, 49}, {1, 50}}},
        {59, 'X', {{10, 51}, {11, 52}, {20, 53}, {21, 54}}},
        {59, 'Y', {{0, 49}, {1, 50}}},
        {60, 'X', {{10, 51}, {11, 52}, {20, 53}}},
        {60, 'Y', {{0, 49}, {1, 50}, {21, 54}}},
        {61, 'X', {{0, 49}, {1, 50}, {10, 51}}},
        {61, 'Y', {{11, 52}}},
        {65, 'X', {{10, 51}, {11, 52}, {20, 53}}},
        {65, 'Y', {{0, 49}, {1, 50}, {21, 54}}},
        {66, 'X', {{10, 51}, {11, 52}, {20, 53}, {21, 54}}},
        {66, 'Y', {{0, 49}, {1, 50}}},
    };
    if (code == 50) {
        // K7112: groups 0..15 of two points each, X and Y share one block.
        const int g = point / 10;
        const int u = point % 10;
        if (point < 0 || g > 15 || u > 1)
            return -1;
        if (letter == u'X' || letter == u'Y')
            return 160 + 2 * g + u;
        if (letter == u'I')
            return 192 + 2 * g + u;
        return -1;
    }
    for (const Entry &e : table) {
        if (e.code != code || letter != QLatin1Char(e.letter))
            continue;
        for (const auto &[p, byte] : e.points)
            if (p == point)
                return byte;
    }
    return -1;
}

} // namespace

QString valueCheckMessage(ValueCheck check)
{
    switch (check) {
    case ValueCheck::Accepted:
        return {};
    case ValueCheck::NotNumeric:
        return QStringLiteral("Only Numerical Data Allowed.");
    case ValueCheck::NotZeroOrOne:
        return QStringLiteral("Enter 0 or 1 Only.");
    case ValueCheck::OutOfRangeByte:
        return QStringLiteral("Entry out of Range (0-255).");
    case ValueCheck::OutOfRangeWord:
        return QStringLiteral("Entry out of Range (0-65,535).");
    case ValueCheck::OutOfRangeDouble:
        return QStringLiteral("Entry out of Range (0-655,359,999).");
    }
    return {};
}

DecodedAddress RSComm::DecodeAddress(const QString &add)
{
    DecodedAddress d;
    d.IsBitAddress = false;
    if (add.endsWith(u'H') || add.endsWith(u'h')) {
        const QStringView hex = QStringView(add).chopped(1);
        const QStringView low = hex.right(2);
        const QStringView high = hex.chopped(low.size());
        d.ByteAddress = hexValue(high) * 256 + hexValue(low);
        d.ValueType = QStringLiteral("B");
        return d;
    }
    if (add.contains(u'.')) {
        d.IsBitAddress = true;
        d.ValueType = QStringLiteral("B");
        d.ByteAddress = add.size() > 3 ? number(QStringView(add).mid(1, add.size() - 3)) : 0;
        const int bit = number(QStringView(add).right(1));
        d.BitMask = static_cast<quint16>(1u << qBound(0, bit, 15));
        return d;
    }
    const QChar letter = add.isEmpty() ? QChar() : add.at(0).toUpper();
    const int n = number(QStringView(add).mid(1));
    if (letter == u'B' || letter == u'W' || letter == u'D') {
        d.ValueType = QString(letter);
        d.ByteAddress = n;
    } else if (letter == u'F') {
        d.IsBitAddress = true;
        d.ValueType = QStringLiteral("B");
        d.ByteAddress = 32 + n / 8;
        d.BitMask = static_cast<quint16>(1u << ((n % 8 + 8) % 8));
    } else {
        d.ValueType = QStringLiteral("B");
        d.ByteAddress = 32;
    }
    return d;
}

QString RSComm::EquateAdd(const QString &var, qint16 targetBoardIndex)
{
    if (var.isEmpty())
        return var;
    const QChar letter = var.at(0).toUpper();
    const QStringView rest = QStringView(var).mid(1);
    int point = 0;
    int bit = -1;
    if (rest.contains(u'.')) {
        point = number(rest.chopped(qMin<qsizetype>(2, rest.size())));
        bit = qMin(number(rest.right(1)), 7);
    } else {
        point = number(rest);
    }
    const int byte = ioPointByte(targetBoardIndex, letter, point);
    if (byte < 0)
        return var;
    QString result = QLatin1Char('B') + QString::number(byte);
    if (bit >= 0)
        result += QLatin1Char('.') + QString::number(bit);
    return result;
}

bool RSComm::ValidAdd(const QString &var, qint16 targetBoardIndex)
{
    if (var.isEmpty())
        return false;
    const int code = targetBoardIndex;
    const int dot = var.indexOf(u'.');
    const int n =
        dot >= 0 ? number(QStringView(var).mid(1, dot - 1)) : number(QStringView(var).mid(1));
    const QChar letter = var.at(0).toUpper();
    const bool groupA = isGroupA(code);
    const bool lastDigitIsPoint = n % 10 == 0 || n % 10 == 1;

    int lowest = 0;
    int highest = 0;
    bool extra = true;
    if (letter == u'B') {
        lowest = 32;
        highest = groupA ? 255 : (code == 50 || code == 68) ? 8275 : 65535;
    } else if (letter == u'W' || letter == u'D') {
        lowest = 32;
        highest = groupA ? 254 : (code == 50 || code == 68) ? 8274 : 65534;
        extra = n % 2 == 0;
    } else if (letter == u'F') {
        highest = groupA ? 120 : 991;
    } else if (letter == u'I') {
        if (code == 49 || code == 50)
            highest = 151;
        else if (code >= 51 && code <= 56 && code != 55)
            highest = 21;
        else
            return false;
        extra = lastDigitIsPoint;
    } else if (letter == u'X' || letter == u'Y') {
        if (code == 0 || code == 68)
            return false;
        highest = (code == 49 || code == 50) ? 151 : 21;
        extra = lastDigitIsPoint;
    }
    return n >= lowest && n <= highest && extra;
}

bool RSComm::Dec2Octal(int decNum, qint16 &result)
{
    // Truncating division and a two's-complement mask, as the board tools do.
    const int r = (decNum / 8) * 10 + (decNum & 7);
    if (r < -32768 || r > 32767)
        return false;
    result = static_cast<qint16>(r);
    return true;
}

bool RSComm::Octal2Dec(int octNum, qint16 &result)
{
    const int r = (octNum / 10) * 8 + (octNum % 10);
    if (r < -32768 || r > 32767)
        return false;
    result = static_cast<qint16>(r);
    return true;
}

quint32 RSComm::AssembleValue(const DecodedAddress &decoded, const QByteArray &bytes)
{
    auto b = [&bytes](int i) -> quint32 {
        return i < bytes.size() ? static_cast<quint8>(bytes[i]) : 0u;
    };
    if (decoded.ValueType == u"W")
        return b(1) * 256 + b(0);
    if (decoded.ValueType == u"D")
        return (b(3) * 256 + b(2)) * 10000 + (b(1) * 256 + b(0));
    if (decoded.IsBitAddress)
        return (b(0) & decoded.BitMask) ? 1 : 0;
    return b(0);
}

ValueCheck RSComm::PrepareValue(const QString &add, const QString &dataValue,
                                DecodedAddress &decoded, quint32 &value)
{
    // Digits only; separators and the units the displays add are dropped.
    quint64 v = 0;
    for (const QChar c : dataValue) {
        if (c >= u'0' && c <= u'9') {
            v = qMin<quint64>(v * 10 + (c.unicode() - u'0'), 99999999999ull);
        } else if (c == u' ' || c == u'%' || c == u',' || c == u'.' || c.unicode() == 176) {
            continue;
        } else {
            return ValueCheck::NotNumeric;
        }
    }
    decoded = DecodeAddress(add);
    if (decoded.IsBitAddress && v > 1)
        return ValueCheck::NotZeroOrOne;
    if (decoded.ValueType == u"B" && v > 255)
        return ValueCheck::OutOfRangeByte;
    if (decoded.ValueType == u"W" && v > 65535)
        return ValueCheck::OutOfRangeWord;
    if (decoded.ValueType == u"D" && v > 655359999)
        return ValueCheck::OutOfRangeDouble;
    value = static_cast<quint32>(v);
    return ValueCheck::Accepted;
}

QByteArray RSComm::ByteImage(const DecodedAddress &decoded, quint32 value)
{
    QByteArray image;
    if (decoded.ValueType == u"W") {
        image.append(char(value % 256)).append(char(value / 256 % 256));
    } else if (decoded.ValueType == u"D") {
        const quint32 low = value % 10000;
        const quint32 high = value / 10000;
        image.append(char(low % 256)).append(char(low / 256));
        image.append(char(high % 256)).append(char(high / 256 % 256));
    } else {
        image.append(char(value % 256));
    }
    return image;
}
