#include "modreport.h"

#include "reportjob.h"

#include <QDateTime>
#include <QFontMetricsF>
#include <QLocale>
#include <QPagedPaintDevice>
#include <QPainter>

namespace
{

// Set-up items 125..134 and 135..137 in print order.
const char *const BlowOffCaptions[] = {
    "1. Number of Pins to Pin Chain Blow-off Port:",
    "2. Number of Cans to Blow-off for Each Misload:",
    "3. Number of Cans to Blow-off at Infeed Open:",
    "4. Number of Cans to Blow-off from Appl. No.1 at Restart:",
    "5. Number of Cans to Blow-off from Appl. No.2 at Restart:",
    "6. Q.C. Can Blow-off Port Shift Offset:",
    "7. Bad Can Blow-off Solenoid ON Response Time (msec):",
    "8. Bad Can Blow-off Solenoid Off Response Time (msec):",
    "9. Q.C. Can Blow-off Solenoid ON Response Time (msec):",
    "10. Q.C. Can Blow-off Solenoid Off Response Time (msec):",
};
const char *const TimingCaptions[] = {
    "1. Bad Can Blow-off ON Position (degrees):",
    "2. Q.C. Can Blow-off ON Position (degrees):",
    "3. Can Gate Timing ON Position (degrees):",
};
const char *const ShiftCaptions[] = {
    "1. Total Good Cans:",  "2. Total Blow-offs:", "3. Bad Can Blow-off:",
    "4. Manual Blow-offs:", "5. Q.C. Blow-offs:",  "6. Restart Blow-offs:",
};

constexpr double SetupRightEdge = 5.5;
constexpr double ShiftRightEdge = 4.0;
constexpr int SpindleRows = 12;

} // namespace

ModReport::ModReport(ReportJob &job, const DataSet &data, const ReportOptions &options)
    : m_job(job), m_data(data), m_options(options)
{
    SetReportFont(ReportFont::Item);
}

QString ModReport::plainValue(qint64 value)
{
    const QString digits = QString::number(value);
    return value < 0 ? digits : QLatin1Char(' ') + digits;
}

QString ModReport::groupedValue(qint64 value)
{
    // The C locale leaves grouping out unless asked: counts are always grouped.
    QLocale locale = QLocale::system();
    locale.setNumberOptions(locale.numberOptions() & ~QLocale::OmitGroupSeparator);
    return locale.toString(value);
}

// ------------------------------------------------------------ the device

QPainter *ModReport::painter()
{
    QPainter *p = m_job.painter();
    if (p)
        p->setFont(m_font);
    return p;
}

void ModReport::SetReportFont(ReportFont font)
{
    // "Times" where it exists; otherwise a face with the same metrics, so that
    // captions measure as they were laid out, before any serif fallback.
    QFont f;
    f.setFamilies({QStringLiteral("Times"), QStringLiteral("Times New Roman"),
                   QStringLiteral("Liberation Serif"), QStringLiteral("Nimbus Roman"),
                   QStringLiteral("TeX Gyre Termes")});
    f.setStyleHint(QFont::Times);
    switch (font) {
    case ReportFont::PageHeader:
        f.setPointSize(12);
        f.setBold(true);
        break;
    case ReportFont::PartTitle:
    case ReportFont::SectionHeading:
        f.setPointSize(14);
        f.setBold(true);
        break;
    case ReportFont::Item:
        f.setPointSize(12);
        break;
    case ReportFont::Footer:
        f.setPointSize(10);
        break;
    }
    m_font = f;
}

double ModReport::textWidth(const QString &text) const
{
    QFontMetricsF metrics(m_font, &m_job.device());
    return metrics.horizontalAdvance(text) / m_job.device().logicalDpiX();
}

double ModReport::textHeight() const
{
    QFontMetricsF metrics(m_font, &m_job.device());
    return metrics.height() / m_job.device().logicalDpiY();
}

void ModReport::print(const QString &text)
{
    if (QPainter *p = painter()) {
        const QPagedPaintDevice &d = m_job.device();
        const QFontMetricsF metrics(m_font, &d);
        p->drawText(QPointF(m_x * d.logicalDpiX(), m_y * d.logicalDpiY() + metrics.ascent()), text);
    }
    m_x += textWidth(text);
}

void ModReport::printLine(const QString &text)
{
    if (!text.isEmpty())
        print(text);
    m_x = 0;
    m_y += textHeight();
}

void ModReport::drawLine(double x1, double y1, double x2, double y2)
{
    QPainter *p = painter();
    if (!p)
        return;
    const QPagedPaintDevice &d = m_job.device();
    QPen pen(Qt::black);
    pen.setWidthF(d.logicalDpiX() / 96.0);
    p->setPen(pen);
    p->drawLine(QPointF(x1 * d.logicalDpiX(), y1 * d.logicalDpiY()),
                QPointF(x2 * d.logicalDpiX(), y2 * d.logicalDpiY()));
}

// --------------------------------------------------------- the page frame

void ModReport::RunReport(const QString &title)
{
    ReportTitle = title;
    LeftMargin = 0.5;
    m_pageNumber = 1;
    moveTo(0, 0);
    if (m_options.gPrintSetupParameters)
        PrintSetupPart();
    if (m_options.gPrintShiftDataCounts)
        PrintShiftDataPart();
}

void ModReport::PrintPageHeader()
{
    const QPagedPaintDevice &d = m_job.device();
    const double pageWidth = double(d.width()) / d.logicalDpiX();
    SetReportFont(ReportFont::PageHeader);
    const QString t = QStringLiteral("KESTRO Report: ") + ReportTitle;
    moveTo((pageWidth - textWidth(t) - LeftMargin) / 2, 0.1);
    printLine(t);
    LineY = m_y + textHeight();
    LineX = pageWidth - LeftMargin;
    drawLine(LeftMargin, LineY, LineX, LineY);
    moveTo(LeftMargin, LineY + 0.25);
}

void ModReport::FinishPage()
{
    const QPagedPaintDevice &d = m_job.device();
    const double pageWidth = double(d.width()) / d.logicalDpiX();
    const double pageHeight = double(d.height()) / d.logicalDpiY();
    SetReportFont(ReportFont::Footer);
    const double y = pageHeight - textHeight() - 0.1;
    moveTo(LeftMargin, y);
    print(QLocale::system().toString(QDateTime::currentDateTime(), QLocale::ShortFormat));
    const QString p = QStringLiteral("Page ") + QString::number(m_pageNumber);
    m_x = pageWidth - textWidth(p) - LeftMargin;
    printLine(p);
    drawLine(LeftMargin, y - 0.1, pageWidth - LeftMargin, y - 0.1);
    m_job.breakPage();
    ++m_pageNumber;
    moveTo(0, 0);
}

void ModReport::EnsureRoom(PageBreak forceNewPage, int lines)
{
    if (forceNewPage == PageBreak::Force)
        FinishPage();
    const QPagedPaintDevice &d = m_job.device();
    const double pageHeight = double(d.height()) / d.logicalDpiY();
    if (pageHeight - lines * textHeight() < m_y + 0.9) {
        // The footer changes the font; the section that follows sets its own.
        const QFont font = m_font;
        FinishPage();
        m_font = font;
    }
    if (m_y == 0)
        PrintPageHeader();
}

// ------------------------------------------------------------- the parts

void ModReport::sectionHeading(const QString &heading)
{
    SetReportFont(ReportFont::SectionHeading);
    m_x = LeftMargin + 0.25;
    printLine(heading);
    SetReportFont(ReportFont::Item);
}

void ModReport::itemLine(const QString &caption, const QString &value, double rightEdge)
{
    SetReportFont(ReportFont::Item);
    m_x = LeftMargin + 0.5;
    print(caption);
    m_x = rightEdge - textWidth(value);
    printLine(value);
}

void ModReport::PrintSetupPart()
{
    auto setupItem = [this](const QString &caption, int index) {
        itemLine(caption, plainValue(m_data.valueAt(index)), SetupRightEdge);
    };

    PrintPageHeader();
    SetReportFont(ReportFont::PartTitle);
    printLine(QStringLiteral("Set-up Parameters"));
    printLine();

    sectionHeading(QStringLiteral("A. Speed Parameters"));
    setupItem(QStringLiteral("1. Canfeed Enable Low Speed: "), 122);
    setupItem(QStringLiteral("2. Canfeed Enable High Speed: "), 123);
    setupItem(QStringLiteral("3. Applicator Roll Speed Calibrate: "), 124);
    printLine();
    EnsureRoom(PageBreak::IfNeeded, 11);

    sectionHeading(QStringLiteral("B. Blow-off Parameters"));
    for (int i = 0; i < 10; ++i)
        setupItem(QString::fromLatin1(BlowOffCaptions[i]), 125 + i);
    printLine();
    EnsureRoom(PageBreak::IfNeeded, 4);

    sectionHeading(QStringLiteral("C. Machine Timing"));
    for (int i = 0; i < 3; ++i)
        setupItem(QString::fromLatin1(TimingCaptions[i]), 135 + i);
    printLine();
    FinishPage();
}

void ModReport::shiftBlock(int firstCount, int firstTrips)
{
    for (int i = 0; i < 6; ++i)
        itemLine(QString::fromLatin1(ShiftCaptions[i]),
                 groupedValue(m_data.valueAt(firstCount + i)), ShiftRightEdge);
    m_x = LeftMargin + 0.5;
    printLine(QStringLiteral("7. Trips Per Spindle:"));
    const double columns[3] = {LeftMargin + 0.75, LeftMargin + 2.75, LeftMargin + 4.75};
    for (int row = 0; row < SpindleRows; ++row) {
        for (int column = 0; column < 3; ++column) {
            const int spindle = row + 1 + column * SpindleRows;
            const QString cell = plainValue(spindle) + QStringLiteral(": ") +
                                 groupedValue(m_data.valueAt(firstTrips + spindle - 1));
            m_x = columns[column];
            if (column == 2)
                printLine(cell);
            else
                print(cell);
        }
    }
}

void ModReport::PrintShiftDataPart()
{
    PrintPageHeader();
    SetReportFont(ReportFont::PartTitle);
    printLine(QStringLiteral("Data Collection Counts (shift data)"));
    printLine();

    sectionHeading(QStringLiteral("A. Trips Per Spindle"));
    itemLine(QStringLiteral("1. Spindle No.1 Trip Shift Offset:"), plainValue(m_data.valueAt(0)),
             ShiftRightEdge);
    printLine();
    EnsureRoom(PageBreak::IfNeeded, 20);

    sectionHeading(QStringLiteral("B. Current Shift Data"));
    shiftBlock(37, 43);
    printLine();
    EnsureRoom(PageBreak::IfNeeded, 20);

    sectionHeading(QStringLiteral("C. Last (previous) Shift Data"));
    shiftBlock(79, 85);
    printLine();
    EnsureRoom(PageBreak::IfNeeded, 2);

    sectionHeading(QStringLiteral("D. Lifetime Can Count"));
    itemLine(QStringLiteral("1. Lifetime Can Count (x1,000):"), groupedValue(m_data.valueAt(121)),
             ShiftRightEdge);
    printLine();
    FinishPage();
}
