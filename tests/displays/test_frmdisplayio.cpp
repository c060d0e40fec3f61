#include "displayfixture.h"
#include "displays/displaytext.h"
#include "displays/frmdisplayio.h"
#include "displays/valuelabel.h"

#include <QGroupBox>
#include <QLabel>

namespace
{

class LayoutRequestCounter final : public QObject
{
public:
    explicit LayoutRequestCounter(QWidget *window) : m_window(window) {}
    int requests = 0;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::LayoutRequest && watched->isWidgetType() &&
            static_cast<QWidget *>(watched)->window() == m_window)
            ++requests;
        return false;
    }

private:
    QWidget *m_window;
};

} // namespace

// The I/O Status window against the simulated board.
class TestFrmDisplayIO : public QObject
{
    Q_OBJECT

    DisplayFixture f;
    std::unique_ptr<frmDisplayIO> form;

    frmDisplayIO &open() { return f.open(form); }

    static bool isOn(ValueLabel *l)
    {
        return l->text() == u"ON" &&
               l->palette().color(QPalette::WindowText) == DisplayText::OnColour;
    }
    static bool isOff(ValueLabel *l)
    {
        return l->text() == u"off" &&
               l->palette().color(QPalette::WindowText) == DisplayText::OffColour;
    }

private slots:
    void initTestCase() { QVERIFY(f.start(64)); }
    void cleanupTestCase() { f.stop(); }
    void cleanup() { f.reset(form); }

    void offlineShowsDashesAndReadsNothing()
    {
        frmDisplayIO &w = open();
        QTest::qWait(300);
        QCOMPARE(w.readCount(), 0);
        QCOMPARE(w.lblt6810State[0]->text(), QStringLiteral("-"));
        QCOMPARE(w.lblSlot02State[3]->text(), QStringLiteral("-"));
        QVERIFY(!w.fraBMIO[0]->isEnabled() && !w.lblSlot00[0]->isEnabled());
    }

    void wordPatterns_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<int>("group");
        QTest::addColumn<int>("value");
        QTest::newRow("W100 1") << "W100" << 1 << 1;
        QTest::newRow("W110 32768") << "W110" << 2 << 32768;
        QTest::newRow("W110 65535") << "W110" << 2 << 65535;
        QTest::newRow("W170 255") << "W170" << 0 << 255;
        QTest::newRow("W120 0") << "W120" << 3 << 0;
    }
    void wordPatterns()
    {
        QFETCH(QString, address);
        QFETCH(int, group);
        QFETCH(int, value);
        QVERIFY(f.goOnline());
        frmDisplayIO &w = open();
        QVERIFY(f.set(address, value));
        QVERIFY(DisplayFixture::waitPasses(w, 2));
        const std::array<frmDisplayIO::GroupStates *, 4> groups = {
            &w.lblTmgChannelState, &w.lblSlot00State, &w.lblSlot01State, &w.lblSlot02State};
        for (int b = 0; b < 16; ++b) {
            ValueLabel *state = (*groups[group])[b];
            if (value & (1 << b))
                QVERIFY2(isOn(state), qPrintable(QStringLiteral("bit %1").arg(b)));
            else
                QVERIFY2(isOff(state), qPrintable(QStringLiteral("bit %1").arg(b)));
        }
    }

    void boardPoints()
    {
        QVERIFY(f.set("F18", 1) && f.set("F17", 0) && f.set("W112", 640) && f.set("W162", 512));
        QVERIFY(f.goOnline());
        frmDisplayIO &w = open();
        QVERIFY(DisplayFixture::waitPasses(w, 2));
        QVERIFY(isOn(w.lblt6810State[0]));
        QVERIFY(isOff(w.lblt6810State[1]));
        QCOMPARE(w.lblt6810State[7]->text(), QStringLiteral("640"));
        QCOMPARE(w.lblt6810State[2]->text(), QStringLiteral("512"));
        // Only exactly 1 is ON.
        w.showRead(0, QStringLiteral("2"));
        QVERIFY(isOff(w.lblt6810State[0]));
        w.showRead(0, QStringLiteral("1"));
        QVERIFY(isOn(w.lblt6810State[0]));
    }

    // Every state flips on every pass, yet nothing asks the window for a
    // new layout: values are repainted, not laid out.
    void passesNeverReLayOutTheWindow()
    {
        QVERIFY(f.goOnline());
        frmDisplayIO &w = open();
        QVERIFY(DisplayFixture::waitPasses(w, 1));
        LayoutRequestCounter counter(&w);
        qApp->installEventFilter(&counter);
        for (int pass = 0; pass < 4; ++pass) {
            const int pattern = pass % 2 ? 0xAAAA : 0x5555;
            QVERIFY(f.set("W100", pattern) && f.set("W162", 100 + pass * 1000));
            QVERIFY(DisplayFixture::waitPasses(w, 2));
            QVERIFY(pass % 2 ? isOn(w.lblSlot00State[1]) : isOn(w.lblSlot00State[0]));
            QCOMPARE(w.lblt6810State[2]->text(), QString::number(100 + pass * 1000));
        }
        qApp->removeEventFilter(&counter);
        QCOMPARE(counter.requests, 0);
    }

};

QTEST_MAIN(TestFrmDisplayIO)
#include "test_frmdisplayio.moc"
