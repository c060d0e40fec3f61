#pragma once

#include "linkguard.h"

#include <QDialog>
#include <QElapsedTimer>

#include <optional>

class QGroupBox;
class QLabel;
class QProgressBar;
class QTimer;
class RSComm;

// The progress window of a controller program transfer: mode 0 sends the
// selected program into the board, mode 1 reads the board's program back.
// Shown modal, it runs the transfer when it is activated, shows the address
// being sent or read while the transfer lets events run between records,
// and closes itself. The link is held while it is open.
class frmDownloadProg : public QDialog
{
    Q_OBJECT
public:
    explicit frmDownloadProg(RSComm &rsComm, QWidget *parent = nullptr);
    ~frmDownloadProg() override;

    // 0 download (the default), 1 upload; before the window is shown.
    void SetTransferMode(int mode = 0);
    int transferMode() const { return m_mode; }

    QGroupBox *fraWaitDisplay;
    QLabel *lblWaitDisplay;
    QProgressBar *prgWaitDisplay;
    QLabel *lblTimeLeft;
    QTimer *Timer1;

    void Timer1_Timer();

protected:
    void showEvent(QShowEvent *event) override;
    // The transfer cannot be abandoned half-way from here: Esc does nothing.
    void reject() override;

private:
    void Form_Load();
    void Form_Activate();

    RSComm &m_rsComm;
    int m_mode = 0;
    bool m_started = false;
    std::optional<LinkGuard::Hold> m_hold;
    QElapsedTimer m_streamClock;
    int m_recordsAtClockStart = -1;
};
