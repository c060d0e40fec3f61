#include "linkbudget.h"

#include "registermap.h"

#include "comm/rscomm.h"

int uploadAllExchanges()
{
    int exchanges = 2;
    for (const int index : dataGroupIndexes(DataGroup::All))
        exchanges += 2 * RSComm::DecodeAddress(defaultAddress(index)).byteCount();
    return exchanges;
}
