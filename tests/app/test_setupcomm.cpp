// "Comm Port Settings": port validation, the files saving writes, the
// device shown for a port, and reconnecting when the program was online.

#include "appharness.h"
#include "comm/frmsetupcomm.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <QToolButton>
#include <QTreeWidget>

namespace
{

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

const QString RangeMessage = QStringLiteral("Only a Number Between 1 and 99 can be Entered");

} // namespace

class TestSetupComm : public QObject
{
    Q_OBJECT

private slots:
    void refusesPortsOutsideOneToNinetyNine();
    void leavingTheBoxValidatesIt();
    void savesPort3At19200IntoEveryToolFolderWithoutOpeningThePort();
    void loadsTheSavedSettingsAndLimitsThem();
    void showsTheDeviceAPortResolvesTo();
    void listsTheDevicesAndAssignsOneToThePort();
    void spinnerStaysInRange();
    void onlineSaveReconnects();
    void onlineSaveWithNoBoardStaysOpenAndOffline();
    void cancelWritesNothing();
};

void TestSetupComm::refusesPortsOutsideOneToNinetyNine()
{
    AppHarness h;
    QVERIFY(h.start());
    frmSetupComm window(*h.comm, *h.port, h.prompt, h.programDir());
    QCOMPARE(window.windowTitle(), QStringLiteral("Comm Port Settings"));
    QCOMPARE(window.txtCommPort->text(), QStringLiteral("1"));
    QVERIFY(window.optPortSpeed[0]->isChecked());
    const QString settings = h.comm->CommSettingsFile();

    int asked = 0;
    for (const char *entry : {"0", "100", "abc", ""}) {
        window.txtCommPort->setText(QString::fromLatin1(entry));
        window.cmdSave_Click();
        ++asked;
        QCOMPARE(h.prompt.asked.size(), asked);
        QCOMPARE(h.prompt.asked.last().title, QStringLiteral("Comm Port"));
        QCOMPARE(h.prompt.asked.last().text, RangeMessage);
        QCOMPARE(h.prompt.asked.last().icon, PromptIcon::Information);
        QCOMPARE(h.prompt.asked.last().buttons, PromptButtons::Ok);
        QVERIFY(!QFile::exists(settings));
        QCOMPARE(window.result(), int(QDialog::Rejected));
    }
    QVERIFY(window.txtCommPort_Validate() == false);
    window.txtCommPort->setText(QStringLiteral("99"));
    QVERIFY(window.txtCommPort_Validate());
    window.txtCommPort->setText(QStringLiteral("1"));
    QVERIFY(window.txtCommPort_Validate());
    QCOMPARE(h.prompt.asked.size(), asked + 1);
}

void TestSetupComm::leavingTheBoxValidatesIt()
{
    AppHarness h;
    QVERIFY(h.start());
    frmSetupComm window(*h.comm, *h.port, h.prompt, h.programDir());
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    window.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    window.txtCommPort->setFocus();
    QTRY_VERIFY(window.txtCommPort->hasFocus());
    window.txtCommPort->setText(QStringLiteral("100"));
    window.optPortSpeed[1]->setFocus();
    QTRY_COMPARE(h.prompt.asked.size(), 1);
    QCOMPARE(h.prompt.asked[0].text, RangeMessage);
    // The focus goes back to the box.
    QTRY_VERIFY(window.txtCommPort->hasFocus());

    // A valid entry lets the focus go.
    window.txtCommPort->setText(QStringLiteral("12"));
    window.optPortSpeed[1]->setFocus();
    QTRY_VERIFY(window.optPortSpeed[1]->hasFocus());
    QTest::qWait(50);
    QCOMPARE(h.prompt.asked.size(), 1);
}

void TestSetupComm::savesPort3At19200IntoEveryToolFolderWithoutOpeningThePort()
{
    AppHarness h;
    QVERIFY(h.start());
    const QDir dir(h.programDir());
    QVERIFY(dir.mkpath(QStringLiteral("PRX51")));
    QVERIFY(dir.mkpath(QStringLiteral("LMX51")));
    // A settings folder that is missing is created.
    QVERIFY(QDir(dir.filePath(QStringLiteral("Support"))).removeRecursively());

    frmSetupComm window(*h.comm, *h.port, h.prompt, h.programDir());
    QCOMPARE(window.toolFolders(),
             (QStringList{dir.filePath("PRX51"), dir.filePath("PRX96"), dir.filePath("LMX51")}));
    window.txtCommPort->setText(QStringLiteral("3"));
    window.optPortSpeed[1]->setChecked(true);
    window.cmdSave_Click();
    QCOMPARE(window.result(), int(QDialog::Accepted));
    QVERIFY(h.prompt.asked.isEmpty());
    QCOMPARE(contentOf(h.comm->CommSettingsFile()), QByteArray("3, 19200 \r\n"));
    QCOMPARE(contentOf(dir.filePath(QStringLiteral("PRX51/PRADEX.SFG"))), QByteArray("2\r\n"));
    QCOMPARE(contentOf(dir.filePath(QStringLiteral("LMX51/PRADEX.SFG"))), QByteArray("2\r\n"));
    QVERIFY(!dir.exists(QStringLiteral("PRX96")));
    // Offline: the port is never opened.
    QCOMPARE(h.port->openCount, 0);
    QVERIFY(h.port->sent.isEmpty());
    QVERIFY(!h.comm->OnlineMode);

    // Saving again replaces the files; 9600 is the other option.
    frmSetupComm again(*h.comm, *h.port, h.prompt, h.programDir());
    again.txtCommPort->setText(QStringLiteral("1"));
    again.optPortSpeed[0]->setChecked(true);
    again.cmdSave_Click();
    QCOMPARE(contentOf(h.comm->CommSettingsFile()), QByteArray("1, 9600 \r\n"));
    QCOMPARE(contentOf(dir.filePath(QStringLiteral("PRX51/PRADEX.SFG"))), QByteArray("0\r\n"));
    QCOMPARE(h.port->openCount, 0);
}

void TestSetupComm::loadsTheSavedSettingsAndLimitsThem()
{
    AppHarness h;
    QVERIFY(h.start());
    const QString settings = h.comm->CommSettingsFile();
    const QList<std::tuple<QByteArray, QString, int>> cases = {
        {"3, 19200 \r\n", "3", 1},
        {"7,4800\r\n", "7", 0},
        {"0,19200\r\n", "1", 1},
        {"150,9600\r\n", "99", 0},
        {"", "1", 0},
        // The window and the link read the file alike, nonsense included.
        {"7.6,19200\r\n", "8", 1},
        {"inf,19200\r\n", "1", 1},
        {"1e300,9600\r\n", "1", 0},
        {"COM3,19200\r\n", "1", 1},
    };
    for (const auto &[content, port, option] : cases) {
        QFile file(settings);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(content);
        file.close();
        frmSetupComm window(*h.comm, *h.port, h.prompt, h.programDir());
        QCOMPARE(window.txtCommPort->text(), port);
        QVERIFY2(window.optPortSpeed[option]->isChecked(), content.constData());
    }
    QVERIFY(h.prompt.asked.isEmpty());
}

void TestSetupComm::showsTheDeviceAPortResolvesTo()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(h.startWithBoard(sim));
    QVERIFY(QFile::link(QStringLiteral("/nonexistent/kestro-test-device"),
                        QDir(h.programDir()).filePath(QStringLiteral("Support/COM7"))));
    frmSetupComm window(*h.comm, *h.port, h.prompt, h.programDir());
    QCOMPARE(window.lblDevice->text(), QStringLiteral("Device: Support/COM1 -> ") +
                                           sim.slavePath() + QStringLiteral(" (present)"));
    window.txtCommPort->setText(QStringLiteral("7"));
    QCOMPARE(window.lblDevice->text(),
             QStringLiteral("Device: Support/COM7 -> /nonexistent/kestro-test-device (not found)"));
    window.txtCommPort->setText(QStringLiteral("42"));
    // Whether this machine has the node, and whether this user may open it,
    // is the machine's business; the label names the device either way.
    QVERIFY2(window.lblDevice->text().startsWith(QStringLiteral("Device: /dev/ttyS41 (")),
             qPrintable(window.lblDevice->text()));
    if (!QFile::exists(QStringLiteral("/dev/ttyS41")))
        QCOMPARE(window.lblDevice->text(), QStringLiteral("Device: /dev/ttyS41 (not found)"));
    window.txtCommPort->setText(QStringLiteral("0"));
    QCOMPARE(window.lblDevice->text(), QStringLiteral("Device: -"));
}

void TestSetupComm::listsTheDevicesAndAssignsOneToThePort()
{
    AppHarness h;
    QVERIFY(h.start());
    frmSetupComm window(*h.comm, *h.port, h.prompt, h.programDir());
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QCOMPARE(window.lstDevices->headerItem()->text(0), QStringLiteral("Device"));
    QVERIFY(!window.cmdAssign->isEnabled());
    if (window.lstDevices->topLevelItemCount() == 0)
        QSKIP("this machine has no serial device to list");
    for (int i = 0; i < window.lstDevices->topLevelItemCount(); ++i) {
        const QTreeWidgetItem *item = window.lstDevices->topLevelItem(i);
        QVERIFY(item->text(0).startsWith(QStringLiteral("/dev/")));
        QVERIFY(!item->text(3).isEmpty());
    }

    window.txtCommPort->setText(QStringLiteral("5"));
    QTreeWidgetItem *first = window.lstDevices->topLevelItem(0);
    const QString device = first->text(0);
    QTest::mouseClick(window.lstDevices->viewport(), Qt::LeftButton, {},
                      window.lstDevices->visualItemRect(first).center());
    QVERIFY(window.cmdAssign->isEnabled());
    QTest::mouseClick(window.cmdAssign, Qt::LeftButton);
    const QString link = QDir(h.programDir()).filePath(QStringLiteral("Support/COM5"));
    QCOMPARE(QFileInfo(link).symLinkTarget(), device);
    QVERIFY2(window.lblDevice->text().startsWith(QStringLiteral("Device: Support/COM5 -> ")),
             qPrintable(window.lblDevice->text()));
    QVERIFY(h.prompt.asked.isEmpty());
}

void TestSetupComm::spinnerStaysInRange()
{
    AppHarness h;
    QVERIFY(h.start());
    frmSetupComm window(*h.comm, *h.port, h.prompt, h.programDir());
    window.updCommPortDown->click();
    QCOMPARE(window.txtCommPort->text(), QStringLiteral("1"));
    window.updCommPortUp->click();
    window.updCommPortUp->click();
    QCOMPARE(window.txtCommPort->text(), QStringLiteral("3"));
    window.txtCommPort->setText(QStringLiteral("99"));
    window.updCommPortUp->click();
    QCOMPARE(window.txtCommPort->text(), QStringLiteral("99"));
    QVERIFY(h.prompt.asked.isEmpty());
}

void TestSetupComm::onlineSaveReconnects()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(h.startWithBoard(sim));
    h.w().mnuViewOnline_Click();
    QVERIFY(h.comm->OnlineMode);
    const int opens = h.port->openCount;

    frmSetupComm window(*h.comm, *h.port, h.prompt, h.programDir());
    window.optPortSpeed[1]->setChecked(true);
    window.cmdSave_Click();
    QCOMPARE(window.result(), int(QDialog::Accepted));
    QCOMPARE(h.port->openCount, opens + 1);
    QVERIFY(h.comm->OnlineMode);
    QCOMPARE(h.port->baudRate(), 19200);
    QCOMPARE(h.comm->RSRead(QStringLiteral("B52")), sim.command(QStringLiteral("get B52")));
    QVERIFY(h.prompt.asked.isEmpty());
}

void TestSetupComm::onlineSaveWithNoBoardStaysOpenAndOffline()
{
    AppHarness h;
    QVERIFY(h.start());
    BoardSimProcess sim;
    BoardSimProcess silent;
    QVERIFY(sim.start({QStringLiteral("--frozen")}));
    QVERIFY(sim.linkAsPort(h.programDir(), 1));
    QVERIFY(silent.start({QStringLiteral("--silent")}));
    QVERIFY(silent.linkAsPort(h.programDir(), 4));
    h.w().mnuViewOnline_Click();
    QVERIFY(h.comm->OnlineMode);

    frmSetupComm window(*h.comm, *h.port, h.prompt, h.programDir());
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    window.txtCommPort->setText(QStringLiteral("4"));
    window.cmdSave_Click();
    // The link's own warning comes first; then the window stays for another try.
    QVERIFY(!h.prompt.asked.isEmpty());
    QCOMPARE(h.prompt.asked.first().title, QStringLiteral("WARNING - Communication Error!"));
    QVERIFY(window.isVisible());
    QCOMPARE(window.result(), int(QDialog::Rejected));
    QVERIFY(!h.comm->OnlineMode);
    QCOMPARE(contentOf(h.comm->CommSettingsFile()), QByteArray("4, 9600 \r\n"));

    // Back to the port with the board: online again and the window closes.
    h.prompt.asked.clear();
    window.txtCommPort->setText(QStringLiteral("1"));
    window.cmdSave_Click();
    QCOMPARE(window.result(), int(QDialog::Accepted));
    QVERIFY(h.comm->OnlineMode);
    QVERIFY(h.prompt.asked.isEmpty());
}

void TestSetupComm::cancelWritesNothing()
{
    AppHarness h;
    QVERIFY(h.start());
    QVERIFY(QDir(h.programDir()).mkpath(QStringLiteral("PRX96")));
    frmSetupComm window(*h.comm, *h.port, h.prompt, h.programDir());
    window.show();
    window.txtCommPort->setText(QStringLiteral("0"));
    QTest::mouseClick(window.cmdCancel, Qt::LeftButton);
    QCOMPARE(window.result(), int(QDialog::Rejected));
    QVERIFY(!window.isVisible());
    QVERIFY(!QFile::exists(h.comm->CommSettingsFile()));
    QVERIFY(!QFile::exists(QDir(h.programDir()).filePath(QStringLiteral("PRX96/PRADEX.SFG"))));
    QVERIFY(h.prompt.asked.isEmpty());
}

QTEST_MAIN(TestSetupComm)
#include "test_setupcomm.moc"
