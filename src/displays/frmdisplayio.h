#pragma once

#include "displayform.h"
#include "valuelabel.h"

#include <array>

class QFrame;
class QGroupBox;
class QLabel;

// The "I/O Status" window: the state of every I/O point, read live. It
// writes and edits nothing; offline every state shows "-".
class frmDisplayIO : public DisplayForm
{
    Q_OBJECT
public:
    static constexpr int BoardPoints = 11;
    static constexpr int GroupPoints = 16;
    static constexpr int RegisterCount = 15;
    static constexpr int FirstGroupRegister = 11;

    explicit frmDisplayIO(ModUtility &util, QWidget *parent = nullptr);

    // The I/O window keeps its own size inside the main window.
    Placement placement() const override { return Placement::OwnSize; }

    using GroupLabels = std::array<QLabel *, GroupPoints>;
    using GroupStates = std::array<ValueLabel *, GroupPoints>;

    std::array<QGroupBox *, 5> fraBMIO{};
    std::array<QLabel *, BoardPoints> lblt6810{};
    std::array<ValueLabel *, BoardPoints> lblt6810State{};
    std::array<QFrame *, 6> Line1{};
    GroupLabels lblTmgChannel{};
    GroupStates lblTmgChannelState{};
    GroupLabels lblSlot00{};
    GroupStates lblSlot00State{};
    GroupLabels lblSlot01{};
    GroupStates lblSlot01State{};
    GroupLabels lblSlot02{};
    GroupStates lblSlot02State{};

    const std::array<QString, RegisterCount> &registers() const { return m_registers; }
    // Shows register i's text as the pass does.
    void showRead(int i, const QString &text);

private:
    void activated() override {}
    void applyOnlineLayout() override;
    void applyOfflineLayout() override;
    void buildOnlinePass(QList<PassRead> &reads) override;
    void applyLayout(bool enabled);
    // State labels of group g (0 Timing, 1..3 the slots).
    GroupStates &groupStates(int g);
    GroupLabels &groupPoints(int g);

    std::array<QString, RegisterCount> m_registers;
};
