#include "printerdialog.h"

#include <QPrintDialog>
#include <QPrinter>

bool QtPrinterDialog::setupPrinter(QWidget *parent, QPrinter &printer, int &copies)
{
    QPrintDialog dialog(&printer, parent);
    dialog.setOption(QAbstractPrintDialog::PrintToFile, true);
    dialog.setOption(QAbstractPrintDialog::PrintCollateCopies, true);
    dialog.setOption(QAbstractPrintDialog::PrintPageRange, false);
    dialog.setOption(QAbstractPrintDialog::PrintSelection, false);
    if (dialog.exec() != QDialog::Accepted)
        return false;
    copies = printer.copyCount();
    return true;
}
