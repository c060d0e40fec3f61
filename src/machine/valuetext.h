#pragma once

#include "comm/numbertext.h"

#include <QString>

// A register value text read as a number: its leading number (see
// leadingNumber), rounded to the nearest whole number with ties to even and
// held to the signed 32-bit range.
qint32 roundedTextValue(const QString &text);
