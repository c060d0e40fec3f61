// The paint pacer on a shown window: a burst of changes, each followed by a
// turn of the event loop, is painted once, and the held paint shows the
// last value when pacing stops.
#include "displays/paintpacer.h"

#include <QLabel>
#include <QPaintEvent>
#include <QTest>
#include <QVBoxLayout>

namespace
{

class CountingLabel final : public QLabel
{
public:
    using QLabel::QLabel;
    int paints = 0;
    QString paintedText;

protected:
    void paintEvent(QPaintEvent *event) override
    {
        ++paints;
        paintedText = text();
        QLabel::paintEvent(event);
    }
};

struct Window {
    QWidget top;
    CountingLabel *label = new CountingLabel(QStringLiteral("0"));

    Window()
    {
        label->setFixedSize(120, 30);
        auto *layout = new QVBoxLayout(&top);
        layout->addWidget(label);
        top.show();
    }
};

} // namespace

class TestPaintPacer : public QObject
{
    Q_OBJECT
private slots:
    void unpacedWindowPaintsEveryChange();
    void burstIsHeldAndLetGoWhenPacingStops();
    void heldPaintComesAfterTheInterval();
};

void TestPaintPacer::unpacedWindowPaintsEveryChange()
{
    Window w;
    QVERIFY(QTest::qWaitForWindowExposed(&w.top));
    QTest::qWait(50);
    const int before = w.label->paints;
    for (int i = 1; i <= 20; ++i) {
        w.label->setText(QString::number(i));
        QCoreApplication::processEvents();
    }
    // The reference: without pacing every turn of the loop paints.
    QCOMPARE(w.label->paints - before, 20);
    QCOMPARE(w.label->paintedText, QStringLiteral("20"));
}

void TestPaintPacer::burstIsHeldAndLetGoWhenPacingStops()
{
    Window w;
    QVERIFY(QTest::qWaitForWindowExposed(&w.top));
    QTest::qWait(50);
    PaintPacer pacer;
    pacer.setInterval(60 * 60 * 1000); // nothing comes due during the test
    pacer.watch(&w.top);
    const int before = w.label->paints;
    for (int i = 1; i <= 20; ++i) {
        w.label->setText(QString::number(i));
        QCoreApplication::processEvents();
    }
    // The first change paints at once; the others wait for the next slot.
    QCOMPARE(w.label->paints - before, 1);
    QCOMPARE(w.label->paintedText, QStringLiteral("1"));
    QCOMPARE(w.label->text(), QStringLiteral("20")); // the control has its value

    pacer.watch(nullptr);
    QTRY_COMPARE(w.label->paintedText, QStringLiteral("20"));
    QCOMPARE(w.label->paints - before, 2);
}

void TestPaintPacer::heldPaintComesAfterTheInterval()
{
    Window w;
    QVERIFY(QTest::qWaitForWindowExposed(&w.top));
    QTest::qWait(50);
    PaintPacer pacer;
    pacer.watch(&w.top);
    w.label->setText(QStringLiteral("a"));
    QCoreApplication::processEvents();
    w.label->setText(QStringLiteral("b"));
    QCoreApplication::processEvents();
    // Painted without anything else happening: the pacer asks for it itself.
    QTRY_COMPARE(w.label->paintedText, QStringLiteral("b"));
}

QTEST_MAIN(TestPaintPacer)
#include "test_paintpacer.moc"
