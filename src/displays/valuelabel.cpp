#include "valuelabel.h"

#include <QEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QStyle>

#include <cmath>

ValueLabel::ValueLabel(const QString &text, const QString &widestText, QWidget *parent)
    : QFrame(parent), m_text(text), m_widestText(widestText)
{
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
}

void ValueLabel::setText(const QString &text)
{
    m_lastGood = QTime::currentTime();
    if (m_stale) {
        m_stale = false;
        setToolTip(QString());
    } else if (text == m_text) {
        return;
    }
    m_text = text;
    update(contentsRect());
}

void ValueLabel::markStale()
{
    if (m_stale)
        return;
    m_stale = true;
    setToolTip(QStringLiteral("Not Read Since ") + staleTime());
    update(contentsRect());
}

QString ValueLabel::staleTime() const
{
    return m_lastGood.isValid() ? m_lastGood.toString(QStringLiteral("HH:mm:ss"))
                                : QStringLiteral("--:--:--");
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

const ValueLabel::Shaped &ValueLabel::shaped(const QString &text)
{
    for (const Shaped &s : m_shaped) {
        if (s.layout && s.layout->text() == text)
            return s;
    }
    // Laid out as QPainter::drawText lays out one line, once for each text.
    Shaped &s = m_shaped[m_nextShaped];
    m_nextShaped = (m_nextShaped + 1) % m_shaped.size();
    s.layout = std::make_unique<QTextLayout>(text, font());
    s.layout->setCacheEnabled(true);
    QTextOption option;
    option.setWrapMode(QTextOption::NoWrap);
    s.layout->setTextOption(option);
    s.layout->beginLayout();
    QTextLine line = s.layout->createLine();
    line.setLineWidth(qreal(QWIDGETSIZE_MAX));
    line.setPosition(QPointF(0, 0));
    s.layout->endLayout();
    s.size = QSizeF(line.horizontalAdvance(), line.height());
    return s;
}

void ValueLabel::paintEvent(QPaintEvent *event)
{
    // A new value dirties the contents alone; the frame is drawn only when
    // it is part of what needs painting.
    // At a fractional scale the contents and the frame share the device
    // pixels on their border, and repainting the contents clears them: the
    // frame is drawn again too.
    const qreal scale = devicePixelRatioF();
    if (scale != std::floor(scale) || !contentsRect().contains(event->rect()))
        QFrame::paintEvent(event);
    if (m_text.isEmpty())
        return;
    QPainter painter(this);
    const QRect rect = textRect();
    const Qt::Alignment align = QStyle::visualAlignment(layoutDirection(), m_alignment);
    if (!isEnabled() || m_stale) {
        // The style's own disabled look; offline and stale values are seldom
        // painted.
        QPalette greyed = palette();
        greyed.setCurrentColorGroup(QPalette::Disabled);
        style()->drawItemText(&painter, rect, int(align), greyed, false, m_text, foregroundRole());
        if (m_stale) {
            // The time of the last good value, small, in the top corner.
            QFont small = font();
            small.setPointSizeF(qMax(6.0, small.pointSizeF() * 0.6));
            small.setBold(false);
            painter.setFont(small);
            style()->drawItemText(&painter, contentsRect().adjusted(2, 1, -2, -1),
                                  int(Qt::AlignRight | Qt::AlignTop), greyed, false, staleTime(),
                                  foregroundRole());
        }
        return;
    }
    // Drawn where QPainter::drawText would put it, without shaping the text
    // again on every paint.
    const Shaped &text = shaped(m_text);
    const QSizeF size = text.size;
    qreal x = rect.left();
    if (align & Qt::AlignRight)
        x = rect.left() + rect.width() - size.width();
    else if (align & Qt::AlignHCenter)
        x = rect.left() + (rect.width() - size.width()) / 2;
    qreal y = rect.top();
    if (align & Qt::AlignBottom)
        y = rect.top() + rect.height() - size.height();
    else if (align & Qt::AlignVCenter)
        y = rect.top() + (rect.height() - size.height()) / 2;
    painter.setPen(QPen(palette().brush(foregroundRole()), 0));
    text.layout->lineAt(0).draw(&painter, QPointF(x, y));
}

void ValueLabel::changeEvent(QEvent *event)
{
    // The size follows the font and the frame, which are set once.
    if (event->type() == QEvent::FontChange) {
        for (Shaped &s : m_shaped)
            s = Shaped();
        m_nextShaped = 0;
    }
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange ||
        event->type() == QEvent::ContentsRectChange)
        updateGeometry();
    QFrame::changeEvent(event);
}
