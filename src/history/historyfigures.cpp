#include "historyfigures.h"

#include <algorithm>

namespace History
{

QList<HourCount> productionPerHour(const QList<SnapshotRecord> &snapshots)
{
    QList<HourCount> hours;
    for (qsizetype i = 1; i < snapshots.size(); ++i) {
        const SnapshotRecord &a = snapshots[i - 1];
        const SnapshotRecord &b = snapshots[i];
        const qint64 made = b.goodCans >= a.goodCans ? b.goodCans - a.goodCans : b.goodCans;
        QDateTime hour = b.at;
        hour.setTime(QTime(b.at.time().hour(), 0));
        if (hours.isEmpty() || hours.constLast().hour != hour)
            hours << HourCount{hour, 0};
        hours.last().goodCans += made;
    }
    return hours;
}

QList<int> outlierSpindles(const QList<qint32> &trips)
{
    QList<int> out;
    if (trips.size() < 3)
        return out;
    QList<qint32> sorted = trips;
    std::sort(sorted.begin(), sorted.end());
    const qint32 median = sorted[sorted.size() / 2];
    for (qsizetype i = 0; i < trips.size(); ++i)
        if (trips[i] > 3 * median && trips[i] >= median + 20)
            out << int(i + 1);
    return out;
}

} // namespace History
