#pragma once

#include "clicontext.h"

#include <QStringList>

// kestro-cli board [--project FILE.pdx] [--set-clock] [--reset-faults] [--address N]
// Does what the options ask (reset the fault codes, set network address 1,
// set the board clock from the PC), then prints what the target board window
// shows: fault codes with their texts and the corrective action, comm error
// codes, the program identity in the board against the project, the network
// address and the board clock against the PC clock. Returns a CliExit code.
int runBoardCommand(const QStringList &args, CliContext &ctx);
