#pragma once

#include "commsettings.h"

#include <QDialog>
#include <QMap>
#include <QStringList>

class OperatorPrompt;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QRadioButton;
class QPushButton;
class QToolButton;
class QTreeWidget;
class RSComm;
class SerialPort;

// "Comm Port Settings": the COM port number and link speed. Saving writes
// the settings file and the development tools' port files, then reconnects
// when the program was online; the window stays open when the board does
// not answer on the new port.
class frmSetupComm : public QDialog
{
    Q_OBJECT
public:
    // Spinner range of the port number; the link applies the same limits.
    static constexpr int PortMinimum = CommSettings::PortMinimum;
    static constexpr int PortMaximum = CommSettings::PortMaximum;

    frmSetupComm(RSComm &rsComm, SerialPort &commPort, OperatorPrompt &prompt,
                 const QString &programDir, QWidget *parent = nullptr);
    ~frmSetupComm() override;

    QGroupBox *fraCommPort;
    QLineEdit *txtCommPort;
    QToolButton *updCommPortUp;
    QToolButton *updCommPortDown;
    QLabel *lblDevice;
    QGroupBox *fraPortSpeed;
    QRadioButton *optPortSpeed[2];
    QPushButton *cmdSave;
    QPushButton *cmdCancel;
    // The serial devices of the machine, and the button that makes the
    // chosen one the port in the port box.
    QGroupBox *fraDevices;
    QTreeWidget *lstDevices;
    QPushButton *cmdAssign;
    QPushButton *cmdRefresh;
    // The link check of the port and speed in the boxes, and its report.
    QPushButton *cmdTestLink;
    QPlainTextEdit *txtLinkReport;
    QPushButton *cmdCopyReport;

    // The folders of the development tools beside the program.
    const QStringList &toolFolders() const { return m_toolFolders; }

    // False (after the message) when the port box holds no number in range.
    bool txtCommPort_Validate();
    void cmdSave_Click();
    void cmdCancel_Click();
    void reject() override;
    void cmdAssign_Click();
    void ListDevices();
    void cmdTestLink_Click();

private:
    void CurrentSettings();
    void updCommPort_Change(int step);
    void showDevice();
    void focusChanged(QWidget *old, QWidget *now);
    void showFailure(const QString &title, int number, const QString &description);

    // A file as it was before this window first changed it, put back by Cancel.
    struct FileBefore {
        bool existed = false;
        QString linkTarget; // empty for a plain file
        QByteArray content;
    };
    void keepBefore(const QString &path);
    void putBackFiles();
    QString pendingLinkPath(int port) const;

    RSComm &m_rsComm;
    SerialPort &m_commPort;
    OperatorPrompt &m_prompt;
    QString m_programDir;
    bool m_wasOnline = false;
    bool m_validating = false;
    QStringList m_toolFolders;
    QMetaObject::Connection m_focusWatch;
    // Devices assigned to ports, linked only by Save.
    QMap<int, QString> m_assigned;
    QMap<QString, FileBefore> m_before;
};
