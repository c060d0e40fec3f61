#pragma once

#include "modutility.h"

#include <QMainWindow>
#include <QPointer>
#include <QString>

#include <array>
#include <memory>

class ChildForm;
class Clock;
class FileDialogs;
class HistoryWiring;
class OperatorPrompt;
class PrinterDialog;
class QAction;
class QLabel;
class QMdiArea;
class QMdiSubWindow;
class QMenu;
class QTimer;
class QToolBar;
class QToolButton;
class RSComm;
class SerialPort;

// The operator's answer to "Save Changes to File?", or None when nothing
// had changed and no question was asked.
enum class SaveQuestion { None, Yes, No, Cancel };

// The main window: one child window at a time, the menus, the toolbar, the
// status bar and the half-second background cycle. Commands are public so
// the toolbar, the menus and tests all run the same handlers.
class frmMDIMain : public QMainWindow, public CommModeView
{
    Q_OBJECT
public:
    struct Collaborators {
        RSComm &rsComm;
        SerialPort &commPort;
        OperatorPrompt &prompt;
        Clock &clock;
        MachineData &data;
        FileDialogs &fileDialogs;
        QString programDir;
    };

    explicit frmMDIMain(const Collaborators &with, QWidget *parent = nullptr);
    ~frmMDIMain() override;

    ModUtility &util() { return *m_util; }
    HistoryWiring &history() { return *m_history; }

    // Public fields other windows read.
    QString gFileNameCaption;
    QString gFileNamePath;
    QString gFileNameTitle;
    QString gFileExportPath;
    QString gProgramFilePath;
    QString gUploadNOW;

    // File menu.
    void mnuFileNew_Click();
    void mnuFileOpen_Click();
    void mnuFileSave_Click();
    void mnuFileSaveAs_Click();
    void mnuFileExport_Click();
    // 0 set-up, 1 shift, 4 all (each asks first); 3 all and 31 shift without asking.
    void mnuFileUploadData_Click(int index);
    void mnuFileDownloadData_Click(int index);
    void mnuFileDownloadProgram_Click();
    // Controller project chosen for a program download (0) or for the
    // target board window (1).
    void OpenProgramFile(int Mode);
    void mnuFilePrintSetup_Click();
    void mnuFilePrint_Click();
    void mnuFileExit_Click();
    // Edit menu.
    void mnuEditOfflineEditing_Click();
    void mnuEditCommPort_Click();
    void mnuEditPasscode_Click();
    // View menu.
    void mnuViewOnline_Click();
    void mnuViewOffline_Click();
    void mnuViewTargetBoardStatus_Click();
    // Window menu.
    void mnuWindowForm_Click(int index);
    // Help menu.
    void mnuHelpHelpTopics_Click();
    void mnuHelpAbout_Click();

    // Toolbar button by position 1..13 (separators and the placeholder included).
    void Toolbar1_ButtonClick(int position);
    // Drop-down item of toolbar button 10 or 11, position 1..5.
    void Toolbar1_ButtonMenuClick(int button, int position);
    // Double-click on status panel 1..4.
    void sbrMain_PanelDblClick(int panel);

    // Data transfers and files.
    void RunTransfer(int mode);
    bool AskUploadFirst();
    SaveQuestion QuerySaveChanges();
    void ApplyLoadedFile();

    // One tick of the background cycle.
    void tmrBackgroungUpdate_Timer();
    bool FaultMsgShown = false;

    // The child window now shown and its index.
    ChildForm *currentChild() const;
    int currentWindow() const { return m_currentWindow; }

    // Status panel text by number 1..4.
    QString panelText(int panel) const;

    void showCommMode(bool online) override;

    // The printer set-up the print command shows; a test hands in its own.
    void setPrinterDialog(PrinterDialog *dialog);

    // Controls, reachable by the windows and tests that drive them.
    QMdiArea *mdiArea;
    QToolBar *Toolbar1;
    QToolButton *tbrUpload;
    QToolButton *tbrDownload;
    QAction *tbrOfflineEdit;
    std::array<QLabel *, 4> sbrMain{};
    QTimer *tmrBackgroungUpdate;

    QMenu *mnuFile;
    QAction *mnuFileNew;
    QAction *mnuFileOpen;
    QAction *mnuFileSave;
    QAction *mnuFileSaveAs;
    QAction *mnuFileExport;
    QAction *mnuFileUpload;
    QAction *mnuFileDownloadProgram;
    QAction *mnuFileDownload;
    QAction *mnuFilePrintSetup;
    QAction *mnuFilePrint;
    QAction *mnuFileExit;
    // Submenu items by index 0, 1, 3 (separator) and 4; index 2 does not exist.
    std::array<QAction *, 5> mnuFileUploadData{};
    std::array<QAction *, 5> mnuFileDownloadData{};
    QMenu *mnuEdit;
    QAction *mnuEditOfflineEditing;
    QAction *mnuEditCommPort;
    QAction *mnuEditPasscode;
    QMenu *mnuView;
    QAction *mnuViewOnline;
    QAction *mnuViewOffline;
    QAction *mnuViewTargetBoardStatus;
    QMenu *mnuWindow;
    std::array<QAction *, 4> mnuWindowForm{};
    QMenu *mnuHelp;
    QAction *mnuHelpHelpTopics;
    QAction *mnuHelpAbout;

signals:
    // The shut-down sequence has run; the program should end now.
    void programEnded();

protected:
    void closeEvent(QCloseEvent *event) override;
    void changeEvent(QEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void createMenus();
    void createToolbar();
    void createStatusBar();
    void showCaption();
    void activateChild();
    void updateDateTimePanels();
    // The Save command's work; false when nothing was written.
    bool saveToFile();
    void fillTransferMenu(QMenu *menu, std::array<QAction *, 5> &items, bool upload);

    std::unique_ptr<ModUtility> m_util;
    OperatorPrompt &m_prompt;
    FileDialogs &m_fileDialogs;
    QString m_programDir;
    QString m_helpFile;
    std::unique_ptr<PrinterDialog> m_qtPrinterDialog;
    PrinterDialog *m_printerDialog;

    std::array<QPointer<QMdiSubWindow>, 4> m_childForms{};
    int m_currentWindow = 0;
    bool m_startupDone = false;
    bool m_faultBoxOpen = false;
    bool m_shuttingDown = false;
    QTimer *m_clockTimer;
    HistoryWiring *m_history = nullptr;
};
