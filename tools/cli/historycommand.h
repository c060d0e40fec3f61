#pragma once

#include "clicontext.h"

#include <QStringList>

namespace History
{
class HistoryStore;
}

// The history file this program uses: $KESTRO_HISTORY when set (the demo
// and the tests keep their own), else the per-user default.
QString cliHistoryPath(const QString &programDir);

// kestro-cli history shifts|faults|changes [--since DATE] [--csv]
int runHistoryCommand(const QStringList &args, const QString &programDir, QTextStream &out,
                      QTextStream &err);
// kestro-cli diff A.sdt B.sdt|--board [--group setup|shift|all]
int runDiffCommand(const QStringList &args, CliContext &ctx);
