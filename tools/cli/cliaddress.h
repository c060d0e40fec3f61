#pragma once

#include <QString>

// Checks an address typed on the command line against the register
// notation of the T6800: W98, B52, D1304, F119, B1016.0, EFF0H. Anything
// else would quietly land on some other byte of the board (an unknown
// letter reads byte 32), so it is refused before the port is opened.
// Returns an empty text when the address is good, else why it is not.
QString addressProblem(const QString &address);
