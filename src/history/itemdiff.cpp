#include "itemdiff.h"

#include "machine/setupparameters.h"

namespace History
{

QString itemCaption(int index)
{
    if (const SetupParameter *p = setupParameterForIndex(index)) {
        QString caption = QString(p->Caption).remove(u'&').trimmed();
        if (caption.endsWith(u':'))
            caption.chop(1);
        return caption;
    }
    return itemName(index);
}

QList<ItemDifference> differingItems(const DataSet &first, const DataSet &second,
                                     DataGroup group)
{
    QList<ItemDifference> out;
    for (int index : dataGroupIndexes(group)) {
        if (first.valueAt(index) == second.valueAt(index))
            continue;
        out << ItemDifference{index, first.addressAt(index), itemCaption(index),
                              first.valueAt(index), second.valueAt(index)};
    }
    return out;
}

} // namespace History
