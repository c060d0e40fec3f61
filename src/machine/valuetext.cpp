#include "valuetext.h"

#include <cmath>
#include <limits>

qint32 roundedTextValue(const QString &text)
{
    // The default floating-point rounding mode rounds ties to even.
    const double rounded = std::nearbyint(leadingNumber(text));
    if (std::isnan(rounded))
        return 0;
    if (rounded >= double(std::numeric_limits<qint32>::max()))
        return std::numeric_limits<qint32>::max();
    if (rounded <= double(std::numeric_limits<qint32>::min()))
        return std::numeric_limits<qint32>::min();
    return qint32(rounded);
}

bool wholeNumberIn(const QString &text, qint64 minimum, qint64 maximum, qint64 *value)
{
    QStringView digits = QStringView(text).trimmed();
    bool negative = false;
    if (digits.startsWith(u'-') && minimum < 0) {
        negative = true;
        digits = digits.mid(1);
    }
    if (digits.isEmpty() || digits.size() > 18)
        return false;
    qint64 number = 0;
    for (QChar c : digits) {
        if (c < u'0' || c > u'9')
            return false;
        number = number * 10 + (c.unicode() - u'0');
    }
    if (negative)
        number = -number;
    if (number < minimum || number > maximum)
        return false;
    if (value)
        *value = number;
    return true;
}
