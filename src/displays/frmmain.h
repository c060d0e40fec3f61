#pragma once

#include "displayform.h"
#include "valuelabel.h"

#include <array>

class QGroupBox;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class RegisterLink;
class UpDownSpinner;

// The "Main Display": machine speed, roll speeds, shift counts and lifetime
// count, the system message, and the Q.C. and bad can blow-off commands.
class frmMain : public DisplayForm
{
    Q_OBJECT
public:
    explicit frmMain(ModUtility &util, QWidget *parent = nullptr);

    std::array<QGroupBox *, 6> fraDisplay{};
    std::array<ValueLabel *, 6> lblDisplay{};
    QGroupBox *fraMessageDisplay;
    QPlainTextEdit *txtMessageDisplay;
    QGroupBox *fraQCBlowoff;
    QGroupBox *fraSpindleNumber;
    QLineEdit *txtSpindleBlowoff;
    UpDownSpinner *updSpindleNumber;
    QPushButton *cmdSingleBlowoff;
    QPushButton *cmdBlanketBlowoff;
    QPushButton *cmdMandrelBlowoff;
    QGroupBox *fraBadCanBlowoff;
    QPushButton *cmdBadCanBlowoff;

    NumericEntryField *spindleField() const { return m_spindleField; }
    // The register of each value panel, built on load.
    const std::array<QString, 6> &registers() const { return m_registers; }

    // Q.C. blow-off: the spindle code to "B2088", then "F825", then "F102",
    // each only while the link is sound.
    static void QCBlowoff(RegisterLink &link, int spindleCode);

private:
    void applyOnlineLayout() override;
    void applyOfflineLayout() override;
    void beforeMode() override;
    void beforeOnlinePass() override;
    void buildOnlinePass(QList<PassRead> &reads) override;
    void offlinePass() override;
    void setControlsEnabled(bool enabled);
    void setSpinnerMaximum();

    std::array<QString, 6> m_registers;
    NumericEntryField *m_spindleField;
};
