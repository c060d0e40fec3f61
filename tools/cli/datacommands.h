#pragma once

#include "clicontext.h"

#include <QStringList>

// The data commands of kestro-cli:
//   upload setup|shift|all FILE.sdt    board -> FILE (starting from FILE's data
//                                      when it exists, else the defaults)
//   download setup|shift|all FILE.sdt  FILE -> board
//   export FILE.sdt OUT.txt            shift data export of FILE
//   show FILE.sdt                      index, address, item name and value
// Returns a CliExit code.
int runDataCommand(const QString &verb, const QStringList &args, CliContext &ctx);
