#pragma once

#include "displayform.h"
#include "valuelabel.h"

#include <array>

class QFrame;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QStackedWidget;
class QTabBar;
class UpDownSpinner;

// The "Set-Up" window: the sixteen set-up parameters on three pages, the
// roll speeds, the machine and absolute positions, the test blow-offs and
// the zeroing of the resolver.
class frmSetup : public DisplayForm
{
    Q_OBJECT
public:
    static constexpr int FieldCount = 16;
    static constexpr int PageCount = 3;

    explicit frmSetup(ModUtility &util, QWidget *parent = nullptr);

    QTabBar *tbsSetup;
    std::array<QFrame *, PageCount> fraSetup{};
    QGroupBox *fraSpeedParameters;
    std::array<QGroupBox *, 2> fraBlowoff{};
    QGroupBox *fraMachineTiming;
    QGroupBox *fraMachinePosition;
    QGroupBox *fraAbsolutePosition;
    std::array<QGroupBox *, 2> fraTestBlowoff{};
    std::array<QLineEdit *, FieldCount> txtSetup{};
    std::array<UpDownSpinner *, FieldCount> updSetup{};
    // Captions: fields 0-2 at 0-2, the roll speeds at 3 and 4, fields 3-8
    // at 5-10, the two solenoid rows at 11 and 12, fields 13-15 at 13-15.
    std::array<QLabel *, FieldCount> lblDescription{};
    std::array<QLabel *, 2> lblLabel{};
    // 0, 1 roll speeds; 2 absolute position; 3 machine position.
    std::array<ValueLabel *, 4> lblDisplay{};
    std::array<QPushButton *, 2> cmdBadCanTest{};
    std::array<QPushButton *, 2> cmdQCTest{};
    QPushButton *cmdZeroResolver;

    NumericEntryField *field(int k) const { return m_fields[k]; }
    // The caption label of field k.
    QLabel *fieldCaption(int k) const;
    int currentPage() const { return m_page; }
    // "W180" as the machine position: the remainder of 360, sign kept.
    static QString machinePosition(const QString &resolverText);

private:
    void activated() override;
    void unloaded() override;
    void applyOnlineLayout() override;
    void applyOfflineLayout() override;
    void beforeMode() override;
    void buildOnlinePass(QList<PassRead> &reads) override;
    void offlinePass() override;
    void showPage(int page);
    void store(int k, const QString &text);
    void zeroResolver();
    void clearEditMarks();

    QStackedWidget *m_pages;
    std::array<NumericEntryField *, FieldCount> m_fields{};
    int m_page = 0;
    bool m_lastOfflineEditing = false;
};
