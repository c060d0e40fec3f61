#include "frmmain.h"

#include "app/messageboxprompt.h"
#include "app/modutility.h"
#include "comm/rscomm.h"
#include "displaytext.h"
#include "machine/machinedata.h"
#include "machine/valuetext.h"
#include "updownspinner.h"
#include "valuelabel.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace
{

const std::array<QString, 6> PanelCaptions = {
    QStringLiteral("Machine CPM"),   QStringLiteral("Appl No.1 RPM"),
    QStringLiteral("Appl No.2 RPM"), QStringLiteral("Good Cans"),
    QStringLiteral("Blow-offs"),     QStringLiteral("Lifetime Count (x1000)")};

// Panels 3 to 5 show counts; offline they show these data items.
constexpr std::array<int, 3> OfflineItems = {Item::CurShiftGoodCans, Item::CurShiftBlowoffs,
                                             Item::LifetimeCanCount};
constexpr int FirstCountPanel = 3;

ValueLabel *makeValueLabel(QWidget *parent)
{
    auto *label = new ValueLabel(DisplayText::NoValue, QStringLiteral("8,888,888,888"), parent);
    DisplayText::paintsOwnBackground(label);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 2.0);
    font.setBold(true);
    label->setFont(font);
    label->setAlignment(Qt::AlignCenter);
    label->setFrameShape(QFrame::StyledPanel);
    label->setFrameShadow(QFrame::Sunken);
    label->setMinimumHeight(label->fontMetrics().height() * 3 / 2);
    return label;
}

} // namespace

frmMain::frmMain(ModUtility &util, QWidget *parent) : DisplayForm(util, parent)
{
    setWindowTitle(QStringLiteral("Main Display"));
    m_registers = {LiveRegister::MachineCPM,
                   LiveRegister::Appl1RollRPM,
                   LiveRegister::Appl2RollRPM,
                   defaultAddress(Item::CurShiftGoodCans),
                   defaultAddress(Item::CurShiftBlowoffs),
                   defaultAddress(Item::LifetimeCanCount)};

    auto *panels = new QGridLayout;
    for (int i = 0; i < 6; ++i) {
        fraDisplay[i] = new QGroupBox(PanelCaptions[i], this);
        lblDisplay[i] = makeValueLabel(fraDisplay[i]);
        lblDisplay[i]->setObjectName(QStringLiteral("lblDisplay%1").arg(i));
        auto *box = new QVBoxLayout(fraDisplay[i]);
        box->addWidget(lblDisplay[i]);
        panels->addWidget(fraDisplay[i], i / 3, i % 3);
    }

    fraMessageDisplay = new QGroupBox(QStringLiteral("Messages"), this);
    txtMessageDisplay = new QPlainTextEdit(fraMessageDisplay);
    txtMessageDisplay->setReadOnly(true);
    txtMessageDisplay->setFocusPolicy(Qt::NoFocus);
    (new QVBoxLayout(fraMessageDisplay))->addWidget(txtMessageDisplay);

    fraQCBlowoff = new QGroupBox(QStringLiteral("Q.C. Blow-off"), this);
    fraSpindleNumber = new QGroupBox(QStringLiteral("Spindle Number"), fraQCBlowoff);
    txtSpindleBlowoff = new QLineEdit(fraSpindleNumber);
    txtSpindleBlowoff->setAlignment(Qt::AlignCenter);
    txtSpindleBlowoff->setMaximumWidth(
        txtSpindleBlowoff->fontMetrics().horizontalAdvance(QStringLiteral("00000")) + 12);
    updSpindleNumber = new UpDownSpinner(txtSpindleBlowoff, fraSpindleNumber);
    updSpindleNumber->setRange(1, m_util.gData.limits().QCSpindleMaximum);
    auto *spindleRow = new QHBoxLayout(fraSpindleNumber);
    spindleRow->addStretch();
    spindleRow->addWidget(txtSpindleBlowoff);
    spindleRow->addWidget(updSpindleNumber);
    spindleRow->setSpacing(0);
    spindleRow->addStretch();
    cmdSingleBlowoff = new QPushButton(QStringLiteral("S&ingle Blow-off"), fraQCBlowoff);
    cmdBlanketBlowoff = new QPushButton(QStringLiteral("&Blanket Blow-off"), fraQCBlowoff);
    cmdMandrelBlowoff = new QPushButton(QStringLiteral("&Mandrel Blowoff"), fraQCBlowoff);
    auto *qc = new QVBoxLayout(fraQCBlowoff);
    qc->addWidget(fraSpindleNumber);
    qc->addWidget(cmdSingleBlowoff);
    qc->addWidget(cmdBlanketBlowoff);
    qc->addWidget(cmdMandrelBlowoff);

    fraBadCanBlowoff = new QGroupBox(QStringLiteral("Bad Can Blow-off"), this);
    cmdBadCanBlowoff = new QPushButton(QStringLiteral("&Test Trip/Blow-off"), fraBadCanBlowoff);
    (new QVBoxLayout(fraBadCanBlowoff))->addWidget(cmdBadCanBlowoff);

    auto *commands = new QVBoxLayout;
    commands->addWidget(fraQCBlowoff);
    commands->addWidget(fraBadCanBlowoff);
    commands->addStretch();
    auto *parkRow = new QHBoxLayout;
    parkRow->addStretch();
    parkRow->addWidget(cmdDefault);
    commands->addLayout(parkRow);

    auto *lower = new QHBoxLayout;
    lower->addWidget(fraMessageDisplay, 1);
    lower->addLayout(commands);

    auto *layout = new QVBoxLayout(this);
    layout->addLayout(panels);
    layout->addLayout(lower, 1);

    txtMessageDisplay->setObjectName(QStringLiteral("txtMessageDisplay"));
    txtSpindleBlowoff->setObjectName(QStringLiteral("txtSpindleBlowoff"));
    updSpindleNumber->setObjectName(QStringLiteral("updSpindleNumber"));
    cmdSingleBlowoff->setObjectName(QStringLiteral("cmdSingleBlowoff"));
    cmdBlanketBlowoff->setObjectName(QStringLiteral("cmdBlanketBlowoff"));
    cmdMandrelBlowoff->setObjectName(QStringLiteral("cmdMandrelBlowoff"));
    cmdBadCanBlowoff->setObjectName(QStringLiteral("cmdBadCanBlowoff"));

    // Tab order: the spindle number, its commands, the bad can test.
    setTabOrder(txtSpindleBlowoff, cmdSingleBlowoff);
    setTabOrder(cmdSingleBlowoff, cmdBlanketBlowoff);
    setTabOrder(cmdBlanketBlowoff, cmdMandrelBlowoff);
    setTabOrder(cmdMandrelBlowoff, cmdBadCanBlowoff);
    setTabOrder(cmdBadCanBlowoff, cmdDefault);

    m_spindleField = new NumericEntryField(txtSpindleBlowoff, updSpindleNumber, m_entry, prompt(),
                                           QStringLiteral("Q.C. Blow-off"));
    m_spindleField->setStepAction(
        [this](const QString &text) { writeIfOnline(LiveRegister::QCSpindleNumber, text); });

    connect(cmdSingleBlowoff, &QPushButton::clicked, this,
            [this] { QCBlowoff(comm(), qint16(roundedTextValue(txtSpindleBlowoff->text()))); });
    connect(cmdBlanketBlowoff, &QPushButton::clicked, this,
            [this] { QCBlowoff(comm(), BlanketBlowoffCode(m_util.gData.gSpindleCount)); });
    connect(cmdMandrelBlowoff, &QPushButton::clicked, this,
            [this] { QCBlowoff(comm(), MandrelBlowoffCode(m_util.gData.gSpindleCount)); });
    connect(cmdBadCanBlowoff, &QPushButton::clicked, this,
            [this] { writeCommand(LiveRegister::BadCanTestFlag, QStringLiteral("1")); });
}

void frmMain::QCBlowoff(RegisterLink &link, int spindleCode)
{
    if (!link.commErrorSet())
        link.RSWrite(LiveRegister::QCSpindleNumber, QString::number(spindleCode));
    if (!link.commErrorSet())
        link.RSWrite(LiveRegister::QCBlowoffFlag1, QStringLiteral("1"));
    if (!link.commErrorSet())
        link.RSWrite(LiveRegister::QCBlowoffFlag2, QStringLiteral("1"));
}

void frmMain::setControlsEnabled(bool enabled)
{
    for (QWidget *w : std::initializer_list<QWidget *>{
             fraQCBlowoff, fraSpindleNumber, txtSpindleBlowoff, updSpindleNumber, cmdSingleBlowoff,
             cmdBlanketBlowoff, cmdMandrelBlowoff, fraBadCanBlowoff, cmdBadCanBlowoff})
        w->setEnabled(enabled);
    for (int i = 0; i < 6; ++i) {
        lblDisplay[i]->setEnabled(enabled);
        fraDisplay[i]->setEnabled(enabled);
    }
}

void frmMain::applyOnlineLayout()
{
    setControlsEnabled(true);
    RSComm &link = comm();
    if (link.CommError) {
        txtSpindleBlowoff->setText(QStringLiteral("1"));
    } else {
        const QString text = link.RSRead(LiveRegister::QCSpindleNumber);
        const qint32 value = roundedTextValue(text);
        if (value > updSpindleNumber->maximum())
            txtSpindleBlowoff->setText(QString::number(updSpindleNumber->maximum()));
        else if (value == 0)
            txtSpindleBlowoff->setText(QStringLiteral("1"));
        else
            txtSpindleBlowoff->setText(text);
    }
}

void frmMain::applyOfflineLayout()
{
    setControlsEnabled(false);
    txtSpindleBlowoff->setText(DisplayText::NoValue);
    for (ValueLabel *label : lblDisplay)
        label->setText(DisplayText::NoValue);
}

void frmMain::setSpinnerMaximum()
{
    updSpindleNumber->setMaximum(m_util.gData.limits().QCSpindleMaximum);
}

void frmMain::beforeMode()
{
    const QString text = MessageBoxPrompt::displayText(m_util.gSystemMessage);
    if (txtMessageDisplay->toPlainText() != text)
        txtMessageDisplay->setPlainText(text);
}

void frmMain::beforeOnlinePass()
{
    setSpinnerMaximum();
}

void frmMain::buildOnlinePass(QList<PassRead> &reads)
{
    for (int i = 0; i < 6; ++i) {
        ValueLabel *label = lblDisplay[i];
        if (i < FirstCountPanel)
            reads.append({m_registers[i],
                          [label](const QString &t) { label->setText(t.trimmed()); },
                          PassRead::Kind::Value,
                          {},
                          {},
                          staleMark(label)});
        else
            reads.append({m_registers[i],
                          [label](const QString &t) { label->setText(DisplayText::countOf(t)); },
                          PassRead::Kind::Value,
                          {},
                          {},
                          staleMark(label)});
    }
}

void frmMain::offlinePass()
{
    for (int i = 0; i < 3; ++i)
        lblDisplay[FirstCountPanel + i]->setText(
            DisplayText::count(m_util.gData.gCurrentData.valueAt(OfflineItems[i])));
}
