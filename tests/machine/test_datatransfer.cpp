#include "comm/registerlink.h"
#include "machine/datatransfer.h"
#include "machine/registermap.h"

#include <QHash>
#include <QTest>

namespace
{

// A board held in memory. Each exchange is logged; the link can be made to
// fail (latching, as the real one does) at a chosen exchange.
class FakeLink final : public RegisterLink
{
public:
    QHash<QString, QString> registers;
    QStringList log;         // "R addr" or "W addr=text"
    int failAtExchange = -1; // 0-based exchange that fails and latches the error
    bool commError = false;
    QStringList wrongEcho; // addresses the board answers wrongly (no latch)
    bool lastFailed = false;

    QString RSRead(const QString &add) override
    {
        lastFailed = true;
        if (!exchange() || wrongEcho.contains(add))
            return QStringLiteral("0");
        lastFailed = false;
        log << QStringLiteral("R ") + add;
        return registers.value(add, QStringLiteral("0"));
    }
    void RSWrite(const QString &add, const QString &dataValue) override
    {
        lastFailed = true;
        if (!exchange() || wrongEcho.contains(add))
            return;
        lastFailed = false;
        log << QStringLiteral("W %1=%2").arg(add, dataValue);
        registers[add] = dataValue;
    }
    bool commErrorSet() const override { return commError; }
    bool lastTransactionFailed() const override { return lastFailed; }

private:
    bool exchange()
    {
        if (commError)
            return false;
        if (m_count++ == failAtExchange) {
            commError = true;
            return false;
        }
        return true;
    }
    int m_count = 0;
};

struct Observed {
    int yields = 0;
    QList<int> progress;
    int maximum = -1;
};

TransferCallbacks observe(Observed &o, std::function<bool()> cancel = {})
{
    TransferCallbacks cb;
    cb.yieldEvents = [&o] { ++o.yields; };
    cb.progress = [&o](int value, int maximum) {
        o.progress << value;
        o.maximum = maximum;
    };
    cb.cancelRequested = std::move(cancel);
    return cb;
}

QList<int> range(int first, int last)
{
    QList<int> r;
    for (int i = first; i <= last; ++i)
        r << i;
    return r;
}

} // namespace

class TestDataTransfer : public QObject
{
    Q_OBJECT

private slots:
    void modes();
    void uploadSetupOrder();
    void uploadRoundsValues();
    void downloadAllOrderAndText();
    void downloadShift();
    void uploadUsesRecordAddresses();
    void cancelDuringShiftUpload();
    void cancelBeforeStartStillMovesIndexZero();
    void errorInTheMiddleOfDownload();
    void wrongEchoesAreListedAsFailed();
    void errorOnTheLastRegister();
    void linkAlreadyFailed();
    void worksWithoutCallbacks();
};

void TestDataTransfer::modes()
{
    struct Row {
        int code;
        TransferDirection dir;
        DataGroup group;
        int count;
        const char *caption;
    };
    const Row rows[] = {
        {0, TransferDirection::Upload, DataGroup::SetupData, 17,
         "Uploading Set-up Data, Please Standby"},
        {1, TransferDirection::Upload, DataGroup::ShiftData, 121,
         "Uploading Shift Data, Please Standby"},
        {4, TransferDirection::Upload, DataGroup::All, 138, "Uploading, Please Standby"},
        {10, TransferDirection::Download, DataGroup::SetupData, 17,
         "Downloading Set-Up Data, Please Standby"},
        {11, TransferDirection::Download, DataGroup::ShiftData, 121,
         "Downloading Shift Data, Please Standby"},
        {14, TransferDirection::Download, DataGroup::All, 138, "Downloading, Please Standby"},
    };
    for (const Row &r : rows) {
        const auto mode = transferModeFromCode(r.code);
        QVERIFY(mode.has_value());
        QCOMPARE(int(*mode), r.code);
        QCOMPARE(transferDirection(*mode), r.dir);
        QCOMPARE(transferGroup(*mode), r.group);
        QCOMPARE(transferMode(r.dir, r.group), *mode);
        QCOMPARE(transferCount(*mode), r.count);
        QCOMPARE(transferCaption(*mode), QString::fromLatin1(r.caption));
    }
    for (int bad : {-1, 2, 3, 5, 9, 12, 13, 15, 31})
        QVERIFY(!transferModeFromCode(bad).has_value());
    QCOMPARE(TransferErrorText,
             QStringLiteral("Error Processing Request\r\n\r\nProcess Not Complete"));
}

void TestDataTransfer::uploadSetupOrder()
{
    FakeLink link;
    DataSet data = buildDefaultData();
    for (int i = 0; i <= gLastIndex; ++i)
        link.registers[data.Address[i]] = QString::number(5000 + i);
    Observed o;
    const TransferResult r =
        DataTransfer(link, data).ProcessTransfer(TransferMode::UploadSetup, observe(o));
    QCOMPARE(r.Outcome, TransferOutcome::Completed);
    QCOMPARE(r.Transferred, 17);

    QStringList expected{QStringLiteral("R B1011")};
    for (int i = 122; i <= 137; ++i)
        expected << QStringLiteral("R ") + data.Address[i];
    QCOMPARE(link.log, expected);
    // Index 0 goes first without a yield; each of the other 16 yields once.
    QCOMPARE(o.yields, 16);
    QCOMPARE(o.progress, range(1, 17));
    QCOMPARE(o.maximum, 17);
    QCOMPARE(data.Value[0], 5000);
    for (int i = 122; i <= 137; ++i)
        QCOMPARE(data.Value[i], 5000 + i);
    // The shift data is not touched.
    for (int i = 1; i <= 121; ++i)
        QCOMPARE(data.Value[i], 0);
}

void TestDataTransfer::uploadRoundsValues()
{
    FakeLink link;
    DataSet data = buildDefaultData();
    link.registers["B1011"] = "2.5";
    link.registers["W1092"] = "3.5";
    link.registers["W1094"] = " 17 ";
    link.registers["W1096"] = "junk";
    link.registers["W1004"] = "-4.6";
    QCOMPARE(DataTransfer(link, data).ProcessTransfer(TransferMode::UploadSetup).Outcome,
             TransferOutcome::Completed);
    QCOMPARE(data.Value[0], 2);
    QCOMPARE(data.Value[122], 4);
    QCOMPARE(data.Value[123], 17);
    QCOMPARE(data.Value[124], 0);
    QCOMPARE(data.Value[125], -5);
}

void TestDataTransfer::downloadAllOrderAndText()
{
    FakeLink link;
    DataSet data = buildDefaultData();
    for (int i = 0; i <= gLastIndex; ++i)
        data.Value[i] = i * 11;
    data.Value[40] = -12;
    Observed o;
    const TransferResult r =
        DataTransfer(link, data).ProcessTransfer(TransferMode::DownloadAll, observe(o));
    QCOMPARE(r.Outcome, TransferOutcome::Completed);
    QCOMPARE(r.Transferred, 138);
    QCOMPARE(link.log.size(), 138);
    for (int i = 0; i <= gLastIndex; ++i) {
        const QString text = i == 40 ? QStringLiteral("-12") : u' ' + QString::number(i * 11);
        QCOMPARE(link.log[i], QStringLiteral("W %1=%2").arg(data.Address[i], text));
    }
    QCOMPARE(link.log[0], QStringLiteral("W B1011= 0"));
    QCOMPARE(o.yields, 138);
    QCOMPARE(o.progress, range(1, 138));
    QCOMPARE(o.maximum, 138);
}

void TestDataTransfer::downloadShift()
{
    FakeLink link;
    DataSet data = buildDefaultData();
    data.Value[122] = 999; // set-up data is not part of the group
    const TransferResult r = DataTransfer(link, data).ProcessTransfer(TransferMode::DownloadShift);
    QCOMPARE(r.Transferred, 121);
    QCOMPARE(link.log.first(), QStringLiteral("W W1020= 0"));
    QCOMPARE(link.log.last(), QStringLiteral("W D1304= 0"));
    QVERIFY(!link.registers.contains("W1092"));
    QVERIFY(!link.registers.contains("B1011"));
}

void TestDataTransfer::uploadUsesRecordAddresses()
{
    // A record loaded from a file brings its own addresses.
    FakeLink link;
    DataSet data = buildDefaultData();
    data.Address[122] = QStringLiteral("W2000");
    link.registers["W2000"] = "77";
    link.registers["W1092"] = "55";
    DataTransfer(link, data).ProcessTransfer(TransferMode::UploadAll);
    QCOMPARE(data.Value[122], 77);
    QVERIFY(link.log.contains("R W2000"));
    QVERIFY(!link.log.contains("R W1092"));

    // A record that came with fewer values than addresses grows to hold them.
    data.Value.resize(1);
    DataTransfer(link, data).ProcessTransfer(TransferMode::UploadAll);
    QCOMPARE(data.Value.size(), data.Address.size());
    QCOMPARE(data.Value[122], 77);
}

void TestDataTransfer::cancelDuringShiftUpload()
{
    FakeLink link;
    DataSet data = buildDefaultData();
    for (int i = 0; i <= gLastIndex; ++i) {
        data.Value[i] = -1;
        link.registers[data.Address[i]] = QString::number(i);
    }
    Observed o;
    // The operator's click is handled during the 31st yield.
    bool cancel = false;
    TransferCallbacks cb = observe(o, [&cancel] { return cancel; });
    cb.yieldEvents = [&] {
        if (++o.yields == 31)
            cancel = true;
    };
    const TransferResult r =
        DataTransfer(link, data).ProcessTransfer(TransferMode::UploadShift, cb);
    QCOMPARE(r.Outcome, TransferOutcome::Cancelled);
    QCOMPARE(r.Transferred, 30);
    QCOMPARE(o.progress, range(1, 30));
    for (int i = 1; i <= 30; ++i)
        QCOMPARE(data.Value[i], i);
    for (int i = 31; i <= 121; ++i)
        QCOMPARE(data.Value[i], -1);
    QCOMPARE(data.Value[0], -1);
    QCOMPARE(link.log.size(), 30);
}

void TestDataTransfer::cancelBeforeStartStillMovesIndexZero()
{
    // The set-up group's index 0 is moved before the loop looks at Cancel.
    FakeLink link;
    DataSet data = buildDefaultData();
    Observed o;
    const TransferResult r =
        DataTransfer(link, data).ProcessTransfer(TransferMode::DownloadSetup, observe(o, [] {
                                                     return true;
                                                 }));
    QCOMPARE(r.Outcome, TransferOutcome::Cancelled);
    QCOMPARE(r.Transferred, 1);
    QCOMPARE(link.log, QStringList{"W B1011= 0"});
    QCOMPARE(o.yields, 1);
}

void TestDataTransfer::errorInTheMiddleOfDownload()
{
    FakeLink link;
    link.failAtExchange = 50;
    DataSet data = buildDefaultData();
    for (int i = 0; i <= gLastIndex; ++i)
        data.Value[i] = i + 1;
    Observed o;
    const TransferResult r =
        DataTransfer(link, data).ProcessTransfer(TransferMode::DownloadAll, observe(o));
    QCOMPARE(r.Outcome, TransferOutcome::CommError);
    // The failing register counts as handled; the loop stops before the next.
    QCOMPARE(r.Transferred, 51);
    QCOMPARE(link.log.size(), 50);
    QCOMPARE(link.registers.value(data.Address[49]), QStringLiteral(" 50"));
    QVERIFY(!link.registers.contains(data.Address[50]));
    QVERIFY(!link.registers.contains(data.Address[51]));
    QCOMPARE(o.yields, 52);
}

void TestDataTransfer::errorOnTheLastRegister()
{
    FakeLink link;
    link.failAtExchange = 16;
    DataSet data = buildDefaultData();
    const TransferResult r = DataTransfer(link, data).ProcessTransfer(TransferMode::UploadSetup);
    QCOMPARE(r.Outcome, TransferOutcome::CommError);
    QCOMPARE(r.Transferred, 17);
    // A failed read yields "0", which is what is stored.
    QCOMPARE(data.Value[137], 0);
}

void TestDataTransfer::linkAlreadyFailed()
{
    FakeLink link;
    link.commError = true;
    DataSet data = buildDefaultData();
    const DataSet before = data;
    Observed o;
    const TransferResult r =
        DataTransfer(link, data).ProcessTransfer(TransferMode::UploadSetup, observe(o));
    QCOMPARE(r.Outcome, TransferOutcome::CommError);
    QCOMPARE(r.Transferred, 0);
    QCOMPARE(data, before);
    QVERIFY(link.log.isEmpty());
    QVERIFY(o.progress.isEmpty());
}

void TestDataTransfer::worksWithoutCallbacks()
{
    FakeLink link;
    DataSet data = buildDefaultData();
    link.registers["D1304"] = "655359999";
    const TransferResult r = DataTransfer(link, data).ProcessTransfer(TransferMode::UploadAll);
    QCOMPARE(r.Outcome, TransferOutcome::Completed);
    QCOMPARE(r.Transferred, 138);
    QCOMPARE(data.Value[121], 655359999);
}

void TestDataTransfer::wrongEchoesAreListedAsFailed()
{
    // The link stays up, so the loop runs to the end, but the registers the
    // board garbled are named, in both directions.
    DataSet data = buildDefaultData();
    FakeLink link;
    link.wrongEcho = {data.addressAt(0), data.addressAt(130)};
    TransferResult r = DataTransfer(link, data).ProcessTransfer(TransferMode::DownloadSetup);
    QCOMPARE(r.Outcome, TransferOutcome::Completed);
    QCOMPARE(r.Transferred, 17);
    QCOMPARE(r.Failed, (QList<int>{0, 130}));

    FakeLink up;
    up.wrongEcho = {data.addressAt(5)};
    r = DataTransfer(up, data).ProcessTransfer(TransferMode::UploadShift);
    QCOMPARE(r.Transferred, 121);
    QCOMPARE(r.Failed, QList<int>{5});

    // The register that met the latched error is the failed one.
    FakeLink cut;
    cut.failAtExchange = 3;
    r = DataTransfer(cut, data).ProcessTransfer(TransferMode::UploadShift);
    QCOMPARE(r.Outcome, TransferOutcome::CommError);
    QCOMPARE(r.Failed, QList<int>{4});
}

QTEST_GUILESS_MAIN(TestDataTransfer)
#include "test_datatransfer.moc"
