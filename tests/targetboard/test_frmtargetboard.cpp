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
    std::unique_ptr<BoardTrace> trace;
    std::unique_ptr<frmTargetBoard> form;

    // A project PUMP whose .PDX starts with the board type character.
    QString project(QChar type, const QByteArray &rev = {}, bool hex = false)
    {
        QDir dir(f.dir.filePath(QStringLiteral("project")));
        dir.removeRecursively();
        dir.mkpath(QStringLiteral("."));
        auto write = [&](const char *name, const QByteArray &text) {
            QFile file(dir.filePath(QLatin1String(name)));
            return file.open(QIODevice::WriteOnly) && file.write(text + "\r\n") > 0;
        };
        write("PUMP.pdx", QString(type).toLatin1() + "PUMP,1");
        if (!rev.isEmpty())
            write("PUMP.rev", rev);
        if (hex)
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
    bool waitTurns(frmTargetBoard &w)
    {
        const qint64 target = w.turnCount() + 2;
        return QTest::qWaitFor([&] { return w.turnCount() >= target; }, 10000);
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
    bool set(const QStringList &assignments)
    {
        for (const QString &a : assignments)
            if (!f.set(a.section(u'=', 0, 0), a.section(u'=', 1).toLongLong()))
                return false;
        return true;
    }

private slots:
    void initTestCase()
    {
        const QString tracePath = f.dir.filePath(QStringLiteral("trace.txt"));
        QVERIFY(f.start(71, {QStringLiteral("--trace"), tracePath}));
        for (const char *name : {"FaultErrCodes.txt", "CommErrCodes.txt"}) {
            const QString file = QStringLiteral("Support/") + QLatin1String(name);
            QFile::remove(f.dir.filePath(file));
            QVERIFY(
                QFile::copy(QDir(BoardSimProcess::binDir()).filePath(file), f.dir.filePath(file)));
        }
        trace = std::make_unique<BoardTrace>(tracePath);
    }
    void cleanupTestCase() { f.stop(); }
    void init()
    {
        QVERIFY(set({"B8175=0", "B8176=0", "B8177=0", "B8178=0", "B8179=0", "B8180=7"}));
        QCOMPARE(f.sim.command(QStringLiteral("silent off")), QStringLiteral("ok"));
        trace->newWrites();
    }
    void cleanup()
    {
        if (form)
            form->done(QDialog::Accepted);
        form.reset();
        f.prompt.asked.clear();
        f.prompt.answers.clear();
        if (f.comm->OnlineMode)
            f.goOffline();
    }

    // The codes with their texts, a fault raised while open, Reset Faults
    // while that fault's pass runs (No and Cancel write nothing, Yes writes
    // in order and the old texts go),
    // the cycle waiting for a held link, and OK ending it.
    void faultCodesAndReset()
    {
        QVERIFY(set({"B8176=5", "B8177=26", "B8179=10", "B8178=32"}));
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
        QVERIFY(set({"B8176=69"}));
        QTRY_COMPARE(w.lblTargetBoard[0]->text(), QStringLiteral("Current Fault: Code = 45H"));
        QTRY_COMPARE(w.boxText(0), codeText(true, "45"));

        f.prompt.answers = {PromptAnswer::No, PromptAnswer::Cancel, PromptAnswer::Yes};
        for (int i = 0; i < 2; ++i)
            QTest::mouseClick(w.cmdResetFaults, Qt::LeftButton);
        QCOMPARE(f.prompt.asked.value(1).title, QStringLiteral("WARNING - Fault Code Reset!"));
        QVERIFY(w.cmdResetFaults->isEnabled());
        const qint64 passes = w.firstPassCount();
        QTest::mouseClick(w.cmdResetFaults, Qt::LeftButton);
        QCOMPARE(trace->newWrites(), (QStringList{"B8178=0", "B8179=0", "B8177=0", "B8176=0"}));
        QTRY_VERIFY(w.firstPassCount() > passes && w.FirstPassDone);
        QCOMPARE(w.lblTargetBoard[4]->text(), QStringLiteral("Current Comm Error: Code = 00H"));
        for (int i : {0, 1})
            QVERIFY(!w.boxText(i).isEmpty() && w.boxText(i) != boxes[i] &&
                    w.boxText(i) != codeText(true, "45"));
        QCOMPARE(w.boxText(3), QStringLiteral("None"));
        QVERIFY(!w.cmdResetFaults->isEnabled());

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

    void correctiveActionFollowsTheLastFault_data()
    {
        QTest::addColumn<int>("lastFault");
        QTest::addColumn<QString>("startsWith");
        // The edges of each range.
        const QList<std::pair<int, const char *>> rows = {
            {0, "None"},
            {123, "None"},
            {1, "Replace CO-CPU board at "},
            {63, "Replace CO-CPU board at "},
            {64, "Reset fault and try again."},
            {122, "Reset fault"},
            {66, "Verify connection of cable"},
            {69, "User program executed an sfunc09()"},
            {92, "Program is invalid."},
            {93, "Program is invalid."}};
        for (const auto &[code, text] : rows)
            QTest::addRow("%d", code) << code << QString::fromLatin1(text);
    }
    void correctiveActionFollowsTheLastFault()
    {
        QFETCH(int, lastFault);
        QFETCH(QString, startsWith);
        QVERIFY(f.set("B8177", lastFault));
        frmTargetBoard &w = open(project(u'D'));
        QVERIFY2(w.boxText(3).startsWith(startsWith), qPrintable(w.boxText(3)));
        QCOMPARE(w.cmdResetFaults->isEnabled(), lastFault != 0);
    }

    // A code file that is there but cannot be read fails each pass with the
    // window's own message until it can be read.
    void unreadableCodeFileFailsThePassUntilItCanBeRead()
    {
        QVERIFY(f.set("B8176", 5));
        const QString file = TargetBoardFacts::faultCodesFile(f.dir.path());
        QVERIFY(QFile::rename(file, file + ".aside") && QDir().mkdir(file));
        frmTargetBoard &w = open(project(u'D'), false);
        const bool failed = QTest::qWaitFor([&] { return f.prompt.asked.size() >= 2; }, 15000);
        QVERIFY(QDir().rmdir(file) && QFile::rename(file + ".aside", file) && failed);
        for (const ScriptedPrompt::Asked &asked : std::as_const(f.prompt.asked))
            QCOMPARE(asked.title + asked.text,
                     "TargetBoard FirstPassError Number = 75\r\n\r\nPath/File access error");
        QTRY_VERIFY_WITH_TIMEOUT(w.FirstPassDone, 15000);
        QCOMPARE(w.boxText(0), codeText(true, "05"));
    }

    // Silent at opening, or going silent while open: every box says so, the
    // controls wait, Go Online reads the page again once the board answers.
    void silentBoard_data()
    {
        QTest::addColumn<bool>("atOpening");
        QTest::addColumn<QString>("faultLabel");
        QTest::addColumn<QString>("type");
        QTest::newRow("at opening") << true << "Current Fault:"
                                    << "A";
        QTest::newRow("while open") << false << "Current Fault: Code = 05H"
                                    << "D";
    }
    void silentBoard()
    {
        QFETCH(bool, atOpening);
        QFETCH(QString, faultLabel);
        QFETCH(QString, type);
        QVERIFY(f.set("B8176", 5));
        const QString silent = QStringLiteral("silent on");
        if (atOpening)
            f.sim.command(silent);
        frmTargetBoard &w = open(project(type.at(0)), !atOpening);
        QCOMPARE(f.sim.command(silent), QStringLiteral("ok"));
        QTRY_VERIFY_WITH_TIMEOUT(w.CommLostShown, 30000);
        for (int i : {0, 1, 3, 4, 5})
            QCOMPARE(w.boxText(i), QStringLiteral("Cannot Communicate with Target Board."));
        QCOMPARE(w.lblTargetBoard[0]->text(), faultLabel);
        QVERIFY(!f.comm->OnlineMode && !w.cmdGoOnline->isHidden());
        for (QWidget *waits :
             {(QWidget *)w.cmdResetFaults, (QWidget *)w.cmdSetToCurrTime, (QWidget *)w.txtSetup[0]})
            QVERIFY(!waits->isEnabled());
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
        QTest::addColumn<QString>("boardName");
        QTest::newRow("none") << "" << false << false << "Not Defined";
        QTest::newRow("K7112") << "2" << false << false << "K7112";
        QTest::newRow("K7116") << "6" << false << true << "K7116";
        QTest::newRow("R5110") << "A" << true << true << "R5110";
        QTest::newRow("T6800") << "D" << false << false << "T6800(PLC)";
    }
    void fieldsFollowTheBoardType()
    {
        QFETCH(QString, type);
        QFETCH(bool, secondAddress);
        QFETCH(bool, clock);
        QVERIFY(set({"B8191=9", "B43012=8", "B8175=3"}));
        frmTargetBoard &w = open(type.isEmpty() ? QString() : project(type.at(0)));
        QVERIFY(waitTurns(w));
        QTEST(w.lblRevIdentOnDisk[3]->text(), "boardName");
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
    // a project that is not there is none; no .hex file, no upload time.
    void boardIdentityAgainstTheRevFile()
    {
        form = std::make_unique<frmTargetBoard>(*f.util);
        QVERIFY(!form->prepare(project(u'D', "<=0")));
        QCOMPARE(f.prompt.asked.value(0).title, QStringLiteral("InitializeForm"));
        QVERIFY(form->prepare(f.dir.filePath(QStringLiteral("none.pdx"))) && form->BoardType == 0);
        QCOMPARE(open(project(u'D', "PUMPCTRL<=05")).lblRevIdentOnDisk[4]->text(),
                 QStringLiteral("-"));
        frmTargetBoard &w = open(project(u'D', "PUMPCTRL<=05", true));
        const QFileInfo hex(f.dir.filePath(QStringLiteral("project/PUMP.hex")));
        QCOMPARE((QStringList{w.lblRevIdentOnDisk[0]->text(), w.lblRevIdentOnDisk[1]->text(),
                              w.lblRevIdentOnDisk[2]->text(), w.lblRevIdentOnDisk[4]->text()}),
                 (QStringList{"PUMPCTRL", "5", "205", uploadTimeText(hex.lastModified())}));
        // The board's own block, in decimal.
        QCOMPARE((QStringList{w.lblRevIdentInPLC[0]->text(), w.lblRevIdentInPLC[1]->text(),
                              w.lblRevIdentInPLC[2]->text()}),
                 (QStringList{"DECOR213", f.get("B61433"), f.get("B61432")}));
    }

    void entryLeftWithTab_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<int>("field");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QStringList>("writes");
        QTest::newRow("address 33") << "D" << 0 << "33" << QStringList();
        QTest::newRow("address 0") << "D" << 0 << "0" << QStringList();
        QTest::newRow("address 12") << "D" << 0 << "12" << QStringList{"B8180=12"};
        QTest::newRow("month 12") << "6" << 5 << "12" << QStringList{"B43016=12"};
        QTest::newRow("hour unchanged") << "6" << 2 << "" << QStringList();
    }
    void entryLeftWithTab()
    {
        QFETCH(QString, type);
        QFETCH(int, field);
        QFETCH(QString, typed);
        QFETCH(QStringList, writes);
        frmTargetBoard &w = open(project(type.at(0)));
        clickTab(w, field < 2 ? 2 : 3);
        QLineEdit *txt = w.txtSetup[field];
        QTRY_VERIFY(txt->text() != u"-");
        const QString before = txt->text();
        trace->newWrites();
        QTest::mouseClick(txt, Qt::LeftButton);
        txt->selectAll();
        QTest::keyClicks(txt, typed);
        QTest::keyClick(txt, Qt::Key_Tab);
        const bool refused = !typed.isEmpty() && writes.isEmpty();
        QCOMPARE(f.prompt.asked.size(), refused ? 1 : 0);
        if (refused) {
            QCOMPARE(
                f.prompt.asked[0].title + f.prompt.asked[0].text,
                "Set-upCurrent Network Address 1:Only a Number Between 1 and 32 can be Entered");
            QVERIFY(txt->hasFocus());
            // The cycle leaves the field alone while it is being corrected.
            QVERIFY(waitTurns(w));
            QCOMPARE(txt->text(), QStringLiteral("7"));
        } else if (writes.isEmpty()) {
            QVERIFY(waitTurns(w));
            QCOMPARE(txt->text(), before);
        }
        QCOMPARE(trace->newWrites(), writes);
    }

    // The clock page: a spinner step writes at once, Set to Current Time and
    // Date write the PC's; a field entered and left by a page change, a page
    // key or closing the window is no entry.
    void clockPage()
    {
        frmTargetBoard &w = open(project(u'A'));
        w.setPcClock([] { return QDateTime(QDate(2007, 3, 4), QTime(13, 45, 7)); });
        clickTab(w, 3);
        QTRY_COMPARE(w.txtSetup[7]->text(), f.get("B43017").rightJustified(2, u'0'));
        QTRY_COMPARE(w.lblCurrTime->text() + w.lblCurrDate->text(),
                     QStringLiteral("13 : 45 : 0703 - 04 - 2007"));
        trace->newWrites();
        const int year = w.txtSetup[7]->text().toInt();
        QVERIFY(w.updSetup[7]->step(year < 99 ? UpDownSpinner::Direction::Up
                                              : UpDownSpinner::Direction::Down));
        QCOMPARE(trace->newWrites(),
                 QStringList{QStringLiteral("B43017=%1").arg(year < 99 ? year + 1 : year - 1)});
        QCOMPARE(QApplication::focusWidget(), w.cmdDefault);
        QTest::mouseClick(w.cmdSetToCurrTime, Qt::LeftButton);
        QTest::mouseClick(w.cmdSetToCurrDate, Qt::LeftButton);
        QCOMPARE(trace->newWrites(), (QStringList{"B43012=13", "B43010=45", "B43008=7", "B43016=3",
                                                  "B43015=4", "B43017=7"}));
        QTRY_COMPARE(w.txtSetup[2]->text() + w.txtSetup[7]->text(), QStringLiteral("1307"));

        clickTab(w, 2);
        QTest::mouseClick(w.txtSetup[0], Qt::LeftButton);
        for (int page : {3, 0, 3})
            clickTab(w, page);
        QTest::mouseClick(w.txtSetup[3], Qt::LeftButton);
        QVERIFY(w.txtSetup[3]->hasFocus());
        QTest::keyClick(w.tabTargetBoard, Qt::Key_S, Qt::AltModifier);
        QVERIFY(waitTurns(w));
        clickTab(w, 2);
        QTest::mouseClick(w.txtSetup[1], Qt::LeftButton);
        QVERIFY(w.txtSetup[1]->hasFocus());
        QTest::mouseClick(w.cmdOk, Qt::LeftButton);
        QTRY_VERIFY(!w.isVisible());
        QTest::qWait(200);
        QVERIFY(trace->newWrites().isEmpty());
        QVERIFY(f.prompt.asked.isEmpty());
    }
};

QTEST_MAIN(TestFrmTargetBoard)
#include "test_frmtargetboard.moc"
