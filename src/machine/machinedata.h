#pragma once

#include "dataset.h"
#include "machineerror.h"
#include "registermap.h"

// The four records of the machine data table and the machine's spindle
// count, with the operations that move data between them. The application
// holds one instance for its whole run; displays, transfers and files only
// copy into and out of these records.
class MachineData
{
public:
    // Builds the defaults, so a fresh instance is in its start-up state.
    MachineData();

    DataSet gDefaultData;  // factory defaults, never changed after building
    DataSet gCurrentData;  // the working copy
    DataSet gSavedData;    // gCurrentData as last reset, opened or saved
    DataSet gFileData;     // a set-up file's record before it is applied
    int gSpindleCount = 0; // from "B52" at the first connection; 0 until then
    // Items an upload did not read, ascending: their values in gCurrentData
    // are not the board's. New, Open and an upload that reads them clear them.
    QList<int> NotRead;

    // Fills gDefaultData and copies it to gCurrentData and gSavedData.
    void buildDefaults();
    // File New: gCurrentData = gDefaultData, gSavedData = gCurrentData.
    void resetToDefaults();
    // File Open after the read: gFileData fitted to 0..gLastIndex becomes the
    // current data and the saved snapshot.
    void applyLoadedFile();
    // Whether the operator should be asked to save: a value 0..gLastIndex
    // differs from the snapshot, or the data carries another version tag.
    // Addresses are not compared.
    bool hasUnsavedChanges() const;
    bool fullyRead() const { return NotRead.isEmpty(); }
    // After an upload that tried these items: the ones not read are marked,
    // the others are the board's again.
    void noteUpload(const QList<int> &tried, const QList<int> &notRead);
    SpindleLimits limits() const { return spindleLimits(gSpindleCount); }

    // Reads a set-up file into gFileData; nothing changes when it fails.
    MachineError readFile(const QString &path);
    // File Save: writes gCurrentData tagged with gProgramVersion, then makes
    // it the snapshot. When the write fails nothing in memory changes.
    MachineError saveFile(const QString &path);
};
