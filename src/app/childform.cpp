#include "childform.h"

#include "comm/rscomm.h"
#include "modutility.h"

namespace
{
// Pause between turns: the passes themselves yield before every read.
constexpr int TurnIntervalMs = 100;
} // namespace

ChildForm::ChildForm(ModUtility &util, QWidget *parent) : QWidget(parent), m_util(util)
{
    m_cycle.setInterval(TurnIntervalMs);
    connect(&m_cycle, &QTimer::timeout, this, &ChildForm::refreshTurn);
}

void ChildForm::Form_Activate()
{
    if (FormActive)
        return;
    FormActive = true;
    m_cycle.start();
}

void ChildForm::Form_Unload()
{
    FormActive = false;
    m_cycle.stop();
}

void ChildForm::refreshTurn()
{
    RSComm &comm = *m_util.gRSComm;
    if (!FormActive || comm.linkBusy())
        return;
    if (comm.CommError) {
        comm.OnlineMode = false;
        OnlineReady = false;
        m_util.ApplyCommMode();
    }
    if (!FormActive)
        return;
    if (comm.OnlineMode) {
        if (!OnlineReady) {
            applyOnlineLayout();
            OnlineReady = true;
        }
        OfflineReady = false;
        onlinePass();
    } else {
        if (!OfflineReady) {
            applyOfflineLayout();
            OfflineReady = true;
        }
        OnlineReady = false;
        offlinePass();
    }
}
