// Shows the History window on a history file and saves a picture of each
// chart and table page (tools/screenshot-history.sh).
#include "app/frmhistory.h"

#include <QApplication>
#include <QChartView>
#include <QCommandLineParser>
#include <QDir>
#include <QTabWidget>
#include <QTest>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("HISTORY"), QStringLiteral("history file"));
    parser.addPositionalArgument(QStringLiteral("OUTDIR"), QStringLiteral("folder for the pictures"));
    parser.process(app);
    const QStringList args = parser.positionalArguments();
    if (args.size() != 2)
        return 2;
    History::HistoryStore store;
    if (!store.open(args[0]))
        return 5;
    frmHistory window(store);
    window.resize(1000, 700);
    window.reload();
    window.show();
    if (!QTest::qWaitForWindowExposed(&window))
        return 3;
    QDir().mkpath(args[1]);
    const QDir out(args[1]);
    struct Shot {
        int tab;
        QWidget *widget;
        const char *name;
    };
    const Shot shots[] = {{0, window.chtPerHour, "history-per-hour.png"},
                          {0, window.chtPerShift, "history-per-shift.png"},
                          {1, &window, "history-trips.png"},
                          {3, &window, "history-faults.png"},
                          {4, &window, "history-changes.png"}};
    for (const Shot &s : shots) {
        window.tabHistory->setCurrentIndex(s.tab);
        QTest::qWait(300);
        if (!s.widget->grab().save(out.filePath(QString::fromLatin1(s.name))))
            return 5;
    }
    return 0;
}
