// The printed report read back from the PDF it draws: texts, right edges,
// the spindle grid, page frame and page breaks.

#include "fakes/pdfwords.h"
#include "machine/dataset.h"
#include "report/modreport.h"
#include "report/reportjob.h"

#include <QFile>
#include <QPageLayout>
#include <QPageSize>
#include <QPdfWriter>
#include <QTemporaryDir>
#include <QTest>

namespace
{

constexpr double Margin = 0.25; // inches of unprintable border in these tests
constexpr double Pt = 72.0;

struct Printed {
    PdfWords pdf;
    bool drawn = false;
};

Printed printReport(const QString &path, const DataSet &data, const ReportOptions &options,
                    const QString &title, QSizeF pageInches = QSizeF(8.5, 11))
{
    Printed printed;
    {
        QPdfWriter writer(path);
        writer.setResolution(600);
        writer.setPageLayout(
            QPageLayout(QPageSize(pageInches, QPageSize::Inch), QPageLayout::Portrait,
                        QMarginsF(Margin, Margin, Margin, Margin), QPageLayout::Inch));
        ReportJob job(writer);
        ModReport report(job, data, options);
        report.RunReport(title);
        printed.drawn = job.end();
    }
    if (printed.drawn)
        printed.pdf = PdfWords::read(path);
    return printed;
}

// x in points on the page of a position in inches on the printable area.
double px(double inches)
{
    return (Margin + inches) * Pt;
}

} // namespace

class TestModReport : public QObject
{
    Q_OBJECT

private slots:
    void valueTexts();
    void headerNamesUnnamedAndNamedFiles();
    void setupValuesEndAtFiveAndAHalfInches();
    void shiftCountsAreGroupedAndEndAtFourInches();
    void spindleGridRowsAndColumns();
    void pageFooterNumbersEachPage();
    void onlyTheShiftPartWhenOnlyItIsChosen();
    void nothingPrintedWithBothPartsOff();
    void sectionsThatDoNotFitMoveToANewPage();
    void roomIsTestedOnlyBeforeSections();

private:
    QTemporaryDir m_dir;
    QString pdf(const char *name) { return m_dir.filePath(QString::fromLatin1(name)); }
};

void TestModReport::valueTexts()
{
    QCOMPARE(ModReport::plainValue(600), QStringLiteral(" 600"));
    QCOMPARE(ModReport::plainValue(0), QStringLiteral(" 0"));
    QCOMPARE(ModReport::plainValue(-5), QStringLiteral("-5"));
    // The test runs in the C locale: comma grouping.
    QCOMPARE(ModReport::groupedValue(1234567), QStringLiteral("1,234,567"));
    QCOMPARE(ModReport::groupedValue(999), QStringLiteral("999"));
}

void TestModReport::headerNamesUnnamedAndNamedFiles()
{
    const DataSet data = buildDefaultData();
    for (const QString &title : {QStringLiteral("[unnamed]"), QStringLiteral("[line3.sdt]")}) {
        const Printed p = printReport(pdf("header.pdf"), data, {}, title);
        QVERIFY(p.pdf.ok);
        for (int page = 1; page <= p.pdf.pageCount; ++page) {
            QVERIFY2(p.pdf.pageText(page).startsWith(QStringLiteral("KESTRO Report: ") + title),
                     qPrintable(p.pdf.pageText(page).left(60)));
            const PdfWord *first = p.pdf.find(QStringLiteral("KESTRO"), page);
            QVERIFY(first);
            // 0.1 inch below the top of the printable area.
            QVERIFY(first->yMin > px(0.1) - 2 && first->yMin < px(0.1) + 4);
        }
    }
}

void TestModReport::setupValuesEndAtFiveAndAHalfInches()
{
    DataSet data = buildDefaultData();
    data.Value[122] = 600;
    data.Value[123] = 1000;
    data.Value[137] = 7;
    const Printed p = printReport(pdf("setup.pdf"), data, {true, false}, QStringLiteral("[x]"));
    QVERIFY(p.pdf.ok);
    QCOMPARE(p.pdf.pageCount, 1);
    for (const char *value : {"600", "1000", "7"}) {
        const PdfWord *w = p.pdf.find(QString::fromLatin1(value));
        QVERIFY2(w, value);
        QVERIFY2(qAbs(w->xMax - px(5.5)) < 0.5, qPrintable(QString::number(w->xMax)));
    }
    // Caption and value share the line; the caption starts one inch in.
    const PdfWord *caption = p.pdf.find(QStringLiteral("Canfeed"));
    const PdfWord *value = p.pdf.find(QStringLiteral("600"));
    QVERIFY(caption && value);
    QVERIFY(qAbs(caption->yMin - value->yMin) < 0.5);
    const PdfWord *number = p.pdf.find(QStringLiteral("1."));
    QVERIFY(number && qAbs(number->xMin - px(1.0)) < 0.5);
}

void TestModReport::shiftCountsAreGroupedAndEndAtFourInches()
{
    DataSet data = buildDefaultData();
    data.Value[37] = 1234567; // current shift good cans
    data.Value[84] = 2000000; // last shift restart blow-offs
    data.Value[121] = 45678;  // lifetime count
    data.Value[0] = 3;        // spindle 1 trip offset
    const Printed p = printReport(pdf("shift.pdf"), data, {false, true}, QStringLiteral("[x]"));
    QVERIFY(p.pdf.ok);
    for (const char *value : {"1,234,567", "2,000,000", "45,678", "3"}) {
        const PdfWord *w = p.pdf.find(QString::fromLatin1(value));
        QVERIFY2(w, value);
        QVERIFY2(qAbs(w->xMax - px(4.0)) < 0.5, qPrintable(QString::number(w->xMax)));
    }
}

void TestModReport::spindleGridRowsAndColumns()
{
    DataSet data = buildDefaultData();
    for (int s = 1; s <= 36; ++s)
        data.Value[43 + s - 1] = 1000 + s; // current shift trips
    const Printed p = printReport(pdf("grid.pdf"), data, {false, true}, QStringLiteral("[x]"));
    QVERIFY(p.pdf.ok);
    const PdfWord *one = p.pdf.find(QStringLiteral("1:"));
    const PdfWord *thirteen = p.pdf.find(QStringLiteral("13:"));
    const PdfWord *twelve = p.pdf.find(QStringLiteral("12:"));
    const PdfWord *thirtySix = p.pdf.find(QStringLiteral("36:"));
    QVERIFY(one && thirteen && twelve && thirtySix);
    // Spindle 13 on the first row, second column; 36 on the twelfth row, third.
    QVERIFY(qAbs(thirteen->yMin - one->yMin) < 0.5);
    QVERIFY(qAbs(thirtySix->yMin - twelve->yMin) < 0.5);
    QVERIFY(twelve->yMin > one->yMin);
    // Columns at 1.25, 3.25 and 5.25 inches; each cell starts with a blank.
    QVERIFY(one->xMin > px(1.25) && one->xMin < px(1.25) + 5);
    QVERIFY(thirteen->xMin > px(3.25) && thirteen->xMin < px(3.25) + 5);
    QVERIFY(thirtySix->xMin > px(5.25) && thirtySix->xMin < px(5.25) + 5);
    QCOMPARE(p.pdf.after(thirteen)->text, QStringLiteral("1,013"));
    QCOMPARE(p.pdf.after(thirtySix)->text, QStringLiteral("1,036"));
    // Twelve rows: the row after spindle 12 is not part of the grid.
    const double row = (twelve->yMin - one->yMin) / 11;
    QVERIFY(row > 12 && row < 15);
}

void TestModReport::pageFooterNumbersEachPage()
{
    const Printed p =
        printReport(pdf("pages.pdf"), buildDefaultData(), {}, QStringLiteral("[unnamed]"));
    QVERIFY(p.pdf.ok);
    // Set-up on one page, the shift part on two: no empty page at the end.
    QCOMPARE(p.pdf.pageCount, 3);
    for (int page = 1; page <= 3; ++page) {
        const PdfWord *label = p.pdf.find(QStringLiteral("Page"), page);
        QVERIFY(label);
        const PdfWord *number = p.pdf.after(label);
        QCOMPARE(number->text, QString::number(page));
        // Right-aligned at the right margin, near the bottom of the printable area.
        QVERIFY(qAbs(number->xMax - px(8.0 - 0.5)) < 0.5);
        QVERIFY(number->yMax > px(10.5 - 0.4) && number->yMax < px(10.5));
    }
}

void TestModReport::onlyTheShiftPartWhenOnlyItIsChosen()
{
    const Printed p =
        printReport(pdf("only.pdf"), buildDefaultData(), {false, true}, QStringLiteral("[a.sdt]"));
    QVERIFY(p.pdf.ok);
    const QString first = p.pdf.pageText(1);
    QVERIFY(first.startsWith(QStringLiteral("KESTRO Report: [a.sdt] Data Collection Counts")));
    QVERIFY(!p.pdf.find(QStringLiteral("Set-up")));
    QCOMPARE(p.pdf.after(p.pdf.find(QStringLiteral("Page"), 1))->text, QStringLiteral("1"));
}

void TestModReport::nothingPrintedWithBothPartsOff()
{
    const QString path = pdf("none.pdf");
    const Printed p = printReport(path, buildDefaultData(), {false, false}, QStringLiteral("[x]"));
    QVERIFY(!p.drawn);
    QVERIFY(!QFile::exists(path) || QFileInfo(path).size() == 0);
}

void TestModReport::sectionsThatDoNotFitMoveToANewPage()
{
    // 6.5 printable inches: after section B too little is left for C's 20
    // lines, so C starts page 2 under a header; D's 2 lines fit after it.
    const Printed p = printReport(pdf("short.pdf"), buildDefaultData(), {false, true},
                                  QStringLiteral("[x]"), QSizeF(8.5, 7));
    QVERIFY(p.pdf.ok);
    QCOMPARE(p.pdf.pageCount, 2);
    QVERIFY(p.pdf.pageText(1).contains(QStringLiteral("B. Current Shift Data")));
    QVERIFY(!p.pdf.pageText(1).contains(QStringLiteral("C. Last")));
    QVERIFY(p.pdf.pageText(2).startsWith(
        QStringLiteral("KESTRO Report: [x] C. Last (previous) Shift Data")));
    QVERIFY(p.pdf.pageText(2).contains(QStringLiteral("D. Lifetime Can Count")));
}

void TestModReport::roomIsTestedOnlyBeforeSections()
{
    // On Letter, section C runs far down page 1 without a test inside it;
    // only D moves on.
    const Printed p =
        printReport(pdf("letter.pdf"), buildDefaultData(), {false, true}, QStringLiteral("[x]"));
    QVERIFY(p.pdf.ok);
    QCOMPARE(p.pdf.pageCount, 2);
    QCOMPARE(p.pdf.count(QStringLiteral("36:")), 2);
    QVERIFY(p.pdf.find(QStringLiteral("36:"), 1, 1));
    QVERIFY(p.pdf.pageText(2).startsWith(QStringLiteral("KESTRO Report: [x] D. Lifetime")));
}

QTEST_MAIN(TestModReport)
#include "test_modreport.moc"
