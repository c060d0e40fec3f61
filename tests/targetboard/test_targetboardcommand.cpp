// View > Target Board Interface, its toolbar button and F5 in the real main
// window: the project file question, a cancelled dialog, and the window
// opening modally, online, for the project chosen.

#include "app/appharness.h"
#include "targetboard/frmtargetboard.h"

#include <QPushButton>
#include <QToolBar>

class TestTargetBoardCommand : public QObject
{
    Q_OBJECT

    // The board type of the target board window that comes up, once it has
    // read the board; the window is closed with its OK button.
    static int boardTypeShown(const std::function<void()> &command)
    {
        int type = -1;
        whenModal<frmTargetBoard>(qApp, [&type](frmTargetBoard *w) {
            if (QTest::qWaitFor([w] { return w->FirstPassDone; }, 15000) &&
                w->cmdGoOnline->isHidden())
                type = w->BoardType;
            QTest::mouseClick(w->cmdOk, Qt::LeftButton);
        });
        command();
        return type;
    }

private slots:
    void eachWayInAsksForTheProjectAndKeepsThePreviousOne()
    {
        AppHarness h;
        BoardSimProcess sim;
        QVERIFY(h.startWithBoard(sim) && h.show());
        // Cancelled at first use: the window opens without a project.
        h.dialogs.answers = {std::nullopt};
        QCOMPARE(boardTypeShown([&] {
                     QVERIFY(chooseMenu(h.w(), {"mnuView", "mnuViewTargetBoardStatus"}));
                 }),
                 0);
        // The window took the program online for the whole application.
        QCOMPARE(h.w().panelText(2), QStringLiteral("ONLINE"));

        // The toolbar button with a project of an R5110; the command checks
        // the project as the download does, its revision and configuration too.
        const QString pdx = h.dir.filePath(QStringLiteral("LINE1.pdx"));
        for (const auto &[name, text] : {std::pair{"LINE1.pdx", QByteArray("ALINE1,1")},
                                         {"LINE1.rev", "LINE1<=05"},
                                         {"LINE1.lcf", QByteArray(40, '0')}}) {
            QFile file(h.dir.filePath(QLatin1String(name)));
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text + "\r\n") > 0);
        }
        h.dialogs.answers = {pdx};
        QWidget *button = h.w().Toolbar1->widgetForAction(h.w().Toolbar1->actions().at(12));
        QCOMPARE(boardTypeShown([&] { QTest::mouseClick(button, Qt::LeftButton); }), 65);
        QCOMPARE(h.w().gProgramFilePath, pdx);

        // F5, cancelled: the project chosen before.
        h.dialogs.answers = {std::nullopt};
        QVERIFY(backInFront(h.w()));
        QCOMPARE(boardTypeShown([&] { QTest::keyClick(&h.w(), Qt::Key_F5); }), 65);
        QCOMPARE(h.dialogs.asked.last().initialPath, pdx);
    }
};

QTEST_MAIN(TestTargetBoardCommand)
#include "test_targetboardcommand.moc"
