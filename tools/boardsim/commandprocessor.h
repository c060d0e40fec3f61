#pragma once

#include <QByteArray>

#include <QString>
#include <QStringView>

class BoardModel;
struct SimSettings;

// The console: one command per line on stdin, one answer line each.
//   set ADDR VALUE      -> ok            get ADDR        -> decimal value
//   silent on|off       -> ok            frozen on|off   -> ok
//   wrong-echo N        -> ok            delay N         -> ok
//   garbage N           -> ok            wrong-echo-at N -> ok (Nth exchange from now)
//   pace BAUD           -> ok            mode            -> none|attention|read|write|query
//                                                             |limit-switch|program
//   pls ...             -> the limit switch's commands (plsmodel.h)
//   program-wrong-sum N -> ok            program-silent N -> ok   (0 = off)
//   program             -> records N last 4FF0H   (the last program load)
//   fault CODE          -> ok (current fault CODE, kept as the last fault)
//   close               -> ok, then the link vanishes
//   quit                -> ok, then the simulator ends
// Anything else answers "error: " and a reason.
class CommandProcessor
{
public:
    enum class Outcome { Continue, Quit, Vanish };

    struct Result {
        QString reply; // empty for a blank line: nothing is answered
        Outcome outcome = Outcome::Continue;
    };

    CommandProcessor(BoardModel &board, SimSettings &settings);

    Result execute(QStringView line);

private:
    QString set(QStringView address, QStringView value);
    QString get(QStringView address) const;
    QString fault(quint8 code);
    QString modeName() const;

    BoardModel &m_board;
    SimSettings &m_settings;
    QByteArray m_snapshot;
};
