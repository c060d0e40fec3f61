#pragma once

#include <QFrame>
#include <QString>
#include <QTextLayout>
#include <QTime>

#include <array>
#include <memory>

// A live value on an operator window. Its size comes from the widest text it
// is meant to show, never from the text it shows: a new value only repaints
// the label. (A QLabel re-lays out its whole window, up to the MDI frame and
// its elided title, on every text change, which a refresh pass makes many
// times a second.)
class ValueLabel final : public QFrame
{
    Q_OBJECT
public:
    ValueLabel(const QString &text, const QString &widestText, QWidget *parent = nullptr);

    QString text() const { return m_text; }
    // A value read: shown, and the label is current again.
    void setText(const QString &text);
    // The read of a new value failed: the last good value stays, greyed, with
    // the time it was read, never a made-up 0.
    void markStale();
    bool isStale() const { return m_stale; }
    QTime lastGoodTime() const { return m_lastGood; }
    Qt::Alignment alignment() const { return m_alignment; }
    void setAlignment(Qt::Alignment alignment);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    int indent() const;
    QString staleTime() const;
    QRect textRect() const;
    struct Shaped {
        std::unique_ptr<QTextLayout> layout;
        QSizeF size; // of its one line, by which QPainter::drawText aligns
    };
    const Shaped &shaped(const QString &text);

    QString m_text;
    // The last few texts, laid out once: a live value keeps coming back to
    // the same few ("ON", "off", a speed that hovers).
    std::array<Shaped, 8> m_shaped;
    std::size_t m_nextShaped = 0;
    QString m_widestText;
    Qt::Alignment m_alignment = Qt::AlignLeft | Qt::AlignVCenter;
    bool m_stale = false;
    QTime m_lastGood;
};
