#pragma once

// Byte addresses of the registers the decorator's user program keeps, and the
// flag numbers of its commands. Flag n is bit n mod 8 of byte 32 + n div 8.
namespace BoardRegisters
{

// Machine status and live values.
inline constexpr int SpindleCount = 52;      // byte
inline constexpr int AlarmWord = 98;         // word, bits 0..2 carry alarms
inline constexpr int Slot00 = 100;           // word, discrete I/O slot 0-0
inline constexpr int Slot01 = 110;           // word, discrete I/O slot 0-1
inline constexpr int MachineCpm = 112;       // word, cans per minute
inline constexpr int Slot02 = 120;           // word, discrete I/O slot 0-2
inline constexpr int AnalogIn0 = 162;        // word
inline constexpr int AnalogIn1 = 164;        // word
inline constexpr int AnalogOut0 = 166;       // byte
inline constexpr int AnalogOut1 = 167;       // byte
inline constexpr int TimingChannels = 170;   // word, 16 timing channels
inline constexpr int ResolverPosition = 180; // word
inline constexpr int ResolverPeriod = 184;   // word, microseconds per turn
inline constexpr int ResolverScale = 186;    // word, divisions per turn
inline constexpr int ResolverOffset = 188;   // word
inline constexpr int Appl1RollRpm = 526;     // word
inline constexpr int Appl2RollRpm = 528;     // word
inline constexpr int TrippedSpindle = 599;   // byte
inline constexpr int QcSpindleNumber = 2088; // byte

// Command and status flags.
inline constexpr int CanSensorFlag = 17;
inline constexpr int SetPasscodeFlag = 18;
inline constexpr int QcBlowoffFlag2 = 102;
inline constexpr int ZeroResolverAllowedFlag = 119;
inline constexpr int EndOfShiftFlag = 137;
inline constexpr int QcBlowoffFlag1 = 825;
inline constexpr int BadCanTestFlag = 830;
inline constexpr int ZeroResolverFlag = 831;
inline constexpr int ResetTripsByte = 1016; // bit 0 resets the trips per spindle

// Production counts. Per-spindle words are consecutive, 36 slots each.
inline constexpr int MaxSpindles = 36;
inline constexpr int TripsPerSpindle = 1020;
inline constexpr int CurShiftTrips = 1124;
inline constexpr int LastShiftTrips = 1224;
inline constexpr int CurShiftGoodCans = 1100;        // double
inline constexpr int CurShiftBlowoffs = 1104;        // double
inline constexpr int CurShiftBadCanBlowoffs = 1108;  // double
inline constexpr int CurShiftRestartBlowoffs = 1112; // double
inline constexpr int CurShiftManualBlowoffs = 1116;  // double
inline constexpr int CurShiftQcBlowoffs = 1120;      // double
inline constexpr int LastShiftOffset = 100;          // last shift count = current + 100
inline constexpr int LifetimeCanCount = 1304;        // double, thousands of cans

// Set-up parameters.
inline constexpr int InfeedOpenBlowoffCans = 1000;   // byte
inline constexpr int Appl1RestartBlowoffCans = 1001; // byte
inline constexpr int Appl2RestartBlowoffCans = 1002; // byte
inline constexpr int MisloadBlowoffCans = 1003;      // byte
inline constexpr int PinChainBlowoffPins = 1004;     // word
inline constexpr int BadCanSolenoidOnTime = 1006;    // byte
inline constexpr int BadCanSolenoidOffTime = 1007;   // byte
inline constexpr int QcSolenoidOnTime = 1008;        // byte
inline constexpr int QcSolenoidOffTime = 1009;       // byte
inline constexpr int QcPortShiftOffset = 1010;       // byte
inline constexpr int SpindleTripOffset = 1011;       // byte
inline constexpr int CanfeedEnableLowSpeed = 1092;   // word
inline constexpr int CanfeedEnableHighSpeed = 1094;  // word
inline constexpr int ApplRollSpeedCalibrate = 1096;  // word
inline constexpr int BadCanBlowoffOnPosition = 830;  // word, degrees
inline constexpr int QcBlowoffOnPosition = 832;      // word, degrees
inline constexpr int CanGateOnPosition = 834;        // word, degrees
inline constexpr int Passcode = 1298;                // word

// The board itself.
inline constexpr int FirmwareRevision = 8159;
inline constexpr int CoCpuSlot = 8175;
inline constexpr int CurrentFault = 8176;
inline constexpr int LastFault = 8177;
inline constexpr int LastCommError = 8178;
inline constexpr int CurrentCommError = 8179;
inline constexpr int NetworkAddress1 = 8180;
inline constexpr int ProgramModeKey = 8181;
inline constexpr int Config8188 = 8188;
inline constexpr int Config8189 = 8189;
inline constexpr int Config8190 = 8190;
inline constexpr int NetworkAddress2 = 8191;
inline constexpr int ClockSecond = 43008;
inline constexpr int ClockMinute = 43010;
inline constexpr int ClockHour = 43012;
inline constexpr int ClockDay = 43015;
inline constexpr int ClockMonth = 43016;
inline constexpr int ClockYear = 43017; // last two digits
inline constexpr int ProgramStart = 0x4000;
inline constexpr int ProgramIdent = 0xEFF0; // eight characters
inline constexpr int ProgramChecksum = 0xEFF8;
inline constexpr int ProgramRevision = 0xEFF9;

} // namespace BoardRegisters
