#include "registermap.h"

#include "dataset.h"
#include "setupparameters.h"

namespace
{

// The six shift counts of a block in item order: the restart blow-offs come
// sixth although their register lies between the third and the fourth.
constexpr std::array<int, 6> ShiftCountOffsets = {0, 4, 8, 16, 20, 12};
constexpr std::array<const char *, 6> ShiftCountNames = {
    "GoodCans", "Blowoffs", "BadCanBlowoffs", "ManualBlowoffs", "QCBlowoffs", "RestartBlowoffs"};

QString wordAddress(int number)
{
    return u'W' + QString::number(number);
}

} // namespace

QString defaultAddress(int index)
{
    if (index == Item::SpindleTripOffset)
        return QStringLiteral("B1011");
    if (index >= Item::TripsPerSpindleFirst && index < Item::CurShiftGoodCans)
        return wordAddress(1020 + 2 * (index - Item::TripsPerSpindleFirst));
    if (index >= Item::CurShiftGoodCans && index < Item::CurShiftTripsFirst)
        return u'D' + QString::number(1100 + ShiftCountOffsets[index - Item::CurShiftGoodCans]);
    if (index >= Item::CurShiftTripsFirst && index < Item::LastShiftGoodCans)
        return wordAddress(1124 + 2 * (index - Item::CurShiftTripsFirst));
    if (index >= Item::LastShiftGoodCans && index < Item::LastShiftTripsFirst)
        return u'D' + QString::number(1200 + ShiftCountOffsets[index - Item::LastShiftGoodCans]);
    if (index >= Item::LastShiftTripsFirst && index < Item::LifetimeCanCount)
        return wordAddress(1224 + 2 * (index - Item::LastShiftTripsFirst));
    if (index == Item::LifetimeCanCount)
        return QStringLiteral("D1304");
    if (const SetupParameter *p = setupParameterForIndex(index))
        return QString(p->Register);
    return QString();
}

QString itemName(int index)
{
    const auto spindleItem = [](const char *name, int spindle) {
        return QString::fromLatin1(name) + u'(' + QString::number(spindle) + u')';
    };
    if (index == Item::SpindleTripOffset)
        return QStringLiteral("SpindleTripOffset");
    if (index >= Item::TripsPerSpindleFirst && index < Item::CurShiftGoodCans)
        return spindleItem("TripsPerSpindle", index - Item::TripsPerSpindleFirst + 1);
    if (index >= Item::CurShiftGoodCans && index < Item::CurShiftTripsFirst)
        return QStringLiteral("CurShift") +
               QLatin1StringView(ShiftCountNames[index - Item::CurShiftGoodCans]);
    if (index >= Item::CurShiftTripsFirst && index < Item::LastShiftGoodCans)
        return spindleItem("CurShiftTrips", index - Item::CurShiftTripsFirst + 1);
    if (index >= Item::LastShiftGoodCans && index < Item::LastShiftTripsFirst)
        return QStringLiteral("LastShift") +
               QLatin1StringView(ShiftCountNames[index - Item::LastShiftGoodCans]);
    if (index >= Item::LastShiftTripsFirst && index < Item::LifetimeCanCount)
        return spindleItem("LastShiftTrips", index - Item::LastShiftTripsFirst + 1);
    if (index == Item::LifetimeCanCount)
        return QStringLiteral("LifetimeCanCount");
    if (const SetupParameter *p = setupParameterForIndex(index))
        return QString(p->Name);
    return QString();
}

QString dataGroupName(DataGroup group)
{
    switch (group) {
    case DataGroup::SetupData:
        return QStringLiteral("Set-up Data");
    case DataGroup::ShiftData:
        return QStringLiteral("Shift Data");
    case DataGroup::All:
        return QStringLiteral("All");
    }
    return QString();
}

QList<int> dataGroupIndexes(DataGroup group)
{
    QList<int> indexes;
    switch (group) {
    case DataGroup::SetupData:
        indexes.append(Item::SpindleTripOffset);
        for (int i = Item::FirstSetupParameter; i <= gLastIndex; ++i)
            indexes.append(i);
        break;
    case DataGroup::ShiftData:
        for (int i = Item::TripsPerSpindleFirst; i <= Item::LifetimeCanCount; ++i)
            indexes.append(i);
        break;
    case DataGroup::All:
        for (int i = 0; i <= gLastIndex; ++i)
            indexes.append(i);
        break;
    }
    return indexes;
}

DataGroup dataGroupOf(int index)
{
    if (index >= Item::TripsPerSpindleFirst && index <= Item::LifetimeCanCount)
        return DataGroup::ShiftData;
    return DataGroup::SetupData;
}

SpindleLimits spindleLimits(int spindleCount)
{
    SpindleLimits limits;
    if (spindleCount > 24) {
        limits.TripOffsetMaximum = 35;
        limits.QCPortShiftMaximum = 36;
        limits.QCSpindleMaximum = 36;
    }
    return limits;
}
