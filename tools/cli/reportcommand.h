#pragma once

// kestro-cli report FILE.sdt OUT.pdf [--setup-only|--shift-only] [--title TEXT]
// Runs before any application object exists: it makes its own, offscreen.
// Returns the exit code, or -1 when the command line is not a report command.
int runReportCommand(int argc, char *argv[]);
