#pragma once

#include "machine/dataset.h"

#include <QFont>
#include <QString>

class QPainter;
class ReportJob;

// Which parts of the report are printed.
struct ReportOptions {
    bool gPrintSetupParameters = true;
    bool gPrintShiftDataCounts = true;
};

enum class ReportFont { PageHeader, PartTitle, SectionHeading, Item, Footer };
enum class PageBreak { IfNeeded, Force };

// The printed report of the working data: set-up parameters and shift data
// counts with their page frame. Positions are in inches from the top left of
// the printable area; the report only reads the data it is given.
class ModReport
{
public:
    ModReport(ReportJob &job, const DataSet &data, const ReportOptions &options);

    void RunReport(const QString &title);

    void PrintPageHeader();
    void FinishPage();
    void EnsureRoom(PageBreak forceNewPage, int lines);
    void PrintSetupPart();
    void PrintShiftDataPart();
    void SetReportFont(ReportFont font);

    // " 600", "-5": the number with a blank in front unless it is negative.
    static QString plainValue(qint64 value);
    // "1,234,567": the locale's digit grouping, always grouped.
    static QString groupedValue(qint64 value);

private:
    // Printer-style output: text at the print position; ending the line
    // moves down one text height and back to the left edge.
    void print(const QString &text);
    void printLine(const QString &text = QString());
    void moveTo(double x, double y)
    {
        m_x = x;
        m_y = y;
    }
    void drawLine(double x1, double y1, double x2, double y2);
    double textWidth(const QString &text) const;
    double textHeight() const;
    QPainter *painter();

    void sectionHeading(const QString &heading);
    void itemLine(const QString &caption, const QString &value, double rightEdge);
    void shiftBlock(int firstCount, int firstTrips);

    ReportJob &m_job;
    const DataSet &m_data;
    ReportOptions m_options;

    QString ReportTitle;
    double LeftMargin = 0.5;
    double LineX = 0;
    double LineY = 0;

    QFont m_font;
    double m_x = 0;
    double m_y = 0;
    int m_pageNumber = 1;
};
