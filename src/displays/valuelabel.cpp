#include "valuelabel.h"

#include <QEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QStyle>

ValueLabel::ValueLabel(const QString &text, const QString &widestText, QWidget *parent)
    : QFrame(parent), m_text(text), m_widestText(widestText)
{
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
}

void ValueLabel::setText(const QString &text)
{
    if (text == m_text)
        return;
    m_text = text;
    update(contentsRect());
}

void ValueLabel::setAlignment(Qt::Alignment alignment)
{
    if (alignment == m_alignment)
        return;
    m_alignment = alignment;
    update(contentsRect());
}

int ValueLabel::indent() const
{
    // As a framed QLabel: text set against a side keeps half an x from it.
    if (frameWidth() <= 0 || !(m_alignment & (Qt::AlignLeft | Qt::AlignRight)))
        return 0;
    return fontMetrics().horizontalAdvance(QLatin1Char('x')) / 2;
}

QRect ValueLabel::textRect() const
{
    QRect rect = contentsRect();
    const int in = indent();
    if (m_alignment & Qt::AlignLeft)
        rect.setLeft(rect.left() + in);
    else if (m_alignment & Qt::AlignRight)
        rect.setRight(rect.right() - in);
    return rect;
}

QSize ValueLabel::sizeHint() const
{
    const QFontMetrics metrics = fontMetrics();
    const QMargins margins = contentsMargins();
    return QSize(metrics.horizontalAdvance(m_widestText) + indent() + margins.left() +
                     margins.right(),
                 metrics.height() + margins.top() + margins.bottom());
}

QSize ValueLabel::minimumSizeHint() const
{
    return sizeHint();
}

void ValueLabel::paintEvent(QPaintEvent *event)
{
    // A new value dirties the contents alone; the frame is drawn only when
    // it is part of what needs painting.
    if (!contentsRect().contains(event->rect()))
        QFrame::paintEvent(event);
    QPainter painter(this);
    style()->drawItemText(&painter, textRect(),
                          int(QStyle::visualAlignment(layoutDirection(), m_alignment)), palette(),
                          isEnabled(), m_text, foregroundRole());
}

void ValueLabel::changeEvent(QEvent *event)
{
    // The size follows the font and the frame, which are set once.
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange ||
        event->type() == QEvent::ContentsRectChange)
        updateGeometry();
    QFrame::changeEvent(event);
}
