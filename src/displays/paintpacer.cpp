#include "paintpacer.h"

#include <QCoreApplication>
#include <QEvent>
#include <QWidget>

PaintPacer::PaintPacer(QObject *parent) : QObject(parent)
{
    m_heldPaint.setSingleShot(true);
    m_heldPaint.setTimerType(Qt::PreciseTimer);
    connect(&m_heldPaint, &QTimer::timeout, this, &PaintPacer::releaseHeldPaint);
}

PaintPacer::~PaintPacer()
{
    watch(nullptr);
}

void PaintPacer::watch(QWidget *window)
{
    if (window == m_window)
        return;
    if (m_window) {
        m_window->removeEventFilter(this);
        if (m_heldPaint.isActive()) {
            m_heldPaint.stop();
            m_sinceLastPaint.invalidate();
            releaseHeldPaint();
        }
    }
    m_window = window;
    m_sinceLastPaint.invalidate();
    if (m_window)
        m_window->installEventFilter(this);
}

bool PaintPacer::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_window || event->type() != QEvent::UpdateRequest)
        return false;
    if (m_released || !m_sinceLastPaint.isValid() || m_sinceLastPaint.elapsed() >= m_intervalMs) {
        m_released = false;
        m_heldPaint.stop();
        m_sinceLastPaint.start();
        return false; // painted now
    }
    // The window keeps what needs painting; one request later paints it all.
    if (!m_heldPaint.isActive())
        m_heldPaint.start(int(m_intervalMs - m_sinceLastPaint.elapsed()));
    return true;
}

void PaintPacer::releaseHeldPaint()
{
    if (!m_window)
        return;
    m_released = true;
    QCoreApplication::postEvent(m_window, new QEvent(QEvent::UpdateRequest), Qt::LowEventPriority);
}
