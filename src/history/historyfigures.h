#pragma once

#include "historystore.h"

#include <QList>

namespace History
{

struct HourCount {
    QDateTime hour; // the hour's start
    qint64 goodCans = 0;
};

// Good cans made in each hour, from the snapshots' running shift count: a
// count that went down started a new shift, and counts from its start.
QList<HourCount> productionPerHour(const QList<SnapshotRecord> &snapshots);

// Spindles (1-based) whose trips stand far above the rest: more than three
// times the median and at least 20 more than it.
QList<int> outlierSpindles(const QList<qint32> &trips);

} // namespace History
