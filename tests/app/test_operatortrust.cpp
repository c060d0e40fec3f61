// The shown main window against kestro-boardsim on a pty, driven as the
// operator drives it: clicks, keys, the Window menu by its mnemonic, tab
// clicks. Nothing reaches the board that the operator did not enter, a
// failed read is never shown as a value, and no stray key acts on the
// machine.

#include "app/childform.h"
#include "appharness.h"
#include "displays/frmdata.h"
#include "displays/frmmain.h"
#include "displays/frmsetup.h"
#include "displays/updownspinner.h"
#include "displays/valuelabel.h"
#include "machine/registermap.h"

#include <QPushButton>
#include <QToolButton>

namespace
{

enum Leave { Tab, Enter, ClickElsewhere, OtherPage, OtherWindow };

// Field 5 edits "B1000", the cans to blow off at infeed open.
constexpr int Field = 5;

frmSetup *setupPage(AppHarness &h, int page)
{
    if (!chooseWindow(h.w(), 2))
        return nullptr;
    auto *setup = qobject_cast<frmSetup *>(h.w().currentChild());
    if (!setup)
        return nullptr;
    clickTab(setup->tbsSetup, page);
    return setup;
}

// What a double click delivers: press, release, double click, release.
void doubleClick(QWidget *button)
{
    QTest::mousePress(button, Qt::LeftButton);
    QTest::mouseRelease(button, Qt::LeftButton);
    QTest::mouseDClick(button, Qt::LeftButton);
    QTest::mouseRelease(button, Qt::LeftButton);
}

// The reply to the byte that completes `trigger` on the wire is changed once
// per arming, as one corrupted byte on the cable would be.
struct Corruption {
    QByteArray trigger;
    int times = 0;
    void install(RecordingPort &port)
    {
        port.replyFilter = [this](const QByteArray &sent, int reply) {
            return times > 0 && sent.endsWith(trigger) && times-- ? reply ^ 0x45 : reply;
        };
    }
};

QByteArray bytesOf(int byteAddress)
{
    return QByteArray(1, char((byteAddress / 256) & 0xFF)) + char(byteAddress % 256);
}

// A multi-byte register whose second address byte is echoed wrongly: its
// read fails without a link error.
QByteArray failedReadOf(const QString &address)
{
    const int a = RSComm::DecodeAddress(address).ByteAddress;
    return bytesOf(a) + bytesOf(a + 1).left(1);
}

} // namespace

class TestOperatorTrust : public QObject
{
    Q_OBJECT

    bool online(AppHarness &h, BoardSimProcess &sim, const QStringList &simArgs = {})
    {
        return h.online(sim, QStringList{QStringLiteral("--frozen")} + simArgs,
                        AppHarness::BackgroundTimer::Running);
    }

private slots:
    void leavingAField_data()
    {
        QTest::addColumn<int>("field");
        QTest::addColumn<QString>("typed"); // null: the program blanks the text
        QTest::addColumn<int>("leave");
        QTest::addColumn<bool>("written");
        QTest::addColumn<QString>("refusal");
        QTest::newRow("looked at, Tab") << Field << "" << int(Tab) << false << "";
        QTest::newRow("unchanged, Enter") << 6 << "" << int(Enter) << false << "";
        QTest::newRow("blanked, other window") << 0 << QString() << int(OtherWindow) << false << "";
        QTest::newRow("typed, other window") << 4 << "77" << int(OtherWindow) << false << "";
        QTest::newRow("typed, click elsewhere")
            << Field << "15" << int(ClickElsewhere) << true << "";
        QTest::newRow("typed, other page") << 7 << "3" << int(OtherPage) << true << "";
        QTest::newRow("out of range, Tab")
            << 4 << "9" << int(Tab) << false << "Only a Number Between 1 and 5 can be Entered";
    }
    void leavingAField()
    {
        QFETCH(int, field);
        QFETCH(QString, typed);
        QFETCH(int, leave);
        QFETCH(bool, written);
        QFETCH(QString, refusal);
        AppHarness h;
        BoardSimProcess sim;
        QVERIFY(online(h, sim));
        const int item = Item::FirstSetupParameter + field;
        const QString address = h.data.gCurrentData.Address[item];
        QCOMPARE(sim.command("set " + address + " 2"), QStringLiteral("ok"));
        const int page = field < 4 ? 0 : 1;
        frmSetup *setup = setupPage(h, page);
        QVERIFY(setup);
        QLineEdit *txt = setup->txtSetup[field];
        QTRY_COMPARE(txt->text(), QStringLiteral("2"));
        clickInto(txt);
        QVERIFY(txt->hasFocus());
        if (typed.isNull())
            txt->setText(QString());
        QTest::keyClicks(txt, typed);
        switch (leave) {
        case Tab:
            QTest::keyClick(txt, Qt::Key_Tab);
            break;
        case Enter:
            QTest::keyClick(txt, Qt::Key_Return);
            break;
        case ClickElsewhere:
            QTest::mouseClick(setup->cmdDefault, Qt::LeftButton);
            break;
        case OtherPage:
            for (int other : {1 - page, 2, page})
                clickTab(setup->tbsSetup, other);
            break;
        case OtherWindow:
            QVERIFY(chooseWindow(h.w(), 1));
            break;
        }
        QTest::qWait(300);
        if (written) {
            QTRY_COMPARE(sim.command("get " + address), typed);
            QCOMPARE(h.data.gCurrentData.Value[item], typed.toInt());
        } else {
            QVERIFY2(!wroteAnything(*h.port), h.port->sent.toHex(' ').constData());
            QCOMPARE(sim.command("get " + address), QStringLiteral("2"));
            QVERIFY(h.data.gCurrentData == h.data.gSavedData);
        }
        QCOMPARE(h.prompt.asked.size(), refusal.isEmpty() ? 0 : 1);
        if (!refusal.isEmpty()) {
            QCOMPARE(h.prompt.asked[0].text, refusal);
            QVERIFY(txt->hasFocus());
        } else if (leave != OtherWindow) {
            QVERIFY(!txt->hasFocus());
        }
    }

    // Typed in offline editing, then F3 and Tab two seconds later, or Ctrl+O
    // and Enter: the board gets what was typed, the field what was opened.
    void typedOfflineThen_data()
    {
        QTest::addColumn<bool>("opening");
        QTest::newRow("F3") << false;
        QTest::newRow("Ctrl+O") << true;
    }
    void typedOfflineThen()
    {
        QFETCH(bool, opening);
        AppHarness h;
        BoardSimProcess sim;
        QVERIFY(h.startWithBoard(sim) && h.show());
        QCOMPARE(sim.command(QStringLiteral("set B1000 13")), QStringLiteral("ok"));
        const QString file = QDir(h.programDir()).filePath(QStringLiteral("line3.sdt"));
        h.data.gCurrentData.Value[Item::FirstSetupParameter + Field] = 42;
        QCOMPARE(h.data.saveFile(file), MachineError::None);
        h.data.resetToDefaults();
        QTest::keyClick(&h.w(), Qt::Key_F2);
        frmSetup *setup = setupPage(h, 1);
        QVERIFY(setup);
        QLineEdit *txt = setup->txtSetup[Field];
        QTRY_VERIFY(txt->isEnabled());
        QTest::qWait(300); // the layout follows offline editing on a later turn
        clickInto(txt);
        QTest::keyClicks(txt, QStringLiteral("99"));
        h.dialogs.answers = {file};
        QTest::keyClick(txt, opening ? Qt::Key_O : Qt::Key_F3,
                        opening ? Qt::ControlModifier : Qt::NoModifier);
        QTest::qWait(2000);
        QCOMPARE(txt->text(), opening ? QStringLiteral("42") : QStringLiteral("99"));
        QTest::keyClick(txt, opening ? Qt::Key_Return : Qt::Key_Tab);
        QTRY_COMPARE(sim.command(QStringLiteral("get B1000")),
                     QString::fromLatin1(opening ? "13" : "99"));
        QCOMPARE(h.data.gCurrentData.Value[Item::FirstSetupParameter + Field], opening ? 42 : 99);
        if (opening)
            QVERIFY(!h.data.hasUnsavedChanges());
    }

    // A double click on a momentary button is two pulses on the board.
    void mainDisplayButtons()
    {
        AppHarness h;
        BoardSimProcess sim;
        QVERIFY(online(h, sim));
        auto *display = qobject_cast<frmMain *>(h.w().currentChild());
        QVERIFY(display);
        QTRY_VERIFY(display->cmdSingleBlowoff->isEnabled());
        const qint64 qcBefore = sim.command(QStringLiteral("get D1120")).toLongLong();
        doubleClick(display->cmdSingleBlowoff);
        QTRY_COMPARE(sim.command(QStringLiteral("get D1120")).toLongLong(), qcBefore + 2);
        // End of Shift twice: the second copies the emptied counts.
        QVERIFY(chooseWindow(h.w(), 3));
        auto *data = qobject_cast<frmData *>(h.w().currentChild());
        QVERIFY(data);
        clickTab(data->tbsData, 1);
        QTRY_VERIFY(data->cmdEndofShift->isVisible() && data->cmdEndofShift->isEnabled());
        QCOMPARE(sim.command(QStringLiteral("set D1100 5000")), QStringLiteral("ok"));
        doubleClick(data->cmdEndofShift);
        QTRY_COMPARE(sim.command(QStringLiteral("get F137")), QStringLiteral("0"));
        QCOMPARE(sim.command(QStringLiteral("get D1100")), QStringLiteral("0"));
        QCOMPARE(sim.command(QStringLiteral("get D1200")), QStringLiteral("0"));
    }

    void uploadNamesFailedRegistersAndMarksTheData()
    {
        AppHarness h;
        BoardSimProcess sim;
        QVERIFY(h.online(sim));
        QCOMPARE(sim.command(QStringLiteral("set W1096 77")), QStringLiteral("ok"));
        // One register of the upload reads wrongly, and only that one.
        Corruption first{failedReadOf(QStringLiteral("W1092")), 1};
        first.install(*h.port);
        auto upload = [&] {
            QVERIFY(backInFront(h.w()));
            h.prompt.answers = {PromptAnswer::Yes};
            QTest::mouseClick(h.w().tbrUpload, Qt::LeftButton, {}, QPoint(8, 8));
        };
        upload();
        QCOMPARE(h.prompt.asked.size(), 2);
        QVERIFY(h.w().windowTitle().contains(QStringLiteral("Not Fully Read")));
        // The save question says so; Cancel keeps everything.
        h.prompt.asked.clear();
        h.prompt.answers = {PromptAnswer::Cancel};
        QVERIFY(backInFront(h.w()));
        QTest::keyClick(&h.w(), Qt::Key_N, Qt::ControlModifier);
        QCOMPARE(h.prompt.asked.size(), 1);
        QVERIFY(h.prompt.asked[0].text.contains(QStringLiteral("Not Fully Read")));
        // A clean upload makes the data whole again.
        h.prompt.asked.clear();
        upload();
        QCOMPARE(h.prompt.asked.size(), 1);
        QVERIFY(!h.w().windowTitle().contains(QStringLiteral("Not Fully Read")));
        QCOMPARE(h.data.gCurrentData.Value[Item::FirstSetupParameter + 2], 77);
    }

    void faultNeedsASecondReadAndAFailedLiveReadIsStale()
    {
        AppHarness h;
        BoardSimProcess sim;
        QVERIFY(h.startWithBoard(sim) && h.show());
        const QString goodCans = defaultAddress(Item::CurShiftGoodCans);
        QCOMPARE(sim.command(QStringLiteral("set %1 93394").arg(goodCans)), QStringLiteral("ok"));
        auto *display = qobject_cast<frmMain *>(h.w().currentChild());
        QVERIFY(display);
        QTest::keyClick(&h.w(), Qt::Key_F3);
        ValueLabel *label = display->lblDisplay[3];
        QTRY_COMPARE(label->text(), QStringLiteral("93,394"));
        // One corrupted reply to the fault code raises nothing.
        Corruption fault{bytesOf(RSComm::DecodeAddress(QStringLiteral("B8176")).ByteAddress), 1};
        fault.install(*h.port);
        h.w().tmrBackgroungUpdate_Timer();
        QCOMPARE(fault.times, 0);
        QVERIFY(h.prompt.asked.isEmpty());
        // A fault the board holds is read twice alike and shown.
        QCOMPARE(sim.command(QStringLiteral("set B8176 69")), QStringLiteral("ok"));
        h.w().tmrBackgroungUpdate_Timer();
        QCOMPARE(h.prompt.asked.size(), 1);
        // Failed reads leave the last good value, greyed.
        Corruption live{failedReadOf(goodCans), 1000};
        live.install(*h.port);
        QTRY_VERIFY(label->isStale());
        QCOMPARE(label->text(), QStringLiteral("93,394"));
        live.times = 0;
        QTRY_VERIFY(!label->isStale());
    }

    void keyboardAfterAFieldIsDisabledAndSpinners()
    {
        AppHarness h;
        BoardSimProcess sim;
        QVERIFY(h.startWithBoard(sim) && h.show());
        QTest::keyClick(&h.w(), Qt::Key_F2);
        frmSetup *setup = setupPage(h, 0);
        QVERIFY(setup);
        QTRY_VERIFY(setup->txtSetup[0]->isEnabled());
        // F2 at once disables the focused field; the tab mnemonics still work.
        clickInto(setup->txtSetup[0]);
        QTest::keyClick(setup->txtSetup[0], Qt::Key_F2);
        QTRY_VERIFY(!setup->txtSetup[0]->isEnabled());
        QTRY_COMPARE(QApplication::focusWidget(), setup->cmdDefault);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_M, Qt::AltModifier);
        QCOMPARE(setup->tbsSetup->currentIndex(), 2);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_P, Qt::AltModifier);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_F2);
        QTRY_VERIFY(setup->txtSetup[1]->isEnabled());
        // Up and Down step the spinner of the field.
        clickInto(setup->txtSetup[1]);
        const qint32 before = h.data.gCurrentData.Value[Item::FirstSetupParameter + 1];
        QTRY_COMPARE(setup->txtSetup[1]->text(), QString::number(before));
        const bool atTop = before >= setup->updSetup[1]->maximum();
        QTest::keyClick(setup->txtSetup[1], atTop ? Qt::Key_Down : Qt::Key_Up);
        QCOMPARE(h.data.gCurrentData.Value[Item::FirstSetupParameter + 1],
                 before + (atTop ? -1 : 1));
        clickInto(setup->txtSetup[1]);
        QTest::keyClick(setup->txtSetup[1], atTop ? Qt::Key_Up : Qt::Key_Down);
        QCOMPARE(h.data.gCurrentData.Value[Item::FirstSetupParameter + 1], before);
    }

    // While "Cannot Communicate" is up, the background tick and the Main
    // Display's cycle keep firing; the board comes back; Retry goes online.
    void retryAfterTheBoardAnswersAgainGoesOnline()
    {
        AppHarness h;
        BoardSimProcess sim;
        QVERIFY(h.startWithBoard(sim, {QStringLiteral("--frozen"), QStringLiteral("--silent")},
                                 AppHarness::BackgroundTimer::Running));
        QVERIFY(h.show());
        QPointer<ChildForm> display = h.w().currentChild();
        QVERIFY(display && display->FormActive);
        int boxes = 0;
        h.prompt.onAsk = [&](const ScriptedPrompt::Asked &asked) {
            if (!asked.text.startsWith(QStringLiteral("Cannot Communicate")))
                return;
            ++boxes;
            QTest::qWait(1200);
            sim.command(QStringLiteral("silent off"));
        };
        h.prompt.answers = {PromptAnswer::Retry};
        QTest::keyClick(&h.w(), Qt::Key_F3);
        QCOMPARE(boxes, 1);
        QVERIFY(h.comm->OnlineMode && h.port->isOpen() && !h.comm->CommError);
        QTRY_VERIFY(qobject_cast<DisplayForm *>(display.data())->passCount() > 0);
    }
};

QTEST_MAIN(TestOperatorTrust)
#include "test_operatortrust.moc"
