#pragma once

#include <QString>

// The controller project a file belongs to, without any window: shared by
// the shell, the target board window and the command-line tool.

// Board type code of the project: the character code of the first character
// of its .PDX file (any letter case of the extension), 68 when that file is
// missing or empty. An empty first item is an error the caller reports: the
// result is then 0 and *emptyItem is set.
qint16 projectBoardType(const QString &path, bool *emptyItem = nullptr);

// Folder of path (made absolute), its base name and the extension ext.
QString changeExtension(const QString &path, const QString &ext);
