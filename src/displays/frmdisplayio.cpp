#include "frmdisplayio.h"

#include "displaytext.h"
#include "machine/registermap.h"
#include "machine/valuetext.h"
#include "valuelabel.h"

#include <QFrame>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace
{

struct BoardPoint {
    const char *caption;
    const char *description;
    const char *stateTip;
};
// The register each point reads is the window's list, in this order; the
// RPM point reads the machine speed, its tooltip names the resolver word.
const BoardPoint BoardPointTable[frmDisplayIO::BoardPoints] = {
    {"IN0:", "Set Passcode", "F18"},
    {"IN1:", "Can/No Can Sensor", "F17"},
    {"AIN0:", "Applicator No.1 Drive Speed Output", "W162"},
    {"AIN1:", "Applicator No.2 Drive Speed Output", "W164"},
    {"AOUT0:", "Analog Output 0", "B166"},
    {"AOUT1:", "Analog Output 1", "B167"},
    {"POS:", "Reslover Position", "W180"},
    {"RPM:", "Resolver RPM", "W182"},
    {"Period:", "Resolver Period", "W184"},
    {"SF:", "Resolver Scale Factor", "W186"},
    {"Offset:", "Resolver Offset", "W188"},
};
// A separator line follows each of these points.
constexpr std::array<int, 6> LineAfter = {1, 3, 5, 6, 7, 8};

constexpr int GroupCount = 4;
const char *const GroupCaptions[GroupCount] = {"Timing", "Slot0-0", "Slot0-1", "Slot0-2"};
constexpr int GroupByte[GroupCount] = {170, 100, 110, 120};

const char *const Descriptions[GroupCount][frmDisplayIO::GroupPoints] = {
    {"'A' Trip Cam Timing", "'B' Trip Cam Timing", "'C' Trip Cam Timing", "Cam Reset Timing",
     "Bad Can Blowoff Timing", "Q.C. Blowoff Timing", "Can Gate Timing", "1 Puls Per Can Timing",
     "spare", "spare", "spare", "spare", "spare", "spare", "spare", "spare"},
    {"Mandrel No.1 Mark Sensor", "Can On Mandrel Sensor", "Test Mode (from PLC)",
     "End of Shift (from PLC)", "Canfeed Enable (from PLC)", "Main Drive ON (from PLC)",
     "Alarm Reset (from PLC)", "Manual blowoff (from PLC)", "Select-A-Can (1)", "Select-A-Can (2)",
     "Select-A-Can (4)", "Select-A-Can (8)", "Select-A-Can (10)", "Select-A-Can (20)",
     "Can Check Blowoff", "Set-up Enable"},
    {"PC Clock (to PLC)", "Blowoff Data Clock (to PLC)", "Blowoff Data Bit 0 (to PLC)",
     "Blowoff Data Bit 1 (to PLC)", "Blowoff Data Bit 2 (to PLC)", "Alarm Data Bit 0 (to PLC)",
     "Alarm Data Bit 1 (to PLC)", "Canfeed Enable Speed (to PLC)", "Mandrel No.1 (to PLC)", "spare",
     "spare", "spare", "spare", "Can Gate Solenoid", "Bad Can Blowoff Solenoid",
     "Q.C. Can Blowoff Solenoid"},
    {"'A' Trip Cam ON Solenoid", "'A' Trip Cam off Solenoid", "'B' Trip Cam ON Solenoid",
     "'B' Trip Cam off Solenoid", "'C' Trip Cam ON Solenoid", "'C' Trip Cam off Solenoid", "spare",
     "spare", "spare", "spare", "spare", "spare", "spare", "spare", "spare", "spare"},
};

// Point numbers are octal: 0-7 in the first byte, 10-17 in the second.
int pointNumber(int bit)
{
    return bit < 8 ? bit : 10 + bit - 8;
}

QString bitAddress(int group, int bit)
{
    return QStringLiteral("B%1.%2").arg(GroupByte[group] + bit / 8).arg(bit % 8);
}

QString pointCaption(int group, int bit)
{
    if (group == 0)
        return QStringLiteral("CH%1:").arg(pointNumber(bit), 2, 10, QLatin1Char('0'));
    return QStringLiteral("(%1)%2%3:")
        .arg(bitAddress(group, bit), bit < 8 ? QStringLiteral("    ") : QStringLiteral("  "))
        .arg(pointNumber(bit));
}

ValueLabel *stateLabel(const QString &text, QWidget *parent)
{
    auto *label = new ValueLabel(text, QStringLiteral("88888"), parent);
    DisplayText::paintsOwnBackground(label);
    label->setMinimumWidth(label->fontMetrics().horizontalAdvance(QStringLiteral("88888")) + 6);
    label->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    return label;
}

} // namespace

frmDisplayIO::frmDisplayIO(ModUtility &util, QWidget *parent) : DisplayForm(util, parent)
{
    setWindowTitle(QStringLiteral("I/O Status"));
    const auto &points = LiveRegister::IOStatusPoints;
    m_registers = {points[0],
                   points[1],
                   points[2],
                   points[3],
                   points[4],
                   points[5],
                   LiveRegister::ResolverPosition,
                   LiveRegister::MachineCPM,
                   points[6],
                   points[7],
                   points[8],
                   points[9],
                   points[10],
                   points[11],
                   points[12]};

    const QString allCaptions[5] = {
        QStringLiteral("T6800"), QLatin1String(GroupCaptions[0]), QLatin1String(GroupCaptions[1]),
        QLatin1String(GroupCaptions[2]), QLatin1String(GroupCaptions[3])};
    auto *frames = new QHBoxLayout;
    for (int f = 0; f < 5; ++f) {
        fraBMIO[f] = new QGroupBox(allCaptions[f], this);
        fraBMIO[f]->setObjectName(QStringLiteral("fraBMIO%1").arg(f));
        frames->addWidget(fraBMIO[f], 0, Qt::AlignTop);
    }

    auto *board = new QGridLayout(fraBMIO[0]);
    board->setVerticalSpacing(2);
    int row = 0;
    int line = 0;
    for (int i = 0; i < BoardPoints; ++i) {
        lblt6810[i] = new QLabel(QLatin1String(BoardPointTable[i].caption), fraBMIO[0]);
        lblt6810[i]->setToolTip(QLatin1String(BoardPointTable[i].description));
        lblt6810State[i] =
            stateLabel(i < 2 ? QStringLiteral("OFF") : QStringLiteral("0"), fraBMIO[0]);
        lblt6810State[i]->setToolTip(QLatin1String(BoardPointTable[i].stateTip));
        lblt6810State[i]->setObjectName(QStringLiteral("lblt6810State%1").arg(i));
        board->addWidget(lblt6810[i], row, 0);
        board->addWidget(lblt6810State[i], row, 1);
        ++row;
        if (line < int(Line1.size()) && LineAfter[line] == i) {
            Line1[line] = new QFrame(fraBMIO[0]);
            Line1[line]->setFrameShape(QFrame::HLine);
            Line1[line]->setFrameShadow(QFrame::Sunken);
            board->addWidget(Line1[line], row++, 0, 1, 2);
            ++line;
        }
    }
    board->setRowStretch(row, 1);

    for (int g = 0; g < GroupCount; ++g) {
        QGroupBox *frame = fraBMIO[g + 1];
        auto *grid = new QGridLayout(frame);
        grid->setVerticalSpacing(2);
        for (int b = 0; b < GroupPoints; ++b) {
            QLabel *point = new QLabel(pointCaption(g, b), frame);
            point->setToolTip(QLatin1String(Descriptions[g][b]));
            ValueLabel *state = stateLabel(QStringLiteral("OFF"), frame);
            state->setObjectName(QStringLiteral("state%1_%2").arg(g).arg(b));
            if (g == 0)
                state->setToolTip(bitAddress(0, b));
            groupPoints(g)[b] = point;
            groupStates(g)[b] = state;
            grid->addWidget(point, b, 0);
            grid->addWidget(state, b, 1);
        }
        grid->setRowStretch(GroupPoints, 1);
    }

    auto *parkRow = new QHBoxLayout;
    parkRow->addStretch();
    parkRow->addWidget(cmdDefault);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(frames);
    layout->addStretch();
    layout->addLayout(parkRow);

    // The layout of the mode is applied when the window is loaded; its
    // activation only starts the cycle.
    applyLayoutForMode();
}

frmDisplayIO::GroupStates &frmDisplayIO::groupStates(int g)
{
    switch (g) {
    case 0:
        return lblTmgChannelState;
    case 1:
        return lblSlot00State;
    case 2:
        return lblSlot01State;
    default:
        return lblSlot02State;
    }
}

frmDisplayIO::GroupLabels &frmDisplayIO::groupPoints(int g)
{
    switch (g) {
    case 0:
        return lblTmgChannel;
    case 1:
        return lblSlot00;
    case 2:
        return lblSlot01;
    default:
        return lblSlot02;
    }
}

void frmDisplayIO::applyLayout(bool enabled)
{
    for (QGroupBox *frame : fraBMIO)
        frame->setEnabled(enabled);
    for (int i = 0; i < BoardPoints; ++i) {
        lblt6810[i]->setEnabled(enabled);
        lblt6810State[i]->setEnabled(enabled);
        lblt6810State[i]->setText(DisplayText::NoValue);
    }
    for (int g = 0; g < GroupCount; ++g) {
        for (int b = 0; b < GroupPoints; ++b) {
            groupPoints(g)[b]->setEnabled(enabled);
            ValueLabel *state = groupStates(g)[b];
            state->setEnabled(enabled);
            DisplayText::setTextColour(state, DisplayText::OnColour);
            state->setText(DisplayText::NoValue);
        }
    }
}

void frmDisplayIO::applyOnlineLayout()
{
    applyLayout(true);
}

void frmDisplayIO::applyOfflineLayout()
{
    applyLayout(false);
}

void frmDisplayIO::showRead(int i, const QString &text)
{
    if (i < 2) {
        DisplayText::showState(lblt6810State[i], leadingNumber(text) == 1.0);
    } else if (i < BoardPoints) {
        lblt6810State[i]->setText(text);
    } else if (i < RegisterCount) {
        const qint64 n = roundedTextValue(text);
        GroupStates &states = groupStates(i - FirstGroupRegister);
        for (int b = 0; b < GroupPoints; ++b)
            DisplayText::showState(states[b], (n & (qint64(1) << b)) != 0);
    }
}

void frmDisplayIO::buildOnlinePass(QList<PassRead> &reads)
{
    for (int i = 0; i < RegisterCount; ++i)
        reads.append({m_registers[i], [this, i](const QString &t) { showRead(i, t); }});
}
