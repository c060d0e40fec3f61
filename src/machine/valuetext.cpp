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
