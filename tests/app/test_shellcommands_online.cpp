// Passcode and Print Report online against kestro-boardsim on a pty.

#include "app/printerdialog.h"
#include "appharness.h"
#include "fakes/pdfwords.h"

#include <QMenu>
#include <QPageLayout>
#include <QPageSize>
#include <QPrinter>
#include <QTest>

namespace
{

// A PDF file as the printer; records what the data held when it was asked.
class PdfPrinterDialog final : public PrinterDialog
{
public:
    bool setupPrinter(QWidget *, QPrinter &printer, int &copies) override
    {
        ++asked;
        if (onAsk)
            onAsk();
        printer.setOutputFormat(QPrinter::PdfFormat);
        printer.setOutputFileName(file);
        printer.setPageLayout(QPageLayout(QPageSize(QPageSize::Letter), QPageLayout::Portrait,
                                          QMarginsF(0.25, 0.25, 0.25, 0.25), QPageLayout::Inch));
        copies = 1;
        return true;
    }
    QString file;
    int asked = 0;
    std::function<void()> onAsk;
};

// Write mode handshake on the wire: attention, then the write mode byte.
const QByteArray WriteMode("\xFF\x02", 2);

} // namespace

class TestShellCommandsOnline : public QObject
{
    Q_OBJECT

private slots:
    void passcodeShowsTheBoardsValueAndCancelWritesNothing();
    void passcodeWritesTheBoard();
    void passcodeNeitherReadNorWrittenAfterACommError();

private:
    bool online(AppHarness &h, BoardSimProcess &sim)
    {
        if (!h.startWithBoard(sim))
            return false;
        h.w().show();
        if (!QTest::qWaitForWindowExposed(&h.w()))
            return false;
        h.w().mnuViewOnline->trigger();
        return h.comm->OnlineMode && h.w().mnuEditPasscode->isEnabled();
    }
};

void TestShellCommandsOnline::passcodeShowsTheBoardsValueAndCancelWritesNothing()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(online(h, sim));
    QCOMPARE(sim.command(QStringLiteral("set W1298 4321")), QStringLiteral("ok"));
    const qsizetype before = h.port->sent.size();
    h.w().mnuEditPasscode->trigger();
    QCOMPARE(h.prompt.inputs.size(), 1);
    QCOMPARE(h.prompt.inputs[0].title, QStringLiteral("Color Control Passcode"));
    QCOMPARE(h.prompt.inputs[0].prompt, QStringLiteral("Please Enter New Passcode (0-65535)"));
    QCOMPARE(h.prompt.inputs[0].defaultText, QStringLiteral("4321"));
    QVERIFY(!h.port->sent.mid(before).contains(WriteMode));
    QCOMPARE(sim.command(QStringLiteral("get W1298")), QStringLiteral("4321"));
}

void TestShellCommandsOnline::passcodeWritesTheBoard()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(online(h, sim));
    QCOMPARE(sim.command(QStringLiteral("set W1298 4321")), QStringLiteral("ok"));
    h.prompt.inputAnswers << QStringLiteral("1298");
    h.w().mnuEditPasscode->trigger();
    QCOMPARE(h.prompt.inputs.size(), 1);
    QCOMPARE(sim.command(QStringLiteral("get W1298")), QStringLiteral("1298"));
    QVERIFY(!h.comm->CommError);
}

void TestShellCommandsOnline::passcodeNeitherReadNorWrittenAfterACommError()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(online(h, sim));
    QCOMPARE(sim.command(QStringLiteral("set W1298 4321")), QStringLiteral("ok"));
    h.comm->CommError = true;
    h.prompt.inputAnswers << QStringLiteral("77");
    const qsizetype before = h.port->sent.size();
    h.w().mnuEditPasscode->trigger();
    QCOMPARE(h.prompt.inputs.size(), 1);
    QCOMPARE(h.prompt.inputs[0].defaultText, QString());
    QCOMPARE(h.port->sent.size(), before);
    QCOMPARE(sim.command(QStringLiteral("get W1298")), QStringLiteral("4321"));
}

QTEST_MAIN(TestShellCommandsOnline)
#include "test_shellcommands_online.moc"
