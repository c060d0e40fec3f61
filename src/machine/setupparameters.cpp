#include "setupparameters.h"

namespace
{

using namespace Qt::StringLiterals;

constexpr std::array<SetupParameter, SetupParameterCount> Parameters = {{
    {122, 0, "W1092"_L1, "CanfeedEnableLowSpeed"_L1, "&Canfeed Enable Low Speed:"_L1, ""_L1, 0,
     1999, 600, ""_L1, false},
    {123, 1, "W1094"_L1, "CanfeedEnableHighSpeed"_L1, "C&anfeed Enable High Speed:"_L1, ""_L1, 0,
     1999, 1000, ""_L1, false},
    {124, 2, "W1096"_L1, "ApplRollSpeedCalibrate"_L1,
     "Applicator &Roll Speed Calibrate: (Roll RPM at 10VDC) "_L1, ""_L1, 0, 500, 380,
     "roll RPM at 10 V DC"_L1, false},
    {125, 3, "W1004"_L1, "PinChainBlowoffPins"_L1, "&Number of Pins to Pin Chain Blow-off Port:"_L1,
     ""_L1, 0, 999, 32, "pins"_L1, false},
    {126, 4, "B1003"_L1, "MisloadBlowoffCans"_L1,
     "N&umber of Cans to Blow-off for Each Mis-load:"_L1, ""_L1, 1, 5, 1, "cans"_L1, false},
    {127, 5, "B1000"_L1, "InfeedOpenBlowoffCans"_L1,
     "Numb&er of Cans to Blow-off at Infeed Open:"_L1, ""_L1, 0, 255, 12, "cans"_L1, false},
    {128, 6, "B1001"_L1, "Appl1RestartBlowoffCans"_L1,
     "Number of Cans to Blow-off from Appl. No.&1 at Restart:"_L1, ""_L1, 0, 255, 0, "cans"_L1,
     false},
    {129, 7, "B1002"_L1, "Appl2RestartBlowoffCans"_L1,
     "Number of Cans to Blow-off from Appl. No.&2 at Restart:"_L1, ""_L1, 0, 255, 0, "cans"_L1,
     false},
    {130, 8, "B1010"_L1, "QCPortShiftOffset"_L1, "Q.C. Can Blow-off Port Shift &Offset:"_L1, ""_L1,
     1, 24, 1, "spindles"_L1, true},
    {131, 9, "B1006"_L1, "BadCanSolenoidOnTime"_L1, "Bad &Can Blow-off Solenoid:"_L1,
     "ON (msec)"_L1, 5, 50, 15, "ms"_L1, false},
    {132, 10, "B1007"_L1, "BadCanSolenoidOffTime"_L1, "Bad &Can Blow-off Solenoid:"_L1,
     "OFF (msec)"_L1, 5, 50, 28, "ms"_L1, false},
    {133, 11, "B1008"_L1, "QCSolenoidOnTime"_L1, "Q.C. Blow-off So&lenoid:"_L1, "ON (msec)"_L1, 5,
     50, 15, "ms"_L1, false},
    {134, 12, "B1009"_L1, "QCSolenoidOffTime"_L1, "Q.C. Blow-off So&lenoid:"_L1, "OFF (msec)"_L1, 5,
     50, 28, "ms"_L1, false},
    {135, 13, "W830"_L1, "BadCanBlowoffOnPosition"_L1,
     "Bad Can B&low-off \"ON\" Position (degrees):"_L1, ""_L1, 0, 359, 180, "degrees"_L1, false},
    {136, 14, "W832"_L1, "QCBlowoffOnPosition"_L1, "Q.&C. Blow-off \"ON\" Position (degrees):"_L1,
     ""_L1, 0, 359, 185, "degrees"_L1, false},
    {137, 15, "W834"_L1, "CanGateOnPosition"_L1, "Can &Gate Timing \"ON\" Position (degrees):"_L1,
     ""_L1, 0, 359, 0, "degrees"_L1, false},
}};

// The table is indexed by field; keep it in item order.
constexpr bool tableInOrder()
{
    for (int k = 0; k < SetupParameterCount; ++k) {
        if (Parameters[k].Field != k || Parameters[k].Index != Item::FirstSetupParameter + k)
            return false;
    }
    return true;
}
static_assert(tableInOrder());

} // namespace

std::span<const SetupParameter, SetupParameterCount> setupParameters()
{
    return std::span<const SetupParameter, SetupParameterCount>(Parameters);
}

const SetupParameter *setupParameterForIndex(int index)
{
    const int field = index - Item::FirstSetupParameter;
    if (field < 0 || field >= SetupParameterCount)
        return nullptr;
    return &Parameters[field];
}
