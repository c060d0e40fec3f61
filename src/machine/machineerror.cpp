#include "machineerror.h"

Q_LOGGING_CATEGORY(lcMachine, "kestro.machine")

QString machineErrorText(MachineError error)
{
    switch (error) {
    case MachineError::None:
        return QStringLiteral("No error");
    case MachineError::FileNotFound:
        return QStringLiteral("The file does not exist");
    case MachineError::FileOpenFailed:
        return QStringLiteral("The file cannot be opened");
    case MachineError::FileTooShort:
        return QStringLiteral("The file is too short to hold a set-up data record");
    case MachineError::FileDamaged:
        return QStringLiteral("The file is not a valid set-up data record");
    case MachineError::FileReadOnly:
        return QStringLiteral("The file is read-only");
    case MachineError::FileWriteFailed:
        return QStringLiteral("The file cannot be written");
    case MachineError::TextTooLong:
        return QStringLiteral("A text of the record is longer than 65535 characters");
    }
    return QStringLiteral("Unknown error");
}
