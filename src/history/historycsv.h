#pragma once

#include "historystore.h"

#include <QStringList>

namespace History
{

// The stored records as table rows, header first: what the CLI prints and
// the History window shows and exports. One function per kind so both
// show the same columns.
using Table = QList<QStringList>;
Table shiftTable(const QList<ShiftRecord> &shifts);
Table faultTable(const QList<FaultRecord> &faults);
Table changeTable(const QList<ChangeRecord> &changes);

// RFC 4180 lines: fields with a comma, quote or line break are quoted.
QString csvLine(const QStringList &fields);
QString csvText(const Table &table);
// Columns padded to their widest cell, for a terminal.
QString alignedText(const Table &table);

QString timeText(const QDateTime &t);

} // namespace History
