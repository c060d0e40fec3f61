#pragma once

#include "commandprocessor.h"

#include <QElapsedTimer>
#include <QFile>
#include <QString>

#include <deque>

class BoardModel;
class MachineSim;
struct SimSettings;

// Puts the board on a pseudo-terminal and runs it: bytes from the PC are fed
// to the board and its replies sent back (held for --delay-ms and, under
// --pace, the wire time of both the byte received and the reply), the machine is moved on every
// tick, and console commands are read from stdin. One thread, one ppoll(2) loop.
// The hardware in between can be played too: an adapter's latency timer, a
// loopback plug, a board at another speed than the port.
//
// The server keeps its own descriptor of the slave side open, so a client
// that closes and reopens the device finds the board as it left it.
class BoardServer
{
public:
    struct Options {
        QString linkPath;   // symbolic link to the slave device, kept while running
        QString tracePath;  // one line per byte received: "RX -> TX" in hex
        int closeAfter = 0; // vanish on receiving this many bytes; 0 = never
        bool linger = false; // after vanishing, go on taking console commands
        int tickMs = 100;   // machine time step
    };

    BoardServer(BoardModel &board, MachineSim &machine, SimSettings &settings, Options options);
    ~BoardServer();

    BoardServer(const BoardServer &) = delete;
    BoardServer &operator=(const BoardServer &) = delete;

    // Creates the device, the link and the trace file.
    bool open(QString *error);
    QString slavePath() const { return m_slavePath; }

    // Runs until quit, close, --close-after or SIGINT/SIGTERM; returns the
    // process exit status.
    int run();

private:
    struct PendingReply {
        qint64 dueNs;
        quint8 byte;
    };

    qint64 nowNs() const { return m_clock.nsecsElapsed(); }
    void readFromClient();
    void receive(quint8 byte);
    // heardNs: when the byte answered was wholly received.
    void scheduleReply(quint8 byte, qint64 heardNs);
    qint64 byteWireNs() const;
    // The reply to a byte heard when the line runs at another speed than
    // the board's: what a UART makes of the wrong bit times.
    bool heardAtWrongSpeed() const;
    quint8 noiseFor(quint8 byte);
    void sendDueReplies();
    void readConsole();
    void runCommand(QStringView line);
    void advanceMachine();
    // Until the next reply or tick is due; -1 for no limit. A paced reply
    // is woken for m_wakeEarlyNs before it is due.
    qint64 pollTimeoutNs() const;
    // Learns how late the kernel wakes us, then waits out the last
    // microseconds before a paced reply is due.
    void arriveAtDueReply(qint64 wakeTargetNs);
    void trace(quint8 received, int replied);
    void vanish();
    void closeDevice();
    void removeLink();

    BoardModel &m_board;
    MachineSim &m_machine;
    SimSettings &m_settings;
    Options m_options;
    CommandProcessor m_console;

    int m_master = -1;
    int m_slave = -1;
    QString m_slavePath;
    bool m_linkMade = false;
    QFile m_trace;

    QElapsedTimer m_clock;
    qint64 m_lastTickNs = 0;
    bool m_wasFrozen = false;
    qint64 m_lineFreeNs = 0;        // the board's transmit line
    qint64 m_receiveLineFreeNs = 0; // the board's receive line
    std::deque<PendingReply> m_replies;
    // How late a timed wake-up comes, averaged, and so how much earlier
    // than its due time the wait for a paced reply ends.
    qint64 m_wakeLateNs = 0;
    qint64 m_wakeEarlyNs = 0;
    qint64 m_received = 0;
    quint32 m_noiseState = 0x2545F491;

    bool m_consoleOpen = true;
    QByteArray m_consoleBuffer;
    bool m_running = false;
};
