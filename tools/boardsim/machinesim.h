#pragma once

#include <QDateTime>
#include <QRandomGenerator>
#include <QtGlobal>

class BoardModel;
class RegisterSpace;

// The decorator behind the board: fills the registers with a running
// machine's values, moves them on as time passes, and carries out the
// commands the PC writes (Q.C. blow-off, test trip, zero resolver, reset
// trips, end of shift). Commands act as soon as they are written, whether or
// not time is moving.
class MachineSim
{
public:
    // Distinct: every data-table register starts with its own value, the
    // set-up parameters near but not at their factory defaults. Factory: the
    // set-up parameters and the trip offset start at the factory defaults.
    enum class SetupValues { Distinct, Factory };

    static constexpr int StartCpm = 1500;

    // Installs itself as the board's write observer.
    MachineSim(BoardModel &board, const QDateTime &clockStart);

    void loadStartValues(SetupValues setup);
    void advance(qint64 elapsedMs);
    void registerWritten(int address);

    int spindleCount() const;

private:
    RegisterSpace &regs();
    void handleCommandFlags();
    void qcBlowoff(int spindleCode);
    void tripSpindle(int spindle);
    void resetTrips();
    void endShift();
    void zeroResolver();
    void processCan();
    void updateSpeeds(double noise1, double noise2);
    void updatePosition();
    void updateIo();
    void writeClock(const QDateTime &time);
    void tickClockSecond();
    double positionDegrees() const;

    BoardModel &m_board;
    QRandomGenerator m_random;
    QDateTime m_clockStart;
    qint64 m_clockMs = 0;
    qint64 m_runMs = 0;
    int m_targetCpm = StartCpm;
    double m_rawPosition = 0;
    double m_canFraction = 0;
    int m_lifetimeCans = 0;
    int m_spindle = 1;
    bool m_canPresent = true;
    int m_qcSolenoidMs = 0;
    int m_badCanSolenoidMs = 0;
    int m_manualBlowoffMs = 0;
    bool m_resetTripsHeld = false;
    bool m_endOfShiftHeld = false;
    bool m_pcClock = false;
};
