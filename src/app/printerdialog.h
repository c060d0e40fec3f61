#pragma once

class QPrinter;
class QWidget;

// The printer set-up dialog behind an interface, so that a test chooses a
// printer (a PDF file) and a copy count without a dialog on screen.
class PrinterDialog
{
public:
    virtual ~PrinterDialog() = default;
    // On OK the printer is the one chosen, or a PDF file for "Print to
    // File", and copies holds the number of copies chosen. False when the
    // operator cancelled or the dialog could not be shown.
    virtual bool setupPrinter(QWidget *parent, QPrinter &printer, int &copies) = 0;
};

class QtPrinterDialog final : public PrinterDialog
{
public:
    bool setupPrinter(QWidget *parent, QPrinter &printer, int &copies) override;
};
