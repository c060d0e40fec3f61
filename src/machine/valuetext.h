#pragma once

#include "comm/numbertext.h"

#include <QString>

// A register value text read as a number: its leading number (see
// leadingNumber), rounded to the nearest whole number with ties to even and
// held to the signed 32-bit range.
qint32 roundedTextValue(const QString &text);

// A whole number typed for a register between minimum and maximum: blanks
// around it, a minus sign only when the range goes below zero, digits only.
// A fraction, an exponent or a sign the register cannot hold is refused, as
// the write would keep only its digits and store another number.
bool wholeNumberIn(const QString &text, qint64 minimum, qint64 maximum, qint64 *value = nullptr);
