#include "machinedata.h"

#include "sdtfile.h"

#include <algorithm>

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
    NotRead.clear();
}

void MachineData::noteUpload(const QList<int> &tried, const QList<int> &notRead)
{
    QList<int> marked;
    for (int index : std::as_const(NotRead)) {
        if (!tried.contains(index))
            marked << index;
    }
    for (int index : notRead) {
        if (!marked.contains(index))
            marked << index;
    }
    std::sort(marked.begin(), marked.end());
    NotRead = marked;
}

void MachineData::applyLoadedFile()
{
    gFileData.fitToTable();
    gCurrentData = gFileData;
    gSavedData = gCurrentData;
    NotRead.clear();
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
