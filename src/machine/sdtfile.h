#pragma once

#include "dataset.h"
#include "machineerror.h"

#include <QByteArray>
#include <QByteArrayView>

// The set-up data file (.sdt): the binary image of one DataSet, little-endian.
//   u16 length + Latin-1 characters        Version
//   u16 dims (1), u32 count, u32 lower     Address array descriptor
//   count x (u16 length + characters)      Address entries
//   u16 dims (1), u32 count, u32 lower     Value array descriptor
//   count x i32                            Value entries
// Nothing precedes the record; anything after it is ignored.

// Encodes a record; fails only with TextTooLong. Lists are written as they
// are (normally 138 entries each, 1550 bytes for the factory table).
MachineError encodeSetupRecord(const DataSet &data, QByteArray &bytes);

// Decodes the record at the start of bytes, taking the element counts the
// bytes declare. Entries are taken in order from index 0 whatever lower bound
// the file gives (files of related programs may count from 1); an array
// stored with no dimensions is empty, one with more than one is damaged. On
// failure out is left unchanged; recordSize, when given, receives the
// record's length in bytes.
MachineError decodeSetupRecord(QByteArrayView bytes, DataSet &out, qsizetype *recordSize = nullptr);

// Reads the record of a file into out; out is changed only on success.
MachineError readSetupFile(const QString &path, DataSet &out);

// Writes the record to path without ever leaving a half-written file: the
// new bytes, followed by any bytes of the old file beyond them, go to a
// temporary file in the same folder, which then replaces the old one. A
// file marked read-only is refused, even for a user allowed to replace it.
MachineError writeSetupFile(const QString &path, const DataSet &data);
