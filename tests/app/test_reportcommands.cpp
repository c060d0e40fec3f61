// Report Setup and Print Report from the shown main window: the options
// window's buttons, the printer set-up answered by the test (a PDF file and
// a copy count), the standby window, and what lands in the PDF.

#include "app/frmwaitdisplay.h"
#include "app/printerdialog.h"
#include "appharness.h"
#include "fakes/pdfwords.h"
#include "report/frmreportsetup.h"

#include <QCheckBox>
#include <QLabel>
#include <QMenu>
#include <QPageLayout>
#include <QPageSize>
#include <QPrinter>
#include <QPushButton>
#include <QTest>
#include <QTimer>

namespace
{

// Answers the printer set-up: a PDF file and a copy count, or Cancel.
class ScriptedPrinterDialog final : public PrinterDialog
{
public:
    bool setupPrinter(QWidget *, QPrinter &printer, int &chosenCopies) override
    {
        ++asked;
        if (cancel)
            return false;
        printer.setOutputFormat(QPrinter::PdfFormat);
        printer.setOutputFileName(file);
        // Letter with a quarter-inch unprintable border, as a typical printer.
        printer.setPageLayout(QPageLayout(QPageSize(QPageSize::Letter), QPageLayout::Portrait,
                                          QMarginsF(0.25, 0.25, 0.25, 0.25), QPageLayout::Inch));
        chosenCopies = copies;
        return true;
    }

    QString file;
    int copies = 1;
    bool cancel = false;
    int asked = 0;
};

// Runs a command from its menu as the operator does: the menu is opened and
// the item activated with the keyboard.
void chooseFromMenu(QMenu *menu, QAction *item)
{
    QTimer::singleShot(0, menu, [menu, item] {
        menu->setActiveAction(item);
        QTest::keyClick(menu, Qt::Key_Return);
    });
    menu->exec(menu->parentWidget() ? menu->parentWidget()->mapToGlobal(QPoint(0, 0))
                                    : QPoint(0, 0));
}

// Runs body once a modal window of type T is in front (the command that
// opens it is still running).
template <typename T> void whenModal(QObject *context, const std::function<void(T *)> &body)
{
    auto *poll = new QTimer(context);
    poll->setInterval(10);
    QObject::connect(poll, &QTimer::timeout, context, [poll, body] {
        if (auto *window = qobject_cast<T *>(QApplication::activeModalWidget())) {
            poll->stop();
            poll->deleteLater();
            body(window);
        }
    });
    poll->start();
}

} // namespace

class TestReportCommands : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void fullReportThenCancelKeepsTheFlags();
    void okTakesTheBoxes();
    void printToFileWithCopies();
    void printCancelledWritesNothing();
    void bothPartsOffPrintsNothing();
    void onlyShiftPart();

private:
    bool start(AppHarness &h, ScriptedPrinterDialog &printer)
    {
        if (!h.start())
            return false;
        h.w().setPrinterDialog(&printer);
        h.w().show();
        return QTest::qWaitForWindowExposed(&h.w());
    }
    // Opens Report Setup from the menu and runs body inside the window.
    void inReportSetup(AppHarness &h, const std::function<void(frmReportSetup *)> &body)
    {
        bool ran = false;
        whenModal<frmReportSetup>(this, [&](frmReportSetup *window) {
            QCOMPARE(window->windowTitle(), QStringLiteral("Report Set-up"));
            body(window);
            ran = true;
        });
        chooseFromMenu(h.w().mnuFile, h.w().mnuFilePrintSetup);
        QVERIFY(ran);
        QVERIFY(!h.w().findChild<frmReportSetup *>());
    }

    QTemporaryDir m_out;
};

void TestReportCommands::init()
{
    QVERIFY(m_out.isValid());
}

void TestReportCommands::fullReportThenCancelKeepsTheFlags()
{
    AppHarness h;
    ScriptedPrinterDialog printer;
    QVERIFY(start(h, printer));
    h.util().gPrintSetupParameters = false;
    h.util().gPrintShiftDataCounts = true;
    inReportSetup(h, [](frmReportSetup *window) {
        QVERIFY(!window->chkReportOptions[0]->isChecked());
        QVERIFY(window->chkReportOptions[1]->isChecked());
        QTest::mouseClick(window->cmdFullReport, Qt::LeftButton);
        QVERIFY(window->isVisible());
        QVERIFY(window->chkReportOptions[0]->isChecked());
        QVERIFY(window->chkReportOptions[1]->isChecked());
        QTest::mouseClick(window->cmdCancel, Qt::LeftButton);
    });
    QVERIFY(!h.util().gPrintSetupParameters);
    QVERIFY(h.util().gPrintShiftDataCounts);
    QCOMPARE(printer.asked, 0);
}

void TestReportCommands::okTakesTheBoxes()
{
    AppHarness h;
    ScriptedPrinterDialog printer;
    QVERIFY(start(h, printer));
    inReportSetup(h, [](frmReportSetup *window) {
        QVERIFY(window->chkReportOptions[0]->isChecked());
        QTest::mouseClick(window->chkReportOptions[0], Qt::LeftButton);
        QTest::mouseClick(window->cmdOk, Qt::LeftButton);
    });
    QVERIFY(!h.util().gPrintSetupParameters);
    QVERIFY(h.util().gPrintShiftDataCounts);
}

void TestReportCommands::printToFileWithCopies()
{
    AppHarness h;
    ScriptedPrinterDialog printer;
    QVERIFY(start(h, printer));
    printer.file = m_out.filePath(QStringLiteral("copies.pdf"));
    printer.copies = 2;
    h.data.gCurrentData.Value[122] = 600;

    // The standby window shows while the report is generated.
    QString standby;
    QTimer::singleShot(0, this, [&] {
        if (auto *wait = h.w().findChild<frmWaitDisplay *>())
            standby = wait->isVisible() ? wait->lblWaitDisplay->text() : QString();
    });
    QTest::keyClick(&h.w(), Qt::Key_P, Qt::ControlModifier);
    QCOMPARE(printer.asked, 1);
    QCOMPARE(standby, QStringLiteral("Generating Report, Please Standby ..."));
    QVERIFY(!h.w().findChild<frmWaitDisplay *>());
    QCOMPARE(h.util().gWaitMode, qint16(0));

    const PdfWords pdf = PdfWords::read(printer.file);
    QVERIFY(pdf.ok);
    // Two copies of a three-page report, each numbered from 1.
    QCOMPARE(pdf.pageCount, 6);
    for (int page = 1; page <= 6; ++page) {
        QVERIFY(pdf.pageText(page).startsWith(QStringLiteral("KESTRO Report: [unnamed]")));
        const PdfWord *label = pdf.find(QStringLiteral("Page"), page);
        QVERIFY(label);
        QCOMPARE(pdf.after(label)->text, QString::number((page - 1) % 3 + 1));
    }
    QCOMPARE(pdf.count(QStringLiteral("600")), 2);
    QVERIFY(h.prompt.asked.isEmpty());
}

void TestReportCommands::printCancelledWritesNothing()
{
    AppHarness h;
    ScriptedPrinterDialog printer;
    QVERIFY(start(h, printer));
    printer.file = m_out.filePath(QStringLiteral("cancelled.pdf"));
    printer.cancel = true;
    chooseFromMenu(h.w().mnuFile, h.w().mnuFilePrint);
    QCOMPARE(printer.asked, 1);
    QVERIFY(!QFile::exists(printer.file));
    QVERIFY(h.prompt.asked.isEmpty());
}

void TestReportCommands::bothPartsOffPrintsNothing()
{
    AppHarness h;
    ScriptedPrinterDialog printer;
    QVERIFY(start(h, printer));
    inReportSetup(h, [](frmReportSetup *window) {
        QTest::mouseClick(window->chkReportOptions[0], Qt::LeftButton);
        QTest::mouseClick(window->chkReportOptions[1], Qt::LeftButton);
        QTest::mouseClick(window->cmdOk, Qt::LeftButton);
    });
    printer.file = m_out.filePath(QStringLiteral("none.pdf"));
    h.w().activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&h.w()));
    QTest::keyClick(&h.w(), Qt::Key_P, Qt::ControlModifier);
    QCOMPARE(printer.asked, 1);
    QVERIFY(!QFile::exists(printer.file));
}

void TestReportCommands::onlyShiftPart()
{
    AppHarness h;
    ScriptedPrinterDialog printer;
    QVERIFY(start(h, printer));
    inReportSetup(h, [](frmReportSetup *window) {
        QTest::mouseClick(window->chkReportOptions[0], Qt::LeftButton);
        QTest::mouseClick(window->cmdOk, Qt::LeftButton);
    });
    h.w().gFileNameCaption = QStringLiteral("[line3.sdt]");
    printer.file = m_out.filePath(QStringLiteral("shift.pdf"));
    // The toolbar's Print button runs the same command.
    h.w().Toolbar1_ButtonClick(6);
    const PdfWords pdf = PdfWords::read(printer.file);
    QVERIFY(pdf.ok);
    QVERIFY(pdf.pageText(1).startsWith(
        QStringLiteral("KESTRO Report: [line3.sdt] Data Collection Counts (shift data)")));
    QVERIFY(!pdf.find(QStringLiteral("Set-up")));
    QCOMPARE(pdf.after(pdf.find(QStringLiteral("Page"), 1))->text, QStringLiteral("1"));
}

QTEST_MAIN(TestReportCommands)
#include "test_reportcommands.moc"
