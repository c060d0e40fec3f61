#include "frmsetup.h"

#include "history/itemdiff.h"
#include "history/writeaudit.h"

#include "app/modutility.h"
#include "comm/operatorprompt.h"
#include "comm/rscomm.h"
#include "displaytext.h"
#include "frmmain.h"
#include "machine/machinedata.h"
#include "machine/setupparameters.h"
#include "machine/valuetext.h"
#include "updownspinner.h"
#include "valuelabel.h"

#include <QFrame>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStackedWidget>
#include <QTabBar>
#include <QVBoxLayout>

namespace
{

struct PageFields {
    int first;
    int last;
};
constexpr std::array<PageFields, frmSetup::PageCount> Pages = {{{0, 2}, {3, 12}, {13, 15}}};

constexpr int CaptionOfField[frmSetup::FieldCount] = {0,  1,  2,  5,  6,  7,  8,  9,
                                                      10, 11, 11, 12, 12, 13, 14, 15};
constexpr int QCPortShiftField = 8;

ValueLabel *valueLabel(QWidget *parent)
{
    auto *label = new ValueLabel(DisplayText::NoValue, QStringLiteral("-88888"), parent);
    DisplayText::paintsOwnBackground(label);
    label->setFrameShape(QFrame::StyledPanel);
    label->setFrameShadow(QFrame::Sunken);
    label->setAlignment(Qt::AlignCenter);
    label->setMinimumWidth(label->fontMetrics().horizontalAdvance(QStringLiteral("-88888")) + 16);
    return label;
}

// The text box and its spinner side by side.
QWidget *entryPair(QLineEdit *txt, UpDownSpinner *upd, QWidget *parent)
{
    auto *pair = new QWidget(parent);
    auto *row = new QHBoxLayout(pair);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    txt->setParent(pair);
    upd->setParent(pair);
    row->addWidget(txt);
    row->addWidget(upd);
    return pair;
}

} // namespace

frmSetup::frmSetup(ModUtility &util, QWidget *parent) : DisplayForm(util, parent)
{
    setWindowTitle(QStringLiteral("Set-Up"));
    const auto params = setupParameters();

    for (int k = 0; k < FieldCount; ++k) {
        txtSetup[k] = new QLineEdit(this);
        txtSetup[k]->setObjectName(QStringLiteral("txtSetup%1").arg(k));
        txtSetup[k]->setAlignment(Qt::AlignRight);
        txtSetup[k]->setFixedWidth(
            txtSetup[k]->fontMetrics().horizontalAdvance(QStringLiteral("888888")) + 12);
        updSetup[k] = new UpDownSpinner(txtSetup[k], this);
        updSetup[k]->setRange(params[k].Minimum, params[k].maximumFor(m_util.gData.gSpindleCount));
    }
    const std::array<QString, FieldCount> captions = {
        params[0].Caption,
        params[1].Caption,
        params[2].Caption,
        QStringLiteral("Applicator No.1 Roll Speed (RPM):"),
        QStringLiteral("Applicator No.2 Roll Speed (RPM):"),
        params[3].Caption,
        params[4].Caption,
        params[5].Caption,
        params[6].Caption,
        params[7].Caption,
        params[8].Caption,
        params[9].Caption,
        params[11].Caption,
        params[13].Caption,
        params[14].Caption,
        params[15].Caption};
    for (int i = 0; i < FieldCount; ++i)
        lblDescription[i] = new QLabel(captions[i], this);
    for (int k = 0; k < FieldCount; ++k) {
        // Field 10 and 12 share their row's caption; its access key goes
        // to the first field of the row.
        if (k != 10 && k != 12)
            fieldCaption(k)->setBuddy(txtSetup[k]);
    }
    for (int i = 0; i < 4; ++i) {
        lblDisplay[i] = valueLabel(this);
        lblDisplay[i]->setObjectName(QStringLiteral("lblDisplay%1").arg(i));
    }

    tbsSetup = new QTabBar(this);
    tbsSetup->setObjectName(QStringLiteral("tbsSetup"));
    tbsSetup->addTab(QStringLiteral("S&peed Parameters"));
    tbsSetup->addTab(QStringLiteral("&Blow-off Parameters"));
    tbsSetup->addTab(QStringLiteral("&Machine Timing"));
    tbsSetup->setExpanding(false);
    m_pages = new QStackedWidget(this);
    const std::array<QString, PageCount> pageCaptions = {QStringLiteral("Set Speed Parameters"),
                                                         QStringLiteral("Set Blow-off Parameters"),
                                                         QStringLiteral("Machine Timing")};
    for (int p = 0; p < PageCount; ++p) {
        fraSetup[p] = new QFrame(m_pages);
        fraSetup[p]->setFrameShape(QFrame::NoFrame);
        fraSetup[p]->setAccessibleName(pageCaptions[p]);
        m_pages->addWidget(fraSetup[p]);
    }

    auto addFieldRow = [this](QGridLayout *grid, int row, int k, QWidget *frame) {
        grid->addWidget(fieldCaption(k), row, 0);
        grid->addWidget(entryPair(txtSetup[k], updSetup[k], frame), row, 1, Qt::AlignLeft);
    };

    // Page 0: speed parameters and the roll speeds.
    fraSpeedParameters = new QGroupBox(QStringLiteral("Set Speed Parameters"), fraSetup[0]);
    auto *speedGrid = new QGridLayout(fraSpeedParameters);
    for (int k = 0; k <= 2; ++k)
        addFieldRow(speedGrid, k, k, fraSpeedParameters);
    speedGrid->setRowMinimumHeight(3, 12);
    for (int r = 0; r < 2; ++r) {
        speedGrid->addWidget(lblDescription[3 + r], 4 + r, 0);
        speedGrid->addWidget(lblDisplay[r], 4 + r, 1, Qt::AlignLeft);
    }
    speedGrid->setColumnStretch(2, 1);
    auto *page0 = new QVBoxLayout(fraSetup[0]);
    page0->addWidget(fraSpeedParameters);
    page0->addStretch();

    // Page 1: blow-off set-up, solenoid times, test blow-offs.
    fraBlowoff[0] = new QGroupBox(QStringLiteral("Blow-off Set-up"), fraSetup[1]);
    auto *blowoffGrid = new QGridLayout(fraBlowoff[0]);
    for (int k = 3; k <= 8; ++k)
        addFieldRow(blowoffGrid, k - 3, k, fraBlowoff[0]);
    blowoffGrid->setColumnStretch(2, 1);
    fraBlowoff[1] = new QGroupBox(QStringLiteral("Solenoid Response Times"), fraSetup[1]);
    auto *solenoidGrid = new QGridLayout(fraBlowoff[1]);
    lblLabel[0] = new QLabel(QStringLiteral("ON (msec)"), fraBlowoff[1]);
    lblLabel[1] = new QLabel(QStringLiteral("OFF (msec)"), fraBlowoff[1]);
    solenoidGrid->addWidget(lblLabel[0], 0, 1, Qt::AlignHCenter);
    solenoidGrid->addWidget(lblLabel[1], 0, 2, Qt::AlignHCenter);
    for (int r = 0; r < 2; ++r) {
        const int on = 9 + 2 * r;
        solenoidGrid->addWidget(lblDescription[11 + r], r + 1, 0);
        solenoidGrid->addWidget(entryPair(txtSetup[on], updSetup[on], fraBlowoff[1]), r + 1, 1,
                                Qt::AlignHCenter);
        solenoidGrid->addWidget(entryPair(txtSetup[on + 1], updSetup[on + 1], fraBlowoff[1]), r + 1,
                                2, Qt::AlignHCenter);
    }
    solenoidGrid->setColumnStretch(3, 1);
    fraTestBlowoff[0] = new QGroupBox(QStringLiteral("Test Blow-off"), fraSetup[1]);
    cmdBadCanTest[0] = new QPushButton(QStringLiteral("B&ad Can Blow-off"), fraTestBlowoff[0]);
    cmdQCTest[0] = new QPushButton(QStringLiteral("&Q.C. Can Blow-off"), fraTestBlowoff[0]);
    cmdQCTest[0]->setObjectName(QStringLiteral("cmdQCTest0"));
    auto *test0 = new QVBoxLayout(fraTestBlowoff[0]);
    test0->addWidget(cmdBadCanTest[0]);
    test0->addWidget(cmdQCTest[0]);
    test0->addStretch();
    auto *page1 = new QGridLayout(fraSetup[1]);
    page1->addWidget(fraBlowoff[0], 0, 0);
    page1->addWidget(fraBlowoff[1], 1, 0);
    page1->addWidget(fraTestBlowoff[0], 0, 1, 2, 1);
    page1->setRowStretch(2, 1);
    page1->setColumnStretch(0, 1);

    // Page 2: machine timing, positions, zeroing, test blow-offs.
    fraMachineTiming = new QGroupBox(QStringLiteral("Set Machine Timing"), fraSetup[2]);
    auto *timingGrid = new QGridLayout(fraMachineTiming);
    for (int k = 13; k <= 15; ++k)
        addFieldRow(timingGrid, k - 13, k, fraMachineTiming);
    timingGrid->setColumnStretch(2, 1);
    fraMachinePosition = new QGroupBox(QStringLiteral("Machine Position"), fraSetup[2]);
    (new QVBoxLayout(fraMachinePosition))->addWidget(lblDisplay[3]);
    fraAbsolutePosition = new QGroupBox(QStringLiteral("Absolute Position"), fraSetup[2]);
    cmdZeroResolver = new QPushButton(QStringLiteral("&Zero Resolver"), fraAbsolutePosition);
    cmdZeroResolver->setObjectName(QStringLiteral("cmdZeroResolver"));
    auto *absolute = new QVBoxLayout(fraAbsolutePosition);
    absolute->addWidget(lblDisplay[2]);
    absolute->addWidget(cmdZeroResolver);
    fraTestBlowoff[1] = new QGroupBox(QStringLiteral("Test Blow-off"), fraSetup[2]);
    cmdQCTest[1] = new QPushButton(QStringLiteral("&Q.C. Can Blow-off"), fraTestBlowoff[1]);
    cmdBadCanTest[1] = new QPushButton(QStringLiteral("B&ad Can Blow-off"), fraTestBlowoff[1]);
    auto *test1 = new QVBoxLayout(fraTestBlowoff[1]);
    test1->addWidget(cmdQCTest[1]);
    test1->addWidget(cmdBadCanTest[1]);
    auto *positions = new QHBoxLayout;
    positions->addWidget(fraMachinePosition);
    positions->addWidget(fraAbsolutePosition);
    positions->addWidget(fraTestBlowoff[1]);
    positions->addStretch();
    auto *page2 = new QVBoxLayout(fraSetup[2]);
    page2->addWidget(fraMachineTiming);
    page2->addLayout(positions);
    page2->addStretch();

    auto *parkRow = new QHBoxLayout;
    parkRow->addStretch();
    parkRow->addWidget(cmdDefault);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(tbsSetup);
    layout->addWidget(m_pages, 1);
    layout->addLayout(parkRow);

    for (int k = 0; k + 1 < FieldCount; ++k)
        setTabOrder(txtSetup[k], txtSetup[k + 1]);

    for (int k = 0; k < FieldCount; ++k) {
        m_fields[k] = new NumericEntryField(txtSetup[k], updSetup[k], m_entry, prompt(),
                                            QStringLiteral("Set-up"));
        m_fields[k]->setAcceptAction([this, k](const QString &text) { store(k, text); });
        m_fields[k]->setStepAction([this, k](const QString &text) { store(k, text); });
    }

    connect(tbsSetup, &QTabBar::currentChanged, this, [this](int page) {
        showPage(page);
        pageChanged();
    });
    for (QPushButton *button : cmdBadCanTest)
        connect(button, &QPushButton::clicked, this,
                [this] { writeCommand(LiveRegister::BadCanTestFlag, QStringLiteral("1")); });
    for (QPushButton *button : cmdQCTest)
        connect(button, &QPushButton::clicked, this, [this] { frmMain::QCBlowoff(comm(), 1); });
    connect(cmdZeroResolver, &QPushButton::clicked, this, &frmSetup::zeroResolver);
}

QLabel *frmSetup::fieldCaption(int k) const
{
    return lblDescription[CaptionOfField[k]];
}

QString frmSetup::machinePosition(const QString &resolverText)
{
    return QString::number(roundedTextValue(resolverText) % 360);
}

void frmSetup::showPage(int page)
{
    if (page < 0 || page >= PageCount)
        return;
    m_page = page;
    m_pages->setCurrentIndex(page);
}

void frmSetup::activated()
{
    {
        const QSignalBlocker quiet(tbsSetup);
        tbsSetup->setCurrentIndex(0);
    }
    showPage(0);
    applyLayoutForMode();
}

void frmSetup::clearEditMarks()
{
    for (NumericEntryField *f : m_fields)
        f->clearEditMark();
}

void frmSetup::unloaded()
{
    for (NumericEntryField *f : m_fields)
        f->BeingEdited = false;
}

void frmSetup::store(int k, const QString &text)
{
    m_util.gData.gCurrentData.Value[Item::FirstSetupParameter + k] = roundedTextValue(text);
    const History::WriteAudit::Origin origin(
        m_util.gAudit, QStringLiteral("window Set-Up, field ") +
                           History::itemCaption(Item::FirstSetupParameter + k));
    writeIfOnline(setupParameters()[k].Register, text);
}

void frmSetup::zeroResolver()
{
    const PromptAnswer answer = prompt().ask(
        QStringLiteral("Zero Resolver"),
        QStringLiteral("You are about change the Resolver offset.\r\n\r\nDo you wish to continue?"),
        PromptIcon::Question, PromptButtons::YesNoCancel);
    if (answer == PromptAnswer::Yes)
        writeCommand(LiveRegister::ZeroResolverFlag, QStringLiteral("1"));
}

void frmSetup::applyOnlineLayout()
{
    clearEditMarks();
    for (QWidget *w : std::initializer_list<QWidget *>{
             fraSpeedParameters, fraBlowoff[0], fraBlowoff[1], fraMachineTiming, fraTestBlowoff[0],
             fraTestBlowoff[1], cmdBadCanTest[0], cmdBadCanTest[1], cmdQCTest[0], cmdQCTest[1],
             lblLabel[0], lblLabel[1], fraAbsolutePosition, cmdZeroResolver, fraMachinePosition})
        w->setEnabled(true);
    for (int i = 0; i < FieldCount; ++i) {
        lblDescription[i]->setEnabled(true);
        updSetup[i]->setEnabled(true);
        txtSetup[i]->setEnabled(true);
    }
    for (ValueLabel *label : lblDisplay)
        label->setEnabled(true);
}

void frmSetup::applyOfflineLayout()
{
    clearEditMarks();
    const bool editing = m_util.gOfflineEditing;
    // A change of offline editing after this layout is one it must follow.
    m_lastOfflineEditing = editing;
    for (QWidget *w :
         std::initializer_list<QWidget *>{fraSpeedParameters, fraBlowoff[0], fraBlowoff[1],
                                          fraMachineTiming, lblLabel[0], lblLabel[1]})
        w->setEnabled(editing);
    for (int i = 0; i < FieldCount; ++i) {
        lblDescription[i]->setEnabled(editing);
        txtSetup[i]->setEnabled(editing);
        updSetup[i]->setEnabled(editing);
    }
    lblDescription[3]->setEnabled(false);
    lblDescription[4]->setEnabled(false);
    for (ValueLabel *label : lblDisplay) {
        label->setEnabled(false);
        label->setText(DisplayText::NoValue);
    }
    for (QWidget *w : std::initializer_list<QWidget *>{
             fraTestBlowoff[0], fraTestBlowoff[1], cmdBadCanTest[0], cmdBadCanTest[1], cmdQCTest[0],
             cmdQCTest[1], fraMachinePosition, fraAbsolutePosition, cmdZeroResolver})
        w->setEnabled(false);
}

void frmSetup::beforeMode()
{
    updSetup[QCPortShiftField]->setMaximum(
        setupParameters()[QCPortShiftField].maximumFor(m_util.gData.gSpindleCount));
}

void frmSetup::buildOnlinePass(QList<PassRead> &reads)
{
    const auto params = setupParameters();
    for (int k = Pages[m_page].first; k <= Pages[m_page].last; ++k) {
        NumericEntryField *f = m_fields[k];
        reads.append({params[k].Register, [f](const QString &t) { f->showValue(t); },
                      PassRead::Kind::PageField});
        if (k == 2) {
            ValueLabel *roll1 = lblDisplay[0];
            ValueLabel *roll2 = lblDisplay[1];
            reads.append({LiveRegister::Appl1RollRPM,
                          [roll1](const QString &t) { roll1->setText(t); },
                          PassRead::Kind::Value,
                          {},
                          {},
                          staleMark(roll1)});
            reads.append({LiveRegister::Appl2RollRPM,
                          [roll2](const QString &t) { roll2->setText(t); },
                          PassRead::Kind::Value,
                          {},
                          {},
                          staleMark(roll2)});
        }
        if (k == 15) {
            QPushButton *zero = cmdZeroResolver;
            ValueLabel *absolute = lblDisplay[2];
            ValueLabel *machine = lblDisplay[3];
            reads.append({LiveRegister::ZeroResolverAllowed,
                          [zero](const QString &t) { zero->setEnabled(roundedTextValue(t) > 0); }});
            reads.append({QString(),
                          [absolute](const QString &t) { absolute->setText(t); },
                          PassRead::Kind::Value,
                          {},
                          [](RSComm &link) { return link.PLSPos(); }});
            reads.append({LiveRegister::ResolverPosition,
                          [machine](const QString &t) { machine->setText(machinePosition(t)); },
                          PassRead::Kind::Value,
                          {},
                          {},
                          staleMark(machine)});
        }
    }
}

void frmSetup::offlinePass()
{
    if (m_util.gOfflineEditing != m_lastOfflineEditing) {
        m_lastOfflineEditing = m_util.gOfflineEditing;
        OfflineReady = false;
    }
    for (int k = 0; k < FieldCount; ++k)
        m_fields[k]->showValue(
            QString::number(m_util.gData.gCurrentData.valueAt(Item::FirstSetupParameter + k)));
}
