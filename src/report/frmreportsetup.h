#pragma once

#include <QDialog>

#include <array>

class QCheckBox;
class QGroupBox;
class QPushButton;

// The report options: which parts the printed report holds. The flags are
// changed only by "&Ok".
class frmReportSetup : public QDialog
{
    Q_OBJECT
public:
    frmReportSetup(bool &gPrintSetupParameters, bool &gPrintShiftDataCounts,
                   QWidget *parent = nullptr);

    QGroupBox *fraReportOptions;
    std::array<QCheckBox *, 2> chkReportOptions{};
    QPushButton *cmdFullReport;
    QPushButton *cmdOk;
    QPushButton *cmdCancel;

protected:
    void showEvent(QShowEvent *event) override;

private:
    void cmdFullReport_Click();
    void cmdOk_Click();

    bool &m_setupParameters;
    bool &m_shiftDataCounts;
};
