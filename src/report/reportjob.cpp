#include "reportjob.h"

#include <QPagedPaintDevice>

ReportJob::ReportJob(QPagedPaintDevice &device) : m_device(device) {}

ReportJob::~ReportJob()
{
    end();
}

QPainter *ReportJob::painter()
{
    if (m_failed)
        return nullptr;
    if (!m_painter.isActive()) {
        if (!m_painter.begin(&m_device)) {
            m_failed = true;
            return nullptr;
        }
        m_painter.setRenderHint(QPainter::Antialiasing);
        m_painter.setRenderHint(QPainter::TextAntialiasing);
    } else if (m_pageBreakPending) {
        m_pageBreakPending = false;
        if (!m_device.newPage()) {
            m_failed = true;
            return nullptr;
        }
    }
    return &m_painter;
}

bool ReportJob::end()
{
    if (!m_painter.isActive())
        return false;
    m_pageBreakPending = false;
    if (!m_painter.end())
        m_failed = true;
    return !m_failed;
}
