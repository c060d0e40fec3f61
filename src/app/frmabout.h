#pragma once

#include <QDialog>
#include <QString>

class OperatorPrompt;
class QLabel;
class QPushButton;

// The About window: title, version, description and technical support.
// Not modal; it deletes itself when closed.
class frmAbout : public QDialog
{
    Q_OBJECT
public:
    explicit frmAbout(OperatorPrompt &prompt, QWidget *parent = nullptr);

    QLabel *picIcon;
    QLabel *lblTitle;
    QLabel *lblVersion;
    QLabel *lblDescription;
    QLabel *lblTechSupport;
    QPushButton *cmdOk;
    QPushButton *cmdSysInfo;

    // Shows this computer's system information in a window of its own, or
    // says that it cannot be gathered.
    void StartSysInfo();
    // Where StartSysInfo looks for the serial devices.
    QString DeviceFolder = QStringLiteral("/dev");
    // The system information as text; empty when it cannot be gathered.
    // devDir is where the serial devices are looked for.
    static QString SystemInfoText(const QString &devDir = QStringLiteral("/dev"));

protected:
    void showEvent(QShowEvent *event) override;

private:
    OperatorPrompt &m_prompt;
};
