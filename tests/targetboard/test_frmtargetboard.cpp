// The target board window shown against the simulated board on a pty; the
// board's byte trace tells which registers were written.

#include "boardtrace.h"
#include "comm/targetboardfacts.h"
#include "displays/displayfixture.h"
#include "displays/updownspinner.h"
#include "machine/shiftexport.h"
#include "targetboard/frmtargetboard.h"

#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTabBar>
#include <QTabWidget>

class TestFrmTargetBoard : public QObject
{
    Q_OBJECT

    DisplayFixture f;
    BoardTrace trace{f.dir.filePath(QStringLiteral("trace.txt"))};
    std::unique_ptr<frmTargetBoard> form;

    // A project PUMP whose .PDX starts with the board type character; with a
    // .rev file, a .hex file too.
    QString project(QChar type, const QByteArray &rev = {})
    {
        QDir dir(f.dir.filePath(QStringLiteral("project")));
        dir.removeRecursively();
        dir.mkpath(QStringLiteral("."));
        auto write = [&](const char *name, const QByteArray &text) {
            QFile file(dir.filePath(QLatin1String(name)));
            return file.open(QIODevice::WriteOnly) && file.write(text + "\r\n") > 0;
        };
        write("PUMP.pdx", QString(type).toLatin1() + "PUMP,1");
        if (!rev.isEmpty() && write("PUMP.rev", rev))
            write("PUMP.hex", ":00000001FF");
        return dir.filePath(QStringLiteral("PUMP.pdx"));
    }
    frmTargetBoard &open(const QString &pdx, bool waitFirstPass = true)
    {
        form = std::make_unique<frmTargetBoard>(*f.util);
        if (!form->prepare(pdx))
            qFatal("the window did not prepare");
        form->show();
        if (!QTest::qWaitForWindowActive(form.get()) ||
            (waitFirstPass && !QTest::qWaitFor([&] { return form->FirstPassDone; }, 15000)))
            qFatal("the window did not open and read the board");
        return *form;
    }
    static void clickTab(frmTargetBoard &w, int index)
    {
        QTabBar *bar = w.tabTargetBoard->tabBar();
        QTest::mouseClick(bar, Qt::LeftButton, {}, bar->tabRect(index).center());
    }
    QString codeText(bool fault, const char *code)
    {
        QString text;
        TargetBoardFacts::lookUpCodeFile(fault ? TargetBoardFacts::faultCodesFile(f.dir.path())
                                               : TargetBoardFacts::commErrCodesFile(f.dir.path()),
                                         QLatin1String(code), text);
        return text;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(
            f.start(71, {QStringLiteral("--trace"), f.dir.filePath(QStringLiteral("trace.txt"))}));
        for (const char *name : {"FaultErrCodes.txt", "CommErrCodes.txt"}) {
            const QString file = QStringLiteral("Support/") + QLatin1String(name);
            QFile::remove(f.dir.filePath(file));
            QVERIFY(
                QFile::copy(QDir(BoardSimProcess::binDir()).filePath(file), f.dir.filePath(file)));
        }
    }
    void init()
    {
        QVERIFY(f.set("B8175=0 B8176=0 B8177=0 B8178=0 B8179=0 B8180=7"));
        QCOMPARE(f.sim.command(QStringLiteral("silent off")), QStringLiteral("ok"));
        trace.newWrites();
    }
    void cleanup()
    {
        if (form)
            form->done(QDialog::Accepted);
        form.reset();
        f.prompt.asked.clear();
        f.prompt.answers.clear();
        f.goOffline();
    }

    // The codes with their texts, a fault raised while open, Reset Faults
    // while that fault's pass runs (No and Cancel write nothing, Yes writes
    // in order and the old texts go),
    // the cycle waiting for a held link, and OK ending it.
    void faultCodesAndReset()
    {
        QVERIFY(f.set("B8176=5 B8177=26 B8179=10 B8178=32"));
        frmTargetBoard &w = open(project(u'D'));
        QVERIFY(f.comm->OnlineMode && w.cmdGoOnline->isHidden() && w.lblTargetBoard[2]->isHidden());
        const QStringList labels = {
            "Current Fault: Code = 05H",      "Last Fault: Code = 1AH",     "", "",
            "Current Comm Error: Code = 0AH", "Last Comm Error: Code = 20H"};
        const QStringList boxes = {codeText(true, "05"),  codeText(true, "1A"),      "", "",
                                   codeText(false, "0A"), "Code 20H Is Not Defined."};
        for (int i : {0, 1, 4, 5})
            QVERIFY(w.lblTargetBoard[i]->text() == labels[i] && !boxes[i].isEmpty() &&
                    w.boxText(i) == boxes[i]);
        QVERIFY(w.boxText(3).startsWith(QStringLiteral("Replace CO-CPU board at ")));
        QVERIFY(f.set("B8176=69"));
        QTRY_COMPARE(w.lblTargetBoard[0]->text(), QStringLiteral("Current Fault: Code = 45H"));
        QTRY_COMPARE(w.boxText(0), codeText(true, "45"));

        f.prompt.answers = {PromptAnswer::No, PromptAnswer::Cancel, PromptAnswer::Yes};
        const qint64 passes = w.firstPassCount();
        for (int i = 0; i < 3; ++i)
            QTest::mouseClick(w.cmdResetFaults, Qt::LeftButton);
        QCOMPARE(f.prompt.asked.size(), 3);
        QCOMPARE(trace.newWrites(), (QStringList{"B8178=0", "B8179=0", "B8177=0", "B8176=0"}));
        QTRY_VERIFY(w.firstPassCount() > passes && w.FirstPassDone);
        for (int i : {0, 1})
            QVERIFY(!w.boxText(i).isEmpty() && w.boxText(i) != boxes[i] &&
                    w.boxText(i) != codeText(true, "45"));
        QCOMPARE(w.boxText(3), QStringLiteral("None"));

        qint64 reads = 0;
        {
            const LinkGuard::Hold hold = f.comm->holdLink();
            reads = w.readCount();
            QTest::qWait(300);
            QCOMPARE(w.readCount(), reads);
        }
        QTRY_VERIFY(w.readCount() > reads);
        QTest::mouseClick(w.cmdOk, Qt::LeftButton);
        QTRY_VERIFY(!w.isVisible() && !w.FormActive);
        reads = w.readCount();
        QTest::qWait(300);
        QCOMPARE(w.readCount(), reads);
    }

    // A code file that is there but cannot be read fails each pass with the
    // window's own message until it can be read.
    void unreadableCodeFileFailsThePass()
    {
        const QString file = TargetBoardFacts::faultCodesFile(f.dir.path());
        QVERIFY(QFile::rename(file, file + ".aside") && QDir().mkdir(file));
        frmTargetBoard &w = open(project(u'D'), false);
        const bool failed = QTest::qWaitFor([&] { return f.prompt.asked.size() >= 2; }, 15000);
        QVERIFY(QDir().rmdir(file) && QFile::rename(file + ".aside", file) && failed);
        QCOMPARE(f.prompt.asked[1].title + f.prompt.asked[1].text,
                 "TargetBoard FirstPassError Number = 75\r\n\r\nPath/File access error");
        QTRY_VERIFY_WITH_TIMEOUT(w.FirstPassDone, 15000);
    }

    // Silent at opening, or going silent while open: every box says so, the
    // controls wait, Go Online reads the page again once the board answers.
    void silentBoard_data()
    {
        QTest::addColumn<bool>("atOpening");
        QTest::newRow("at opening") << true;
        QTest::newRow("while open") << false;
    }
    void silentBoard()
    {
        QFETCH(bool, atOpening);
        QVERIFY(f.set("B8176=5"));
        const QString silent = QStringLiteral("silent on");
        if (atOpening)
            f.sim.command(silent);
        frmTargetBoard &w = open(project(atOpening ? u'A' : u'D'), !atOpening);
        QCOMPARE(f.sim.command(silent), QStringLiteral("ok"));
        QTRY_VERIFY_WITH_TIMEOUT(w.CommLostShown, 30000);
        for (int i : {0, 1, 3, 4, 5})
            QCOMPARE(w.boxText(i), QStringLiteral("Cannot Communicate with Target Board."));
        QVERIFY(!f.comm->OnlineMode && !w.cmdGoOnline->isHidden());
        QVERIFY(!w.cmdResetFaults->isEnabled() && !w.cmdSetToCurrTime->isEnabled() &&
                !w.txtSetup[0]->isEnabled());
        QTRY_VERIFY(w.lblCurrTime->text() != u"XX : XX : XX"); // the PC clock runs offline too

        QCOMPARE(f.sim.command(QStringLiteral("silent off")), QStringLiteral("ok"));
        const qint64 passes = w.firstPassCount();
        QTest::mouseClick(w.cmdGoOnline, Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(w.firstPassCount() > passes && w.FirstPassDone, 15000);
        QVERIFY(w.cmdGoOnline->isHidden() && w.txtSetup[0]->isEnabled());
        QCOMPARE(w.boxText(0), codeText(true, "05"));
    }

    void fieldsFollowTheBoardType_data()
    {
        QTest::addColumn<QString>("type"); // empty: no project
        QTest::addColumn<bool>("secondAddress");
        QTest::addColumn<bool>("clock");
        // The row's name is the board's name shown.
        QTest::newRow("Not Defined") << "" << false << false;
        QTest::newRow("K7112") << "2" << false << false;
        QTest::newRow("K7116") << "6" << false << true;
        QTest::newRow("R5110") << "A" << true << true;
        QTest::newRow("T6800(PLC)") << "D" << false << false;
    }
    void fieldsFollowTheBoardType()
    {
        QFETCH(QString, type);
        QFETCH(bool, secondAddress);
        QFETCH(bool, clock);
        QVERIFY(f.set("B8191=9 B43012=8 B8175=3"));
        frmTargetBoard &w = open(type.isEmpty() ? QString() : project(type.at(0)));
        const qint64 turns = w.turnCount() + 2;
        QVERIFY(QTest::qWaitFor([&] { return w.turnCount() >= turns; }, 10000));
        QCOMPARE(w.lblRevIdentOnDisk[3]->text(), QLatin1String(QTest::currentDataTag()));
        QCOMPARE(w.txtSetup[0]->text(), QStringLiteral("07"));
        QVERIFY(w.txtSetup[1]->isHidden() != secondAddress &&
                w.lblSetupDesc[1]->isHidden() != secondAddress);
        if (secondAddress)
            QCOMPARE(w.txtSetup[1]->text(), QStringLiteral("09"));
        for (int i = 2; i < 8; ++i)
            QVERIFY(w.txtSetup[i]->isEnabled() == clock && w.updSetup[i]->isEnabled() == clock);
        QCOMPARE(w.txtSetup[2]->text(), clock ? QStringLiteral("08") : QStringLiteral("-"));
        QCOMPARE(w.cmdSetToCurrDate->isEnabled(), clock);
        // The CO-CPU slot row is only for a K7112; a slot alone is no fault.
        QCOMPARE(w.lblTargetBoard[2]->isVisible() ? w.lblTargetBoard[2]->text() : QString(),
                 type == u"2" ? QStringLiteral("CO-CPU Slot: 3") : QString());
        QVERIFY(!w.cmdResetFaults->isEnabled());
    }

    // Checksum "<=" is CD (205), revision "05"; a shorter line does not open;
    // a project that is not there is none.
    void boardIdentityAgainstTheRevFile()
    {
        form = std::make_unique<frmTargetBoard>(*f.util);
        QVERIFY(!form->prepare(project(u'D', "<=0")));
        QCOMPARE(f.prompt.asked.value(0).title, QStringLiteral("InitializeForm"));
        QVERIFY(form->prepare(f.dir.filePath(QStringLiteral("none.pdx"))) && form->BoardType == 0);
        frmTargetBoard &w = open(project(u'D', "PUMPCTRL<=05"));
        const QFileInfo hex(f.dir.filePath(QStringLiteral("project/PUMP.hex")));
        QCOMPARE((QStringList{w.lblRevIdentOnDisk[0]->text(), w.lblRevIdentOnDisk[1]->text(),
                              w.lblRevIdentOnDisk[2]->text(), w.lblRevIdentOnDisk[4]->text()}),
                 (QStringList{"PUMPCTRL", "5", "205", uploadTimeText(hex.lastModified())}));
        // The board's own block, in decimal.
        QCOMPARE((QStringList{w.lblRevIdentInPLC[0]->text(), w.lblRevIdentInPLC[1]->text(),
                              w.lblRevIdentInPLC[2]->text()}),
                 (QStringList{"DECOR213", f.get("B61433"), f.get("B61432")}));
    }

    // An entry counts when the operator leaves it with Tab: a refused one
    // keeps the field, which the cycle leaves alone while it is corrected.
    // On the clock page a spinner step writes at once, Set to Current Time
    // and Date write the PC's; a field left by closing the window is no entry.
    void entriesAndClockPage()
    {
        frmTargetBoard &w = open(project(u'A'));
        w.setPcClock([] { return QDateTime(QDate(2007, 3, 4), QTime(13, 45, 7)); });
        const auto typeIn = [](QLineEdit *txt, const QString &typed) {
            QTest::mouseClick(txt, Qt::LeftButton);
            txt->selectAll();
            QTest::keyClicks(txt, typed);
            QTest::keyClick(txt, Qt::Key_Tab);
        };
        clickTab(w, 2);
        QTRY_VERIFY(w.txtSetup[0]->text() != u"-");
        trace.newWrites();
        typeIn(w.txtSetup[0], QStringLiteral("33"));
        QCOMPARE(f.prompt.asked.value(0).title + f.prompt.asked.value(0).text,
                 "Set-upCurrent Network Address 1:Only a Number Between 1 and 32 can be Entered");
        const qint64 turns = w.turnCount() + 2;
        QVERIFY(QTest::qWaitFor([&] { return w.turnCount() >= turns; }, 10000));
        QCOMPARE(w.txtSetup[0]->text(), QStringLiteral("7"));
        typeIn(w.txtSetup[0], QStringLiteral("12"));
        QCOMPARE(trace.newWrites(), QStringList{"B8180=12"});

        clickTab(w, 3);
        QTRY_COMPARE(w.txtSetup[7]->text(), f.get("B43017").rightJustified(2, u'0'));
        QTRY_COMPARE(w.lblCurrTime->text() + w.lblCurrDate->text(),
                     QStringLiteral("13 : 45 : 0703 - 04 - 2007"));
        typeIn(w.txtSetup[5], QStringLiteral("12"));
        const int year = w.txtSetup[7]->text().toInt();
        QVERIFY(w.updSetup[7]->step(UpDownSpinner::Direction::Up));
        QCOMPARE(trace.newWrites(),
                 (QStringList{"B43016=12", QStringLiteral("B43017=%1").arg(year + 1)}));
        QCOMPARE(QApplication::focusWidget(), w.cmdDefault);
        QTest::mouseClick(w.cmdSetToCurrTime, Qt::LeftButton);
        QTest::mouseClick(w.cmdSetToCurrDate, Qt::LeftButton);
        QCOMPARE(trace.newWrites(), (QStringList{"B43012=13", "B43010=45", "B43008=7", "B43016=3",
                                                 "B43015=4", "B43017=7"}));
        QTRY_COMPARE(w.txtSetup[2]->text() + w.txtSetup[7]->text(), QStringLiteral("1307"));

        QTest::mouseClick(w.txtSetup[3], Qt::LeftButton);
        QVERIFY(w.txtSetup[3]->hasFocus());
        QTest::mouseClick(w.cmdOk, Qt::LeftButton);
        QTRY_VERIFY(!w.isVisible());
        QTest::qWait(200);
        QVERIFY(trace.newWrites().isEmpty());
        QCOMPARE(f.prompt.asked.size(), 1);
    }
};

QTEST_MAIN(TestFrmTargetBoard)
#include "test_frmtargetboard.moc"
