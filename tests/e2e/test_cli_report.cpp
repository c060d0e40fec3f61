#include "fakes/pdfwords.h"
#include "fakes/programrun.h"
#include "machine/dataset.h"
#include "machine/sdtfile.h"

#include <QTemporaryDir>
#include <QTest>

// kestro-cli report: the report of a set-up file as a PDF, with no display.
class TestCliReport : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    PdfWords report(const char *name, const QStringList &options)
    {
        const QString out = m_dir.filePath(QLatin1String(name));
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const char *display : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"})
            env.remove(QLatin1String(display));
        p.setProcessEnvironment(env);
        p.start(ProgramRun::path("kestro-cli"),
                QStringList{"report", m_dir.filePath("line3.sdt"), out} + options);
        if (!p.waitForFinished(60000) || p.exitCode() != 0)
            qWarning() << p.readAllStandardError();
        return PdfWords::read(out);
    }

private slots:
    void initTestCase()
    {
        DataSet data = buildDefaultData();
        data.Value[122] = 650;
        data.Value[79] = 1234567; // last shift good cans
        data.Value[85 + 35] = 42; // last shift trips of spindle 36
        QCOMPARE(writeSetupFile(m_dir.filePath("line3.sdt"), data), MachineError::None);
    }

    void fullReport()
    {
        const PdfWords pdf = report("full.pdf", {});
        QVERIFY(pdf.ok);
        QCOMPARE(pdf.pageCount, 3);
        QVERIFY(pdf.pageText(1).startsWith("KESTRO Report: [line3.sdt] Set-up"));
        QVERIFY(pdf.pageText(2).startsWith("KESTRO Report: [line3.sdt] Data"));
        const PdfWord *value = pdf.find("650");
        QVERIFY(value && qAbs(value->xMax - (0.25 + 5.5) * 72) < 0.5);
        const PdfWord *count = pdf.find("1,234,567");
        QVERIFY(count && qAbs(count->xMax - (0.25 + 4.0) * 72) < 0.5);
        // The second grid is last shift's: spindle 36 there holds 42.
        const PdfWord *cell = pdf.find("36:", 0, 1);
        QVERIFY(cell && pdf.after(cell)->text == u"42");
    }

    void onePartOnly()
    {
        const PdfWords shift = report("shift.pdf", {"--shift-only", "--title", "[unnamed]"});
        QVERIFY(shift.ok && shift.pageText(1).startsWith("KESTRO Report: [unnamed] Data"));
        QVERIFY(!shift.find("Set-up"));
        const PdfWords setup = report("setup.pdf", {"--setup-only"});
        QCOMPARE(setup.pageCount, 1);
        QVERIFY(!setup.find("Data"));
    }
};

QTEST_MAIN(TestCliReport)
#include "test_cli_report.moc"
