#pragma once

#include <QWidget>

class QLineEdit;
class QToolButton;

// An up-down spinner bound to a text box: a step reads the number in the
// text box, moves it by one within the limits and writes it back. It never
// takes the focus, so stepping does not leave the text box by itself.
class UpDownSpinner : public QWidget
{
    Q_OBJECT
public:
    enum class Direction { Up, Down };

    explicit UpDownSpinner(QLineEdit *buddy, QWidget *parent = nullptr);

    void setRange(qint32 minimum, qint32 maximum);
    qint32 minimum() const { return m_minimum; }
    qint32 maximum() const { return m_maximum; }
    void setMaximum(qint32 maximum) { setRange(m_minimum, maximum); }
    QLineEdit *buddy() const { return m_buddy; }

    // One step as a click on an arrow does it; false when the value is
    // already at that end (nothing is written then).
    bool step(Direction direction);

    QSize sizeHint() const override;

signals:
    // The buddy's text was changed by a step.
    void changed();

private:
    QLineEdit *m_buddy;
    QToolButton *m_up;
    QToolButton *m_down;
    qint32 m_minimum = 0;
    qint32 m_maximum = 10;
};
