#pragma once

#include <QString>
#include <QTextStream>
#include <functional>

class RSComm;
class OperatorPrompt;
namespace History
{
class WriteAudit;
}

// Exit codes of kestro-cli (also listed by --help).
enum CliExit {
    Ok = 0,
    Usage = 2,        // bad command line
    CommFailure = 3,  // the board did not answer, or the link failed part-way
    RefusedValue = 4, // a value was refused before anything was written
    FileError = 5,    // a file could not be read or written
};

// What a command of the command-line tool gets to work with.
struct CliContext {
    RSComm &comm;
    OperatorPrompt &prompt;
    QTextStream &out;
    QTextStream &err;
    bool interactive;               // standard output is a terminal
    std::function<bool()> goOnline; // opens the link; true when the board answered
    History::WriteAudit *audit = nullptr; // records the writes made; may be null
};
