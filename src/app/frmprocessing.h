#pragma once

#include "machine/datatransfer.h"

#include <QDialog>

class QGroupBox;
class QLabel;
class QProgressBar;
class QPushButton;
class RSComm;
class OperatorPrompt;

// The progress window of a data transfer: shown modal, it runs the transfer
// when it is activated and hides itself when the transfer ends.
class frmProcessing : public QDialog
{
    Q_OBJECT
public:
    frmProcessing(TransferMode mode, RSComm &rsComm, DataSet &data, OperatorPrompt &prompt,
                  QWidget *parent = nullptr);

    QGroupBox *fraProcessing;
    QLabel *lblProcessing;
    QProgressBar *prgProcessing;
    QPushButton *cmdCancel;

    bool CancelRequested = false;
    TransferResult result() const { return m_result; }
    // The transfer ran (the window was shown).
    bool ran() const { return m_ran; }

    void cmdCancel_Click();

protected:
    void showEvent(QShowEvent *event) override;
    // Esc and the close box ask the transfer to stop like Cancel does; the
    // window closes itself when the loop has stopped.
    void reject() override;

private:
    void ProcessTransfer();

    TransferMode m_mode;
    RSComm &m_rsComm;
    DataSet &m_data;
    OperatorPrompt &m_prompt;
    TransferResult m_result;
    bool m_started = false;
    bool m_ran = false;
};
