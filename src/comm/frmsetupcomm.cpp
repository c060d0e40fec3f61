#include "frmsetupcomm.h"

#include "clock.h"
#include "commsettings.h"
#include "linkcheck.h"
#include "operatorprompt.h"
#include "posixserialport.h"
#include "rscomm.h"
#include "serialdevices.h"
#include "statefolder.h"

#include "app/modutility.h"
#include "machine/linkbudget.h"

#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTimer>
#include <QToolButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace
{

// 75 is the tools' number for a path or file access error.
constexpr int FileAccessError = 75;

// Numeric as the settings window understands it: a number and nothing
// else, blanks around it allowed.
bool numericText(const QString &text, double &value)
{
    bool ok = false;
    value = text.trimmed().toDouble(&ok);
    return ok;
}

bool writeTextFile(const QString &path, const QByteArray &content, QString &error)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        error = file.errorString();
        return false;
    }
    if (file.write(content) != content.size() || !file.flush()) {
        error = file.errorString();
        return false;
    }
    file.close();
    return true;
}

} // namespace

frmSetupComm::frmSetupComm(RSComm &rsComm, SerialPort &commPort, OperatorPrompt &prompt,
                           const QString &programDir, QWidget *parent)
    : QDialog(parent), m_rsComm(rsComm), m_commPort(commPort), m_prompt(prompt),
      m_programDir(programDir)
{
    setWindowTitle(QStringLiteral("Comm Port Settings"));
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);

    fraCommPort = new QGroupBox(QStringLiteral("Comm Port"), this);
    txtCommPort = new QLineEdit(fraCommPort);
    txtCommPort->setMaximumWidth(
        txtCommPort->fontMetrics().horizontalAdvance(QStringLiteral("0000")) + 16);
    updCommPortUp = new QToolButton(fraCommPort);
    updCommPortUp->setArrowType(Qt::UpArrow);
    updCommPortUp->setAutoRepeat(true);
    updCommPortDown = new QToolButton(fraCommPort);
    updCommPortDown->setArrowType(Qt::DownArrow);
    updCommPortDown->setAutoRepeat(true);
    for (QToolButton *b : {updCommPortUp, updCommPortDown}) {
        b->setFixedSize(18, 12);
        b->setFocusPolicy(Qt::NoFocus);
    }
    auto *spin = new QVBoxLayout;
    spin->setSpacing(0);
    spin->addWidget(updCommPortUp);
    spin->addWidget(updCommPortDown);
    lblDevice = new QLabel(fraCommPort);
    lblDevice->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto *portRow = new QHBoxLayout;
    portRow->addWidget(new QLabel(QStringLiteral("COM"), fraCommPort));
    portRow->addWidget(txtCommPort);
    portRow->addLayout(spin);
    portRow->addStretch();
    auto *portLayout = new QVBoxLayout(fraCommPort);
    portLayout->addLayout(portRow);
    portLayout->addWidget(lblDevice);

    fraPortSpeed = new QGroupBox(QStringLiteral("Port Speed"), this);
    optPortSpeed[0] = new QRadioButton(QStringLiteral("9600"), fraPortSpeed);
    optPortSpeed[1] = new QRadioButton(QStringLiteral("19200"), fraPortSpeed);
    auto *speedLayout = new QVBoxLayout(fraPortSpeed);
    speedLayout->addWidget(optPortSpeed[0]);
    speedLayout->addWidget(optPortSpeed[1]);

    cmdSave = new QPushButton(QStringLiteral("&Save"), this);
    cmdSave->setDefault(true);
    cmdCancel = new QPushButton(QStringLiteral("&Cancel"), this);
    auto *buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(cmdSave);
    buttons->addWidget(cmdCancel);

    // Created after the buttons so that the tab order of the settings stays
    // as it was; the list is an aid, not a setting.
    fraDevices = new QGroupBox(QStringLiteral("Serial Devices"), this);
    lstDevices = new QTreeWidget(fraDevices);
    lstDevices->setRootIsDecorated(false);
    lstDevices->setObjectName(QStringLiteral("lstDevices"));
    lstDevices->setHeaderLabels({QStringLiteral("Device"), QStringLiteral("Description"),
                                 QStringLiteral("USB ID"), QStringLiteral("Driver"),
                                 QStringLiteral("Latency"), QStringLiteral("Access")});
    lstDevices->setMinimumWidth(lstDevices->fontMetrics().horizontalAdvance(QLatin1Char('x')) * 70);
    lstDevices->setMaximumHeight(lstDevices->fontMetrics().height() * 8);
    cmdAssign = new QPushButton(QStringLiteral("&Assign to Port"), fraDevices);
    cmdAssign->setAutoDefault(false);
    cmdRefresh = new QPushButton(QStringLiteral("&Refresh"), fraDevices);
    cmdRefresh->setAutoDefault(false);
    cmdTestLink = new QPushButton(QStringLiteral("&Test Link"), fraDevices);
    cmdTestLink->setObjectName(QStringLiteral("cmdTestLink"));
    cmdTestLink->setAutoDefault(false);
    cmdCopyReport = new QPushButton(QStringLiteral("C&opy Report"), fraDevices);
    cmdCopyReport->setObjectName(QStringLiteral("cmdCopyReport"));
    cmdCopyReport->setAutoDefault(false);
    cmdCopyReport->setEnabled(false);
    txtLinkReport = new QPlainTextEdit(fraDevices);
    txtLinkReport->setObjectName(QStringLiteral("txtLinkReport"));
    txtLinkReport->setReadOnly(true);
    txtLinkReport->setLineWrapMode(QPlainTextEdit::WidgetWidth);
    txtLinkReport->setMaximumHeight(txtLinkReport->fontMetrics().height() * 9);
    txtLinkReport->setVisible(false);
    auto *deviceButtons = new QHBoxLayout;
    deviceButtons->addWidget(cmdRefresh);
    deviceButtons->addWidget(cmdTestLink);
    deviceButtons->addWidget(cmdCopyReport);
    deviceButtons->addStretch();
    deviceButtons->addWidget(cmdAssign);
    auto *deviceLayout = new QVBoxLayout(fraDevices);
    deviceLayout->addWidget(lstDevices);
    deviceLayout->addLayout(deviceButtons);
    deviceLayout->addWidget(txtLinkReport);

    auto *frames = new QHBoxLayout;
    frames->addWidget(fraCommPort, 1);
    frames->addWidget(fraPortSpeed);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(frames);
    layout->addWidget(fraDevices);
    layout->addLayout(buttons);

    connect(updCommPortUp, &QToolButton::clicked, this, [this] { updCommPort_Change(1); });
    connect(updCommPortDown, &QToolButton::clicked, this, [this] { updCommPort_Change(-1); });
    connect(txtCommPort, &QLineEdit::textChanged, this, &frmSetupComm::showDevice);
    connect(cmdSave, &QPushButton::clicked, this, &frmSetupComm::cmdSave_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &frmSetupComm::cmdCancel_Click);
    connect(cmdAssign, &QPushButton::clicked, this, &frmSetupComm::cmdAssign_Click);
    connect(cmdRefresh, &QPushButton::clicked, this, &frmSetupComm::ListDevices);
    connect(cmdTestLink, &QPushButton::clicked, this, &frmSetupComm::cmdTestLink_Click);
    connect(cmdCopyReport, &QPushButton::clicked, this,
            [this] { QGuiApplication::clipboard()->setText(txtLinkReport->toPlainText()); });
    connect(lstDevices, &QTreeWidget::itemSelectionChanged, this,
            [this] { cmdAssign->setEnabled(lstDevices->currentItem() != nullptr); });
    m_focusWatch = connect(qApp, &QApplication::focusChanged, this, &frmSetupComm::focusChanged);

    // Load step.
    m_wasOnline = m_rsComm.OnlineMode;
    CurrentSettings();
    ListDevices();
    const QDir dir(m_programDir);
    m_toolFolders = {dir.filePath(QStringLiteral("PRX51")), dir.filePath(QStringLiteral("PRX96")),
                     dir.filePath(QStringLiteral("LMX51"))};
    adjustSize();
    ModUtility::CenterForm(this);
}

frmSetupComm::~frmSetupComm()
{
    // Hiding the window on destruction moves the focus: by then this part
    // of the object is gone and must not hear about it.
    disconnect(m_focusWatch);
}

void frmSetupComm::showFailure(const QString &title, int number, const QString &description)
{
    m_prompt.ask(title,
                 QStringLiteral("Error Number = ") + QString::number(number) +
                     QStringLiteral("\r\n\r\n") + description,
                 PromptIcon::Information, PromptButtons::Ok);
}

void frmSetupComm::CurrentSettings()
{
    CommSettings settings;
    if (const auto failure = CommSettings::read(m_rsComm.CommSettingsFile(), settings))
        showFailure(QStringLiteral("SetupComm CurrentSettings"), failure->number,
                    failure->description);
    txtCommPort->setText(QString::number(settings.port));
    optPortSpeed[settings.baud == 19200 ? 1 : 0]->setChecked(true);
    showDevice();
}

void frmSetupComm::showDevice()
{
    double value = 0;
    if (!numericText(txtCommPort->text(), value) || value < PortMinimum || value > PortMaximum) {
        lblDevice->setText(QStringLiteral("Device: -"));
        return;
    }
    const int port = int(value);
    if (m_assigned.contains(port)) {
        lblDevice->setText(QStringLiteral("Device: ") + pendingLinkPath(port) +
                           QStringLiteral(" -> ") + m_assigned.value(port) +
                           QStringLiteral(" (assigned: Save makes the link)"));
        return;
    }
    // The link and the device it leads to now: an adapter that came back
    // under another name shows its new name.
    const QString device = PosixSerialPort::resolvedDevice(port, m_programDir);
    QString group;
    const SerialDevice::Access access =
        SerialDevices::accessOf(PosixSerialPort::devicePathFor(port, m_programDir), &group);
    QString state = QStringLiteral(" (present)");
    if (access == SerialDevice::Access::Missing)
        state = QStringLiteral(" (not found)");
    else if (access != SerialDevice::Access::Usable)
        state = QStringLiteral(" (") + SerialDevices::accessText(access, group) + u')';
    lblDevice->setText(QStringLiteral("Device: ") + device + state);
}

void frmSetupComm::ListDevices()
{
    lstDevices->clear();
    const int baud = optPortSpeed[1]->isChecked() ? 19200 : 9600;
    const int exchanges = uploadAllExchanges();
    for (const SerialDevice &d : SerialDevices::list()) {
        // The by-id name comes first: it is what Assign should store, as it
        // survives plugging the adapter in again.
        const QString shown = d.stableName.isEmpty() ? d.path : d.stableName;
        QString description = d.description;
        if (!d.stableName.isEmpty())
            description += QStringLiteral(" (") + QFileInfo(d.path).fileName() + u')';
        auto *item = new QTreeWidgetItem(
            lstDevices,
            {shown, description, d.vendorId.isEmpty() ? QString() : d.vendorId + u':' + d.productId,
             d.driver,
             d.latencyTimerMs < 0 ? QString() : QStringLiteral("%1 ms").arg(d.latencyTimerMs),
             SerialDevices::accessText(d.access, d.group)});
        item->setToolTip(0, d.path);
        item->setToolTip(5, item->text(5));
        const QString warning =
            SerialDevices::latencyWarning(d, baud, LowLatency::NotOpen, exchanges);
        if (!warning.isEmpty()) {
            item->setText(4, item->text(4) + QStringLiteral(" - slow"));
            item->setToolTip(4, warning);
        }
    }
    for (int c = 0; c < lstDevices->columnCount(); ++c)
        lstDevices->resizeColumnToContents(c);
    cmdAssign->setEnabled(lstDevices->currentItem() != nullptr);
}

void frmSetupComm::cmdTestLink_Click()
{
    if (!txtCommPort_Validate())
        return;
    QString report;
    if (m_rsComm.OnlineMode) {
        // The program's link holds the port; the check would be refused.
        report = QStringLiteral("The program is ONLINE and holds the port: go OFFLINE "
                                "(View > Offline Data), then test the link.\n");
    } else {
        double value = 0;
        numericText(txtCommPort->text(), value);
        const int port = CommSettings::limitedPort(value);
        SteadyClock clock;
        PosixSerialPort device(clock, m_programDir);
        device.setPortNumber(port);
        device.setBaudRate(optPortSpeed[1]->isChecked() ? 19200 : 9600);
        LinkCheck::Setup setup;
        setup.devicePath = PosixSerialPort::devicePathFor(port, m_programDir);
        setup.uploadAllExchanges = uploadAllExchanges();
        QApplication::setOverrideCursor(Qt::WaitCursor);
        report = LinkCheck(device, clock).run(setup).text;
        QApplication::restoreOverrideCursor();
    }
    txtLinkReport->setPlainText(report);
    txtLinkReport->setVisible(true);
    cmdCopyReport->setEnabled(true);
}

void frmSetupComm::cmdAssign_Click()
{
    const QTreeWidgetItem *item = lstDevices->currentItem();
    if (!item || !txtCommPort_Validate())
        return;
    double value = 0;
    numericText(txtCommPort->text(), value);
    // Nothing changes on the machine before Save: Cancel must find it untouched.
    m_assigned.insert(CommSettings::limitedPort(value), item->text(0));
    showDevice();
}

QString frmSetupComm::pendingLinkPath(int port) const
{
    const QString link = StateFolder(m_programDir).writePath(StateFolder::portLinkName(port));
    const QString relative = QDir(m_programDir).relativeFilePath(link);
    return relative.startsWith(QLatin1String("..")) ? link : relative;
}

void frmSetupComm::keepBefore(const QString &path)
{
    if (m_before.contains(path))
        return;
    const QFileInfo info(path);
    FileBefore before;
    before.existed = info.exists() || info.isSymLink();
    if (info.isSymLink()) {
        before.linkTarget = info.symLinkTarget();
    } else if (before.existed) {
        QFile file(path);
        if (file.open(QIODevice::ReadOnly))
            before.content = file.readAll();
    }
    m_before.insert(path, before);
}

void frmSetupComm::putBackFiles()
{
    for (auto it = m_before.cbegin(); it != m_before.cend(); ++it) {
        const QString &path = it.key();
        QFile::remove(path);
        if (!it->existed)
            continue;
        QString error;
        if (!it->linkTarget.isEmpty())
            QFile::link(it->linkTarget, path);
        else
            writeTextFile(path, it->content, error);
    }
    m_before.clear();
}

void frmSetupComm::updCommPort_Change(int step)
{
    double value = 0;
    const int current =
        numericText(txtCommPort->text(), value) ? CommSettings::limitedPort(value) : PortMinimum;
    txtCommPort->setText(QString::number(qBound(PortMinimum, current + step, PortMaximum)));
}

bool frmSetupComm::txtCommPort_Validate()
{
    double value = 0;
    if (numericText(txtCommPort->text(), value) && value >= PortMinimum && value <= PortMaximum)
        return true;
    m_validating = true;
    m_prompt.ask(QStringLiteral("Comm Port"),
                 QStringLiteral("Only a Number Between ") + QString::number(PortMinimum) +
                     QStringLiteral(" and ") + QString::number(PortMaximum) +
                     QStringLiteral(" can be Entered"),
                 PromptIcon::Information, PromptButtons::Ok);
    m_validating = false;
    txtCommPort->setFocus();
    txtCommPort->selectAll();
    return false;
}

void frmSetupComm::focusChanged(QWidget *old, QWidget *now)
{
    // Leaving the port box validates it, as the Save button does itself;
    // Cancel never validates. The check runs after the focus change is
    // complete so the message box does not fight it.
    if (old != txtCommPort || m_validating || !isVisible())
        return;
    if (now == cmdSave || now == cmdCancel || now == cmdAssign || now == cmdTestLink ||
        (now && now->window() != this))
        return;
    QTimer::singleShot(0, this, [this] {
        if (isVisible())
            txtCommPort_Validate();
    });
}

void frmSetupComm::cmdSave_Click()
{
    if (!txtCommPort_Validate())
        return;

    m_rsComm.CloseRSComm();
    double value = 0;
    numericText(txtCommPort->text(), value);
    CommSettings settings;
    settings.port = CommSettings::limitedPort(value);
    settings.baud = optPortSpeed[1]->isChecked() ? 19200 : 9600;
    const int port = settings.port;

    QString error;
    for (auto it = m_assigned.cbegin(); it != m_assigned.cend(); ++it) {
        keepBefore(StateFolder(m_programDir).writePath(StateFolder::portLinkName(it.key())));
        if (SerialDevices::assign(m_programDir, it.key(), it.value(), error).isEmpty()) {
            showFailure(QStringLiteral("SetupComm"), FileAccessError, error);
            return;
        }
    }
    m_assigned.clear();
    keepBefore(m_rsComm.CommSettingsSaveFile());
    for (const QString &folder : std::as_const(m_toolFolders)) {
        if (QFileInfo(folder).isDir())
            keepBefore(QDir(folder).filePath(QStringLiteral("PRADEX.SFG")));
    }

    // The speed is written as a printed number: a blank before and after.
    if (const auto failure = CommSettings::write(m_rsComm.CommSettingsSaveFile(), settings,
                                                 CommSettings::LineStyle::Printed)) {
        showFailure(QStringLiteral("SetupComm"), failure->number, failure->description);
        return;
    }
    // The development tools count their ports from 0.
    for (const QString &folder : std::as_const(m_toolFolders)) {
        if (!QFileInfo(folder).isDir())
            continue;
        if (!writeTextFile(QDir(folder).filePath(QStringLiteral("PRADEX.SFG")),
                           QByteArray::number(port - 1) + "\r\n", error)) {
            showFailure(QStringLiteral("SetupComm"), FileAccessError, error);
            return;
        }
    }

    if (!m_wasOnline) {
        accept();
        return;
    }
    m_rsComm.OpenRSComm(m_commPort);
    if (m_rsComm.OnlineMode) {
        accept();
        return;
    }
    // No board on this port: stay open so another can be tried.
    m_rsComm.OnlineMode = false;
}

void frmSetupComm::cmdCancel_Click()
{
    reject();
}

void frmSetupComm::reject()
{
    // After a Save that did not reach a board, Cancel (the close box and Esc
    // too) puts the files back and the link where it was.
    const bool saved = !m_before.isEmpty();
    putBackFiles();
    m_assigned.clear();
    QDialog::reject();
    if (saved && m_wasOnline && !m_rsComm.OnlineMode)
        m_rsComm.OpenRSComm(m_commPort);
}
