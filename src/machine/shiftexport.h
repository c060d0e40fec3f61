#pragma once

#include "dataset.h"
#include "machineerror.h"

#include <QDateTime>
#include <QStringList>

// The shift data export: 96 text lines, CR LF, the current and last shift
// counts and trips per spindle of a record under fixed headings.
inline constexpr int ShiftExportLineCount = 96;

// The lines, without line ends. fileTitle is the set-up file's name ("untitled"
// is written when it is empty); uploadTime the text after "Date: ".
QStringList shiftExportLines(const DataSet &data, const QString &fileTitle,
                             const QString &uploadTime);

// The file's bytes: every line followed by CR LF, UTF-8 (only a file name
// can hold characters outside ASCII).
QByteArray shiftExportBytes(const DataSet &data, const QString &fileTitle,
                            const QString &uploadTime);

// Creates or replaces the export file; an existing file is only replaced once
// the new one is complete.
MachineError writeShiftExport(const QString &path, const DataSet &data, const QString &fileTitle,
                              const QString &uploadTime);

// The date and time of an upload or file open as it is shown in the export:
// the system's short date and time form.
QString uploadTimeText(const QDateTime &when);
