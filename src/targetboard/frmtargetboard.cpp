#include "frmtargetboard.h"

#include "app/modutility.h"
#include "comm/operatorprompt.h"
#include "comm/rscomm.h"
#include "comm/targetboardfacts.h"
#include "displays/updownspinner.h"
#include "machine/shiftexport.h"

#include <QFileInfo>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QTabWidget>
#include <QVBoxLayout>

namespace TB = TargetBoardFacts;

namespace
{

const QString CommLostText = QStringLiteral("Cannot Communicate with Target Board.");
const QString FileNotFoundText = QStringLiteral("--- Fault File Not Found ---");
const QString NoFaultText = QStringLiteral("None");

QLabel *label(const QString &text, QWidget *parent, const QString &name = {})
{
    auto *l = new QLabel(text, parent);
    if (!name.isEmpty())
        l->setObjectName(name);
    return l;
}

// A box the system writes and the operator only reads.
QPlainTextEdit *readOnlyBox(QWidget *parent, int lines, const QString &name)
{
    auto *box = new QPlainTextEdit(parent);
    box->setObjectName(name);
    box->setReadOnly(true);
    box->setFocusPolicy(Qt::NoFocus);
    box->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    box->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    box->setLineWrapMode(lines > 1 ? QPlainTextEdit::WidgetWidth : QPlainTextEdit::NoWrap);
    const int lineHeight = box->fontMetrics().lineSpacing();
    box->setFixedHeight(lineHeight * lines + 2 * box->frameWidth() +
                        int(box->document()->documentMargin() * 2) + 2);
    box->setMinimumWidth(box->fontMetrics().averageCharWidth() * 58);
    return box;
}

} // namespace

frmTargetBoard::frmTargetBoard(ModUtility &util, QWidget *parent)
    : QDialog(parent, Qt::Dialog | Qt::WindowTitleHint | Qt::WindowCloseButtonHint |
                          Qt::MSWindowsFixedSizeDialogHint),
      m_util(util), m_comm(*util.gRSComm)
{
    setObjectName(QStringLiteral("frmTargetBoard"));
    setWindowTitle(QStringLiteral("Target Board Interface"));
    setModal(true);

    tabTargetBoard = new QTabWidget(this);
    tabTargetBoard->setObjectName(QStringLiteral("tabTargetBoard"));
    const QString captions[4] = {
        QStringLiteral("&Fault Codes / Status"), QStringLiteral("&Program Ident/Revision"),
        QStringLiteral("&Set Network Address"), QStringLiteral("S&et Time && Date")};
    for (int i = 0; i < 4; ++i) {
        fraTargetBoard[i] = new QWidget;
        fraTargetBoard[i]->setObjectName(QStringLiteral("fraTargetBoard%1").arg(i));
        tabTargetBoard->addTab(fraTargetBoard[i], captions[i]);
    }

    cmdGoOnline = new QPushButton(QStringLiteral("&Go Online"), this);
    cmdGoOnline->setObjectName(QStringLiteral("cmdGoOnline"));
    cmdOk = new QPushButton(QStringLiteral("&Ok"), this);
    cmdOk->setObjectName(QStringLiteral("cmdOk"));
    cmdOk->setDefault(true);
    cmdDefault = makeFocusParkingButton(this);
    m_entry.cmdDefault = cmdDefault;

    buildFaultPage();
    buildIdentPage();
    buildNetworkPage();
    buildTimePage();

    auto *buttons = new QHBoxLayout;
    buttons->addWidget(cmdDefault);
    buttons->addStretch(1);
    buttons->addWidget(cmdGoOnline);
    buttons->addWidget(cmdOk);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(tabTargetBoard);
    layout->addLayout(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);

    connect(cmdOk, &QPushButton::clicked, this, &frmTargetBoard::cmdOk_Click);
    connect(cmdGoOnline, &QPushButton::clicked, this, &frmTargetBoard::cmdGoOnline_Click);
    connect(cmdResetFaults, &QPushButton::clicked, this, &frmTargetBoard::cmdResetFaults_Click);
    connect(cmdSetToCurrTime, &QPushButton::clicked, this, &frmTargetBoard::cmdSetToCurrTime_Click);
    connect(cmdSetToCurrDate, &QPushButton::clicked, this, &frmTargetBoard::cmdSetToCurrDate_Click);

    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &frmTargetBoard::step);
}

frmTargetBoard::~frmTargetBoard()
{
    FormActive = false;
    m_timer.stop();
}

// ---------------------------------------------------------------- layout

void frmTargetBoard::buildFaultPage()
{
    QWidget *page = fraTargetBoard[0];
    fraInternalFault = new QGroupBox(QStringLiteral("Internal Fault Code:"), page);
    fraCommErrors = new QGroupBox(QStringLiteral("Communications Network Error Codes:"), page);
    auto *faultGrid = new QGridLayout(fraInternalFault);
    auto *commGrid = new QGridLayout(fraCommErrors);
    for (int i = 0; i < TB::FaultRegisterCount; ++i) {
        QGroupBox *group = i < 4 ? fraInternalFault : fraCommErrors;
        QGridLayout *grid = i < 4 ? faultGrid : commGrid;
        const int row = i < 4 ? i : i - 4;
        lblTargetBoard[i] =
            label(TB::faultRowPlainCaption(i), group, QStringLiteral("lblTargetBoard%1").arg(i));
        lblTargetBoard[i]->setMinimumWidth(lblTargetBoard[i]->fontMetrics().horizontalAdvance(
            QStringLiteral("Current Comm Error: Code = 00H  ")));
        grid->addWidget(lblTargetBoard[i], row, 0, Qt::AlignLeft | Qt::AlignTop);
        if (i == TB::CoCpuSlotIndex)
            continue;
        txtTargetBoard[i] = readOnlyBox(group, i == TB::CorrectiveActionIndex ? 4 : 1,
                                        QStringLiteral("txtTargetBoard%1").arg(i));
        grid->addWidget(txtTargetBoard[i], row, 1);
    }
    faultGrid->setColumnStretch(1, 1);
    commGrid->setColumnStretch(1, 1);

    cmdResetFaults = new QPushButton(QStringLiteral("&Reset Faults"), page);
    cmdResetFaults->setObjectName(QStringLiteral("cmdResetFaults"));
    auto *layout = new QVBoxLayout(page);
    layout->addWidget(fraInternalFault);
    layout->addWidget(fraCommErrors);
    auto *row = new QHBoxLayout;
    row->addStretch(1);
    row->addWidget(cmdResetFaults);
    layout->addLayout(row);
    layout->addStretch(1);
}

void frmTargetBoard::buildIdentPage()
{
    QWidget *page = fraTargetBoard[1];
    auto *inPlc = new QGroupBox(QStringLiteral("In Target Board:"), page);
    auto *onDisk = new QGroupBox(QStringLiteral("On Disk:"), page);
    auto *plcGrid = new QGridLayout(inPlc);
    auto *diskGrid = new QGridLayout(onDisk);
    const QString plcRows[3] = {QStringLiteral("Name:"), QStringLiteral("Revision:"),
                                QStringLiteral("Checksum:")};
    for (int i = 0; i < 3; ++i) {
        plcGrid->addWidget(label(plcRows[i], inPlc), i, 0);
        lblRevIdentInPLC[i] =
            label(QStringLiteral("-"), inPlc, QStringLiteral("lblRevIdentInPLC%1").arg(i));
        plcGrid->addWidget(lblRevIdentInPLC[i], i, 1);
    }
    const QString diskRows[5] = {QStringLiteral("Name:"), QStringLiteral("Revision:"),
                                 QStringLiteral("Checksum:"), QStringLiteral("Target Board:"),
                                 QStringLiteral("Rev Date:")};
    for (int i = 0; i < 5; ++i) {
        diskGrid->addWidget(label(diskRows[i], onDisk), i, 0);
        lblRevIdentOnDisk[i] =
            label(QStringLiteral("-"), onDisk, QStringLiteral("lblRevIdentOnDisk%1").arg(i));
        diskGrid->addWidget(lblRevIdentOnDisk[i], i, 1);
    }
    plcGrid->setColumnStretch(1, 1);
    diskGrid->setColumnStretch(1, 1);
    plcGrid->setRowStretch(3, 1);
    diskGrid->setRowStretch(5, 1);
    auto *layout = new QHBoxLayout(page);
    layout->addWidget(inPlc, 1);
    layout->addWidget(onDisk, 1);
}

void frmTargetBoard::buildField(int i, const QString &caption, int minimum, int maximum)
{
    QWidget *page = fraTargetBoard[i < 2 ? 2 : 3];
    lblSetupDesc[i] = label(caption, page, QStringLiteral("lblSetupDesc%1").arg(i));
    txtSetup[i] = new QLineEdit(page);
    txtSetup[i]->setObjectName(QStringLiteral("txtSetup%1").arg(i));
    txtSetup[i]->setFixedWidth(
        txtSetup[i]->fontMetrics().horizontalAdvance(QStringLiteral("0000")) + 16);
    txtSetup[i]->setAlignment(Qt::AlignRight);
    updSetup[i] = new UpDownSpinner(txtSetup[i], page);
    updSetup[i]->setObjectName(QStringLiteral("updSetup%1").arg(i));
    updSetup[i]->setRange(minimum, maximum);
    // The caption names the field in its message title: "Set-upHr.".
    m_fields[i] = new NumericEntryField(txtSetup[i], updSetup[i], m_entry, m_util.prompt(),
                                        QStringLiteral("Set-up") + caption);
    m_fields[i]->setAcceptAction([this, i](const QString &text) { writeField(i, text); });
    m_fields[i]->setStepAction([this, i](const QString &text) { writeField(i, text); });
}

void frmTargetBoard::buildNetworkPage()
{
    QWidget *page = fraTargetBoard[2];
    buildField(0, QStringLiteral("Current Network Address 1:"), 1, 32);
    buildField(1, QStringLiteral("Current Network Address 2:"), 1, 32);
    auto *group = new QGroupBox(QStringLiteral("Target Board Network Address:"), page);
    auto *grid = new QGridLayout(group);
    for (int i = 0; i < 2; ++i) {
        lblSetupDesc[i]->setParent(group);
        txtSetup[i]->setParent(group);
        updSetup[i]->setParent(group);
        grid->addWidget(lblSetupDesc[i], i, 0);
        grid->addWidget(txtSetup[i], i, 1);
        grid->addWidget(updSetup[i], i, 2, Qt::AlignLeft);
    }
    grid->setColumnStretch(3, 1);
    lblNetworkAddComment = label(QString(), page, QStringLiteral("lblNetworkAddComment"));
    lblNetworkAddComment->setWordWrap(true);
    auto *layout = new QVBoxLayout(page);
    layout->addWidget(group);
    layout->addWidget(lblNetworkAddComment);
    layout->addStretch(1);
}

void frmTargetBoard::buildTimePage()
{
    QWidget *page = fraTargetBoard[3];
    buildField(2, QStringLiteral("Hr."), 0, 23);
    buildField(3, QStringLiteral("Min."), 0, 59);
    buildField(4, QStringLiteral("Sec."), 0, 59);
    buildField(5, QStringLiteral("Mo."), 1, 12);
    buildField(6, QStringLiteral("Day"), 1, 31);
    buildField(7, QStringLiteral("Yr."), 0, 99);
    lblTargetBoardTime =
        label(QStringLiteral("Target Board Time:"), page, QStringLiteral("lblTargetBoardTime"));
    lblTargetBoardDate =
        label(QStringLiteral("Target Board Date:"), page, QStringLiteral("lblTargetBoardDate"));
    lblCurrTime = label(QStringLiteral("XX : XX : XX"), page, QStringLiteral("lblCurrTime"));
    lblCurrDate = label(QStringLiteral("XX - XX - XX"), page, QStringLiteral("lblCurrDate"));
    cmdSetToCurrTime = new QPushButton(QStringLiteral("Set to Current &Time"), page);
    cmdSetToCurrTime->setObjectName(QStringLiteral("cmdSetToCurrTime"));
    cmdSetToCurrDate = new QPushButton(QStringLiteral("Set to Current &Date"), page);
    cmdSetToCurrDate->setObjectName(QStringLiteral("cmdSetToCurrDate"));
    lblTimeDateNote[0] = label(QStringLiteral("Note:"), page, QStringLiteral("lblTimeDateNote0"));
    QFont bold = lblTimeDateNote[0]->font();
    bold.setBold(true);
    lblTimeDateNote[0]->setFont(bold);
    lblTimeDateNote[1] = label(QStringLiteral("Only the R5110 Display Module and the K7116 "
                                              "Communications CO-CPU board are equipped with "
                                              "real time clocks."),
                               page, QStringLiteral("lblTimeDateNote1"));
    lblTimeDateNote[1]->setWordWrap(true);

    auto *grid = new QGridLayout;
    // Each clock row: its caption, then three fields each with its caption.
    auto fieldRow = [&](int row, QLabel *caption, int first) {
        grid->addWidget(caption, row, 0);
        for (int j = 0; j < 3; ++j) {
            const int i = first + j;
            auto *cell = new QHBoxLayout;
            cell->setSpacing(2);
            cell->addWidget(txtSetup[i]);
            cell->addWidget(updSetup[i]);
            cell->addWidget(lblSetupDesc[i]);
            cell->addStretch(1);
            grid->addLayout(cell, row, 1 + j);
        }
    };
    fieldRow(0, lblTargetBoardTime, 2);
    fieldRow(1, lblTargetBoardDate, 5);
    grid->addWidget(label(QStringLiteral("Current Time:"), page), 2, 0);
    grid->addWidget(lblCurrTime, 2, 1, 1, 2);
    grid->addWidget(label(QStringLiteral("Current Date:"), page), 3, 0);
    grid->addWidget(lblCurrDate, 3, 1, 1, 2);
    grid->setColumnStretch(4, 1);

    auto *buttons = new QHBoxLayout;
    buttons->addWidget(cmdSetToCurrTime);
    buttons->addWidget(cmdSetToCurrDate);
    buttons->addStretch(1);
    auto *note = new QHBoxLayout;
    note->addWidget(lblTimeDateNote[0], 0, Qt::AlignTop);
    note->addWidget(lblTimeDateNote[1], 1);

    auto *layout = new QVBoxLayout(page);
    layout->addLayout(grid);
    layout->addLayout(buttons);
    layout->addStretch(1);
    layout->addLayout(note);
}

QString frmTargetBoard::boxText(int i) const
{
    return txtTargetBoard[i] ? txtTargetBoard[i]->toPlainText() : QString();
}

// ---------------------------------------------------------------- opening

bool frmTargetBoard::prepare(const QString &PradexFile)
{
    BoardType = 0;
    DiskName.clear();
    DiskRevision = 0;
    DiskChecksum = 0;
    HexFile.clear();
    if (!PradexFile.isEmpty() && QFileInfo::exists(PradexFile)) {
        bool emptyItem = false;
        BoardType = ModUtility::ProjectBoardType(PradexFile, &emptyItem);
        if (emptyItem) {
            showFailure(QStringLiteral("InitializeForm"), 5,
                        QStringLiteral("Invalid procedure call or argument"));
            return false;
        }
        TB::DiskIdentity disk;
        int number = 0;
        QString why;
        if (!TB::readDiskIdentity(ModUtility::ChangeExtension(PradexFile, QStringLiteral("rev")),
                                  disk, &number, &why)) {
            showFailure(QStringLiteral("InitializeForm"), number, why);
            return false;
        }
        DiskName = disk.name;
        DiskRevision = disk.revision;
        DiskChecksum = disk.checksum;
        HexFile = ModUtility::ChangeExtension(PradexFile, QStringLiteral("hex"));
    }
    cmdGoOnline->hide();
    lblTargetBoard[TB::CoCpuSlotIndex]->setVisible(BoardType == 50);

    // The pages of the other three tabs.
    for (int i = 0; i < FieldCount; ++i)
        SetupAddresses[i] = TB::setupAddress(i);
    lblNetworkAddComment->setText(
        QStringLiteral("Each K7100 board connected to the K7100 Network must be ") +
        QStringLiteral("assigned a unique network address between 1 and 32.") +
        QStringLiteral("\r\n\r\n") +
        QStringLiteral("System function sfunc19(); configures the K9516 serial ") +
        QStringLiteral("communication for the T6800 processor."));
    lblSetupDesc[1]->hide();
    txtSetup[1]->hide();
    updSetup[1]->hide();
    for (int i = 2; i < FieldCount; ++i) {
        txtSetup[i]->setText(QStringLiteral("-"));
        setFieldEnabled(i, false);
    }
    setClockEnabled(false);
    if (BoardType != 50) {
        if (!TB::boardHasClock(BoardType)) {
            lblSetupDesc[0]->show();
            txtSetup[0]->show();
            updSetup[0]->show();
        } else {
            for (int i = 2; i < FieldCount; ++i) {
                txtSetup[i]->setText(QStringLiteral("-"));
                setFieldEnabled(i, true);
            }
            setClockEnabled(true);
            if (TB::boardHasSecondAddress(BoardType)) {
                lblSetupDesc[1]->show();
                txtSetup[1]->setText(QString());
                txtSetup[1]->show();
                updSetup[1]->show();
            }
        }
    }

    lblRevIdentOnDisk[0]->setText(DiskName);
    lblRevIdentOnDisk[1]->setText(QString::number(DiskRevision));
    lblRevIdentOnDisk[2]->setText(QString::number(DiskChecksum));
    lblRevIdentOnDisk[3]->setText(RSComm::TargetboardName(BoardType));
    const QFileInfo hex(HexFile);
    lblRevIdentOnDisk[4]->setText(!HexFile.isEmpty() && hex.exists()
                                      ? uploadTimeText(hex.lastModified())
                                      : QStringLiteral("-"));
    return true;
}

bool frmTargetBoard::InitializeForm(const QString &PradexFile)
{
    if (!prepare(PradexFile))
        return false;
    exec();
    return true;
}

void frmTargetBoard::showFailure(const QString &title, int number, const QString &description)
{
    m_util.prompt().ask(title,
                        QStringLiteral("Error Number = ") + QString::number(number) +
                            QStringLiteral("\r\n\r\n") + description,
                        PromptIcon::Information, PromptButtons::Ok);
}

void frmTargetBoard::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    if (!m_activated) {
        m_activated = true;
        // Activation once the window is on the screen and its events run.
        QTimer::singleShot(0, this, &frmTargetBoard::Form_Activate);
    }
}

void frmTargetBoard::Form_Activate()
{
    if (FormActive || !isVisible())
        return;
    ModUtility::CenterForm(this);
    tabTargetBoard->setCurrentIndex(0);
    FormActive = true;
    RunPageCycle();
}

void frmTargetBoard::done(int result)
{
    // The close box, Esc and the cycle's own unload all end the cycle first.
    FormActive = false;
    m_timer.stop();
    m_steps.clear();
    QDialog::done(result);
}

void frmTargetBoard::cmdOk_Click()
{
    FormActive = false;
    // The cycle's next check unloads the window.
    m_timer.start(0);
}

// ---------------------------------------------------------------- cycle

void frmTargetBoard::RunPageCycle()
{
    FirstPassDone = false;
    CommLostShown = false;
    QPointer<frmTargetBoard> self(this);
    cmdGoOnline_Click();
    if (!self)
        return;
    schedule(0);
}

void frmTargetBoard::schedule(int ms)
{
    m_timer.start(ms);
}

void frmTargetBoard::step()
{
    if (m_inStep)
        return;
    if (!FormActive) {
        if (isVisible())
            done(QDialog::Accepted);
        return;
    }
    if (m_comm.linkBusy()) {
        // An exchange is waiting on the operator: come back after it.
        schedule(LinkBusyRetryMs);
        return;
    }
    QPointer<frmTargetBoard> self(this);
    m_inStep = true;
    if (m_steps.isEmpty())
        beginTurn();
    while (self && FormActive && !m_steps.isEmpty()) {
        const Step current = m_steps.takeFirst();
        const int flags = current.run();
        if (!self)
            return;
        if (flags & EndGroup) {
            while (!m_steps.isEmpty() && m_steps.first().group == current.group)
                m_steps.removeFirst();
        }
        if (flags & Exchanged)
            break;
    }
    if (!self)
        return;
    m_inStep = false;
    if (!FormActive) {
        if (isVisible())
            done(QDialog::Accepted);
        return;
    }
    // Online turns follow at once; offline the window only keeps its clock.
    schedule(m_steps.isEmpty() && !m_comm.OnlineMode ? OfflineTurnMs : 0);
}

void frmTargetBoard::beginTurn()
{
    ++m_turnCount;
    QPointer<frmTargetBoard> self(this);
    if (m_comm.OnlineMode && m_comm.CommError) {
        m_comm.OnlineMode = false;
        FirstPassDone = false;
        m_util.ApplyCommMode();
        if (!self)
            return;
    }
    if (!m_comm.OnlineMode) {
        if (!CommLostShown)
            ShowCommLost();
        FirstPassDone = false;
    } else {
        if (!FirstPassDone)
            addFirstPass();
        m_steps.append({Group::Turn, [this] {
                            CommLostShown = false;
                            return int(Continue);
                        }});
        addRefreshSetupFields();
        addWatchCurrentFault();
    }
    m_steps.append({Group::Turn, [this] {
                        showPcClock();
                        return int(Continue);
                    }});
}

void frmTargetBoard::addFirstPass()
{
    m_steps.append({Group::FirstPass, [this] {
                        cmdResetFaults->setEnabled(false);
                        enableAfterOnline();
                        return int(Continue);
                    }});
    for (int i = 0; i < TB::FaultRegisterCount; ++i) {
        m_steps.append({Group::FirstPass, [this, i] {
                            int flags = Continue;
                            QString value;
                            bool unread = m_comm.CommError;
                            if (!m_comm.CommError) {
                                value = m_comm.RSRead(TB::faultRegister(i));
                                ++m_readCount;
                                flags = Exchanged;
                                unread = m_comm.CommError || m_comm.lastTransactionFailed();
                            }
                            const QString code =
                                unread ? TB::commErrorCodeText() : TB::codeText(value.toLongLong());
                            m_faultCodes[i] = code;
                            if (i != TB::CoCpuSlotIndex && !unread && TB::codeValue(code) != 0)
                                cmdResetFaults->setEnabled(true);
                            if (i == TB::CoCpuSlotIndex) {
                                if (!lblTargetBoard[i]->isHidden())
                                    lblTargetBoard[i]->setText(TB::faultRowCaption(
                                        i, code, QString::number(TB::codeValue(code))));
                            } else if (i != TB::CorrectiveActionIndex) {
                                lblTargetBoard[i]->setText(TB::faultRowCaption(i, code));
                            }
                            return flags;
                        }});
    }
    m_steps.append({Group::FirstPass, [this] {
                        const QString dir = m_util.programDir();
                        // A code file that cannot be read ends the pass unfinished: the
                        // next turn runs it again.
                        auto showTexts = [this](const QString &path,
                                                std::initializer_list<int> rows) {
                            QByteArray content;
                            const TB::CodeFile file = TB::readCodeFile(path, content);
                            if (file == TB::CodeFile::Unreadable) {
                                showFailure(QStringLiteral("TargetBoard FirstPass"),
                                            TB::CodeFileErrorNumber, TB::codeFileErrorText());
                                return false;
                            }
                            // Every box says what this pass found: a code
                            // without a text never leaves the last one standing.
                            for (int i : rows) {
                                QString text;
                                if (file == TB::CodeFile::Missing)
                                    text = FileNotFoundText;
                                else if (!TB::lookUpCode(content, m_faultCodes[i], text))
                                    text = TB::codeValue(m_faultCodes[i]) == 0
                                               ? NoFaultText
                                               : QStringLiteral("Code ") + m_faultCodes[i] +
                                                     QStringLiteral("H Is Not Defined.");
                                txtTargetBoard[i]->setPlainText(text);
                            }
                            return true;
                        };
                        if (!showTexts(TB::faultCodesFile(dir), {0, 1}))
                            return int(EndGroup);
                        txtTargetBoard[3]->setPlainText(
                            TB::correctiveAction(m_faultCodes[TB::CorrectiveActionIndex]));
                        if (!showTexts(TB::commErrCodesFile(dir), {4, 5}))
                            return int(EndGroup);
                        return int(Continue);
                    }});
    for (int k = 0; k < TB::IdentityByteCount; ++k) {
        m_steps.append({Group::FirstPass, [this, k] {
                            if (m_comm.CommError)
                                return int(Continue);
                            const QString v = m_comm.RSRead(TB::identityRegister(k));
                            ++m_readCount;
                            if (m_comm.CommError)
                                return int(Exchanged);
                            // A failed read is shown as unknown, never as byte 0.
                            const bool failed = m_comm.lastTransactionFailed();
                            const QChar c = failed ? QLatin1Char('?') : QChar(ushort(v.toUInt()));
                            if (failed && k >= 8) {
                                lblRevIdentInPLC[k == 8 ? 2 : 1]->setText(QStringLiteral("?"));
                                return int(Exchanged);
                            }
                            if (k == 0)
                                lblRevIdentInPLC[0]->setText(QString(c));
                            else if (k < 8)
                                lblRevIdentInPLC[0]->setText(lblRevIdentInPLC[0]->text() + c);
                            else if (k == 8)
                                lblRevIdentInPLC[2]->setText(v);
                            else
                                lblRevIdentInPLC[1]->setText(v);
                            return int(Exchanged);
                        }});
    }
    m_steps.append({Group::FirstPass, [this] {
                        if (!m_comm.CommError)
                            cmdGoOnline->hide();
                        FirstPassDone = true;
                        ++m_firstPassCount;
                        return int(Continue);
                    }});
}

void frmTargetBoard::addRefreshSetupFields()
{
    for (int i = 0; i < FieldCount; ++i) {
        m_steps.append({Group::Refresh, [this, i] {
                            if (!FormActive || !m_comm.OnlineMode)
                                return int(EndGroup);
                            const QString value = m_comm.RSRead(SetupAddresses[i]);
                            ++m_readCount;
                            if (m_comm.CommError)
                                return Exchanged | EndGroup;
                            const QString t = TB::setupFieldText(value);
                            const bool shown =
                                i < 2 ? !txtSetup[i]->isHidden() : txtSetup[i]->isEnabled();
                            if (shown)
                                m_fields[i]->showValue(t);
                            return int(Exchanged);
                        }});
    }
}

void frmTargetBoard::addWatchCurrentFault()
{
    // The fault page is read once per pass; a fault the board raises while
    // the window is open brings the page up to date on the next turn.
    m_steps.append({Group::Turn, [this] {
                        if (!FirstPassDone || !m_comm.OnlineMode || m_comm.CommError)
                            return int(Continue);
                        const QString value = m_comm.RSRead(TB::faultRegister(0));
                        ++m_readCount;
                        if (!m_comm.CommError &&
                            TB::codeText(value.toLongLong()) != m_faultCodes[0])
                            FirstPassDone = false;
                        return int(Exchanged);
                    }});
}

void frmTargetBoard::showPcClock()
{
    const QDateTime now = pcNow();
    const int second = now.time().second();
    if (second == m_lastSecond)
        return;
    m_lastSecond = second;
    lblCurrTime->setText(TB::pcTimeText(now.time()));
    lblCurrDate->setText(TB::pcDateText(now.date()));
}

bool frmTargetBoard::visibleCaption(int i) const
{
    return !lblSetupDesc[i]->isHidden();
}

void frmTargetBoard::setFieldEnabled(int i, bool enabled)
{
    lblSetupDesc[i]->setEnabled(enabled);
    txtSetup[i]->setEnabled(enabled);
    updSetup[i]->setEnabled(enabled);
}

void frmTargetBoard::enableAfterOnline()
{
    for (QLabel *l : lblRevIdentInPLC)
        l->setEnabled(true);
    for (int i = 0; i < FieldCount; ++i) {
        if (visibleCaption(i))
            setFieldEnabled(i, true);
    }
    const bool clock = TB::boardHasClock(BoardType);
    if (!clock) {
        for (int i = 2; i < FieldCount; ++i)
            setFieldEnabled(i, false);
    }
    setClockEnabled(clock);
}

void frmTargetBoard::setClockEnabled(bool enabled)
{
    lblTargetBoardTime->setEnabled(enabled);
    lblTargetBoardDate->setEnabled(enabled);
    cmdSetToCurrTime->setEnabled(enabled);
    cmdSetToCurrDate->setEnabled(enabled);
}

void frmTargetBoard::ShowCommLost()
{
    cmdGoOnline->show();
    cmdResetFaults->setEnabled(false);
    for (int i : {0, 1, 3, 4, 5})
        txtTargetBoard[i]->setPlainText(CommLostText);
    for (QLabel *l : lblRevIdentInPLC)
        l->setEnabled(false);
    for (int i = 0; i < FieldCount; ++i) {
        if (visibleCaption(i))
            setFieldEnabled(i, false);
    }
    setClockEnabled(false);
    CommLostShown = true;
}

// ---------------------------------------------------------------- commands

void frmTargetBoard::cmdGoOnline_Click()
{
    if (m_comm.OnlineMode)
        return;
    m_comm.CommError = false;
    m_comm.OnlineMode = true;
    m_util.ApplyCommMode();
}

void frmTargetBoard::cmdResetFaults_Click()
{
    const PromptAnswer answer = m_util.prompt().ask(
        QStringLiteral("WARNING - Fault Code Reset!"),
        QStringLiteral("Target Board will be reinitialized.\r\n\r\nDo you wish to continue?"),
        PromptIcon::Critical, PromptButtons::YesNoCancel);
    if (answer != PromptAnswer::Yes)
        return;
    cmdResetFaults->setEnabled(false);
    if (!m_comm.OnlineMode)
        return;
    for (const char *address : {"B8178", "B8179", "B8177", "B8176"}) {
        if (!m_comm.CommError)
            m_comm.RSWrite(QString::fromLatin1(address), QStringLiteral("0"));
    }
    if (!m_comm.CommError && FormActive) {
        // The fault page is read again at once, ahead of the rest of the turn.
        QList<Step> rest;
        for (const Step &s : std::as_const(m_steps)) {
            if (s.group != Group::FirstPass)
                rest.append(s);
        }
        m_steps.clear();
        addFirstPass();
        m_steps.append(rest);
        if (!m_inStep)
            schedule(0);
    }
}

void frmTargetBoard::writeField(int i, const QString &text)
{
    if (m_comm.OnlineMode && !m_comm.CommError)
        m_comm.RSWrite(SetupAddresses[i], text);
}

void frmTargetBoard::cmdSetToCurrTime_Click()
{
    if (!m_comm.OnlineMode)
        return;
    const std::pair<const char *, int (QTime::*)() const> parts[] = {
        {"B43012", &QTime::hour}, {"B43010", &QTime::minute}, {"B43008", &QTime::second}};
    for (const auto &[address, part] : parts) {
        if (!m_comm.CommError)
            m_comm.RSWrite(QString::fromLatin1(address), QString::number((pcNow().time().*part)()));
    }
}

void frmTargetBoard::cmdSetToCurrDate_Click()
{
    if (!m_comm.OnlineMode)
        return;
    if (!m_comm.CommError)
        m_comm.RSWrite(QStringLiteral("B43016"), QString::number(pcNow().date().month()));
    if (!m_comm.CommError)
        m_comm.RSWrite(QStringLiteral("B43015"), QString::number(pcNow().date().day()));
    if (!m_comm.CommError)
        m_comm.RSWrite(QStringLiteral("B43017"), QString::number(pcNow().date().year()).right(2));
}
