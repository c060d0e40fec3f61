#include "numbertext.h"

double leadingNumber(QStringView text)
{
    qsizetype i = 0;
    const qsizetype n = text.size();
    while (i < n && (text[i] == u' ' || text[i] == u'\t'))
        ++i;
    bool negative = false;
    if (i < n && (text[i] == u'-' || text[i] == u'+')) {
        negative = text[i] == u'-';
        ++i;
    }
    double value = 0;
    bool any = false;
    while (i < n && text[i].isDigit() && text[i].unicode() < 128) {
        value = value * 10 + (text[i].unicode() - u'0');
        any = true;
        ++i;
    }
    if (i < n && text[i] == u'.') {
        ++i;
        double scale = 0.1;
        while (i < n && text[i].isDigit() && text[i].unicode() < 128) {
            value += (text[i].unicode() - u'0') * scale;
            scale /= 10;
            any = true;
            ++i;
        }
    }
    if (!any)
        return 0;
    return negative ? -value : value;
}

QString plainNumberText(qint64 value)
{
    return value < 0 ? QString::number(value) : QLatin1Char(' ') + QString::number(value);
}
