#pragma once

#include "displays/numericentryfield.h"

#include <QDateTime>
#include <QDialog>
#include <QList>
#include <QString>
#include <QTimer>

#include <array>
#include <functional>

class ModUtility;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QTabWidget;
class RSComm;
class UpDownSpinner;

// The target board interface: the board's fault and comm error codes, the
// program identity in the board against the project on disk, its network
// address and its clock. Modal; while it is open its own cycle polls the
// board, one register exchange per step of a timer-driven state machine, so
// the window, the shell's background tick and the operator's clicks run
// between any two exchanges. The fault page is read once after each change
// to online (and after a fault reset); the set-up fields every turn.
class frmTargetBoard : public QDialog
{
    Q_OBJECT
public:
    static constexpr int FieldCount = 8;

    explicit frmTargetBoard(ModUtility &util, QWidget *parent = nullptr);
    ~frmTargetBoard() override;

    // Prepares the window for a controller project file and shows it
    // modally; returns when the window has closed. A project that cannot be
    // read is reported and the window is not shown: false then.
    bool InitializeForm(const QString &PradexFile);
    // The preparation alone, for a caller that shows the window itself.
    bool prepare(const QString &PradexFile);

    // The PC clock the time and date page shows and writes (tests fix it).
    void setPcClock(std::function<QDateTime()> now) { m_pcClock = std::move(now); }

    // Window state.
    bool FormActive = false;
    bool FirstPassDone = false;
    bool CommLostShown = false;
    qint16 BoardType = 0;
    std::array<QString, FieldCount> SetupAddresses{};
    QString DiskName;
    qint16 DiskRevision = 0;
    qint16 DiskChecksum = 0;
    QString HexFile;

    // Exchanges done by the cycle, turns begun and first passes completed.
    qint64 readCount() const { return m_readCount; }
    qint64 turnCount() const { return m_turnCount; }
    qint64 firstPassCount() const { return m_firstPassCount; }
    // The text of fault box i (0, 1, 3, 4, 5).
    QString boxText(int i) const;
    NumericEntryField *field(int i) const { return m_fields[i]; }

    // Every way of closing ends the cycle first.
    void done(int result) override;

    // Handlers.
    void cmdOk_Click();
    void cmdGoOnline_Click();
    void cmdResetFaults_Click();
    void cmdSetToCurrTime_Click();
    void cmdSetToCurrDate_Click();

    // Controls.
    QTabWidget *tabTargetBoard;
    std::array<QWidget *, 4> fraTargetBoard{};
    std::array<QLabel *, 6> lblTargetBoard{};
    // No box for index 2 (the CO-CPU slot row).
    std::array<QPlainTextEdit *, 6> txtTargetBoard{};
    QGroupBox *fraInternalFault;
    QGroupBox *fraCommErrors;
    QPushButton *cmdResetFaults;
    QPushButton *cmdGoOnline;
    QPushButton *cmdOk;
    QPushButton *cmdDefault;

    std::array<QLabel *, 3> lblRevIdentInPLC{};
    std::array<QLabel *, 5> lblRevIdentOnDisk{};

    std::array<QLabel *, FieldCount> lblSetupDesc{};
    std::array<QLineEdit *, FieldCount> txtSetup{};
    std::array<UpDownSpinner *, FieldCount> updSetup{};
    QLabel *lblNetworkAddComment;
    QLabel *lblTargetBoardTime;
    QLabel *lblTargetBoardDate;
    QLabel *lblCurrTime;
    QLabel *lblCurrDate;
    QPushButton *cmdSetToCurrTime;
    QPushButton *cmdSetToCurrDate;
    std::array<QLabel *, 2> lblTimeDateNote{};

protected:
    void showEvent(QShowEvent *event) override;

private:
    // One step of the cycle; a step marked Exchanged talked to the board,
    // and the events run before the next one. EndGroup drops the rest of
    // the steps of its group (a pass that stops early).
    enum StepFlag { Continue = 0, Exchanged = 1, EndGroup = 2 };
    enum class Group { Turn, FirstPass, Refresh };
    struct Step {
        Group group;
        std::function<int()> run;
    };
    static constexpr int LinkBusyRetryMs = 50;
    static constexpr int OfflineTurnMs = 100;

    void buildFaultPage();
    void buildIdentPage();
    void buildNetworkPage();
    void buildTimePage();
    void buildField(int i, const QString &caption, int minimum, int maximum);

    void Form_Activate();
    void RunPageCycle();
    void beginTurn();
    void addFirstPass();
    void addRefreshSetupFields();
    void addWatchCurrentFault();
    void ShowCommLost();
    void enableAfterOnline();
    void showPcClock();
    void step();
    void schedule(int ms);
    void showFailure(const QString &title, int number, const QString &description);
    bool visibleCaption(int i) const;
    void setFieldEnabled(int i, bool enabled);
    // The board clock's captions and its two buttons.
    void setClockEnabled(bool enabled);
    void writeField(int i, const QString &text);
    QDateTime pcNow() const { return m_pcClock ? m_pcClock() : QDateTime::currentDateTime(); }

    ModUtility &m_util;
    RSComm &m_comm;
    EntryWindowState m_entry;
    std::array<NumericEntryField *, FieldCount> m_fields{};
    std::array<QString, 6> m_faultCodes{};
    std::function<QDateTime()> m_pcClock;
    QTimer m_timer;
    QList<Step> m_steps;
    bool m_inStep = false;
    bool m_activated = false;
    int m_lastSecond = -1;
    qint64 m_readCount = 0;
    qint64 m_turnCount = 0;
    qint64 m_firstPassCount = 0;
};
