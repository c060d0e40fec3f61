#pragma once

#include <QString>

class Clock;
class SerialPort;

// One step that tells a technician whether a link fault is the PC, the
// cable or the board: it opens the port as the program does, knocks on the
// board, and on an answer times a run of exchanges. Its own client of the
// port (no operator questions, no retries): it never runs while the
// program's link holds the port.
class LinkCheck
{
public:
    enum class Finding {
        Healthy,      // the board answered every exchange cleanly
        Unreliable,   // it answered, with wrong echoes or time-outs
        NoDevice,     // the device does not exist
        NoPermission, // this user may not open it
        Busy,         // another program holds it
        OpenFailed,   // it would not open for another reason
        OtherSpeed,   // silent or noise at the set speed, the board at the other
        Loopback,     // every byte came back unchanged
        Noise,        // replies, never the board's handshake
        Silent,       // nothing at either speed
    };

    struct Setup {
        QString devicePath; // the port's device as configured (a link is fine)
        int exchanges = 200;
        int uploadAllExchanges = 0;
        QString devRoot = QStringLiteral("/dev");
        QString sysRoot = QStringLiteral("/sys");
        QString procRoot = QStringLiteral("/proc");
    };

    struct Report {
        Finding finding = Finding::Silent;
        QString text; // the whole report, one finding and its fix
        bool clean() const { return finding == Finding::Healthy; }
    };

    // The port carries the port number and speed to check; it is closed
    // again when the check ends.
    LinkCheck(SerialPort &port, Clock &clock) : m_port(port), m_clock(clock) {}

    Report run(const Setup &setup);

private:
    enum class Answer { Board, Loopback, Noise, Silent, Gone };
    // -1 for no reply in time, -2 when the device went away.
    int exchange(quint8 byte, int timeoutMs);
    Answer knock(int &noiseBytes);
    struct Timing {
        int exchanges = 0;
        int wrongEchoes = 0;
        int timeOuts = 0;
        double medianMs = 0;
        double p99Ms = 0;
        bool gone = false;
    };
    Timing timeExchanges(int count);

    SerialPort &m_port;
    Clock &m_clock;
};
