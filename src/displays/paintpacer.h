#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QTimer>

class QWidget;

// Holds the paint cycles of one top-level window to at most one per
// interval. A refresh pass sets the text of a control after every register
// read and lets the event loop run before the next one; without this, each
// read would be followed by a paint of its own. Controls still take their
// new values at once; the paint that shows them comes at the next slot, and
// one paint shows every change made since the last.
class PaintPacer final : public QObject
{
public:
    static constexpr int DefaultIntervalMs = 40;

    explicit PaintPacer(QObject *parent = nullptr);
    ~PaintPacer() override;

    // The window whose paints are paced; nullptr stops pacing (a held
    // paint is let go at once).
    void watch(QWidget *window);
    void setInterval(int ms) { m_intervalMs = ms; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void releaseHeldPaint();

    QPointer<QWidget> m_window;
    int m_intervalMs = DefaultIntervalMs;
    QElapsedTimer m_sinceLastPaint;
    QTimer m_heldPaint;
    // The request this pacer posted itself: always let through.
    bool m_released = false;
};
