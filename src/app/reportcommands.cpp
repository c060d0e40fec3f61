#include "reportcommands.h"

#include "comm/rscomm.h"
#include "frmmdimain.h"
#include "frmwaitdisplay.h"
#include "printerdialog.h"
#include "report/frmreportsetup.h"

#include <QPrinter>

void ReportSetupCommand(frmMDIMain &main)
{
    ModUtility &util = main.util();
    frmReportSetup window(util.gPrintSetupParameters, util.gPrintShiftDataCounts, &main);
    window.exec();
}

void PrintReportCommand(frmMDIMain &main, PrinterDialog &dialog)
{
    ModUtility &util = main.util();
    if (util.gRSComm->OnlineMode && main.AskUploadFirst())
        main.mnuFileUploadData_Click(3);

    QPrinter printer(QPrinter::HighResolution);
    int copies = 1;
    // Cancel, or a dialog that fails, ends the command silently.
    if (!dialog.setupPrinter(&main, printer, copies))
        return;
    printer.setCopyCount(qMax(1, copies));
    printer.setDocName(QStringLiteral("KESTRO Report: ") + main.gFileNameCaption);

    util.gWaitMode = 1;
    const ReportOptions options{util.gPrintSetupParameters, util.gPrintShiftDataCounts};
    {
        frmWaitDisplay window(&main);
        // A printer failure ends the command without a message.
        window.GenerateReport(printer, util.gData.gCurrentData, options, main.gFileNameCaption);
    }
    util.gWaitMode = 0;
}
