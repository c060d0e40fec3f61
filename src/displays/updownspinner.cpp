#include "updownspinner.h"

#include "machine/valuetext.h"

#include <QLineEdit>
#include <QToolButton>
#include <QVBoxLayout>

UpDownSpinner::UpDownSpinner(QLineEdit *buddy, QWidget *parent)
    : QWidget(parent), m_buddy(buddy), m_up(new QToolButton(this)), m_down(new QToolButton(this))
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    for (QToolButton *button : {m_up, m_down}) {
        button->setFocusPolicy(Qt::NoFocus);
        button->setAutoRepeat(true);
        layout->addWidget(button);
    }
    // As tall as the text box, whatever room the layout offers.
    const QSize size = sizeHint();
    setFixedSize(size);
    m_up->setFixedSize(size.width(), size.height() / 2);
    m_down->setFixedSize(size.width(), size.height() - size.height() / 2);
    m_up->setArrowType(Qt::UpArrow);
    m_down->setArrowType(Qt::DownArrow);
    m_up->setObjectName(QStringLiteral("up"));
    m_down->setObjectName(QStringLiteral("down"));
    setFocusPolicy(Qt::NoFocus);
    connect(m_up, &QToolButton::clicked, this, [this] { step(Direction::Up); });
    connect(m_down, &QToolButton::clicked, this, [this] { step(Direction::Down); });
}

void UpDownSpinner::setRange(qint32 minimum, qint32 maximum)
{
    m_minimum = minimum;
    m_maximum = qMax(minimum, maximum);
}

bool UpDownSpinner::step(Direction direction)
{
    // The spinner starts from what the text box shows, held to its limits,
    // so a step out of a value the operator mistyped lands inside them.
    const qint32 current = qBound(m_minimum, roundedTextValue(m_buddy->text()), m_maximum);
    qint32 next = current;
    if (direction == Direction::Up && current < m_maximum)
        ++next;
    else if (direction == Direction::Down && current > m_minimum)
        --next;
    const QString text = QString::number(next);
    if (next == current && m_buddy->text() == text)
        return false;
    m_buddy->setText(text);
    emit changed();
    return true;
}

QSize UpDownSpinner::sizeHint() const
{
    const int height = m_buddy ? m_buddy->sizeHint().height() : 22;
    return {qMax(16, height * 2 / 3), height};
}
