#pragma once

#include <QString>
#include <QStringView>

// The number/text conventions the board's tools grew up with.

// Leading number of a text: blanks skipped, optional sign, digits with an
// optional fraction. Text that does not start with a number gives 0, as does
// an empty text; trailing characters are ignored.
double leadingNumber(QStringView text);

// Whole number as the plain number-to-text form: a leading space for zero
// and positive values, "-" for negative ones, no separators (" 600", "-12").
QString plainNumberText(qint64 value);
