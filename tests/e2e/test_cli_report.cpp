// kestro-cli report: the report of a set-up file as a PDF, without a display.

#include "fakes/boardsimprocess.h"
#include "fakes/pdfwords.h"
#include "machine/dataset.h"
#include "machine/sdtfile.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace
{

struct Run {
    int code = -1;
    QString err;
};

Run cli(const QStringList &args)
{
    QProcess p;
    // No display: the command must not need one.
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove(QStringLiteral("QT_QPA_PLATFORM"));
    env.remove(QStringLiteral("DISPLAY"));
    env.remove(QStringLiteral("WAYLAND_DISPLAY"));
    p.setProcessEnvironment(env);
    p.start(QDir(BoardSimProcess::binDir()).filePath(QStringLiteral("kestro-cli")), args);
    if (!p.waitForFinished(60000))
        return {};
    return {p.exitCode(), QString::fromLocal8Bit(p.readAllStandardError())};
}

} // namespace

class TestCliReport : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void fullReportOfAFile();
    void shiftOnlyWithATitle();
    void unreadableFileFails();
    void unwritableOutputFailsAndLeavesNothing();

private:
    QTemporaryDir m_dir;
    QString m_sdt;
};

void TestCliReport::initTestCase()
{
    QVERIFY(m_dir.isValid());
    DataSet data = buildDefaultData();
    data.Value[122] = 650;
    data.Value[79] = 1234567; // last shift good cans
    data.Value[85 + 35] = 42; // last shift trips of spindle 36
    m_sdt = m_dir.filePath(QStringLiteral("line3.sdt"));
    QCOMPARE(writeSetupFile(m_sdt, data), MachineError::None);
}

void TestCliReport::fullReportOfAFile()
{
    const QString out = m_dir.filePath(QStringLiteral("full.pdf"));
    const Run run = cli({QStringLiteral("report"), m_sdt, out});
    QVERIFY2(run.code == 0, qPrintable(run.err));
    const PdfWords pdf = PdfWords::read(out);
    QVERIFY(pdf.ok);
    QCOMPARE(pdf.pageCount, 3);
    QVERIFY(pdf.pageText(1).startsWith(QStringLiteral("KESTRO Report: [line3.sdt] Set-up")));
    QVERIFY(pdf.pageText(2).startsWith(QStringLiteral("KESTRO Report: [line3.sdt] Data")));
    const PdfWord *value = pdf.find(QStringLiteral("650"));
    QVERIFY(value && qAbs(value->xMax - (0.25 + 5.5) * 72) < 0.5);
    const PdfWord *count = pdf.find(QStringLiteral("1,234,567"));
    QVERIFY(count && qAbs(count->xMax - (0.25 + 4.0) * 72) < 0.5);
    // The second grid is last shift's: spindle 36 there holds 42.
    const PdfWord *cell = pdf.find(QStringLiteral("36:"), 0, 1);
    QVERIFY(cell);
    QCOMPARE(pdf.after(cell)->text, QStringLiteral("42"));
}

void TestCliReport::shiftOnlyWithATitle()
{
    const QString out = m_dir.filePath(QStringLiteral("shift.pdf"));
    const Run run = cli({QStringLiteral("report"), m_sdt, out, QStringLiteral("--shift-only"),
                         QStringLiteral("--title"), QStringLiteral("[unnamed]")});
    QVERIFY2(run.code == 0, qPrintable(run.err));
    const PdfWords pdf = PdfWords::read(out);
    QVERIFY(pdf.ok);
    QVERIFY(pdf.pageText(1).startsWith(QStringLiteral("KESTRO Report: [unnamed] Data")));
    QVERIFY(!pdf.find(QStringLiteral("Set-up")));

    const QString setupOut = m_dir.filePath(QStringLiteral("setup.pdf"));
    QCOMPARE(cli({QStringLiteral("report"), m_sdt, setupOut, QStringLiteral("--setup-only")}).code,
             0);
    const PdfWords setup = PdfWords::read(setupOut);
    QCOMPARE(setup.pageCount, 1);
    QVERIFY(!setup.find(QStringLiteral("Data")));
}

void TestCliReport::unreadableFileFails()
{
    const QString out = m_dir.filePath(QStringLiteral("missing.pdf"));
    const Run run =
        cli({QStringLiteral("report"), m_dir.filePath(QStringLiteral("nothere.sdt")), out});
    QCOMPARE(run.code, 5);
    QVERIFY(run.err.contains(QStringLiteral("nothere.sdt")));
    QVERIFY(!QFile::exists(out));

    const QString garbage = m_dir.filePath(QStringLiteral("garbage.sdt"));
    QFile file(garbage);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("not a set-up file");
    file.close();
    QCOMPARE(cli({QStringLiteral("report"), garbage, out}).code, 5);
    QVERIFY(!QFile::exists(out));
}

void TestCliReport::unwritableOutputFailsAndLeavesNothing()
{
    const QString folder = m_dir.filePath(QStringLiteral("no-such-folder"));
    const QString out = QDir(folder).filePath(QStringLiteral("r.pdf"));
    const Run run = cli({QStringLiteral("report"), m_sdt, out});
    QCOMPARE(run.code, 5);
    QVERIFY(run.err.contains(out));
    QVERIFY(!QFileInfo::exists(folder));

    // A folder in the output's place: nothing is written beside it either.
    const QString blocked = m_dir.filePath(QStringLiteral("blocked"));
    QVERIFY(QDir().mkpath(QDir(blocked).filePath(QStringLiteral("r.pdf"))));
    QCOMPARE(cli({QStringLiteral("report"), m_sdt, QDir(blocked).filePath(QStringLiteral("r.pdf"))})
                 .code,
             5);
    QCOMPARE(QDir(blocked).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList{QStringLiteral("r.pdf")});
    // Usage errors are told apart from file errors.
    QCOMPARE(cli({QStringLiteral("report"), m_sdt}).code, 2);
}

QTEST_MAIN(TestCliReport)
#include "test_cli_report.moc"
