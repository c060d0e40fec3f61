#include "frmdata.h"

#include "history/historyrecorder.h"

#include "app/modutility.h"
#include "comm/rscomm.h"
#include "displaytext.h"
#include "machine/machinedata.h"
#include "machine/valuetext.h"
#include "updownspinner.h"
#include "valuelabel.h"

#include <QFrame>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPushButton>
#include <QStackedWidget>
#include <QTabBar>
#include <QVBoxLayout>

namespace
{

struct PageRange {
    int first;
    int last;
};
constexpr std::array<PageRange, frmData::PageCount> Pages = {{{0, 36}, {37, 78}, {79, 120}}};

const std::array<QString, 6> ShiftCaptions = {
    QStringLiteral("Total Good Cans:"),   QStringLiteral("Total Blow-offs:"),
    QStringLiteral("Bad Can Blow-offs:"), QStringLiteral("Manual Blow-offs:"),
    QStringLiteral("Q.C. Blow-offs:"),    QStringLiteral("Restart Blow-offs:")};

constexpr int TripColumns = 4;

// A command held while a mouse button is down: "1" on the press, "0" on the
// release. The keyboard does not reach it. The second press of a double
// click arrives as a double-click event: it is a press like the first.
class MomentaryCommand : public QObject
{
public:
    MomentaryCommand(QPushButton *button, std::function<void(const QString &)> write)
        : QObject(button), m_write(std::move(write))
    {
        button->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::MouseButtonPress ||
            event->type() == QEvent::MouseButtonDblClick)
            m_write(QStringLiteral("1"));
        else if (event->type() == QEvent::MouseButtonRelease)
            m_write(QStringLiteral("0"));
        return false;
    }

private:
    std::function<void(const QString &)> m_write;
};

ValueLabel *countLabel(QWidget *parent)
{
    auto *label = new ValueLabel(DisplayText::NoValue, QStringLiteral("888,888,888"), parent);
    DisplayText::paintsOwnBackground(label);
    label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    label->setFrameShape(QFrame::StyledPanel);
    label->setFrameShadow(QFrame::Sunken);
    label->setMinimumWidth(label->fontMetrics().horizontalAdvance(QStringLiteral("888,888,888")) +
                           12);
    return label;
}

} // namespace

frmData::frmData(ModUtility &util, QWidget *parent) : DisplayForm(util, parent)
{
    setWindowTitle(QStringLiteral("Shift Data"));
    // The window's own list: the data table's addresses, except that the
    // first entry shows the tripped spindle instead of the trip offset.
    m_registers.append(LiveRegister::TrippedSpindle);
    for (int i = 1; i < DataCount; ++i)
        m_registers.append(defaultAddress(i));

    for (int i = 0; i < DataCount; ++i) {
        lblDescription[i] = new QLabel(this);
        lblData[i] = countLabel(this);
        lblData[i]->setObjectName(QStringLiteral("lblData%1").arg(i));
    }
    // Captions of the per-spindle runs and the six shift counts.
    for (int s = 1; s <= Item::MaxSpindles; ++s) {
        lblDescription[Item::tripsPerSpindle(s)]->setText(QStringLiteral("#%1").arg(s));
        lblDescription[Item::curShiftTrips(s)]->setText(QStringLiteral("#%1").arg(s));
        lblDescription[Item::lastShiftTrips(s)]->setText(QStringLiteral("#%1").arg(s));
    }
    for (int c = 0; c < 6; ++c) {
        lblDescription[Item::CurShiftGoodCans + c]->setText(ShiftCaptions[c]);
        lblDescription[Item::LastShiftGoodCans + c]->setText(ShiftCaptions[c]);
    }
    lblDescription[0]->setText(QStringLiteral("Tripped Spindle:"));
    lblDescription[TripOffsetCaption] =
        new QLabel(QStringLiteral("Spindle #1 Trip &Offset:"), this);

    tbsData = new QTabBar(this);
    tbsData->setObjectName(QStringLiteral("tbsData"));
    tbsData->addTab(QStringLiteral("&Trips Per Spindle"));
    tbsData->addTab(QStringLiteral("&Current Shift"));
    tbsData->addTab(QStringLiteral("&Last Shift"));
    tbsData->setExpanding(false);
    m_pages = new QStackedWidget(this);
    const std::array<QString, PageCount> pageCaptions = {QStringLiteral("Trips Per Spindle"),
                                                         QStringLiteral("Current Shift"),
                                                         QStringLiteral("Last Shift")};
    for (int p = 0; p < PageCount; ++p) {
        fraData[p] = new QFrame(m_pages);
        fraData[p]->setFrameShape(QFrame::NoFrame);
        fraData[p]->setAccessibleName(pageCaptions[p]);
        m_pages->addWidget(fraData[p]);
    }

    // 36 per-spindle counts in columns, caption beside each value.
    auto tripGrid = [this](int first) {
        auto *grid = new QGridLayout;
        const int rows = (Item::MaxSpindles + TripColumns - 1) / TripColumns;
        for (int s = 0; s < Item::MaxSpindles; ++s) {
            const int row = s % rows;
            const int col = (s / rows) * 3;
            grid->addWidget(lblDescription[first + s], row, col, Qt::AlignRight);
            grid->addWidget(lblData[first + s], row, col + 1);
            if (col > 0)
                grid->setColumnMinimumWidth(col - 1, 16);
        }
        grid->setVerticalSpacing(2);
        return grid;
    };
    auto shiftCounts = [this](int first) {
        auto *grid = new QGridLayout;
        for (int c = 0; c < 6; ++c) {
            grid->addWidget(lblDescription[first + c], c / 2, (c % 2) * 3, Qt::AlignRight);
            grid->addWidget(lblData[first + c], c / 2, (c % 2) * 3 + 1);
        }
        grid->setColumnMinimumWidth(2, 24);
        grid->setColumnStretch(5, 1);
        return grid;
    };

    // Page 0: trips per spindle, the tripped spindle, the trip offset.
    txtSpindleTripOffset = new QLineEdit(this);
    txtSpindleTripOffset->setObjectName(QStringLiteral("txtSpindleTripOffset"));
    txtSpindleTripOffset->setAlignment(Qt::AlignRight);
    txtSpindleTripOffset->setFixedWidth(
        txtSpindleTripOffset->fontMetrics().horizontalAdvance(QStringLiteral("88888")) + 12);
    lblDescription[TripOffsetCaption]->setBuddy(txtSpindleTripOffset);
    updSpindleTripOffset = new UpDownSpinner(txtSpindleTripOffset, this);
    updSpindleTripOffset->setRange(0, m_util.gData.limits().TripOffsetMaximum);
    fraSpindleTrip = new QGroupBox(QStringLiteral("Spindle Trip"), fraData[0]);
    cmdResetTrips = new QPushButton(QStringLiteral("&Reset Trips"), fraSpindleTrip);
    cmdResetTrips->setObjectName(QStringLiteral("cmdResetTrips"));
    auto *trip = new QHBoxLayout(fraSpindleTrip);
    trip->addWidget(lblDescription[TripOffsetCaption]);
    auto *pair = new QHBoxLayout;
    pair->setSpacing(0);
    pair->addWidget(txtSpindleTripOffset);
    pair->addWidget(updSpindleTripOffset);
    trip->addLayout(pair);
    trip->addSpacing(24);
    trip->addWidget(cmdResetTrips);
    trip->addStretch();
    auto *tripped = new QHBoxLayout;
    tripped->addWidget(lblDescription[0]);
    tripped->addWidget(lblData[0]);
    tripped->addStretch();
    auto *page0 = new QVBoxLayout(fraData[0]);
    page0->addLayout(tripGrid(Item::TripsPerSpindleFirst));
    page0->addLayout(tripped);
    page0->addWidget(fraSpindleTrip);
    page0->addStretch();

    // Page 1: the current shift and its end.
    fraCurrentShift = new QGroupBox(QStringLiteral("Current Shift"), fraData[1]);
    auto *current = new QVBoxLayout(fraCurrentShift);
    current->addLayout(shiftCounts(Item::CurShiftGoodCans));
    current->addLayout(tripGrid(Item::CurShiftTripsFirst));
    fraEndofShift = new QGroupBox(QStringLiteral("End of Shift"), fraData[1]);
    cmdEndofShift = new QPushButton(QStringLiteral("T&ransfer Data"), fraEndofShift);
    cmdEndofShift->setObjectName(QStringLiteral("cmdEndofShift"));
    auto *end = new QHBoxLayout(fraEndofShift);
    end->addWidget(cmdEndofShift);
    end->addStretch();
    auto *page1 = new QVBoxLayout(fraData[1]);
    page1->addWidget(fraCurrentShift);
    page1->addWidget(fraEndofShift);
    page1->addStretch();

    // Page 2: the last shift.
    fraLastShift = new QGroupBox(QStringLiteral("Last Shift"), fraData[2]);
    auto *last = new QVBoxLayout(fraLastShift);
    last->addLayout(shiftCounts(Item::LastShiftGoodCans));
    last->addLayout(tripGrid(Item::LastShiftTripsFirst));
    auto *page2 = new QVBoxLayout(fraData[2]);
    page2->addWidget(fraLastShift);
    page2->addStretch();

    auto *parkRow = new QHBoxLayout;
    parkRow->addStretch();
    parkRow->addWidget(cmdDefault);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(tbsData);
    layout->addWidget(m_pages, 1);
    layout->addLayout(parkRow);

    m_tripOffset = new NumericEntryField(txtSpindleTripOffset, updSpindleTripOffset, m_entry,
                                         prompt(), QStringLiteral("Spindle #1 Trip Offset:"));
    m_tripOffset->setAcceptAction([this](const QString &text) { store(text); });
    m_tripOffset->setStepAction([this](const QString &text) { store(text); });

    new MomentaryCommand(cmdResetTrips, [this](const QString &bit) {
        writeCommand(LiveRegister::ResetTripsBit, bit);
    });
    new MomentaryCommand(cmdEndofShift, [this](const QString &bit) {
        writeCommand(LiveRegister::EndOfShiftFlag, bit);
        // The next change of the last-shift counts is this shift, ended here.
        if (m_util.gRecorder && bit == u"1" && !comm().CommError)
            m_util.gRecorder->shiftEndedByProgram();
    });

    connect(tbsData, &QTabBar::currentChanged, this, [this](int page) {
        showPage(page);
        pageChanged();
    });
}

void frmData::showPage(int page)
{
    if (page < 0 || page >= PageCount)
        return;
    m_page = page;
    m_pages->setCurrentIndex(page);
}

void frmData::activated()
{
    {
        const QSignalBlocker quiet(tbsData);
        tbsData->setCurrentIndex(0);
    }
    showPage(0);
    applyLayoutForMode();
}

void frmData::unloaded()
{
    m_tripOffset->BeingEdited = false;
}

void frmData::store(const QString &text)
{
    m_util.gData.gCurrentData.Value[Item::SpindleTripOffset] = roundedTextValue(text);
    writeIfOnline(defaultAddress(Item::SpindleTripOffset), text);
}

void frmData::setCountsEnabled(bool enabled)
{
    for (QWidget *w : std::initializer_list<QWidget *>{cmdResetTrips, fraEndofShift, cmdEndofShift,
                                                       fraCurrentShift, fraLastShift})
        w->setEnabled(enabled);
    for (int i = 1; i < DataCount; ++i) {
        lblDescription[i]->setEnabled(enabled);
        lblData[i]->setEnabled(enabled);
    }
}

void frmData::applyOnlineLayout()
{
    for (QWidget *w : std::initializer_list<QWidget *>{
             fraSpindleTrip, lblDescription[TripOffsetCaption], txtSpindleTripOffset,
             updSpindleTripOffset, lblDescription[0], lblData[0]})
        w->setEnabled(true);
    setCountsEnabled(true);
}

void frmData::applyOfflineLayout()
{
    const bool editing = m_util.gOfflineEditing;
    // A change of offline editing after this layout is one it must follow.
    m_lastOfflineEditing = editing;
    for (QWidget *w :
         std::initializer_list<QWidget *>{fraSpindleTrip, lblDescription[TripOffsetCaption],
                                          txtSpindleTripOffset, updSpindleTripOffset})
        w->setEnabled(editing);
    lblDescription[0]->setEnabled(false);
    lblData[0]->setEnabled(false);
    lblData[0]->setText(DisplayText::NoValue);
    setCountsEnabled(false);
}

void frmData::beforeMode()
{
    updSpindleTripOffset->setMaximum(m_util.gData.limits().TripOffsetMaximum);
}

void frmData::buildOnlinePass(QList<PassRead> &reads)
{
    for (int i = Pages[m_page].first; i <= Pages[m_page].last; ++i) {
        ValueLabel *label = lblData[i];
        reads.append({m_registers[i],
                      [label](const QString &t) { label->setText(DisplayText::countOf(t)); },
                      PassRead::Kind::PageField,
                      {},
                      {},
                      staleMark(label)});
        if (i == 0) {
            NumericEntryField *field = m_tripOffset;
            reads.append({defaultAddress(Item::SpindleTripOffset),
                          [field](const QString &t) { field->showValue(t); }, PassRead::Kind::Value,
                          [field] { return !field->BeingEdited; }});
        }
    }
}

void frmData::offlinePass()
{
    const DataSet &data = m_util.gData.gCurrentData;
    m_tripOffset->showValue(QString::number(data.valueAt(Item::SpindleTripOffset)));
    for (int i = 1; i < DataCount; ++i) {
        if (m_util.gOfflineEditing != m_lastOfflineEditing) {
            m_lastOfflineEditing = m_util.gOfflineEditing;
            OfflineReady = false;
            return;
        }
        lblData[i]->setText(DisplayText::count(data.valueAt(i)));
    }
}
