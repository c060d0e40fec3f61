#pragma once

#include "report/modreport.h"

#include <QWidget>

class QGroupBox;
class QLabel;
class QPrinter;

// The standby window shown while the report is generated. It is not modal;
// it exists only while the report runs.
class frmWaitDisplay : public QWidget
{
    Q_OBJECT
public:
    explicit frmWaitDisplay(QWidget *parent = nullptr);

    QGroupBox *fraWaitDisplay;
    QLabel *lblWaitDisplay;

    // Report mode: shows the window, prints the report of data on the
    // printer with as many copies as it is set to, ends the job so the
    // printer starts, then hides. False when the printer failed.
    bool GenerateReport(QPrinter &printer, const DataSet &data, const ReportOptions &options,
                        const QString &title);
};
