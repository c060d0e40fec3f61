#pragma once

#include "machine/machinedata.h"

#include <QString>

class Clock;
namespace History
{
class HistoryRecorder;
class WriteAudit;
} // namespace History
class OperatorPrompt;
class QLineEdit;
class QWidget;
class RSComm;
class SerialPort;

// What ApplyCommMode shows of the mode: status panel 2 and the menu items
// that follow it. The main window implements it.
class CommModeView
{
public:
    virtual ~CommModeView() = default;
    virtual void showCommMode(bool online) = 0;
};

// The shell's shared state and small procedures. One instance lives as long
// as the main window; every window reaches the globals through it.
class ModUtility
{
public:
    ModUtility(RSComm &rsComm, SerialPort &commPort, OperatorPrompt &prompt, Clock &clock,
               MachineData &data, const QString &programDir);

    // Globals, named as the rest of the program knows them.
    RSComm *gRSComm;
    SerialPort *gCommPort;
    QString gSystemMessage;
    bool gBoardInfoRead = false;
    bool gOfflineEditing = false;
    bool gFileUnnamed = true;
    qint16 gTransferMode = 0;
    qint16 gWaitMode = 0;
    // The four records and the spindle count (gCurrentData, gSavedData,
    // gDefaultData, gFileData, gSpindleCount).
    MachineData &gData;
    // Report options; their start values are the report's own.
    bool gPrintSetupParameters = true;
    bool gPrintShiftDataCounts = true;
    bool gPrintLabelData = false;
    // The history's audit of writes and its recorder; null when not kept.
    History::WriteAudit *gAudit = nullptr;
    History::HistoryRecorder *gRecorder = nullptr;

    OperatorPrompt &prompt() const { return m_prompt; }
    Clock &clock() const { return m_clock; }
    const QString &programDir() const { return m_programDir; }
    void setModeView(CommModeView *view) { m_modeView = view; }

    // Brings the link, status panel 2 and the mode menus in line with
    // OnlineMode; reads the board constants at the first connection.
    void ApplyCommMode();
    // Builds the data tables and the version tag.
    void InitializeGlobals();
    // Commands that need the board ask this first while offline: true when
    // the command goes on (the operator chose to go online, whether or not
    // the link came up).
    bool OfflinePrompt();

    static void CenterForm(QWidget *frm);
    static void SelectAllText(QLineEdit *txt);
    // Board type code of the controller project a file belongs to: the
    // character code of the first character of its .PDX file, 68 when that
    // file is missing or empty. A first item that is empty is an error the
    // caller reports: the result is then 0 and *emptyItem is set.
    static qint16 ProjectBoardType(const QString &path, bool *emptyItem = nullptr);
    static QString ChangeExtension(const QString &path, const QString &ext);

private:
    OperatorPrompt &m_prompt;
    Clock &m_clock;
    QString m_programDir;
    CommModeView *m_modeView = nullptr;
};
