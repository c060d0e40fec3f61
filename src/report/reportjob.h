#pragma once

#include <QPainter>

class QPagedPaintDevice;

// One print job on a paged device. The painter starts with the first thing
// drawn, so a job in which nothing is drawn leaves no document behind; a
// page break only takes effect when something is drawn after it, so a job
// never ends on an empty page.
class ReportJob
{
public:
    explicit ReportJob(QPagedPaintDevice &device);
    ~ReportJob();
    ReportJob(const ReportJob &) = delete;
    ReportJob &operator=(const ReportJob &) = delete;

    QPagedPaintDevice &device() const { return m_device; }
    // The painter for the next drawing, on a new page when one was asked for.
    // Null when the device refused to start the job.
    QPainter *painter();
    void breakPage() { m_pageBreakPending = m_painter.isActive(); }
    // Ends the job so the document goes to the printer or file. False when
    // nothing was drawn or the device failed.
    bool end();
    bool failed() const { return m_failed; }

private:
    QPagedPaintDevice &m_device;
    QPainter m_painter;
    bool m_pageBreakPending = false;
    bool m_failed = false;
};
