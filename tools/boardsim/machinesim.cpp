#include "machinesim.h"

#include "boardmodel.h"
#include "boardregisters.h"
#include "registerspace.h"

#include <cmath>

using namespace BoardRegisters;

namespace
{

constexpr double Pi = 3.14159265358979323846;
constexpr int SolenoidPulseMs = 250;
constexpr int RollRpmPerThousandCpm = 165;
constexpr quint8 ProgramIdentText[8] = {'D', 'E', 'C', 'O', 'R', '2', '1', '3'};

// Shift count registers, current shift; the last shift's are 100 higher.
constexpr int ShiftCounts[] = {CurShiftGoodCans,       CurShiftBlowoffs,
                               CurShiftBadCanBlowoffs, CurShiftRestartBlowoffs,
                               CurShiftManualBlowoffs, CurShiftQcBlowoffs};

int spindleWord(int base, int spindle)
{
    return base + 2 * (spindle - 1);
}

bool inWindow(double degrees, double start, double length)
{
    const double from = std::fmod(degrees - start + 720.0, 360.0);
    return from < length;
}

} // namespace

MachineSim::MachineSim(BoardModel &board, const QDateTime &clockStart)
    : m_board(board), m_random(6800), m_clockStart(clockStart)
{
    m_board.setWriteObserver([this](int address) { registerWritten(address); });
}

RegisterSpace &MachineSim::regs()
{
    return m_board.registers();
}

int MachineSim::spindleCount() const
{
    return qBound(1, int(m_board.registers().byteAt(SpindleCount)), MaxSpindles);
}

void MachineSim::loadStartValues(SetupValues setup)
{
    RegisterSpace &r = regs();
    r.clear();

    r.setByte(SpindleCount, 36);
    r.setWord(AlarmWord, 0);

    // Data table: every register its own value, counts consistent with the
    // trips (bad can blow-offs = the shift's trips, total = sum of kinds).
    for (int s = 1; s <= MaxSpindles; ++s) {
        r.setWord(spindleWord(TripsPerSpindle, s), quint16(200 + 3 * s));
        r.setWord(spindleWord(CurShiftTrips, s), quint16(50 + s));
        r.setWord(spindleWord(LastShiftTrips, s), quint16(90 + s));
    }
    r.setDouble(CurShiftGoodCans, 1234567);
    r.setDouble(CurShiftBadCanBlowoffs, 2466);
    r.setDouble(CurShiftManualBlowoffs, 38);
    r.setDouble(CurShiftQcBlowoffs, 41);
    r.setDouble(CurShiftRestartBlowoffs, 44);
    r.setDouble(CurShiftBlowoffs, 2466 + 38 + 41 + 44);
    r.setDouble(CurShiftGoodCans + LastShiftOffset, 2345678);
    r.setDouble(CurShiftBadCanBlowoffs + LastShiftOffset, 3906);
    r.setDouble(CurShiftManualBlowoffs + LastShiftOffset, 48);
    r.setDouble(CurShiftQcBlowoffs + LastShiftOffset, 45);
    r.setDouble(CurShiftRestartBlowoffs + LastShiftOffset, 39);
    r.setDouble(CurShiftBlowoffs + LastShiftOffset, 3906 + 48 + 45 + 39);
    r.setDouble(LifetimeCanCount, 987654);

    if (setup == SetupValues::Factory) {
        r.setByte(SpindleTripOffset, 0);
        r.setWord(CanfeedEnableLowSpeed, 600);
        r.setWord(CanfeedEnableHighSpeed, 1000);
        r.setWord(ApplRollSpeedCalibrate, 380);
        r.setWord(PinChainBlowoffPins, 32);
        r.setByte(MisloadBlowoffCans, 1);
        r.setByte(InfeedOpenBlowoffCans, 12);
        r.setByte(Appl1RestartBlowoffCans, 0);
        r.setByte(Appl2RestartBlowoffCans, 0);
        r.setByte(QcPortShiftOffset, 1);
        r.setByte(BadCanSolenoidOnTime, 15);
        r.setByte(BadCanSolenoidOffTime, 28);
        r.setByte(QcSolenoidOnTime, 15);
        r.setByte(QcSolenoidOffTime, 28);
        r.setWord(BadCanBlowoffOnPosition, 180);
        r.setWord(QcBlowoffOnPosition, 185);
        r.setWord(CanGateOnPosition, 0);
    } else {
        r.setByte(SpindleTripOffset, 7);
        r.setWord(CanfeedEnableLowSpeed, 610);
        r.setWord(CanfeedEnableHighSpeed, 1010);
        r.setWord(ApplRollSpeedCalibrate, 385);
        r.setWord(PinChainBlowoffPins, 33);
        r.setByte(MisloadBlowoffCans, 2);
        r.setByte(InfeedOpenBlowoffCans, 13);
        r.setByte(Appl1RestartBlowoffCans, 3);
        r.setByte(Appl2RestartBlowoffCans, 4);
        r.setByte(QcPortShiftOffset, 5);
        r.setByte(BadCanSolenoidOnTime, 16);
        r.setByte(BadCanSolenoidOffTime, 29);
        r.setByte(QcSolenoidOnTime, 17);
        r.setByte(QcSolenoidOffTime, 30);
        r.setWord(BadCanBlowoffOnPosition, 181);
        r.setWord(QcBlowoffOnPosition, 186);
        r.setWord(CanGateOnPosition, 9);
    }

    r.setWord(Passcode, 4321);
    r.setByte(QcSpindleNumber, 5);
    r.setByte(TrippedSpindle, 12);
    r.setFlag(ZeroResolverAllowedFlag, true);
    r.setFlag(SetPasscodeFlag, false);

    // Resolver: 360 divisions per turn, one turn per can.
    r.setWord(ResolverScale, 360);
    r.setWord(ResolverOffset, 37);
    m_rawPosition = 160;
    m_targetCpm = StartCpm;
    r.setWord(MachineCpm, quint16(m_targetCpm));
    m_spindle = 1;
    m_canPresent = true;
    m_canFraction = 0;
    m_lifetimeCans = 0;
    m_qcSolenoidMs = m_badCanSolenoidMs = m_manualBlowoffMs = 0;
    m_resetTripsHeld = m_endOfShiftHeld = false;
    m_runMs = 0;

    // The board itself.
    r.setByte(FirmwareRevision, 23);
    r.setByte(CoCpuSlot, 0);
    r.setByte(CurrentFault, 0);
    r.setByte(LastFault, 0x45);
    r.setByte(LastCommError, 0x12);
    r.setByte(CurrentCommError, 0);
    r.setByte(NetworkAddress1, 7);
    r.setByte(NetworkAddress2, 1);
    r.setByte(ProgramModeKey, 0);
    r.setByte(Config8188, 20);
    r.setByte(Config8189, 0);
    r.setByte(Config8190, 12);
    for (int i = 0; i < 8; ++i)
        r.setByte(ProgramIdent + i, ProgramIdentText[i]);
    r.setByte(ProgramChecksum, 0xCD);
    r.setByte(ProgramRevision, 5);
    // A user program image, so that a read-back has something to show.
    quint32 seed = 68;
    for (int a = ProgramStart; a < ProgramStart + 0x1000; ++a) {
        seed = seed * 1103515245u + 12345u;
        r.setByte(a, quint8(seed >> 16));
    }

    m_clockMs = 0;
    writeClock(m_clockStart);
    updateSpeeds(0, 0);
    updatePosition();
    updateIo();
}

void MachineSim::advance(qint64 elapsedMs)
{
    if (elapsedMs <= 0)
        return;
    m_runMs += elapsedMs;

    RegisterSpace &r = regs();
    int cpm = 0;
    if (m_targetCpm > 0) {
        const double drift = 12.0 * std::sin(2.0 * Pi * double(m_runMs) / 45000.0);
        const double jitter = m_random.bounded(7) - 3;
        cpm = qBound(0, int(std::lround(m_targetCpm + drift + jitter)), 65535);
    }
    r.setWord(MachineCpm, quint16(cpm));

    m_canFraction += cpm * double(elapsedMs) / 60000.0;
    while (m_canFraction >= 1.0) {
        m_canFraction -= 1.0;
        processCan();
    }

    const quint16 scale = r.wordAt(ResolverScale);
    if (scale > 0) {
        const double turns = cpm / 60.0 * double(elapsedMs) / 1000.0;
        m_rawPosition = std::fmod(m_rawPosition + turns * scale, double(scale));
    }

    for (int *pulse : {&m_qcSolenoidMs, &m_badCanSolenoidMs, &m_manualBlowoffMs})
        *pulse = qMax(0, *pulse - int(elapsedMs));
    m_pcClock = !m_pcClock;

    for (m_clockMs += elapsedMs; m_clockMs >= 1000; m_clockMs -= 1000)
        tickClockSecond();

    updateSpeeds(m_random.bounded(3) - 1, m_random.bounded(3) - 1);
    updatePosition();
    updateIo();
}

void MachineSim::processCan()
{
    RegisterSpace &r = regs();
    m_spindle = m_spindle % spindleCount() + 1;
    m_canPresent = m_random.bounded(100) != 0;
    if (!m_canPresent)
        return;

    const double roll = m_random.generateDouble();
    if (roll < 0.004) {
        tripSpindle(m_spindle);
    } else if (roll < 0.0045) {
        r.addToDouble(CurShiftManualBlowoffs, 1);
        r.addToDouble(CurShiftBlowoffs, 1);
        m_manualBlowoffMs = SolenoidPulseMs;
    } else if (roll < 0.0048) {
        r.addToDouble(CurShiftRestartBlowoffs, 1);
        r.addToDouble(CurShiftBlowoffs, 1);
    } else {
        r.addToDouble(CurShiftGoodCans, 1);
    }

    if (++m_lifetimeCans >= 1000) {
        m_lifetimeCans = 0;
        r.addToDouble(LifetimeCanCount, 1);
    }
}

void MachineSim::updateSpeeds(double noise1, double noise2)
{
    RegisterSpace &r = regs();
    const int cpm = r.wordAt(MachineCpm);
    const int calibrate = qMax(1, int(r.wordAt(ApplRollSpeedCalibrate)));
    const double base = cpm * RollRpmPerThousandCpm / 1000.0;
    const int roll1 = cpm > 0 ? qBound(0, int(std::lround(base + noise1)), calibrate) : 0;
    const int roll2 = cpm > 0 ? qBound(0, int(std::lround(base * 0.985 + noise2)), calibrate) : 0;
    r.setWord(Appl1RollRpm, quint16(roll1));
    r.setWord(Appl2RollRpm, quint16(roll2));
    // Drive speed inputs on a 12-bit converter, outputs on 8 bits, both full
    // scale at the calibrated roll speed.
    r.setWord(AnalogIn0, quint16(roll1 * 4095 / calibrate));
    r.setWord(AnalogIn1, quint16(roll2 * 4095 / calibrate));
    r.setByte(AnalogOut0, quint8(roll1 * 255 / calibrate));
    r.setByte(AnalogOut1, quint8(roll2 * 255 / calibrate));
    r.setWord(ResolverPeriod, cpm > 0 ? quint16(qMin(65535, 60000000 / cpm)) : 0);
}

void MachineSim::updatePosition()
{
    RegisterSpace &r = regs();
    const int scale = r.wordAt(ResolverScale);
    if (scale <= 0)
        return;
    const int raw = int(m_rawPosition) % scale;
    const int offset = r.wordAt(ResolverOffset) % scale;
    r.setWord(ResolverPosition, quint16((raw - offset + scale) % scale));
}

double MachineSim::positionDegrees() const
{
    const RegisterSpace &r = m_board.registers();
    const int scale = r.wordAt(ResolverScale);
    if (scale <= 0)
        return 0;
    return r.wordAt(ResolverPosition) * 360.0 / scale;
}

void MachineSim::updateIo()
{
    RegisterSpace &r = regs();
    const double deg = positionDegrees();
    const int cpm = r.wordAt(MachineCpm);
    const bool running = cpm > 0;

    // Timing channels: three trip cams, cam reset, the two blow-off windows,
    // can gate and one pulse per can.
    const double camStart[3] = {30, 90, 150};
    quint16 timing = 0;
    for (int k = 0; k < 3; ++k)
        timing |= quint16(inWindow(deg, camStart[k], 60) << k);
    timing |= quint16(inWindow(deg, 300, 30) << 3);
    timing |= quint16(inWindow(deg, r.wordAt(BadCanBlowoffOnPosition), 40) << 4);
    timing |= quint16(inWindow(deg, r.wordAt(QcBlowoffOnPosition), 40) << 5);
    timing |= quint16(inWindow(deg, r.wordAt(CanGateOnPosition), 90) << 6);
    timing |= quint16((deg < 180) << 7);
    if (!running)
        timing = 0;
    r.setWord(TimingChannels, timing);

    const bool mandrelOne = m_spindle == 1;
    quint16 slot00 = 0;
    slot00 |= quint16(mandrelOne) << 0;
    slot00 |= quint16(m_canPresent && running) << 1;
    slot00 |= quint16(m_endOfShiftHeld) << 3;
    slot00 |= quint16(cpm >= r.wordAt(CanfeedEnableLowSpeed)) << 4;
    slot00 |= quint16(running) << 5;
    slot00 |= quint16(m_manualBlowoffMs > 0) << 7;
    slot00 |= quint16(m_badCanSolenoidMs > 0) << 14;
    slot00 |= quint16(1) << 15; // set-up enable key switch
    r.setWord(Slot00, slot00);

    const quint16 alarms = r.wordAt(AlarmWord);
    const bool blowing = m_qcSolenoidMs > 0 || m_badCanSolenoidMs > 0;
    quint16 slot01 = 0;
    slot01 |= quint16(m_pcClock) << 0;
    slot01 |= quint16(blowing) << 1;
    slot01 |= quint16(blowing ? (m_spindle & 7) : 0) << 2;
    slot01 |= quint16(alarms & 3) << 5;
    slot01 |= quint16(cpm >= r.wordAt(CanfeedEnableHighSpeed)) << 7;
    slot01 |= quint16(mandrelOne) << 8;
    slot01 |= quint16((timing >> 6) & 1) << 13;
    slot01 |= quint16(m_badCanSolenoidMs > 0) << 14;
    slot01 |= quint16(m_qcSolenoidMs > 0) << 15;
    r.setWord(Slot01, slot01);

    // Trip cam solenoids: ON coil at the start of each cam window, OFF coil
    // at its end.
    quint16 slot02 = 0;
    if (running) {
        for (int k = 0; k < 3; ++k) {
            slot02 |= quint16(inWindow(deg, camStart[k], 15)) << (2 * k);
            slot02 |= quint16(inWindow(deg, camStart[k] + 60, 15)) << (2 * k + 1);
        }
    }
    r.setWord(Slot02, slot02);

    r.setFlag(CanSensorFlag, m_canPresent && running);
}

void MachineSim::registerWritten(int address)
{
    RegisterSpace &r = regs();
    if (address == RegisterSpace::flagByte(QcBlowoffFlag1) ||
        address == RegisterSpace::flagByte(QcBlowoffFlag2) ||
        address == RegisterSpace::flagByte(BadCanTestFlag) ||
        address == RegisterSpace::flagByte(ZeroResolverFlag)) {
        handleCommandFlags();
    }
    if (address == ResetTripsByte) {
        const bool held = r.bitAt(ResetTripsByte, 0);
        if (held && !m_resetTripsHeld)
            resetTrips();
        m_resetTripsHeld = held;
    }
    if (address == RegisterSpace::flagByte(EndOfShiftFlag)) {
        const bool held = r.flag(EndOfShiftFlag);
        if (held && !m_endOfShiftHeld)
            endShift();
        m_endOfShiftHeld = held;
        updateIo();
    }
    if (address == MachineCpm || address == MachineCpm + 1)
        m_targetCpm = r.wordAt(MachineCpm);
    if (address == ResolverPosition || address == ResolverPosition + 1) {
        const int scale = r.wordAt(ResolverScale);
        if (scale > 0)
            m_rawPosition = (r.wordAt(ResolverPosition) + r.wordAt(ResolverOffset)) % scale;
    }
    if (address == ClockSecond)
        m_clockMs = 0; // a second set from the PC starts now
    if (address == ResolverOffset || address == ResolverOffset + 1 || address == ResolverScale ||
        address == ResolverScale + 1)
        updatePosition();
}

void MachineSim::handleCommandFlags()
{
    RegisterSpace &r = regs();
    // A Q.C. blow-off is armed by the first flag and fired by the second; the
    // second alone is ignored.
    if (r.flag(QcBlowoffFlag2)) {
        if (r.flag(QcBlowoffFlag1))
            qcBlowoff(r.byteAt(QcSpindleNumber));
        r.setFlag(QcBlowoffFlag1, false);
        r.setFlag(QcBlowoffFlag2, false);
    }
    if (r.flag(BadCanTestFlag)) {
        r.setFlag(BadCanTestFlag, false);
        tripSpindle(m_spindle);
    }
    if (r.flag(ZeroResolverFlag)) {
        r.setFlag(ZeroResolverFlag, false);
        if (r.flag(ZeroResolverAllowedFlag))
            zeroResolver();
    }
    updateIo();
}

void MachineSim::qcBlowoff(int spindleCode)
{
    const int spindles = spindleCount();
    int cans = 0;
    if (spindleCode >= 1 && spindleCode <= spindles)
        cans = 1; // one spindle
    else if (spindleCode == spindles + 1)
        cans = spindles; // blanket: every spindle
    else if (spindleCode == spindles + 2)
        cans = 1; // the can on the mandrel
    if (cans == 0)
        return;
    RegisterSpace &r = regs();
    r.addToDouble(CurShiftQcBlowoffs, quint32(cans));
    r.addToDouble(CurShiftBlowoffs, quint32(cans));
    m_qcSolenoidMs = SolenoidPulseMs;
}

void MachineSim::tripSpindle(int spindle)
{
    RegisterSpace &r = regs();
    r.addToDouble(CurShiftBadCanBlowoffs, 1);
    r.addToDouble(CurShiftBlowoffs, 1);
    const int current = spindleWord(CurShiftTrips, spindle);
    r.setWord(current, quint16(r.wordAt(current) + 1));
    if (!m_resetTripsHeld) {
        const int sinceReset = spindleWord(TripsPerSpindle, spindle);
        r.setWord(sinceReset, quint16(r.wordAt(sinceReset) + 1));
    }
    r.setByte(TrippedSpindle, quint8(spindle));
    m_badCanSolenoidMs = SolenoidPulseMs;
}

void MachineSim::resetTrips()
{
    RegisterSpace &r = regs();
    for (int s = 1; s <= MaxSpindles; ++s)
        r.setWord(spindleWord(TripsPerSpindle, s), 0);
    r.setByte(TrippedSpindle, 0);
}

void MachineSim::endShift()
{
    RegisterSpace &r = regs();
    for (int count : ShiftCounts) {
        r.setDouble(count + LastShiftOffset, r.doubleAt(count));
        r.setDouble(count, 0);
    }
    for (int s = 1; s <= MaxSpindles; ++s) {
        const int current = spindleWord(CurShiftTrips, s);
        r.setWord(current + LastShiftOffset, r.wordAt(current));
        r.setWord(current, 0);
    }
}

void MachineSim::zeroResolver()
{
    RegisterSpace &r = regs();
    const int scale = r.wordAt(ResolverScale);
    if (scale <= 0)
        return;
    r.setWord(ResolverOffset, quint16(int(m_rawPosition) % scale));
    updatePosition();
}

void MachineSim::writeClock(const QDateTime &time)
{
    RegisterSpace &r = regs();
    r.setByte(ClockSecond, quint8(time.time().second()));
    r.setByte(ClockMinute, quint8(time.time().minute()));
    r.setByte(ClockHour, quint8(time.time().hour()));
    r.setByte(ClockDay, quint8(time.date().day()));
    r.setByte(ClockMonth, quint8(time.date().month()));
    r.setByte(ClockYear, quint8(time.date().year() % 100));
}

// The clock registers are the clock, as in a real-time clock chip: whatever
// the PC writes counts on from there, carrying as far as needed.
void MachineSim::tickClockSecond()
{
    RegisterSpace &r = regs();
    const int fields[] = {ClockSecond, ClockMinute, ClockHour};
    const int limits[] = {60, 60, 24};
    for (int i = 0; i < 3; ++i) {
        const int value = r.byteAt(fields[i]) + 1;
        if (value < limits[i]) {
            r.setByte(fields[i], quint8(value));
            return;
        }
        r.setByte(fields[i], 0);
    }
    const int year = r.byteAt(ClockYear);
    const int month = r.byteAt(ClockMonth);
    const int days = month >= 1 && month <= 12 ? QDate(2000 + year, month, 1).daysInMonth() : 31;
    const int day = r.byteAt(ClockDay) + 1;
    if (day <= days) {
        r.setByte(ClockDay, quint8(day));
        return;
    }
    r.setByte(ClockDay, 1);
    if (month < 12) {
        r.setByte(ClockMonth, quint8(month + 1));
        return;
    }
    r.setByte(ClockMonth, 1);
    r.setByte(ClockYear, quint8((year + 1) % 100));
}
