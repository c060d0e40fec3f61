#include "frmwaitdisplay.h"

#include "modutility.h"
#include "report/reportjob.h"

#include <QApplication>
#include <QGroupBox>
#include <QLabel>
#include <QPrinter>
#include <QVBoxLayout>

frmWaitDisplay::frmWaitDisplay(QWidget *parent) : QWidget(parent, Qt::Dialog)
{
    setObjectName(QStringLiteral("frmWaitDisplay"));
    setWindowTitle(QStringLiteral("KESTRO"));
    fraWaitDisplay = new QGroupBox(this);
    lblWaitDisplay = new QLabel(QStringLiteral("Please Standby ..."), fraWaitDisplay);
    lblWaitDisplay->setObjectName(QStringLiteral("lblWaitDisplay"));
    lblWaitDisplay->setAlignment(Qt::AlignCenter);
    auto *inner = new QVBoxLayout(fraWaitDisplay);
    inner->addWidget(lblWaitDisplay);
    auto *outer = new QVBoxLayout(this);
    outer->addWidget(fraWaitDisplay);
    setFixedSize(360, 110);
}

bool frmWaitDisplay::GenerateReport(QPrinter &printer, const DataSet &data,
                                    const ReportOptions &options, const QString &title)
{
    lblWaitDisplay->setText(QStringLiteral("Generating Report, Please Standby ..."));
    ModUtility::CenterForm(this);
    show();
    QCoreApplication::processEvents();

    // A printer makes its own copies; a file has nobody to do it, so each
    // copy is printed into the file, each with its own page numbers.
    const bool toFile = printer.outputFormat() == QPrinter::PdfFormat;
    const int passes = toFile ? qMax(1, printer.copyCount()) : 1;
    bool ok = true;
    {
        ReportJob job(printer);
        for (int copy = 0; copy < passes; ++copy) {
            ModReport report(job, data, options);
            report.RunReport(title);
        }
        // Nothing drawn (both parts unchecked) is not a failure: there is no job.
        ok = !job.failed();
        job.end();
        ok = ok && !job.failed();
    }

    hide();
    QCoreApplication::processEvents();
    return ok;
}
