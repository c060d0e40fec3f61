#include "reportcommands.h"

#include "comm/operatorprompt.h"
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

    // With both parts of the report switched off there is nothing to print:
    // say so before a printer is chosen for it.
    if (!util.gPrintSetupParameters && !util.gPrintShiftDataCounts) {
        util.prompt().ask(QStringLiteral("KESTRO"),
                          QStringLiteral("Nothing to Print: both report options are off.\r\n\r\n"
                                         "Choose what to print in File > Report Setup."),
                          PromptIcon::Information, PromptButtons::Ok);
        return;
    }

    QPrinter printer(QPrinter::HighResolution);
    int copies = 1;
    // Cancel, or a dialog that fails, ends the command silently.
    if (!dialog.setupPrinter(&main, printer, copies))
        return;
    printer.setCopyCount(qMax(1, copies));
    printer.setDocName(QStringLiteral("KESTRO Report: ") + main.gFileNameCaption);

    util.gWaitMode = 1;
    const ReportOptions options{util.gPrintSetupParameters, util.gPrintShiftDataCounts};
    bool printed = false;
    {
        frmWaitDisplay window(&main);
        printed =
            window.GenerateReport(printer, util.gData.gCurrentData, options, main.gFileNameCaption);
    }
    util.gWaitMode = 0;

    // A report printed to a file is somewhere the operator has to find.
    const bool toFile = printer.outputFormat() == QPrinter::PdfFormat;
    if (!printed)
        util.prompt().ask(QStringLiteral("KESTRO"),
                          QStringLiteral("The report could not be printed") +
                              (toFile ? QStringLiteral(" to:\r\n") + printer.outputFileName()
                                      : QStringLiteral(".")),
                          PromptIcon::Exclamation, PromptButtons::Ok);
    else if (toFile)
        util.prompt().ask(QStringLiteral("KESTRO"),
                          QStringLiteral("The report was printed to:\r\n") +
                              printer.outputFileName(),
                          PromptIcon::Information, PromptButtons::Ok);
}
