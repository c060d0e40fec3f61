#include "machinedata.h"

#include "sdtfile.h"

MachineData::MachineData()
{
    buildDefaults();
}

void MachineData::buildDefaults()
{
    gDefaultData = buildDefaultData();
    gCurrentData = gDefaultData;
    gSavedData = gCurrentData;
}

void MachineData::resetToDefaults()
{
    gCurrentData = gDefaultData;
    gSavedData = gCurrentData;
}

void MachineData::applyLoadedFile()
{
    gFileData.fitToTable();
    gCurrentData = gFileData;
    gSavedData = gCurrentData;
}

bool MachineData::hasUnsavedChanges() const
{
    for (int i = 0; i <= gLastIndex; ++i) {
        if (gCurrentData.valueAt(i) != gSavedData.valueAt(i))
            return true;
    }
    return gCurrentData.Version != gProgramVersion;
}

MachineError MachineData::readFile(const QString &path)
{
    return readSetupFile(path, gFileData);
}

MachineError MachineData::saveFile(const QString &path)
{
    DataSet tagged = gCurrentData;
    tagged.Version = gProgramVersion;
    if (MachineError e = writeSetupFile(path, tagged); e != MachineError::None)
        return e;
    gCurrentData = tagged;
    gSavedData = gCurrentData;
    return MachineError::None;
}
