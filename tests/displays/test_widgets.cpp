// The operator windows' own widgets on their own, shown and driven with the
// mouse and keys: the numeric entry field, the paint pacer, the value label.
#include "displays/numericentryfield.h"
#include "displays/paintpacer.h"
#include "displays/updownspinner.h"
#include "displays/valuelabel.h"
#include "fakes/scriptedprompt.h"

#include <QTest>
#include <QtWidgets>

namespace
{

struct Field {
    QWidget window;
    QLineEdit *txt = new QLineEdit(QStringLiteral("12"), &window);
    UpDownSpinner *upd = new UpDownSpinner(txt, &window);
    QLineEdit *next = new QLineEdit(&window);
    EntryWindowState state;
    ScriptedPrompt prompt;
    NumericEntryField field{txt, upd, state, prompt, QStringLiteral("Spindle")};
    QStringList accepted;

    Field()
    {
        auto *layout = new QVBoxLayout(&window);
        state.cmdDefault = makeFocusParkingButton(&window);
        for (QWidget *w : std::initializer_list<QWidget *>{txt, upd, next, state.cmdDefault})
            layout->addWidget(w);
        upd->setRange(1, 36);
        field.setAcceptAction([this](const QString &text) { accepted << text; });
        window.show();
    }
    void typeIn(const QString &text)
    {
        QTest::mouseClick(txt, Qt::LeftButton, {}, txt->rect().center());
        txt->selectAll();
        QTest::keyClicks(txt, text);
    }
};

// Counts the paints of one label and the layout requests of its window.
class EventCounter final : public QObject
{
public:
    QWidget *window, *label;
    int layoutRequests = 0, paints = 0;
    QString painted;

    EventCounter(QWidget *w, QWidget *l) : window(w), label(l) { qApp->installEventFilter(this); }
    ~EventCounter() override { qApp->removeEventFilter(this); }
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (watched->isWidgetType() && static_cast<QWidget *>(watched)->window() == window)
            layoutRequests += event->type() == QEvent::LayoutRequest;
        if (event->type() == QEvent::Paint && watched == label) {
            ++paints;
            painted = label->property("text").toString();
        }
        return false;
    }
};

} // namespace

class TestWidgets : public QObject
{
    Q_OBJECT

private slots:
    // An edit the operator had not finished goes with a focus change the
    // program makes: the text is back, nothing written, nothing asked. A
    // refused value keeps the field only while the operator can use it.
    void entryField()
    {
        Field f;
        QVERIFY(QTest::qWaitForWindowActive(&f.window));
        f.typeIn(QStringLiteral("7"));
        f.next->setFocus(Qt::OtherFocusReason);
        QCOMPARE(f.txt->text(), QStringLiteral("12"));
        QVERIFY(f.accepted.isEmpty() && f.prompt.asked.isEmpty());
        f.typeIn(QStringLiteral("1")); // the lowest value the field takes
        QTest::keyClick(f.txt, Qt::Key_Tab);
        QCOMPARE(f.accepted, QStringList{QStringLiteral("1")});

        f.typeIn(QStringLiteral("99"));
        f.prompt.onAsk = [&f](const ScriptedPrompt::Asked &) { f.txt->setEnabled(false); };
        QTest::keyClick(f.txt, Qt::Key_Tab);
        QCOMPARE(f.prompt.asked.size(), 1);
        QCOMPARE(f.accepted.size(), 1);
        QCOMPARE(f.txt->text(), QStringLiteral("1"));
        QVERIFY(!f.field.BeingEdited);
        QVERIFY(f.field.showValue(QStringLiteral("20")));

        // A layout clears the mark of a field only looked at; what the cycle
        // then shows there is what Esc brings back.
        f.txt->setEnabled(true);
        QTest::mouseClick(f.txt, Qt::LeftButton);
        f.field.clearEditMark();
        QVERIFY(f.field.showValue(QStringLiteral("30")));
        QTest::keyClick(f.txt, Qt::Key_Escape);
        QCOMPARE(f.txt->text(), QStringLiteral("30"));
    }

    // A burst of changes, each followed by a turn of the event loop: without
    // a pacer every change is painted; with one the first is, the others are
    // held, and the last value shows when pacing stops or by itself later.
    void pacerHoldsABurst_data()
    {
        QTest::addColumn<int>("interval"); // -1: no pacer; 0: pacing stops
        QTest::addColumn<int>("paints");   // during the burst
        QTest::newRow("no pacer") << -1 << 20;
        QTest::newRow("pacing stops") << 0 << 1;
        QTest::newRow("interval ends") << 100 << -1;
    }
    void pacerHoldsABurst()
    {
        QFETCH(int, interval);
        QFETCH(int, paints);
        QWidget top;
        auto *label = new QLabel(QStringLiteral("0"), &top);
        label->setFixedSize(120, 30);
        top.show();
        QVERIFY(QTest::qWaitForWindowExposed(&top));
        QTest::qWait(50);
        PaintPacer pacer;
        pacer.setInterval(interval > 0 ? interval : 60 * 60 * 1000);
        pacer.watch(interval < 0 ? nullptr : &top);
        EventCounter counter(&top, label);
        for (int i = 1; i <= 20; ++i) {
            label->setText(QString::number(i));
            QCoreApplication::processEvents();
        }
        if (paints > 0)
            QCOMPARE(counter.paints, paints);
        if (interval == 0) {
            QCOMPARE(counter.painted, QStringLiteral("1"));
            pacer.watch(nullptr);
        }
        QTRY_COMPARE(counter.painted, QStringLiteral("20"));
    }

    // A live value inside an MDI sub-window, as the operator windows show it:
    // new values of every width are painted and never re-lay out the window.
    void valueLabelRepaintsWithoutLayout()
    {
        QMdiArea area;
        auto *form = new QWidget;
        auto *label = new ValueLabel(QStringLiteral("-"), QStringLiteral("8,888,888,888"), form);
        (new QVBoxLayout(form))->addWidget(label);
        area.addSubWindow(form)->showMaximized();
        area.resize(600, 300);
        area.show();
        QVERIFY(QTest::qWaitForWindowExposed(&area));
        QTest::qWait(50);
        const QSize hint = label->sizeHint();
        {
            EventCounter counter(&area, label);
            for (int i = 0; i < 50; ++i) {
                label->setText(QString::number(qint64(1) << (i % 31)));
                QCoreApplication::processEvents();
            }
            QTest::qWait(50);
            QCOMPARE(counter.layoutRequests, 0);
            QVERIFY(counter.paints > 0);
        }
        QCOMPARE(label->sizeHint(), hint);
        QVERIFY(label->width() >=
                label->fontMetrics().horizontalAdvance(QStringLiteral("8,888,888,888")));
    }
};

QTEST_MAIN(TestWidgets)
#include "test_widgets.moc"
