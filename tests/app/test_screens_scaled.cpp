// The main window on a 1280x1024 screen at a technician's scale factors. Qt
// reads the factor once per process, so each row runs this program again as
// a probe with QT_SCALE_FACTOR set; it reports what does not fit: the window
// on the screen, a value frame in the area (or where the area scrolls to it).

#include "app/childform.h"
#include "appharness.h"
#include "displays/valuelabel.h"

#include <QMdiArea>
#include <QMenu>
#include <QProcess>
#include <QScreen>
#include <QScrollBar>
#include <QTemporaryFile>
#include <QTextStream>
#include <QWindow>

namespace
{

const char *const ProbeVariable = "KESTRO_SCALED_PROBE";

int probe(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QTextStream out(stdout);
    AppHarness h;
    if (!h.start())
        return 2;
    frmMDIMain &w = h.w();
    w.show();
    if (!QTest::qWaitForWindowActive(&w))
        return 2;
    int faults = 0;
    if (!w.screen()->availableGeometry().contains(w.frameGeometry())) {
        out << "window at " << w.frameGeometry().x() << ',' << w.frameGeometry().y()
            << " is not inside the screen" << Qt::endl;
        ++faults;
    }
    for (int n : {1, 2, 3, 4}) {
        chooseWindow(w, n);
        QTest::qWait(50);
        QWidget *viewport = w.mdiArea->viewport();
        const QRect shown(viewport->mapTo(&w, QPoint(0, 0)), viewport->size());
        const QList<ValueLabel *> labels = w.currentChild()->findChildren<ValueLabel *>();
        for (ValueLabel *label : labels) {
            if (!label->isVisible())
                continue;
            const QRect at(label->mapTo(&w, QPoint(0, 0)), label->size());
            // Beyond the area only where the area scrolls to it.
            const bool reachable =
                (at.right() <= shown.right() || w.mdiArea->horizontalScrollBar()->isVisible()) &&
                (at.bottom() <= shown.bottom() || w.mdiArea->verticalScrollBar()->isVisible());
            if (!reachable) {
                out << "window " << n << ": a value frame is cut off" << Qt::endl;
                ++faults;
                break;
            }
        }
    }
    return faults == 0 ? 0 : 1;
}

} // namespace

class TestScreensScaled : public QObject
{
    Q_OBJECT

private slots:
    void mainWindowFitsAndFramesAreWhole_data()
    {
        QTest::addColumn<QString>("factor");
        for (const char *f : {"1.0", "1.25", "1.5", "2.0"})
            QTest::newRow(f) << QString::fromLatin1(f);
    }

    void mainWindowFitsAndFramesAreWhole()
    {
        QFETCH(QString, factor);
        QTemporaryFile config;
        QVERIFY(config.open());
        config.write(R"({"screens": [{"name": "technician", "x": 0, "y": 0, "width": 1280,
                          "height": 1024, "logicalDpi": 96, "logicalBaseDpi": 96, "dpr": 1}]})");
        config.close();
        QProcess run;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QString::fromLatin1(ProbeVariable), QStringLiteral("1"));
        env.insert(QStringLiteral("QT_SCALE_FACTOR"), factor);
        env.insert(QStringLiteral("QT_QPA_PLATFORM"),
                   QStringLiteral("offscreen:configfile=") + config.fileName());
        run.setProcessEnvironment(env);
        run.setProcessChannelMode(QProcess::MergedChannels);
        run.start(QCoreApplication::applicationFilePath(), {});
        QVERIFY(run.waitForFinished(60000));
        const QString said = QString::fromLocal8Bit(run.readAll());
        QVERIFY2(run.exitStatus() == QProcess::NormalExit && run.exitCode() == 0, qPrintable(said));
    }
};

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsSet(ProbeVariable))
        return probe(argc, argv);
    QApplication app(argc, argv);
    TestScreensScaled test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_screens_scaled.moc"
