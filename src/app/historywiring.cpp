#include "historywiring.h"

#include "frmcompare.h"
#include "frmhistory.h"
#include "modutility.h"

#include "comm/rscomm.h"
#include "comm/targetboardfacts.h"
#include "history/historyrecorder.h"
#include "history/historysampler.h"
#include "history/historystore.h"
#include "history/writeaudit.h"
#include "machine/datatransfer.h"
#include "machine/registermap.h"

#include <QAction>
#include <QSysInfo>
#include <QLabel>
#include <QMainWindow>
#include <QMenu>
#include <QProcessEnvironment>
#include <QStatusBar>

using namespace Qt::StringLiterals;

HistoryWiring::HistoryWiring(ModUtility &util, QMainWindow &window)
    : QObject(&window), m_util(util), m_window(window),
      m_store(std::make_unique<History::HistoryStore>())
{
    m_problem = new QLabel(&window);
    m_problem->setObjectName(u"HISTORY"_s);
    m_problem->setStyleSheet(u"color: #a00000"_s);
    m_problem->setVisible(false);
    window.statusBar()->addPermanentWidget(m_problem);
    // Said once, on the status bar and on stderr; the program goes on.
    m_store->setProblemHandler([this](const QString &problem) {
        m_problem->setText(u"History not recorded"_s);
        m_problem->setToolTip(problem);
        m_problem->setVisible(true);
        qWarning("kestro: %s", qPrintable(problem));
    });
    if (m_store->open(historyPath(util.programDir())))
        m_problem->setVisible(false);
    m_recorder = std::make_unique<History::HistoryRecorder>(*m_store);
    m_audit = std::make_unique<History::WriteAudit>(*m_store);
    m_sampler = std::make_unique<History::HistorySampler>(*m_recorder, *util.gRSComm,
                                                          util.clock());
    m_sampler->setCommErrorText([&util](int code) {
        return TargetBoardFacts::codeFileText(
            TargetBoardFacts::commErrCodesFile(util.programDir()), code);
    });
    m_audit->setReadListener([this](const QString &add, const QString &value) {
        m_sampler->valueSeen(add, value);
    });
    util.gRSComm->setRegisterObserver(m_audit.get());
    util.gAudit = m_audit.get();
    util.gRecorder = m_recorder.get();
}

HistoryWiring::~HistoryWiring()
{
    m_util.gRSComm->setRegisterObserver(nullptr);
    m_util.gAudit = nullptr;
    m_util.gRecorder = nullptr;
}

QString HistoryWiring::historyPath(const QString &programDir)
{
    const QString chosen = QProcessEnvironment::systemEnvironment().value(u"KESTRO_HISTORY"_s);
    return chosen.isEmpty() ? History::HistoryStore::defaultPath(programDir) : chosen;
}

void HistoryWiring::addMenuItems(QMenu *fileMenu, QAction *fileBefore, QMenu *viewMenu)
{
    auto *compare = new QAction(u"Compare with &Board..."_s, fileMenu);
    compare->setObjectName(u"mnuFileCompare"_s);
    fileMenu->insertAction(fileBefore, compare);
    connect(compare, &QAction::triggered, this, [this] { compareWithBoard(); });

    auto *history = viewMenu->addAction(u"&History"_s);
    history->setObjectName(u"mnuViewHistory"_s);
    history->setShortcut(QKeySequence(Qt::Key_F6));
    connect(history, &QAction::triggered, this, [this] { showHistory(); });
}

void HistoryWiring::cycleOnline(int fault, const QString &faultText)
{
    RSComm &comm = *m_util.gRSComm;
    if (!m_wasOnline) {
        m_wasOnline = true;
        m_recorder->linkFaultSeen(0, {});
        // The program identity is the board's; the sampler reads it first.
        m_recorder->setMachine(qEnvironmentVariable("KESTRO_LINE", QSysInfo::machineHostName()),
                               QString(), m_util.gData.gSpindleCount);
        m_sampler->setSpindleCount(m_util.gData.gSpindleCount);
    }
    if (fault >= 0)
        m_recorder->faultCodeSeen(fault, fault > 0 ? faultText : QString());
    if (comm.CommError)
        return;
    m_sampler->setRecord(m_util.gData.gCurrentData);
    m_sampler->step();
}

void HistoryWiring::cycleOffline(bool commError)
{
    if (commError)
        m_recorder->linkFaultSeen(1, u"Comm Fault with T6800"_s);
    if (m_wasOnline) {
        m_wasOnline = false;
        m_sampler->linkLost();
    }
}

void HistoryWiring::transferStarting(int mode)
{
    const std::optional<TransferMode> m = transferModeFromCode(mode);
    if (m && transferDirection(*m) == TransferDirection::Download)
        m_audit->beginBatch(u"window Download (restore) Data"_s,
                            dataGroupName(transferGroup(*m)));
}

void HistoryWiring::transferEnded(int mode)
{
    const std::optional<TransferMode> m = transferModeFromCode(mode);
    if (!m)
        return;
    if (transferDirection(*m) == TransferDirection::Download) {
        m_audit->endBatch();
        return;
    }
    if (transferGroup(*m) == DataGroup::SetupData || m_util.gRSComm->CommError)
        return;
    // A shift-data upload: its last shift, unless already stored.
    const DataSet &d = m_util.gData.gCurrentData;
    History::ShiftRecord s;
    s.goodCans = d.valueAt(Item::LastShiftGoodCans);
    s.blowoffs = d.valueAt(Item::LastShiftBlowoffs);
    s.badCanBlowoffs = d.valueAt(Item::LastShiftBadCanBlowoffs);
    s.manualBlowoffs = d.valueAt(Item::LastShiftManualBlowoffs);
    s.qcBlowoffs = d.valueAt(Item::LastShiftQCBlowoffs);
    s.restartBlowoffs = d.valueAt(Item::LastShiftRestartBlowoffs);
    const int spindles = m_util.gData.gSpindleCount > 0 ? m_util.gData.gSpindleCount : Item::MaxSpindles;
    for (int sp = 1; sp <= spindles; ++sp)
        s.trips << d.valueAt(Item::lastShiftTrips(sp));
    m_recorder->shiftUploaded(s);
}

void HistoryWiring::showHistory()
{
    if (!m_historyWindow) {
        m_historyWindow = new frmHistory(*m_store, &m_window);
        m_historyWindow->setAttribute(Qt::WA_DeleteOnClose);
    }
    m_historyWindow->reload();
    m_historyWindow->show();
    m_historyWindow->raise();
    m_historyWindow->activateWindow();
}

void HistoryWiring::compareWithBoard()
{
    if (!m_util.OfflinePrompt())
        return;
    frmCompare dialog(*m_util.gRSComm, m_util.gData.gCurrentData, &m_window);
    dialog.run();
    dialog.exec();
}

frmHistory *HistoryWiring::historyWindow() const
{
    return m_historyWindow;
}
