#include "comm/registerlink.h"
#include "machine/datatransfer.h"
#include "machine/machinedata.h"

#include <QHash>
#include <QTest>

namespace
{

// A board held in memory that logs each exchange. The link can fail at a
// chosen exchange (latching, as the real one does) or garble some addresses.
class FakeLink final : public RegisterLink
{
public:
    QHash<QString, QString> registers;
    QStringList log; // "R addr" or "W addr=text"
    int failAt = -1;
    bool commError = false;
    QStringList wrongEcho;
    bool lastFailed = false;

    QString RSRead(const QString &add) override
    {
        if (!(lastFailed = !exchange() || wrongEcho.contains(add)))
            log << QStringLiteral("R ") + add;
        return lastFailed ? QStringLiteral("0") : registers.value(add, QStringLiteral("0"));
    }
    void RSWrite(const QString &add, const QString &text) override
    {
        if ((lastFailed = !exchange() || wrongEcho.contains(add)))
            return;
        log << QStringLiteral("W %1=%2").arg(add, text);
        registers[add] = text;
    }
    bool commErrorSet() const override { return commError; }
    bool lastTransactionFailed() const override { return lastFailed; }

private:
    bool exchange()
    {
        if (!commError && m_count++ == failAt)
            commError = true;
        return !commError;
    }
    int m_count = 0;
};

} // namespace

using Ints = QList<int>;

class TestDataTransfer : public QObject
{
    Q_OBJECT

private slots:
    // The tens give the direction, the units the group (checked by run()).
    void modes()
    {
        for (int code : {0, 1, 4, 10, 11, 14}) {
            const auto mode = transferModeFromCode(code);
            QVERIFY(mode.has_value());
            QCOMPARE(transferDirection(*mode) == TransferDirection::Download, code >= 10);
            QCOMPARE(transferMode(transferDirection(*mode), transferGroup(*mode)), *mode);
            QVERIFY(!transferModeFromCode(code + 2).has_value()); // 2, 3, 6, 12, 13, 16
        }
    }
    void run_data()
    {
        QTest::addColumn<TransferMode>("mode");
        QTest::addColumn<int>("failAt");   // exchange that cuts the link; -2: cut already
        QTest::addColumn<int>("cancelAt"); // yield during which Cancel is clicked; 0: never
        QTest::addColumn<Ints>("garbled"); // indexes the board answers wrongly
        QTest::addColumn<int>("moved");    // Transferred
        QTest::addColumn<int>("yields");
        using M = TransferMode;
        // Index 0 of the set-up group goes before the loop, without a yield.
        QTest::newRow("set-up up") << M::UploadSetup << -1 << 0 << Ints{} << 17 << 16;
        QTest::newRow("all down") << M::DownloadAll << -1 << 0 << Ints{} << 138 << 138;
        QTest::newRow("shift down") << M::DownloadShift << -1 << 0 << Ints{} << 121 << 121;
        QTest::newRow("cancel in shift up") << M::UploadShift << -1 << 31 << Ints{} << 30 << 31;
        // The register that meets the error counts as handled; the loop stops.
        QTest::newRow("cut in all down") << M::DownloadAll << 50 << 0 << Ints{} << 51 << 52;
        QTest::newRow("cut already") << M::UploadSetup << -2 << 0 << Ints{} << 0 << 1;
        // A garbled answer leaves the link up: the loop runs on, naming them.
        QTest::newRow("garbled down") << M::DownloadSetup << -1 << 0 << Ints{0, 130} << 17 << 16;
        QTest::newRow("garbled up") << M::UploadShift << -1 << 0 << Ints{5} << 121 << 121;
    }
    void run()
    {
        QFETCH(TransferMode, mode);
        QFETCH(int, failAt);
        QFETCH(int, cancelAt);
        QFETCH(Ints, garbled);
        QFETCH(int, moved);
        QFETCH(int, yields);
        const QList<int> group = dataGroupIndexes(transferGroup(mode));
        const Ints failed = failAt >= 0 ? garbled + Ints{group[failAt]} : garbled;
        const bool download = transferDirection(mode) == TransferDirection::Download;
        DataSet data = buildDefaultData();
        FakeLink link;
        link.failAt = failAt;
        link.commError = failAt == -2;
        for (int i = 0; i <= gLastIndex; ++i) {
            data.Value[i] = download ? (i == 40 ? -12 : i * 11) : -1;
            link.registers[data.Address[i]] = QString::number(5000 + i);
            if (garbled.contains(i))
                link.wrongEcho << data.Address[i];
        }

        int yielded = 0;
        int progress = 0;
        TransferCallbacks cb;
        cb.yieldEvents = [&] { ++yielded; };
        cb.cancelRequested = [&] { return cancelAt && yielded >= cancelAt; };
        cb.progress = [&](int value, int maximum) {
            QCOMPARE(value, ++progress);
            QCOMPARE(maximum, transferCount(mode));
        };
        const TransferResult r = DataTransfer(link, data).ProcessTransfer(mode, cb);
        QCOMPARE(r.Outcome, failAt != -1 ? TransferOutcome::CommError
                            : cancelAt   ? TransferOutcome::Cancelled
                                         : TransferOutcome::Completed);
        QCOMPARE(r.Transferred, moved);
        QCOMPARE(r.Failed, failed);
        QCOMPARE(progress, moved);
        QCOMPARE(yielded, yields);

        // The group's registers in order, each once, up to where the run stopped.
        QStringList expected;
        for (int k = 0; k < moved; ++k) {
            const int i = group[k];
            if (failed.contains(i))
                continue;
            const QString text = i == 40 ? QStringLiteral("-12") : u' ' + QString::number(i * 11);
            expected << (download ? QStringLiteral("W %1=%2").arg(data.Address[i], text)
                                  : QStringLiteral("R ") + data.Address[i]);
        }
        QCOMPARE(link.log, expected);
        for (int i = 0; i <= gLastIndex && !download; ++i) {
            const int k = int(group.indexOf(i));
            QCOMPARE(data.Value[i], k < 0 || k >= moved ? -1 : failed.contains(i) ? 0 : 5000 + i);
        }
    }
    void uploadUsesRecordAddresses()
    {
        // A record loaded from a file brings its own addresses, and may come
        // with fewer values than addresses: it grows to hold them.
        FakeLink link;
        DataSet data = buildDefaultData();
        data.Address[122] = QStringLiteral("W2000");
        data.Value.resize(1);
        link.registers["W2000"] = "77";
        QCOMPARE(DataTransfer(link, data).ProcessTransfer(TransferMode::UploadAll).Outcome,
                 TransferOutcome::Completed);
        QCOMPARE(data.Value.size(), data.Address.size());
        QCOMPARE(data.Value[122], 77);
    }
    void shortfallNamesWhatWasNotMoved()
    {
        MachineData m;
        const DataSet set = m.gCurrentData;
        TransferResult r;
        r.Transferred = 17;
        QVERIFY(shortfallText(TransferMode::UploadSetup, r, set).isEmpty());
        // Two failed, and the transfer stopped before the last three.
        r.Transferred = 14;
        r.Failed = {122, 126};
        QCOMPARE(shortfallText(TransferMode::UploadSetup, r, set),
                 QStringLiteral("Registers Not Read: 5 of 17\r\n\r\nW1092, B1003, W830, W832, W834"
                                "\r\n\r\nData in Memory Not Fully Read from T6800"));

        // The marks follow uploads: a clean upload of one group clears its own.
        m.noteUpload(dataGroupIndexes(DataGroup::SetupData), {123, 130});
        m.noteUpload(dataGroupIndexes(DataGroup::ShiftData), {5});
        QCOMPARE(m.NotRead, (Ints{5, 123, 130}));
        m.noteUpload(dataGroupIndexes(DataGroup::SetupData), {});
        QCOMPARE(m.NotRead, Ints{5});
        m.resetToDefaults();
        QVERIFY(m.fullyRead());
    }
};

QTEST_GUILESS_MAIN(TestDataTransfer)
#include "test_datatransfer.moc"
