// One numeric entry field on its own, driven with the mouse and keys: what
// the operator's leave writes or refuses, and what a focus change the
// program makes does to an unfinished edit.
#include "displays/numericentryfield.h"
#include "displays/updownspinner.h"
#include "fakes/scriptedprompt.h"

#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QVBoxLayout>

namespace
{

struct Field {
    QWidget window;
    QLineEdit *txt = new QLineEdit(QStringLiteral("12"), &window);
    UpDownSpinner *upd = new UpDownSpinner(txt, &window);
    QLineEdit *next = new QLineEdit(&window);
    EntryWindowState state;
    ScriptedPrompt prompt;
    NumericEntryField field{txt, upd, state, prompt, QStringLiteral("Spindle")};
    QStringList accepted;

    Field()
    {
        auto *layout = new QVBoxLayout(&window);
        layout->addWidget(txt);
        layout->addWidget(upd);
        layout->addWidget(next);
        state.cmdDefault = makeFocusParkingButton(&window);
        layout->addWidget(state.cmdDefault);
        upd->setRange(1, 36);
        field.setAcceptAction([this](const QString &text) { accepted << text; });
    }
    bool show()
    {
        window.show();
        return QTest::qWaitForWindowActive(&window);
    }
    void typeIn(const QString &text)
    {
        QTest::mouseClick(txt, Qt::LeftButton, {}, txt->rect().center());
        txt->selectAll();
        QTest::keyClicks(txt, text);
    }
};

} // namespace

class TestNumericEntryField : public QObject
{
    Q_OBJECT

private slots:
    // An edit the operator had not finished goes with a focus change the
    // program makes: the text is back, nothing written, nothing asked.
    void programFocusChangeDropsTheEdit()
    {
        Field f;
        QVERIFY(f.show());
        f.typeIn(QStringLiteral("7"));
        QVERIFY(f.field.BeingEdited);
        f.next->setFocus(Qt::OtherFocusReason);
        QCOMPARE(f.txt->text(), QStringLiteral("12"));
        QVERIFY(!f.field.BeingEdited);
        QVERIFY(f.accepted.isEmpty());
        QVERIFY(f.prompt.asked.isEmpty());

        f.typeIn(QStringLiteral("7"));
        QTest::keyClick(f.txt, Qt::Key_Tab);
        QCOMPARE(f.accepted, QStringList{QStringLiteral("7")});
    }

    // A refused value keeps the field only while the operator can use it.
    void refusalOfAFieldThatWentAwayReleasesIt()
    {
        Field f;
        QVERIFY(f.show());
        f.typeIn(QStringLiteral("99"));
        f.prompt.onAsk = [&f](const ScriptedPrompt::Asked &) { f.txt->setEnabled(false); };
        QTest::keyClick(f.txt, Qt::Key_Tab);
        QCOMPARE(f.prompt.asked.size(), 1);
        QCOMPARE(f.prompt.asked[0].text,
                 QStringLiteral("Only a Number Between 1 and 36 can be Entered"));
        QVERIFY(f.accepted.isEmpty());
        QCOMPARE(f.txt->text(), QStringLiteral("12"));
        QVERIFY(!f.field.BeingEdited);
        QVERIFY(f.field.showValue(QStringLiteral("20")));
    }
};

QTEST_MAIN(TestNumericEntryField)
#include "test_numericentryfield.moc"
