#include "boardtrace.h"
#include "comm/targetboardfacts.h"
#include "displays/displayfixture.h"
#include "displays/updownspinner.h"
#include "machine/shiftexport.h"
#include "targetboard/frmtargetboard.h"

#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScopeGuard>
#include <QTabBar>
#include <QTabWidget>

// The target board window shown against the simulated board on a pty.
class TestFrmTargetBoard : public QObject
{
    Q_OBJECT

    DisplayFixture f;
    std::unique_ptr<BoardTrace> trace;
    std::unique_ptr<frmTargetBoard> form;

    QString projectDir() const { return QDir(f.dir.path()).filePath(QStringLiteral("project")); }

    // A project PUMP whose .PDX starts with the board type character.
    QString project(QChar boardType, const QString &rev = {}, bool hex = false)
    {
        const QString dir = projectDir();
        QDir(dir).removeRecursively();
        QDir().mkpath(dir);
        const QString pdx = QDir(dir).filePath(QStringLiteral("PUMP.pdx"));
        QFile p(pdx);
        p.open(QIODevice::WriteOnly);
        p.write(QString(boardType).toLatin1() + "PUMP,1\r\n");
        p.close();
        if (!rev.isEmpty()) {
            QFile r(QDir(dir).filePath(QStringLiteral("PUMP.rev")));
            r.open(QIODevice::WriteOnly);
            r.write(rev.toLatin1() + "\r\n");
        }
        if (hex) {
            QFile h(QDir(dir).filePath(QStringLiteral("PUMP.hex")));
            h.open(QIODevice::WriteOnly);
            h.write(":00000001FF\r\n");
        }
        return pdx;
    }

    // Shows the window for a project, online, and waits for its first pass.
    frmTargetBoard &open(const QString &pdx, bool waitFirstPass = true)
    {
        form = std::make_unique<frmTargetBoard>(*f.util);
        if (!form->prepare(pdx))
            qFatal("window did not prepare");
        form->show();
        if (!QTest::qWaitForWindowActive(form.get()))
            qFatal("window did not become active");
        if (waitFirstPass && !QTest::qWaitFor([&] { return form->FirstPassDone; }, 15000))
            qFatal("no first pass");
        return *form;
    }

    // Waits until the set-up fields have been read again.
    void waitTurns(frmTargetBoard &w, int turns = 2)
    {
        const qint64 target = w.turnCount() + turns;
        QVERIFY(QTest::qWaitFor([&] { return w.turnCount() >= target; }, 10000));
    }

    void clickTab(frmTargetBoard &w, int index)
    {
        QTabBar *bar = w.tabTargetBoard->tabBar();
        QTest::mouseClick(bar, Qt::LeftButton, {}, bar->tabRect(index).center());
        QCOMPARE(w.tabTargetBoard->currentIndex(), index);
    }

    QString faultText(const QString &code)
    {
        QString text;
        TargetBoardFacts::lookUpCodeFile(TargetBoardFacts::faultCodesFile(f.dir.path()), code,
                                         text);
        return text;
    }

    QString commText(const QString &code)
    {
        QString text;
        TargetBoardFacts::lookUpCodeFile(TargetBoardFacts::commErrCodesFile(f.dir.path()), code,
                                         text);
        return text;
    }

    void resetBoardCodes()
    {
        for (const char *a : {"B8175", "B8176", "B8177", "B8178", "B8179"})
            QVERIFY(f.set(QString::fromLatin1(a), 0));
    }

private slots:
    void initTestCase()
    {
        const QString trapPath = QDir(f.dir.path()).filePath(QStringLiteral("trace.txt"));
        QVERIFY(f.start(71, {QStringLiteral("--trace"), trapPath}));
        for (const char *name : {"FaultErrCodes.txt", "CommErrCodes.txt"}) {
            const QString file = QStringLiteral("Support/") + QLatin1String(name);
            QFile::remove(QDir(f.dir.path()).filePath(file));
            QVERIFY(QFile::copy(QDir(binDir()).filePath(file), QDir(f.dir.path()).filePath(file)));
        }
        trace = std::make_unique<BoardTrace>(trapPath);
    }
    void cleanupTestCase() { f.stop(); }
    void init()
    {
        resetBoardCodes();
        QVERIFY(f.set("B8180", 7));
        QVERIFY(f.sim.command(QStringLiteral("silent off")) == u"ok");
        trace->newWrites();
    }
    void cleanup()
    {
        if (form) {
            form->done(QDialog::Accepted);
            form.reset();
        }
        f.prompt.asked.clear();
        f.prompt.answers.clear();
        if (f.comm->OnlineMode)
            f.goOffline();
    }

    static QString binDir() { return BoardSimProcess::binDir(); }

    void captionsAndPages()
    {
        frmTargetBoard &w = open(project(QLatin1Char('D')));
        QCOMPARE(w.windowTitle(), QStringLiteral("Target Board Interface"));
        QCOMPARE(w.tabTargetBoard->tabText(0), QStringLiteral("&Fault Codes / Status"));
        QCOMPARE(w.tabTargetBoard->tabText(3), QStringLiteral("S&et Time && Date"));
        QVERIFY(w.cmdOk->isDefault());
        QCOMPARE(w.cmdDefault->text(), QStringLiteral("-"));
        QCOMPARE(w.lblNetworkAddComment->text(),
                 QStringLiteral("Each K7100 board connected to the K7100 Network must be assigned "
                                "a unique network address between 1 and 32.\r\n\r\nSystem function "
                                "sfunc19(); configures the K9516 serial communication for the "
                                "T6800 processor."));
        // Opening brought the program online.
        QVERIFY(f.comm->OnlineMode);
        QVERIFY(w.cmdGoOnline->isHidden());
        QVERIFY(w.lblTargetBoard[2]->isHidden());
        for (int page = 3; page >= 0; --page) {
            clickTab(w, page);
            QVERIFY(w.fraTargetBoard[page]->isVisible());
        }
        QTest::mouseClick(w.cmdOk, Qt::LeftButton);
        QTRY_VERIFY(!w.isVisible());
        QVERIFY(!w.FormActive);
    }

    void faultCodesWithTheirTexts()
    {
        QVERIFY(f.set("B8176", 5));
        QVERIFY(f.set("B8177", 26));
        QVERIFY(f.set("B8179", 10));
        QVERIFY(f.set("B8178", 0x12));
        frmTargetBoard &w = open(project(QLatin1Char('D')));
        QCOMPARE(w.lblTargetBoard[0]->text(), QStringLiteral("Current Fault: Code = 05H"));
        QCOMPARE(w.lblTargetBoard[1]->text(), QStringLiteral("Last Fault: Code = 1AH"));
        QCOMPARE(w.lblTargetBoard[3]->text(), QStringLiteral("Corrective Action:"));
        QCOMPARE(w.lblTargetBoard[4]->text(), QStringLiteral("Current Comm Error: Code = 0AH"));
        QCOMPARE(w.lblTargetBoard[5]->text(), QStringLiteral("Last Comm Error: Code = 12H"));
        QVERIFY(!faultText(QStringLiteral("05")).isEmpty());
        QCOMPARE(w.boxText(0), faultText(QStringLiteral("05")));
        QCOMPARE(w.boxText(1), faultText(QStringLiteral("1A")));
        QVERIFY(!commText(QStringLiteral("0A")).isEmpty());
        QCOMPARE(w.boxText(4), commText(QStringLiteral("0A")));
        QCOMPARE(w.boxText(5), commText(QStringLiteral("12")));
        QCOMPARE(w.boxText(3),
                 QStringLiteral("Replace CO-CPU board at \"CO-CPU Slot\" and try again.  If fault "
                                "persists, peplace K7112 processor board and try again.  If fault "
                                "persists, verify proper use of \"sfunc05/06/12\" in user "
                                "program."));
        QVERIFY(w.cmdResetFaults->isEnabled());
    }

    // A code file that is there but cannot be read fails the pass with the
    // window's own message; each turn tries again until it can be read.
    void unreadableCodeFileFailsThePassUntilItCanBeRead()
    {
        QVERIFY(f.set("B8176", 5));
        const QString file = TargetBoardFacts::faultCodesFile(f.dir.path());
        const QString aside = file + QStringLiteral(".aside");
        QVERIFY(QFile::rename(file, aside));
        auto restore = qScopeGuard([&] {
            QDir().rmdir(file);
            QFile::rename(aside, file);
        });
        QVERIFY(QDir().mkdir(file)); // there, and nothing can be read from it
        frmTargetBoard &w = open(project(QLatin1Char('D')), false);
        QTRY_VERIFY_WITH_TIMEOUT(f.prompt.asked.size() >= 2, 15000);
        for (const ScriptedPrompt::Asked &asked : std::as_const(f.prompt.asked)) {
            QCOMPARE(asked.title, QStringLiteral("TargetBoard FirstPass"));
            QCOMPARE(asked.text, QStringLiteral("Error Number = 75\r\n\r\nPath/File access error"));
            QCOMPARE(asked.icon, PromptIcon::Information);
            QCOMPARE(asked.buttons, PromptButtons::Ok);
        }
        QVERIFY(!w.FirstPassDone);

        restore.dismiss();
        QVERIFY(QDir().rmdir(file) && QFile::rename(aside, file));
        QTRY_VERIFY_WITH_TIMEOUT(w.FirstPassDone, 15000);
        QCOMPARE(w.boxText(0), faultText(QStringLiteral("05")));
    }

    void coCpuSlotRowOnlyForK7112()
    {
        QVERIFY(f.set("B8175", 3));
        frmTargetBoard &w = open(project(QLatin1Char('2')));
        QVERIFY(!w.lblTargetBoard[2]->isHidden());
        QCOMPARE(w.lblTargetBoard[2]->text(), QStringLiteral("CO-CPU Slot: 3"));
        // A slot alone is no fault.
        QVERIFY(!w.cmdResetFaults->isEnabled());
    }

    void correctiveActionFollowsTheLastFault_data()
    {
        QTest::addColumn<int>("lastFault");
        QTest::addColumn<QString>("startsWith");
        const QString coCpu = QStringLiteral("Replace CO-CPU board at ");
        const QString reset = QStringLiteral(
            "Reset fault and try again.  If fault persists, replace target board and try again.  "
            "See Pradex Manual for more details.");
        const QString cable = QStringLiteral(
            "Verify connection of cable between computer \"COM\" port and target board \"PROG "
            "PORT\".  Verify cable wiring and connectors.  If fault persists, replace target "
            "board and/or try a different computer.");
        const QString invalid = QStringLiteral(
            "Program is invalid.  Re-dump program to target board.  If fault persists, verify "
            "cable connections between computer and target board.  If fault persists, replace "
            "target board.");
        const QString sfunc09 = QStringLiteral(
            "User program executed an sfunc09() system fault function call.  See User program "
            "for details on source of fault and corrective action.");
        QTest::newRow("0") << 0 << QStringLiteral("None");
        QTest::newRow("1") << 1 << coCpu;
        QTest::newRow("63") << 63 << coCpu;
        QTest::newRow("64") << 64 << reset;
        QTest::newRow("65") << 65 << reset;
        QTest::newRow("66") << 66 << cable;
        QTest::newRow("67") << 67 << reset;
        QTest::newRow("69") << 69 << sfunc09;
        QTest::newRow("91") << 91 << reset;
        QTest::newRow("92") << 92 << invalid;
        QTest::newRow("93") << 93 << invalid;
        QTest::newRow("122") << 122 << reset;
        QTest::newRow("123") << 123 << QStringLiteral("None");
        QTest::newRow("255") << 255 << QStringLiteral("None");
    }
    void correctiveActionFollowsTheLastFault()
    {
        QFETCH(int, lastFault);
        QFETCH(QString, startsWith);
        QVERIFY(f.set("B8177", lastFault));
        frmTargetBoard &w = open(project(QLatin1Char('D')));
        QVERIFY2(w.boxText(3).startsWith(startsWith), qPrintable(w.boxText(3)));
        if (startsWith.size() > 30)
            QCOMPARE(w.boxText(3), startsWith);
        // Nothing set: Reset Faults stays disabled.
        QCOMPARE(w.cmdResetFaults->isEnabled(), lastFault != 0);
    }

    void resetFaultsWritesInOrderAndReadsAgain()
    {
        QVERIFY(f.set("B8176", 10));
        QVERIFY(f.set("B8177", 10));
        QVERIFY(f.set("B8178", 3));
        QVERIFY(f.set("B8179", 4));
        frmTargetBoard &w = open(project(QLatin1Char('D')));
        QCOMPARE(w.lblTargetBoard[0]->text(), QStringLiteral("Current Fault: Code = 0AH"));
        QVERIFY(w.cmdResetFaults->isEnabled());
        trace->newWrites();
        // No and Cancel write nothing and leave the button as it was.
        f.prompt.answers = {PromptAnswer::No};
        QTest::mouseClick(w.cmdResetFaults, Qt::LeftButton);
        f.prompt.answers = {PromptAnswer::Cancel};
        QTest::mouseClick(w.cmdResetFaults, Qt::LeftButton);
        QCOMPARE(f.prompt.asked.size(), 2);
        QCOMPARE(f.prompt.asked[0].title, QStringLiteral("WARNING - Fault Code Reset!"));
        QCOMPARE(f.prompt.asked[0].text,
                 QStringLiteral("Target Board will be reinitialized.\r\n\r\nDo you wish to "
                                "continue?"));
        QCOMPARE(f.prompt.asked[0].icon, PromptIcon::Critical);
        QCOMPARE(f.prompt.asked[0].buttons, PromptButtons::YesNoCancel);
        QVERIFY(w.cmdResetFaults->isEnabled());
        waitTurns(w);
        QVERIFY(trace->newWrites().isEmpty());

        const qint64 passes = w.firstPassCount();
        f.prompt.answers = {PromptAnswer::Yes};
        QTest::mouseClick(w.cmdResetFaults, Qt::LeftButton);
        QCOMPARE(trace->newWrites(),
                 (QStringList{QStringLiteral("B8178=0"), QStringLiteral("B8179=0"),
                              QStringLiteral("B8177=0"), QStringLiteral("B8176=0")}));
        QTRY_VERIFY(w.firstPassCount() > passes && w.FirstPassDone);
        QCOMPARE(w.lblTargetBoard[0]->text(), QStringLiteral("Current Fault: Code = 00H"));
        QCOMPARE(w.lblTargetBoard[4]->text(), QStringLiteral("Current Comm Error: Code = 00H"));
        QCOMPARE(w.boxText(3), QStringLiteral("None"));
        QVERIFY(!w.cmdResetFaults->isEnabled());
    }

    void silentBoardShowsCannotCommunicate()
    {
        QVERIFY(f.set("B8176", 5));
        frmTargetBoard &w = open(project(QLatin1Char('D')));
        QVERIFY(w.cmdGoOnline->isHidden());
        QVERIFY(w.cmdResetFaults->isEnabled());
        QCOMPARE(f.sim.command(QStringLiteral("silent on")), QStringLiteral("ok"));
        QTRY_VERIFY_WITH_TIMEOUT(w.CommLostShown, 30000);
        for (int i : {0, 1, 3, 4, 5})
            QCOMPARE(w.boxText(i), QStringLiteral("Cannot Communicate with Target Board."));
        // The rows keep the codes of the last pass.
        QCOMPARE(w.lblTargetBoard[0]->text(), QStringLiteral("Current Fault: Code = 05H"));
        QVERIFY(!w.cmdGoOnline->isHidden());
        QVERIFY(!w.cmdResetFaults->isEnabled());
        QVERIFY(!w.txtSetup[0]->isEnabled());
        QVERIFY(!w.lblRevIdentInPLC[0]->isEnabled());
        QVERIFY(!f.comm->OnlineMode);
        // The board answers again: Go Online reads the page once more.
        QCOMPARE(f.sim.command(QStringLiteral("silent off")), QStringLiteral("ok"));
        const qint64 passes = w.firstPassCount();
        QTest::mouseClick(w.cmdGoOnline, Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(w.firstPassCount() > passes && w.FirstPassDone, 15000);
        QVERIFY(w.cmdGoOnline->isHidden());
        QCOMPARE(w.boxText(0), faultText(QStringLiteral("05")));
        QVERIFY(w.txtSetup[0]->isEnabled());
    }

    void openingWithoutABoard()
    {
        QCOMPARE(f.sim.command(QStringLiteral("silent on")), QStringLiteral("ok"));
        frmTargetBoard &w = open(project(QLatin1Char('A')), false);
        QTRY_VERIFY_WITH_TIMEOUT(w.CommLostShown, 30000);
        QVERIFY(!f.comm->OnlineMode);
        QVERIFY(!w.FirstPassDone);
        for (int i : {0, 1, 3, 4, 5})
            QCOMPARE(w.boxText(i), QStringLiteral("Cannot Communicate with Target Board."));
        QCOMPARE(w.lblTargetBoard[0]->text(), QStringLiteral("Current Fault:"));
        QVERIFY(!w.cmdGoOnline->isHidden());
        QVERIFY(!w.cmdResetFaults->isEnabled());
        QVERIFY(!w.cmdSetToCurrTime->isEnabled());
        QVERIFY(!w.txtSetup[1]->isEnabled());
        // The PC clock runs offline too.
        QTRY_VERIFY(w.lblCurrTime->text() != u"XX : XX : XX");
    }

    void fieldsFollowTheBoardType_data()
    {
        QTest::addColumn<QString>("typeChar"); // empty: no project
        QTest::addColumn<bool>("secondAddress");
        QTest::addColumn<bool>("clock");
        QTest::addColumn<QString>("boardName");
        QTest::newRow("none (0)") << QString() << false << false
                                  << QString(QChar(0)) + " Is Not Defined.";
        QTest::newRow("K7116 (54)") << "6" << false << true << "K7116";
        QTest::newRow("R5110 (65)") << "A" << true << true << "R5110";
        QTest::newRow("T6800 (68)") << "D" << false << false << "T6800(PLC)";
    }
    void fieldsFollowTheBoardType()
    {
        QFETCH(QString, typeChar);
        QFETCH(bool, secondAddress);
        QFETCH(bool, clock);
        QFETCH(QString, boardName);
        const QString pdx = typeChar.isEmpty() ? QString() : project(typeChar.at(0));
        // Before the window is shown: the layout of the board type.
        form = std::make_unique<frmTargetBoard>(*f.util);
        QVERIFY(form->prepare(pdx));
        frmTargetBoard &w = *form;
        QCOMPARE(int(w.BoardType), typeChar.isEmpty() ? 0 : int(typeChar.at(0).unicode()));
        QCOMPARE(w.lblRevIdentOnDisk[3]->text(), boardName);
        QCOMPARE(w.lblRevIdentOnDisk[4]->text(), QStringLiteral("-"));
        if (typeChar.isEmpty()) {
            QCOMPARE(w.lblRevIdentOnDisk[0]->text(), QString());
            QCOMPARE(w.lblRevIdentOnDisk[1]->text(), QStringLiteral("0"));
        } else {
            QCOMPARE(w.lblRevIdentOnDisk[0]->text(), QStringLiteral("-"));
        }
        QCOMPARE(w.txtSetup[1]->isHidden(), !secondAddress);
        QCOMPARE(w.lblSetupDesc[1]->isHidden(), !secondAddress);
        QVERIFY(!w.txtSetup[0]->isHidden());
        for (int i = 2; i < 8; ++i) {
            QCOMPARE(w.txtSetup[i]->text(), QStringLiteral("-"));
            QCOMPARE(w.txtSetup[i]->isEnabled(), clock);
        }
        if (secondAddress)
            QCOMPARE(w.txtSetup[1]->text(), QString());
        form.reset();

        // Online.
        QVERIFY(f.set("B8191", 9));
        QVERIFY(f.set("B43012", 8));
        open(pdx);
        frmTargetBoard &v = *form;
        waitTurns(v);
        QCOMPARE(v.txtSetup[0]->text(), QStringLiteral("07"));
        QVERIFY(v.txtSetup[0]->isEnabled());
        QCOMPARE(v.txtSetup[1]->isHidden(), !secondAddress);
        if (secondAddress)
            QCOMPARE(v.txtSetup[1]->text(), QStringLiteral("09"));
        for (int i = 2; i < 8; ++i) {
            QCOMPARE(v.txtSetup[i]->isEnabled(), clock);
            QCOMPARE(v.updSetup[i]->isEnabled(), clock);
            QCOMPARE(v.lblSetupDesc[i]->isEnabled(), clock);
        }
        QCOMPARE(v.txtSetup[2]->text(), clock ? QStringLiteral("08") : QStringLiteral("-"));
        QCOMPARE(v.cmdSetToCurrTime->isEnabled(), clock);
        QCOMPARE(v.cmdSetToCurrDate->isEnabled(), clock);
        QCOMPARE(v.lblTargetBoardTime->isEnabled(), clock);
        QVERIFY(v.lblRevIdentInPLC[0]->isEnabled());
    }

    void boardIdentityAgainstTheRevFile()
    {
        // Checksum "<=" is CD (205), revision "05".
        const QString pdx = project(QLatin1Char('D'), QStringLiteral("PUMPCTRL<=05"), true);
        frmTargetBoard &w = open(pdx);
        QCOMPARE(w.DiskName, QStringLiteral("PUMPCTRL"));
        QCOMPARE(w.lblRevIdentOnDisk[0]->text(), QStringLiteral("PUMPCTRL"));
        QCOMPARE(w.lblRevIdentOnDisk[1]->text(), QStringLiteral("5"));
        QCOMPARE(w.lblRevIdentOnDisk[2]->text(), QStringLiteral("205"));
        QCOMPARE(w.lblRevIdentOnDisk[3]->text(), QStringLiteral("T6800(PLC)"));
        const QFileInfo hex(QDir(projectDir()).filePath(QStringLiteral("PUMP.hex")));
        QCOMPARE(w.lblRevIdentOnDisk[4]->text(), uploadTimeText(hex.lastModified()));
        // The board's own block, in decimal.
        QCOMPARE(w.lblRevIdentInPLC[0]->text(), QStringLiteral("DECOR213"));
        QCOMPARE(w.lblRevIdentInPLC[2]->text(), f.get(QStringLiteral("B61432")));
        QCOMPARE(w.lblRevIdentInPLC[1]->text(), f.get(QStringLiteral("B61433")));
    }

    void revFileTooShortDoesNotOpen()
    {
        const QString pdx = project(QLatin1Char('D'), QStringLiteral("<=0"));
        form = std::make_unique<frmTargetBoard>(*f.util);
        QVERIFY(!form->prepare(pdx));
        QCOMPARE(f.prompt.asked.size(), 1);
        QCOMPARE(f.prompt.asked[0].title, QStringLiteral("InitializeForm"));
        QVERIFY(f.prompt.asked[0].text.startsWith(QStringLiteral("Error Number = ")));
        QVERIFY(!form->isVisible());
    }

    void networkAddressShowsTwoDigitsAndRefusesOutOfRange_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::newRow("33") << "33";
        QTest::newRow("0") << "0";
    }
    void networkAddressShowsTwoDigitsAndRefusesOutOfRange()
    {
        QFETCH(QString, typed);
        frmTargetBoard &w = open(project(QLatin1Char('D')));
        clickTab(w, 2);
        QTRY_COMPARE(w.txtSetup[0]->text(), QStringLiteral("07"));
        trace->newWrites();
        QTest::mouseClick(w.txtSetup[0], Qt::LeftButton);
        QVERIFY(w.txtSetup[0]->hasFocus());
        w.txtSetup[0]->selectAll();
        QTest::keyClicks(w.txtSetup[0], typed);
        QTest::keyClick(w.txtSetup[0], Qt::Key_Tab);
        QCOMPARE(f.prompt.asked.size(), 1);
        QCOMPARE(f.prompt.asked[0].title, QStringLiteral("Set-upCurrent Network Address 1:"));
        QCOMPARE(f.prompt.asked[0].text,
                 QStringLiteral("Only a Number Between 1 and 32 can be Entered"));
        QCOMPARE(f.prompt.asked[0].icon, PromptIcon::Information);
        QCOMPARE(w.txtSetup[0]->text(), QStringLiteral("7"));
        QVERIFY(w.txtSetup[0]->hasFocus());
        // The cycle leaves the field alone while it is being corrected.
        waitTurns(w);
        QCOMPARE(w.txtSetup[0]->text(), QStringLiteral("7"));
        QVERIFY(trace->newWrites().isEmpty());
        QCOMPARE(f.get(QStringLiteral("B8180")), QStringLiteral("7"));
        // An accepted value is written when the field is left.
        w.txtSetup[0]->selectAll();
        QTest::keyClicks(w.txtSetup[0], QStringLiteral("12"));
        QTest::keyClick(w.txtSetup[0], Qt::Key_Return);
        QCOMPARE(trace->newWrites(), QStringList{QStringLiteral("B8180=12")});
        QCOMPARE(f.get(QStringLiteral("B8180")), QStringLiteral("12"));
    }

    void monthEntryWritesWhenLeft()
    {
        frmTargetBoard &w = open(project(QLatin1Char('6')));
        clickTab(w, 3);
        QTRY_VERIFY(w.txtSetup[5]->text() != u"-");
        trace->newWrites();
        QTest::mouseClick(w.txtSetup[5], Qt::LeftButton);
        w.txtSetup[5]->selectAll();
        QTest::keyClicks(w.txtSetup[5], QStringLiteral("12"));
        QTest::keyClick(w.txtSetup[5], Qt::Key_Tab);
        QVERIFY(f.prompt.asked.isEmpty());
        QCOMPARE(trace->newWrites(), QStringList{QStringLiteral("B43016=12")});
        QCOMPARE(f.get(QStringLiteral("B43016")), QStringLiteral("12"));
    }

    void spinnerStepWritesAtOnce()
    {
        frmTargetBoard &w = open(project(QLatin1Char('6')));
        clickTab(w, 3);
        QTRY_COMPARE(w.txtSetup[7]->text(),
                     f.get(QStringLiteral("B43017")).rightJustified(2, u'0'));
        trace->newWrites();
        const int year = w.txtSetup[7]->text().toInt();
        QVERIFY(w.updSetup[7]->step(year < 99 ? UpDownSpinner::Direction::Up
                                              : UpDownSpinner::Direction::Down));
        const int stepped = year < 99 ? year + 1 : year - 1;
        QCOMPARE(trace->newWrites(), QStringList{QStringLiteral("B43017=%1").arg(stepped)});
        QCOMPARE(QApplication::focusWidget(), w.cmdDefault);
    }

    void leavingAnUnchangedFieldWritesNothing()
    {
        frmTargetBoard &w = open(project(QLatin1Char('6')));
        clickTab(w, 3);
        QTRY_VERIFY(w.txtSetup[2]->text() != u"-");
        trace->newWrites();
        // The operator tabs through the clock fields without changing one.
        QTest::mouseClick(w.txtSetup[2], Qt::LeftButton);
        for (int i = 0; i < 5; ++i)
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        QTest::mouseClick(w.cmdDefault, Qt::LeftButton);
        waitTurns(w);
        QVERIFY(trace->newWrites().isEmpty());
        QVERIFY(f.prompt.asked.isEmpty());
    }

    void setToCurrentTimeAndDate()
    {
        frmTargetBoard &w = open(project(QLatin1Char('A')));
        w.setPcClock([] { return QDateTime(QDate(2007, 3, 4), QTime(13, 45, 7)); });
        clickTab(w, 3);
        QTRY_COMPARE(w.lblCurrTime->text(), QStringLiteral("13 : 45 : 07"));
        QCOMPARE(w.lblCurrDate->text(), QStringLiteral("03 - 04 - 2007"));
        trace->newWrites();
        QTest::mouseClick(w.cmdSetToCurrTime, Qt::LeftButton);
        QCOMPARE(trace->newWrites(),
                 (QStringList{QStringLiteral("B43012=13"), QStringLiteral("B43010=45"),
                              QStringLiteral("B43008=7")}));
        QTest::mouseClick(w.cmdSetToCurrDate, Qt::LeftButton);
        QCOMPARE(trace->newWrites(),
                 (QStringList{QStringLiteral("B43016=3"), QStringLiteral("B43015=4"),
                              QStringLiteral("B43017=7")}));
        // The fields show the new values on the next turns.
        QTRY_COMPARE(w.txtSetup[2]->text(), QStringLiteral("13"));
        QTRY_COMPARE(w.txtSetup[7]->text(), QStringLiteral("07"));
    }

    void pagesAndClosingWithAFieldFocusedWriteNothing()
    {
        frmTargetBoard &w = open(project(QLatin1Char('A')));
        clickTab(w, 2);
        QTRY_COMPARE(w.txtSetup[0]->text(), QStringLiteral("07"));
        trace->newWrites();
        // The operator enters the field and changes nothing; the page changes.
        QTest::mouseClick(w.txtSetup[0], Qt::LeftButton);
        QVERIFY(w.txtSetup[0]->hasFocus());
        clickTab(w, 3);
        clickTab(w, 0);
        waitTurns(w);
        QVERIFY(trace->newWrites().isEmpty());
        QVERIFY(f.prompt.asked.isEmpty());
        // A clock field focused, then the keyboard changes the page.
        clickTab(w, 3);
        QTRY_VERIFY(w.txtSetup[3]->text() != u"-");
        QTest::mouseClick(w.txtSetup[3], Qt::LeftButton);
        QVERIFY(w.txtSetup[3]->hasFocus());
        QTest::keyClick(w.tabTargetBoard, Qt::Key_S, Qt::AltModifier);
        waitTurns(w);
        QVERIFY(trace->newWrites().isEmpty());
        // Closing with a field focused.
        clickTab(w, 2);
        QTest::mouseClick(w.txtSetup[1], Qt::LeftButton);
        QVERIFY(w.txtSetup[1]->hasFocus());
        QTest::mouseClick(w.cmdOk, Qt::LeftButton);
        QTRY_VERIFY(!w.isVisible());
        QTest::qWait(200);
        QVERIFY(trace->newWrites().isEmpty());
        QVERIFY(f.prompt.asked.isEmpty());
    }

    void closeBoxEndsTheCycle()
    {
        frmTargetBoard &w = open(project(QLatin1Char('D')));
        clickTab(w, 2);
        QTest::mouseClick(w.txtSetup[0], Qt::LeftButton);
        QVERIFY(w.close());
        QVERIFY(!w.FormActive);
        const qint64 reads = w.readCount();
        QTest::qWait(300);
        QCOMPARE(w.readCount(), reads);
        QVERIFY(trace->newWrites().isEmpty());
    }

    void waitsWhileTheLinkIsHeld()
    {
        frmTargetBoard &w = open(project(QLatin1Char('D')));
        waitTurns(w);
        qint64 reads = 0;
        {
            const LinkGuard::Hold hold = f.comm->holdLink();
            reads = w.readCount();
            QTest::qWait(300);
            QCOMPARE(w.readCount(), reads);
        }
        QTRY_VERIFY(w.readCount() > reads);
    }
};

QTEST_MAIN(TestFrmTargetBoard)
#include "test_frmtargetboard.moc"
