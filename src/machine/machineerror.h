#pragma once

#include <QLoggingCategory>
#include <QString>

Q_DECLARE_LOGGING_CATEGORY(lcMachine)

// Every failure the machine data layer can report. The layer never shows a
// message itself: callers decide whether an error is silent or shown.
enum class MachineError {
    None,
    FileNotFound,    // the file does not exist
    FileOpenFailed,  // it exists but cannot be opened for reading
    FileTooShort,    // the file ends inside the record
    FileDamaged,     // the record's structure is impossible
    FileReadOnly,    // an existing file is marked read-only
    FileWriteFailed, // creating, writing or replacing the file failed
    TextTooLong,     // a text of the record does not fit its 16-bit length
};

QString machineErrorText(MachineError error);
