#pragma once

#include "clicontext.h"

#include <QStringList>

class ConsolePrompt;

// The controller program commands of kestro-cli:
//   program-download PROJECT.pdx [--yes]  the project's image into the board,
//                                         then its ident, checksum, revision
//   program-upload PROJECT.pdx            the board's program into the
//                                         project's .rev, .hex (and .lcf)
// A progress line shows the record address, the share done and the time
// left. Returns a CliExit code, or 1 when the operator declined.
int runProgramCommand(const QString &verb, const QStringList &args, CliContext &ctx,
                      ConsolePrompt &prompt);
