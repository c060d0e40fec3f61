// A live value label inside an MDI sub-window, as the operator windows show
// it: new values are painted, and never re-lay out the window.
#include "displays/valuelabel.h"

#include <QGroupBox>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QTest>
#include <QVBoxLayout>

namespace
{

// Counts what one window's widgets receive.
class EventCounter final : public QObject
{
public:
    explicit EventCounter(QWidget *window) : m_window(window) {}
    int layoutRequests = 0;
    int labelPaints = 0;
    QWidget *label = nullptr;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (!watched->isWidgetType() || static_cast<QWidget *>(watched)->window() != m_window)
            return false;
        if (event->type() == QEvent::LayoutRequest)
            ++layoutRequests;
        if (event->type() == QEvent::Paint && watched == label)
            ++labelPaints;
        return false;
    }

private:
    QWidget *m_window;
};

} // namespace

class TestValueLabel : public QObject
{
    Q_OBJECT
private slots:
    void newValuesRepaintWithoutLayout()
    {
        QMdiArea area;
        auto *form = new QWidget;
        auto *box = new QGroupBox(QStringLiteral("Machine CPM"), form);
        auto *label = new ValueLabel(QStringLiteral("-"), QStringLiteral("8,888,888,888"), box);
        label->setFrameShape(QFrame::StyledPanel);
        label->setAlignment(Qt::AlignCenter);
        (new QVBoxLayout(box))->addWidget(label);
        (new QVBoxLayout(form))->addWidget(box);
        QMdiSubWindow *sub = area.addSubWindow(form);
        sub->setWindowTitle(QStringLiteral("Main Display"));
        area.resize(600, 300);
        area.show();
        sub->showMaximized();
        QVERIFY(QTest::qWaitForWindowExposed(&area));
        QTest::qWait(50);

        const QSize hint = label->sizeHint();
        EventCounter counter(&area);
        counter.label = label;
        qApp->installEventFilter(&counter);
        for (int i = 0; i < 50; ++i) {
            // Texts of every width, as a count grows from nothing.
            label->setText(QString::number(qint64(1) << (i % 31)));
            QCoreApplication::processEvents();
        }
        QTest::qWait(50);
        qApp->removeEventFilter(&counter);

        QCOMPARE(counter.layoutRequests, 0);
        QVERIFY(counter.labelPaints > 0);
        QCOMPARE(label->text(), QString::number(qint64(1) << 18));
        QCOMPARE(label->sizeHint(), hint);
        // Wide enough for the widest text it is meant for.
        QVERIFY(label->width() >=
                label->fontMetrics().horizontalAdvance(QStringLiteral("8,888,888,888")));
    }

    void fontChangeResizes()
    {
        ValueLabel label(QStringLiteral("-"), QStringLiteral("88888"));
        const QSize before = label.sizeHint();
        QFont font = label.font();
        font.setPointSizeF(font.pointSizeF() * 2);
        label.setFont(font);
        QVERIFY(label.sizeHint().width() > before.width());
        QVERIFY(label.sizeHint().height() > before.height());
    }
};

QTEST_MAIN(TestValueLabel)
#include "test_valuelabel.moc"
