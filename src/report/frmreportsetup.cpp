#include "frmreportsetup.h"

#include "app/modutility.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QPushButton>
#include <QVBoxLayout>

frmReportSetup::frmReportSetup(bool &gPrintSetupParameters, bool &gPrintShiftDataCounts,
                               QWidget *parent)
    : QDialog(parent), m_setupParameters(gPrintSetupParameters),
      m_shiftDataCounts(gPrintShiftDataCounts)
{
    setObjectName(QStringLiteral("frmReportSetup"));
    setWindowTitle(QStringLiteral("Report Set-up"));
    setModal(true);

    fraReportOptions = new QGroupBox(QStringLiteral("Report Options:"), this);
    chkReportOptions[0] =
        new QCheckBox(QStringLiteral("Print Set-up Parameters"), fraReportOptions);
    chkReportOptions[1] =
        new QCheckBox(QStringLiteral("Print Shift Data Counts"), fraReportOptions);
    auto *boxes = new QVBoxLayout(fraReportOptions);
    for (int i = 0; i < 2; ++i) {
        chkReportOptions[i]->setObjectName(QStringLiteral("chkReportOptions%1").arg(i));
        boxes->addWidget(chkReportOptions[i]);
    }
    chkReportOptions[0]->setChecked(m_setupParameters);
    chkReportOptions[1]->setChecked(m_shiftDataCounts);

    cmdFullReport = new QPushButton(QStringLiteral("&Full Report"), this);
    cmdOk = new QPushButton(QStringLiteral("&Ok"), this);
    cmdCancel = new QPushButton(QStringLiteral("&Cancel"), this);
    cmdFullReport->setObjectName(QStringLiteral("cmdFullReport"));
    cmdOk->setObjectName(QStringLiteral("cmdOk"));
    cmdCancel->setObjectName(QStringLiteral("cmdCancel"));
    cmdOk->setDefault(true);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(cmdFullReport);
    buttons->addWidget(cmdOk);
    buttons->addWidget(cmdCancel);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(fraReportOptions);
    layout->addLayout(buttons);

    connect(cmdFullReport, &QPushButton::clicked, this, &frmReportSetup::cmdFullReport_Click);
    connect(cmdOk, &QPushButton::clicked, this, &frmReportSetup::cmdOk_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &QDialog::reject);
}

void frmReportSetup::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    ModUtility::CenterForm(this);
}

void frmReportSetup::cmdFullReport_Click()
{
    chkReportOptions[0]->setChecked(true);
    chkReportOptions[1]->setChecked(true);
}

void frmReportSetup::cmdOk_Click()
{
    m_setupParameters = chkReportOptions[0]->isChecked();
    m_shiftDataCounts = chkReportOptions[1]->isChecked();
    accept();
}
