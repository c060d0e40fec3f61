// Report Setup and Print Report from the shown main window: the options
// window's buttons, the printer set-up answered by the test (a PDF file and a
// copy count, or Cancel), the standby window, and what lands in the PDF.

#include "app/frmwaitdisplay.h"
#include "app/printerdialog.h"
#include "appharness.h"
#include "fakes/pdfwords.h"
#include "report/frmreportsetup.h"

#include <QCheckBox>
#include <QLabel>
#include <QPageLayout>
#include <QPrinter>
#include <QPushButton>
#include <QToolBar>

namespace
{

class ScriptedPrinterDialog final : public PrinterDialog
{
public:
    bool setupPrinter(QWidget *, QPrinter &printer, int &chosenCopies) override
    {
        ++asked;
        printer.setOutputFormat(QPrinter::PdfFormat);
        printer.setOutputFileName(file);
        // Letter with a quarter-inch unprintable border, as a typical printer.
        printer.setPageLayout(QPageLayout(QPageSize(QPageSize::Letter), QPageLayout::Portrait,
                                          QMarginsF(0.25, 0.25, 0.25, 0.25), QPageLayout::Inch));
        chosenCopies = copies;
        return !cancel;
    }
    QString file;
    int copies = 1;
    bool cancel = false;
    int asked = 0;
};

struct Printing : AppHarness {
    ScriptedPrinterDialog printer;
    bool up()
    {
        if (!start())
            return false;
        w().setPrinterDialog(&printer);
        printer.file = QDir(programDir()).filePath(QStringLiteral("report.pdf"));
        return show();
    }
    // Report Setup from its menu; body clicks inside the window.
    bool reportSetup(QObject *context, const std::function<void(frmReportSetup *)> &body)
    {
        bool ran = false;
        whenModal<frmReportSetup>(context, [&](frmReportSetup *window) {
            body(window);
            ran = true;
        });
        return chooseMenu(w(), {"mnuFile", "mnuFilePrintSetup"}) && ran &&
               !w().findChild<frmReportSetup *>() && backInFront(w());
    }
};

} // namespace

class TestReportCommands : public QObject
{
    Q_OBJECT

private slots:
    // Full Report ticks both parts and stays; Cancel keeps the flags, OK takes the boxes.
    void reportSetupButtons()
    {
        Printing h;
        QVERIFY(h.up());
        h.util().gPrintSetupParameters = false;
        QVERIFY(h.reportSetup(this, [](frmReportSetup *window) {
            QTest::mouseClick(window->cmdFullReport, Qt::LeftButton);
            QVERIFY(window->isVisible() && window->chkReportOptions[0]->isChecked());
            QTest::mouseClick(window->cmdCancel, Qt::LeftButton);
        }));
        QVERIFY(!h.util().gPrintSetupParameters);
        QVERIFY(h.reportSetup(this, [](frmReportSetup *window) {
            QTest::mouseClick(window->chkReportOptions[1], Qt::LeftButton);
            QTest::mouseClick(window->cmdOk, Qt::LeftButton);
        }));
        QVERIFY(!h.util().gPrintSetupParameters && !h.util().gPrintShiftDataCounts);
        // Both parts off: said at once, before any printer is chosen.
        QTest::keyClick(&h.w(), Qt::Key_P, Qt::ControlModifier);
        QCOMPARE(h.printer.asked, 0);
        QCOMPARE(h.prompt.asked.size(), 1);
    }

    void printToFileWithCopies()
    {
        Printing h;
        QVERIFY(h.up());
        h.printer.copies = 2;
        h.data.gCurrentData.Value[122] = 600;
        QTest::keyClick(&h.w(), Qt::Key_P, Qt::ControlModifier);
        QVERIFY(!h.w().findChild<frmWaitDisplay *>()); // the standby window is gone
        const PdfWords pdf = PdfWords::read(h.printer.file);
        QVERIFY(pdf.ok);
        // Two copies of a three-page report, the second numbered from 1 again.
        QCOMPARE(pdf.pageCount, 6);
        QCOMPARE(pdf.after(pdf.find(QStringLiteral("Page"), 4))->text, QStringLiteral("1"));
        QCOMPARE(pdf.count(QStringLiteral("600")), 2);
        // One word afterwards, which says where the file went.
        QCOMPARE(h.prompt.asked.size(), 1);
    }

    // Only the shift part, from the toolbar; a cancelled printer writes nothing.
    void shiftPartFromTheToolbarAndCancel()
    {
        Printing h;
        QVERIFY(h.up());
        QVERIFY(h.reportSetup(this, [](frmReportSetup *window) {
            QTest::mouseClick(window->chkReportOptions[0], Qt::LeftButton);
            QTest::mouseClick(window->cmdOk, Qt::LeftButton);
        }));
        h.w().gFileNameCaption = QStringLiteral("[line3.sdt]");
        QWidget *print = h.w().Toolbar1->widgetForAction(h.w().findChild<QAction *>("tbrPrint"));
        QTest::mouseClick(print, Qt::LeftButton);
        const PdfWords pdf = PdfWords::read(h.printer.file);
        QVERIFY(pdf.ok);
        QVERIFY(pdf.pageText(1).startsWith(
            QStringLiteral("KESTRO Report: [line3.sdt] Data Collection Counts (shift data)")));
        QVERIFY(!pdf.find(QStringLiteral("Set-up")));

        QVERIFY(QFile::remove(h.printer.file));
        h.printer.cancel = true;
        h.prompt.asked.clear();
        QVERIFY(chooseMenu(h.w(), {"mnuFile", "mnuFilePrint"}));
        QCOMPARE(h.printer.asked, 2);
        QVERIFY(!QFile::exists(h.printer.file));
        QVERIFY(h.prompt.asked.isEmpty());
    }
};

QTEST_MAIN(TestReportCommands)
#include "test_reportcommands.moc"
