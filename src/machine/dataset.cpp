#include "dataset.h"

#include "registermap.h"
#include "setupparameters.h"

void DataSet::fitToTable()
{
    Address.resize(ItemCount);
    Value.resize(ItemCount);
}

DataSet buildDefaultData()
{
    DataSet data;
    data.Address.resize(ItemCount);
    data.Value.fill(0, ItemCount);
    data.Version = gProgramVersion;
    for (const SetupParameter &p : setupParameters())
        data.Value[p.Index] = p.Default;
    for (int i = 0; i <= gLastIndex; ++i)
        data.Address[i] = defaultAddress(i);
    return data;
}
