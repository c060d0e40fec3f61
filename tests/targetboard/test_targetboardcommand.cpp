// View > Target Board Interface and toolbar button 13 in the real main
// window: the project file question, a cancelled dialog, and the window
// opening modally for the project chosen.

#include "app/appharness.h"
#include "targetboard/frmtargetboard.h"

#include <QPushButton>
#include <QToolBar>
#include <QToolButton>

class TestTargetBoardCommand : public QObject
{
    Q_OBJECT

    struct Seen {
        bool opened = false;
        qint16 boardType = -1;
        bool online = false;
        bool modal = false;
    };

    // Looks at the target board window once it has read the board, then
    // closes it with its OK button.
    static void closeWhenShown(Seen &seen)
    {
        QTimer::singleShot(50, [&seen] {
            auto *w = qobject_cast<frmTargetBoard *>(QApplication::activeModalWidget());
            if (!w) {
                closeWhenShown(seen);
                return;
            }
            if (!QTest::qWaitFor([w] { return w->FirstPassDone; }, 15000))
                qWarning("no first pass");
            seen.opened = true;
            seen.boardType = w->BoardType;
            seen.online = w->cmdGoOnline->isHidden();
            seen.modal = w->isModal();
            QTest::mouseClick(w->cmdOk, Qt::LeftButton);
        });
    }

    static QString project(const QString &dir, char boardType)
    {
        const QString pdx = QDir(dir).filePath(QStringLiteral("LINE1.pdx"));
        QFile f(pdx);
        f.open(QIODevice::WriteOnly);
        f.write(QByteArray(1, boardType) + "LINE1,1\r\n");
        // The command checks the project as the download does: its revision
        // and configuration files must be there.
        QFile rev(QDir(dir).filePath(QStringLiteral("LINE1.rev")));
        rev.open(QIODevice::WriteOnly);
        rev.write("LINE1<=05\r\n");
        QFile lcf(QDir(dir).filePath(QStringLiteral("LINE1.lcf")));
        lcf.open(QIODevice::WriteOnly);
        lcf.write(QByteArray(40, '0') + "\r\n");
        return pdx;
    }

private slots:
    void cancelledDialogOpensWithThePreviousPath()
    {
        AppHarness h;
        BoardSimProcess sim;
        QVERIFY(h.startWithBoard(sim));
        h.w().show();
        QVERIFY(QTest::qWaitForWindowActive(&h.w()));

        // First use, cancelled: the window opens without a project.
        h.dialogs.answers = {std::nullopt};
        Seen first;
        closeWhenShown(first);
        h.w().mnuViewTargetBoardStatus->trigger();
        QVERIFY(first.opened);
        QVERIFY(first.modal);
        QCOMPARE(int(first.boardType), 0);
        QVERIFY(first.online);
        QCOMPARE(h.dialogs.asked.size(), 1);
        QCOMPARE(h.dialogs.asked[0].filter, QStringLiteral("Pradex Files(*.pdx)|*.pdx|"));
        QCOMPARE(h.dialogs.asked[0].initialPath, QString());
        QCOMPARE(h.w().gProgramFilePath, QString());
        // The window took the program online for the whole application.
        QCOMPARE(h.w().panelText(2), QStringLiteral("ONLINE"));

        // Toolbar button 13 with a project of an R5110.
        const QString pdx = project(h.programDir(), 'A');
        h.dialogs.answers = {pdx};
        Seen second;
        closeWhenShown(second);
        QWidget *button = h.w().Toolbar1->widgetForAction(h.w().Toolbar1->actions().at(12));
        QVERIFY(button);
        QTest::mouseClick(button, Qt::LeftButton);
        QVERIFY(second.opened);
        QCOMPARE(int(second.boardType), 65);
        QCOMPARE(h.w().gProgramFilePath, pdx);

        // Cancelled again: the project chosen before.
        h.dialogs.answers = {std::nullopt};
        Seen third;
        closeWhenShown(third);
        h.w().activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&h.w()));
        QTest::keyClick(&h.w(), Qt::Key_F5);
        QVERIFY(third.opened);
        QCOMPARE(int(third.boardType), 65);
        QCOMPARE(h.dialogs.asked.last().initialPath, pdx);
        sim.stop();
    }
};

QTEST_MAIN(TestTargetBoardCommand)
#include "test_targetboardcommand.moc"
