#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

#include <memory>

class ModUtility;
class QAction;
class QLabel;
class QMainWindow;
class QMenu;
class frmHistory;

namespace History
{
class HistoryStore;
class HistoryRecorder;
class HistorySampler;
class WriteAudit;
} // namespace History

// The history as the window program keeps it: the store, the audit on the
// link, the recorder fed by the update cycle, and the History and Compare
// commands. The main window owns one and calls its hooks.
class HistoryWiring : public QObject
{
    Q_OBJECT
public:
    HistoryWiring(ModUtility &util, QMainWindow &window);
    ~HistoryWiring() override;

    // $KESTRO_HISTORY when set, else the per-user default.
    static QString historyPath(const QString &programDir);

    void addMenuItems(QMenu *fileMenu, QAction *fileBefore, QMenu *viewMenu);
    // After the cycle read the fault code (fault < 0: not read).
    void cycleOnline(int fault, const QString &faultText);
    void cycleOffline(bool commError);
    // Around a data transfer of the window (mode: the transfer's code).
    void transferStarting(int mode);
    void transferEnded(int mode);
    void showHistory();
    void compareWithBoard();

    History::HistoryStore &store() const { return *m_store; }
    QLabel *problemPanel() const { return m_problem; }
    frmHistory *historyWindow() const;

private:
    ModUtility &m_util;
    QMainWindow &m_window;
    std::unique_ptr<History::HistoryStore> m_store;
    std::unique_ptr<History::HistoryRecorder> m_recorder;
    std::unique_ptr<History::WriteAudit> m_audit;
    std::unique_ptr<History::HistorySampler> m_sampler;
    QLabel *m_problem;
    QPointer<frmHistory> m_historyWindow;
    bool m_wasOnline = false;
};
