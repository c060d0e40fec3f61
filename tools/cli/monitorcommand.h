#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

// kestro-cli monitor [--line NAME] [--mqtt URL] [--config FILE]: watches the
// board until stopped (SIGTERM, SIGINT) and publishes to a broker.
int runMonitorCommand(const QStringList &args, const QString &programDir, int portOverride,
                      int speedOverride, QTextStream &err);
