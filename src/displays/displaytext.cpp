#include "displaytext.h"

#include "comm/numbertext.h"

#include "valuelabel.h"

#include <QLocale>

#include <cmath>

namespace DisplayText
{

QString count(qint64 value)
{
    // Counts are always grouped, also where the locale says to leave
    // grouping out by default (the C locale).
    QLocale locale;
    locale.setNumberOptions(locale.numberOptions() & ~QLocale::OmitGroupSeparator);
    return locale.toString(value);
}

QString countOf(const QString &registerText)
{
    return count(qint64(std::nearbyint(leadingNumber(registerText))));
}

void setTextColour(QWidget *label, const QColor &colour)
{
    // A new palette repaints and re-polishes the label even when equal; a
    // refresh pass sets the colour after every read.
    const QColor disabled = colour.lighter(160);
    const QPalette &current = label->palette();
    if (current.color(QPalette::Active, QPalette::WindowText) == colour &&
        current.color(QPalette::Inactive, QPalette::WindowText) == colour &&
        current.color(QPalette::Disabled, QPalette::WindowText) == disabled)
        return;
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, colour);
    palette.setColor(QPalette::Disabled, QPalette::WindowText, disabled);
    label->setPalette(palette);
}

void paintsOwnBackground(QWidget *label)
{
    label->setAutoFillBackground(true);
}

void showState(ValueLabel *label, bool on)
{
    setTextColour(label, on ? OnColour : OffColour);
    label->setText(on ? QStringLiteral("ON") : QStringLiteral("off"));
}

} // namespace DisplayText
