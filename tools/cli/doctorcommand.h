#pragma once

#include <QStringList>

class QTextStream;

// kestro-cli doctor [--exchanges N]: opens the port as the other commands
// do and says in plain words whether the PC, the cable or the board is at
// fault, with the fix; on a healthy board, how fast the link is. Exit 0
// only when the board answered cleanly.
int runDoctorCommand(const QStringList &args, const QString &programDir, int portOverride,
                     int speedOverride, QTextStream &out, QTextStream &err);
