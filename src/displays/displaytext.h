#pragma once

#include <QColor>
#include <QString>

class QWidget;
class ValueLabel;

// How the operator windows show what they read.
namespace DisplayText
{
// Shown in place of a live value that is not available.
inline const QString NoValue = QStringLiteral("-");
// A count with the locale's digit grouping and no decimals ("1,234,567").
QString count(qint64 value);
// A register text shown as a count.
QString countOf(const QString &registerText);

inline const QColor OnColour = QColor(0, 0, 255);
inline const QColor OffColour = QColor(192, 0, 0);
// "ON" in blue or "off" in dark red.
void showState(ValueLabel *label, bool on);
void setTextColour(QWidget *label, const QColor &colour);
// A live value label fills its own background, so a new value repaints the
// label alone and not the frame behind it.
void paintsOwnBackground(QWidget *label);
} // namespace DisplayText
