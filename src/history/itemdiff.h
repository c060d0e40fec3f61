#pragma once

#include "machine/dataset.h"
#include "machine/registermap.h"

#include <QList>

namespace History
{

// What the audit and the comparison call an item: a set-up parameter's
// caption without its access key and colon, else the item's name.
QString itemCaption(int index);

struct ItemDifference {
    int index = 0;
    QString address;
    QString caption;
    qint32 first = 0;
    qint32 second = 0;
};

// The items of a group whose values differ between two records, in the
// group's order. Addresses are the first record's.
QList<ItemDifference> differingItems(const DataSet &first, const DataSet &second,
                                     DataGroup group);

} // namespace History
