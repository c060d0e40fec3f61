#pragma once

#include <QString>

class OperatorPrompt;
class RegisterLink;

// The board's current processor fault and its text for the operator.

// Register holding the current fault code (0 = no fault).
inline constexpr char FaultCodeRegister[] = "B8176";

// The board's current fault code; a failed read gives 0 (no fault).
qint16 FaultCode(RegisterLink &link);

// "Fault Code (5CH): " followed by the text of the first record of
// Support/FaultErrCodes.txt whose code matches (letter case ignored), by
// "--- Fault File Not Found ---" when the file is missing, or by nothing when
// no record matches. A file that cannot be read is reported through prompt.
QString FaultDescription(const QString &programDir, int fltCode, OperatorPrompt &prompt);

// The fault text file beside the program.
QString faultFilePath(const QString &programDir);
