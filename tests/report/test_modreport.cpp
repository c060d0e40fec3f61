// The printed report read back from the PDF it draws: texts, right edges,
// the spindle grid, page frame and page breaks.

#include "fakes/pdfwords.h"
#include "machine/dataset.h"
#include "report/modreport.h"
#include "report/reportjob.h"

#include <QPageLayout>
#include <QPdfWriter>
#include <QTemporaryDir>
#include <QTest>

namespace
{

constexpr double Margin = 0.25; // inches of unprintable border in these tests

// x or y in points on the page of a position in inches on the printable area.
double pt(double inches)
{
    return (Margin + inches) * 72.0;
}

} // namespace

class TestModReport : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    // Draws the report; false when nothing was drawn.
    bool print(PdfWords &pdf, const DataSet &data, ReportOptions options, double pageHeight = 11)
    {
        const QString path = m_dir.filePath(QStringLiteral("report.pdf"));
        bool drawn = false;
        {
            QPdfWriter writer(path);
            writer.setResolution(600);
            writer.setPageLayout(QPageLayout(
                QPageSize(QSizeF(8.5, pageHeight), QPageSize::Inch), QPageLayout::Portrait,
                QMarginsF(Margin, Margin, Margin, Margin), QPageLayout::Inch));
            ReportJob job(writer);
            ModReport(job, data, options).RunReport(QStringLiteral("[line3.sdt]"));
            drawn = job.end();
        }
        if (drawn)
            pdf = PdfWords::read(path);
        return drawn;
    }
    static bool near(double a, double b) { return qAbs(a - b) < 0.5; }

private slots:
    void wholeReport()
    {
        DataSet data = buildDefaultData();
        data.Value[123] = 1000;
        data.Value[137] = -7;
        data.Value[37] = 1234567; // current shift good cans
        data.Value[84] = 2000000; // last shift restart blow-offs
        data.Value[121] = 45678;  // lifetime count
        for (int s = 1; s <= 36; ++s)
            data.Value[43 + s - 1] = 1000 + s; // current shift trips
        PdfWords pdf;
        QVERIFY(print(pdf, data, {}) && pdf.ok);
        // Set-up on one page, the shift part on two: no empty page at the end.
        QCOMPARE(pdf.pageCount, 3);
        for (int page = 1; page <= 3; ++page) {
            QVERIFY(pdf.pageText(page).startsWith(QStringLiteral("KESTRO Report: [line3.sdt]")));
            const PdfWord *top = pdf.find(QStringLiteral("KESTRO"), page);
            QVERIFY(top->yMin > pt(0.1) - 2 && top->yMin < pt(0.1) + 4);
            // "Page n" at the right margin, near the bottom of the printable area.
            const PdfWord *number = pdf.after(pdf.find(QStringLiteral("Page"), page));
            QCOMPARE(number->text, QString::number(page));
            QVERIFY(near(number->xMax, pt(7.5)));
            QVERIFY(number->yMax > pt(10.1) && number->yMax < pt(10.5));
        }
        // Set-up values end at 5.5 inches, on their caption's line; captions
        // are numbered from one inch in. Shift counts are grouped, ending at 4.
        for (const char *value : {"600", "1000", "-7"})
            QVERIFY2(near(pdf.find(QString::fromLatin1(value))->xMax, pt(5.5)), value);
        QVERIFY(near(pdf.find(QStringLiteral("Canfeed"))->yMin, pdf.find("600")->yMin));
        QVERIFY(near(pdf.find(QStringLiteral("1."))->xMin, pt(1.0)));
        for (const char *value : {"1,234,567", "2,000,000", "45,678"})
            QVERIFY2(near(pdf.find(QString::fromLatin1(value))->xMax, pt(4.0)), value);

        // Twelve rows of three spindles at 1.25, 3.25 and 5.25 inches.
        const PdfWord *one = pdf.find(QStringLiteral("1:"));
        const PdfWord *twelve = pdf.find(QStringLiteral("12:"));
        const PdfWord *thirteen = pdf.find(QStringLiteral("13:"));
        const PdfWord *thirtySix = pdf.find(QStringLiteral("36:"));
        QVERIFY(near(thirteen->yMin, one->yMin) && near(thirtySix->yMin, twelve->yMin));
        const double row = (twelve->yMin - one->yMin) / 11;
        QVERIFY(row > 12 && row < 15);
        QVERIFY(one->xMin > pt(1.25) && one->xMin < pt(1.25) + 5);
        QVERIFY(thirteen->xMin > pt(3.25) && thirteen->xMin < pt(3.25) + 5);
        QVERIFY(thirtySix->xMin > pt(5.25) && thirtySix->xMin < pt(5.25) + 5);
        QCOMPARE(pdf.after(thirteen)->text, QStringLiteral("1,013"));
        QCOMPARE(pdf.after(thirtySix)->text, QStringLiteral("1,036"));
    }

    // The room left is tested only before a section: on Letter section C
    // runs far down page 1 and only D moves on; on 7-inch paper C itself
    // does not fit after B. Each new page starts with the header.
    void pageBreaks_data()
    {
        QTest::addColumn<double>("height");
        QTest::addColumn<QString>("page2");
        QTest::newRow("Letter") << 11.0 << "KESTRO Report: [line3.sdt] D. Lifetime";
        QTest::newRow("7 inches") << 7.0 << "KESTRO Report: [line3.sdt] C. Last (previous) Shift";
    }
    void pageBreaks()
    {
        QFETCH(double, height);
        QFETCH(QString, page2);
        PdfWords pdf;
        QVERIFY(print(pdf, buildDefaultData(), {false, true}, height) && pdf.ok);
        QCOMPARE(pdf.pageCount, 2);
        QVERIFY(pdf.pageText(1).startsWith(
            QStringLiteral("KESTRO Report: [line3.sdt] Data Collection Counts")));
        QVERIFY(!pdf.find(QStringLiteral("Set-up")));
        QVERIFY(pdf.pageText(2).startsWith(page2));
        QVERIFY(pdf.pageText(2).contains(QStringLiteral("D. Lifetime Can Count")));
        QCOMPARE(pdf.after(pdf.find(QStringLiteral("Page"), 1))->text, QStringLiteral("1"));
        // With both parts off nothing is printed.
        QVERIFY(!print(pdf, buildDefaultData(), {false, false}));
    }
};

QTEST_MAIN(TestModReport)
#include "test_modreport.moc"
