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

// The "Shift Data" window: trips per spindle, the current and the last
// shift's counts, the spindle #1 trip offset, and the reset-trips and
// end-of-shift commands, which hold their bit while the mouse button is down.
class frmData : public DisplayForm
{
    Q_OBJECT
public:
    static constexpr int DataCount = 121;
    static constexpr int PageCount = 3;
    static constexpr int TripOffsetCaption = 121;

    explicit frmData(ModUtility &util, QWidget *parent = nullptr);

    QTabBar *tbsData;
    std::array<QFrame *, PageCount> fraData{};
    QGroupBox *fraSpindleTrip;
    QGroupBox *fraEndofShift;
    QGroupBox *fraCurrentShift;
    QGroupBox *fraLastShift;
    // 0..120 the counts, 121 the trip offset's caption.
    std::array<QLabel *, DataCount + 1> lblDescription{};
    std::array<ValueLabel *, DataCount> lblData{};
    QLineEdit *txtSpindleTripOffset;
    UpDownSpinner *updSpindleTripOffset;
    QPushButton *cmdResetTrips;
    QPushButton *cmdEndofShift;

    NumericEntryField *tripOffsetField() const { return m_tripOffset; }
    const QStringList &registers() const { return m_registers; }
    int currentPage() const { return m_page; }

private:
    void activated() override;
    void unloaded() override;
    void applyOnlineLayout() override;
    void applyOfflineLayout() override;
    void beforeMode() override;
    void buildOnlinePass(QList<PassRead> &reads) override;
    void offlinePass() override;
    void showPage(int page);
    void store(const QString &text);
    void setCountsEnabled(bool enabled);

    QStackedWidget *m_pages;
    NumericEntryField *m_tripOffset;
    QStringList m_registers;
    int m_page = 0;
    bool m_lastOfflineEditing = false;
};
