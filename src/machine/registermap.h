#pragma once

#include <QLatin1StringView>
#include <QList>
#include <QString>

#include <array>

// Indexes of the machine data table. The index is an item's identity
// everywhere: in the records, the set-up file, transfers, export and report.
namespace Item
{
inline constexpr int SpindleTripOffset = 0;
inline constexpr int TripsPerSpindleFirst = 1; // spindle s at index s
inline constexpr int CurShiftGoodCans = 37;
inline constexpr int CurShiftBlowoffs = 38;
inline constexpr int CurShiftBadCanBlowoffs = 39;
inline constexpr int CurShiftManualBlowoffs = 40;
inline constexpr int CurShiftQCBlowoffs = 41;
inline constexpr int CurShiftRestartBlowoffs = 42;
inline constexpr int CurShiftTripsFirst = 43; // spindle s at index 42 + s
inline constexpr int LastShiftGoodCans = 79;
inline constexpr int LastShiftBlowoffs = 80;
inline constexpr int LastShiftBadCanBlowoffs = 81;
inline constexpr int LastShiftManualBlowoffs = 82;
inline constexpr int LastShiftQCBlowoffs = 83;
inline constexpr int LastShiftRestartBlowoffs = 84;
inline constexpr int LastShiftTripsFirst = 85; // spindle s at index 84 + s
inline constexpr int LifetimeCanCount = 121;   // thousands of cans
inline constexpr int CanfeedEnableLowSpeed = 122;
inline constexpr int CanfeedEnableHighSpeed = 123;
inline constexpr int ApplRollSpeedCalibrate = 124;
inline constexpr int PinChainBlowoffPins = 125;
inline constexpr int MisloadBlowoffCans = 126;
inline constexpr int InfeedOpenBlowoffCans = 127;
inline constexpr int Appl1RestartBlowoffCans = 128;
inline constexpr int Appl2RestartBlowoffCans = 129;
inline constexpr int QCPortShiftOffset = 130;
inline constexpr int BadCanSolenoidOnTime = 131;
inline constexpr int BadCanSolenoidOffTime = 132;
inline constexpr int QCSolenoidOnTime = 133;
inline constexpr int QCSolenoidOffTime = 134;
inline constexpr int BadCanBlowoffOnPosition = 135;
inline constexpr int QCBlowoffOnPosition = 136;
inline constexpr int CanGateOnPosition = 137;
inline constexpr int FirstSetupParameter = CanfeedEnableLowSpeed;

// Every per-spindle run has a slot for each of 36 spindles, whatever the
// machine's spindle count.
inline constexpr int MaxSpindles = 36;

constexpr int tripsPerSpindle(int spindle)
{
    return TripsPerSpindleFirst + spindle - 1;
}
constexpr int curShiftTrips(int spindle)
{
    return CurShiftTripsFirst + spindle - 1;
}
constexpr int lastShiftTrips(int spindle)
{
    return LastShiftTripsFirst + spindle - 1;
}
} // namespace Item

// Register address of an item in the factory table ("" outside 0..137).
QString defaultAddress(int index);
// Programmer's name of an item, e.g. "CurShiftTrips(5)" ("" outside 0..137).
QString itemName(int index);

// The data groups, moved and named as a whole.
enum class DataGroup { SetupData, ShiftData, All };
QString dataGroupName(DataGroup group);
// Indexes of a group in transfer order: "Set-up Data" is 0, then 122..137.
QList<int> dataGroupIndexes(DataGroup group);
DataGroup dataGroupOf(int index);

// Limits that depend on the machine's spindle count: the 24-spindle ones up
// to and including 24 (also 0, never online), the 36-spindle ones above.
struct SpindleLimits {
    qint32 TripOffsetMinimum = 0;
    qint32 TripOffsetMaximum = 23;
    qint32 QCPortShiftMinimum = 1;
    qint32 QCPortShiftMaximum = 24;
    qint32 QCSpindleMinimum = 1;
    qint32 QCSpindleMaximum = 24;

    bool operator==(const SpindleLimits &) const = default;
};
SpindleLimits spindleLimits(int spindleCount);

// Live, command and status registers: read or written directly by the
// operator displays, never kept in the data table.
namespace LiveRegister
{
using namespace Qt::StringLiterals;
inline constexpr QLatin1StringView MachineCPM = "W112"_L1;
inline constexpr QLatin1StringView Appl1RollRPM = "W526"_L1;
inline constexpr QLatin1StringView Appl2RollRPM = "W528"_L1;
inline constexpr QLatin1StringView TrippedSpindle = "B599"_L1;
inline constexpr QLatin1StringView ResolverPosition = "W180"_L1;
inline constexpr QLatin1StringView ZeroResolverAllowed = "F119"_L1;
inline constexpr QLatin1StringView SpindleCountRegister = "B52"_L1;
inline constexpr QLatin1StringView QCSpindleNumber = "B2088"_L1;
inline constexpr QLatin1StringView QCBlowoffFlag1 = "F825"_L1;
inline constexpr QLatin1StringView QCBlowoffFlag2 = "F102"_L1;
inline constexpr QLatin1StringView BadCanTestFlag = "F830"_L1;
inline constexpr QLatin1StringView ZeroResolverFlag = "F831"_L1;
inline constexpr QLatin1StringView EndOfShiftFlag = "F137"_L1;
inline constexpr QLatin1StringView ResetTripsBit = "B1016.0"_L1;
inline constexpr QLatin1StringView PasscodeRegister = "W1298"_L1;

// I/O status points read by the I/O display.
inline constexpr std::array<QLatin1StringView, 13> IOStatusPoints = {
    "F18"_L1,  "F17"_L1,  "W162"_L1, "W164"_L1, "B166"_L1, "B167"_L1, "W184"_L1,
    "W186"_L1, "W188"_L1, "W170"_L1, "W100"_L1, "W110"_L1, "W120"_L1};
} // namespace LiveRegister

// Spindle codes written to QCSpindleNumber besides a single spindle 1..n.
constexpr int BlanketBlowoffCode(int spindleCount)
{
    return spindleCount + 1;
}
constexpr int MandrelBlowoffCode(int spindleCount)
{
    return spindleCount + 2;
}
