#include "displayfixture.h"
#include "displays/frmdata.h"
#include "displays/updownspinner.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTabBar>

// The Shift Data view against the simulated board.
class TestFrmData : public QObject
{
    Q_OBJECT

    DisplayFixture f;
    std::unique_ptr<frmData> form;

    frmData &open() { return f.open(form); }

    void typeAndLeave(frmData &w, const QString &text)
    {
        w.txtSpindleTripOffset->setFocus(Qt::TabFocusReason);
        w.txtSpindleTripOffset->selectAll();
        QTest::keyClicks(w.txtSpindleTripOffset, text);
        QTest::keyClick(w.txtSpindleTripOffset, Qt::Key_Tab);
    }

private slots:
    void initTestCase() { QVERIFY(f.start(63)); }
    void cleanupTestCase() { f.stop(); }
    void cleanup() { f.reset(form); }

    void tripOffsetLimits_data()
    {
        QTest::addColumn<int>("spindles");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("message"); // empty: accepted
        QTest::newRow("24 of 24") << 24 << "24"
                                  << "Only a Number Between 0 and 23 can be Entered";
        QTest::newRow("-1") << 24 << "-1"
                            << "Only a Number Between 0 and 23 can be Entered";
        QTest::newRow("35 of 36") << 36 << "35"
                                  << "";
        QTest::newRow("36 of 36") << 36 << "36"
                                  << "Only a Number Between 0 and 35 can be Entered";
    }
    void tripOffsetLimits()
    {
        QFETCH(int, spindles);
        QFETCH(QString, typed);
        QFETCH(QString, message);
        QVERIFY(f.set("B1011", 3));
        QVERIFY(f.goOnline());
        f.data.gSpindleCount = spindles;
        frmData &w = open();
        QTRY_COMPARE(w.txtSpindleTripOffset->text(), QStringLiteral("3"));
        typeAndLeave(w, typed);
        if (message.isEmpty()) {
            QVERIFY(f.prompt.asked.isEmpty());
            QCOMPARE(f.data.gCurrentData.Value[0], typed.toInt());
            QCOMPARE(f.get("B1011"), typed);
            return;
        }
        QCOMPARE(f.prompt.asked.size(), 1);
        QCOMPARE(f.prompt.asked[0].title, QStringLiteral("Spindle #1 Trip Offset:"));
        QCOMPARE(f.prompt.asked[0].text, message);
        QCOMPARE(QApplication::focusWidget(), w.txtSpindleTripOffset);
        QCOMPARE(w.txtSpindleTripOffset->text(), QStringLiteral("3"));
        QCOMPARE(f.get("B1011"), QStringLiteral("3"));
        QCOMPARE(f.data.gCurrentData.Value[0], 0);
    }

    void onlinePagesShowTheBoard()
    {
        QVERIFY(f.set("B599", 4) && f.set("W1020", 1234) && f.set("B1011", 9));
        QVERIFY(f.set("D1100", 7654321) && f.set("W1294", 77));
        QVERIFY(f.goOnline());
        frmData &w = open();
        QTRY_COMPARE(w.lblData[1]->text(), QStringLiteral("1,234"));
        QCOMPARE(w.lblData[0]->text(), QStringLiteral("4"));
        QCOMPARE(w.txtSpindleTripOffset->text(), QStringLiteral("9"));
        QCOMPARE(w.lblData[37]->text(), QStringLiteral("-")); // other pages wait for their tab
        w.tbsData->setCurrentIndex(1);
        QTRY_COMPARE(w.lblData[37]->text(), QStringLiteral("7,654,321"));
        w.tbsData->setCurrentIndex(2);
        QTRY_COMPARE(w.lblData[120]->text(), QStringLiteral("77"));
        // The trip offset follows the board unless the operator is in it.
        w.tbsData->setCurrentIndex(0);
        QVERIFY(f.set("B1011", 10));
        QTRY_COMPARE(w.txtSpindleTripOffset->text(), QStringLiteral("10"));
        w.txtSpindleTripOffset->setFocus(Qt::TabFocusReason);
        QVERIFY(f.set("B1011", 12));
        QVERIFY(DisplayFixture::waitPasses(w, 2));
        QCOMPARE(w.txtSpindleTripOffset->text(), QStringLiteral("10"));
        // The online pass does not copy into memory.
        QCOMPARE(f.data.gCurrentData.Value[1], 0);
    }

    void momentaryCommandsByMouseOnly()
    {
        QVERIFY(f.set("W1020", 50) && f.set("D1100", 500) && f.set("D1200", 0));
        QVERIFY(f.goOnline());
        frmData &w = open();
        // The keyboard reaches neither command.
        w.cmdResetTrips->setFocus();
        QTest::keyClick(w.cmdResetTrips, Qt::Key_Space);
        QCOMPARE(f.get("W1020"), QStringLiteral("50"));
        QTest::mousePress(w.cmdResetTrips, Qt::LeftButton);
        QCOMPARE(f.get("B1016.0"), QStringLiteral("1"));
        QCOMPARE(f.get("W1020"), QStringLiteral("0"));
        QTest::mouseRelease(w.cmdResetTrips, Qt::LeftButton);
        QCOMPARE(f.get("B1016.0"), QStringLiteral("0"));
        // Any button; the end of shift moves the current counts to the last.
        w.tbsData->setCurrentIndex(1);
        QTest::mousePress(w.cmdEndofShift, Qt::RightButton);
        QCOMPARE(f.get("F137"), QStringLiteral("1"));
        QTest::mouseRelease(w.cmdEndofShift, Qt::RightButton);
        QCOMPARE(f.get("F137"), QStringLiteral("0"));
        QCOMPARE(f.get("D1200"), QStringLiteral("500"));
        QCOMPARE(f.get("D1100"), QStringLiteral("0"));
    }

    void tabSwitchEndsThePass()
    {
        QVERIFY(f.goOnline());
        frmData &w = open();
        QVERIFY(DisplayFixture::waitPasses(w, 1));
        QStringList seen;
        qsizetype atSwitch = -1;
        qint64 passes = -1;
        qint64 passesAtSecondRead = -1;
        // Part way into a page-0 pass (38 reads), switch to page 2. Switching
        // from the read itself keeps the test independent of the machine's speed.
        connect(&w, &DisplayForm::passRead, this, [&](const QString &a) {
            seen.append(a);
            if (atSwitch < 0 && a == u"W1030") {
                w.tbsData->setCurrentIndex(2);
                atSwitch = seen.size();
                passes = w.passCount();
            } else if (atSwitch >= 0 && seen.size() == atSwitch + 2) {
                passesAtSecondRead = w.passCount();
            }
        });
        QTRY_VERIFY(atSwitch >= 0);
        QTRY_VERIFY(seen.size() > atSwitch + 1);
        // The next read is page 2's first; the rest of page 0 is never read.
        QCOMPARE(seen[atSwitch], QStringLiteral("D1200"));
        QCOMPARE(seen[atSwitch + 1], QStringLiteral("D1204"));
        // The interrupted pass was not counted as complete.
        QCOMPARE(passesAtSecondRead, passes);
        disconnect(&w, &DisplayForm::passRead, this, nullptr);
    }

};

QTEST_MAIN(TestFrmData)
#include "test_frmdata.moc"
