#pragma once

#include "clicontext.h"

#include <QStringList>

// The limit-switch commands of kestro-cli (kestro-cli pls ...):
//   query                       scale factor, offset, position and speed
//   setpoint CHAN ON OFF [--clear]
//   pulse CHAN ON OFF START
//   clear CHAN
//   recall CHAN                 state and position of the channel
//   offset POSITION             make the current position read as POSITION
//   config-download FILE [SCALE]  24 values, one a line; SCALE defaults to
//                               the board's scale factor
//   config-upload FILE          19 values, one a line
// Returns a CliExit code.
int runPlsCommand(const QStringList &args, CliContext &ctx);
