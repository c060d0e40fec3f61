#include "history/historyfigures.h"

#include <QTest>

using namespace History;

class TestHistoryFigures : public QObject
{
    Q_OBJECT

private slots:
    void outliers_data()
    {
        QTest::addColumn<QList<qint32>>("trips");
        QTest::addColumn<QList<int>>("spindles");
        QTest::newRow("one far above") << QList<qint32>{40, 45, 38, 190, 42} << QList<int>{4};
        QTest::newRow("all alike") << QList<qint32>{40, 45, 38, 50, 42} << QList<int>{};
        // Three times a tiny median is no news.
        QTest::newRow("small counts") << QList<qint32>{1, 0, 4, 1, 2} << QList<int>{};
        QTest::newRow("idle machine, one spindle busy") << QList<qint32>{0, 0, 30, 0} << QList<int>{3};
    }

    void outliers()
    {
        QFETCH(QList<qint32>, trips);
        QFETCH(QList<int>, spindles);
        QCOMPARE(outlierSpindles(trips), spindles);
    }

    void productionPerHourAcrossAShiftEnd()
    {
        const QDateTime t(QDate(2026, 3, 2), QTime(13, 30));
        auto at = [&](int minutes, qint32 good) { return SnapshotRecord{0, t.addSecs(60 * minutes), good, 0, 0, 0}; };
        // 13:30 .. 14:20; the shift ends at 14:00 and its count starts again.
        const QList<HourCount> hours =
            productionPerHour({at(0, 1000), at(20, 5000), at(29, 7000), at(31, 300), at(50, 4300)});
        QCOMPARE(hours.size(), 2);
        QCOMPARE(hours[0].hour, QDateTime(QDate(2026, 3, 2), QTime(13, 0)));
        QCOMPARE(hours[0].goodCans, 6000);
        QCOMPARE(hours[1].goodCans, 300 + 4000);
    }
};

QTEST_GUILESS_MAIN(TestHistoryFigures)
#include "test_historyfigures.moc"
