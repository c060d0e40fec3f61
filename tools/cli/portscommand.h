#pragma once

#include <QStringList>

class QTextStream;

// kestro-cli ports [--assign N DEVICE]: the serial devices of the machine,
// the device each configured port leads to, and whether this user may open
// it; --assign makes port N lead to DEVICE.
int runPortsCommand(const QStringList &args, const QString &programDir, int portOverride,
                    QTextStream &out, QTextStream &err);
