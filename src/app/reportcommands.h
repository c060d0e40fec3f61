#pragma once

class frmMDIMain;
class PrinterDialog;

// File > "&Report Setup": the report options window, modal.
void ReportSetupCommand(frmMDIMain &main);
// File > "&Print Report...": upload first if wanted, the printer set-up,
// then the standby window generates the report on the chosen printer.
void PrintReportCommand(frmMDIMain &main, PrinterDialog &dialog);
