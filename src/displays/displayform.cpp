#include "displayform.h"

#include "history/writeaudit.h"

#include "app/modutility.h"
#include "comm/rscomm.h"
#include "valuelabel.h"

#include <QLineEdit>
#include <QPointer>
#include <QPushButton>

std::function<void()> staleMark(ValueLabel *label)
{
    return [label] { label->markStale(); };
}

DisplayForm::DisplayForm(ModUtility &util, QWidget *parent)
    : ChildForm(util, parent), cmdDefault(makeFocusParkingButton(this))
{
    m_entry.cmdDefault = cmdDefault;
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &DisplayForm::step);
}

RSComm &DisplayForm::comm() const
{
    return *m_util.gRSComm;
}

OperatorPrompt &DisplayForm::prompt() const
{
    return m_util.prompt();
}

void DisplayForm::Form_Activate()
{
    if (FormActive)
        return;
    activated();
    parkFocus();
    m_paintPacer.watch(window());
    FormActive = true;
    m_stage = Stage::Turn;
    schedule(0);
}

void DisplayForm::Form_Unload()
{
    ChildForm::Form_Unload();
    FormActive = false;
    m_timer.stop();
    m_paintPacer.watch(nullptr);
    m_reads.clear();
    m_stage = Stage::Turn;
    unloaded();
}

void DisplayForm::activated()
{
    applyLayoutForMode();
}

void DisplayForm::applyLayoutForMode()
{
    if (comm().OnlineMode)
        runOnlineLayout();
    else
        runOfflineLayout();
}

void DisplayForm::runOnlineLayout()
{
    applyOnlineLayout();
    OnlineReady = true;
    parkFocus();
}

void DisplayForm::runOfflineLayout()
{
    applyOfflineLayout();
    OfflineReady = true;
    parkFocus();
}

void DisplayForm::pageChanged()
{
    m_pageChanged = true;
    parkFocus();
}

void DisplayForm::parkFocus()
{
    const auto fields = findChildren<NumericEntryField *>();
    for (const NumericEntryField *f : fields) {
        if (f->holdsOperatorEntry() && f->txt()->isEnabled() && f->txt()->hasFocus())
            return;
    }
    cmdDefault->setFocus(Qt::OtherFocusReason);
}

void DisplayForm::dataReplaced()
{
    const auto fields = findChildren<NumericEntryField *>();
    for (NumericEntryField *f : fields)
        f->endEntry();
}

void DisplayForm::schedule(int ms)
{
    if (FormActive)
        m_timer.start(ms);
}

void DisplayForm::step()
{
    // A modal box inside a read runs its own event loop; the cycle must not
    // start another step from there.
    if (m_inStep || !FormActive)
        return;
    if (comm().linkBusy()) {
        // Another exchange is waiting on the operator: come back after it.
        schedule(LinkBusyRetryMs);
        return;
    }
    QPointer<DisplayForm> self(this);
    m_inStep = true;
    int pause = 0;
    if (m_stage == Stage::Turn) {
        beginTurn();
        if (self && m_stage == Stage::Turn)
            pause = m_offlineIntervalMs;
    } else if (!readStep()) {
        m_stage = Stage::Turn;
    }
    if (!self)
        return;
    m_inStep = false;
    schedule(pause);
}

void DisplayForm::beginTurn()
{
    QPointer<DisplayForm> self(this);
    RSComm &link = comm();
    if (link.CommError) {
        link.OnlineMode = false;
        OnlineReady = false;
        m_util.ApplyCommMode();
        if (!self || !FormActive)
            return;
    }
    beforeMode();
    if (!link.OnlineMode) {
        if (!OfflineReady)
            runOfflineLayout();
        OnlineReady = false;
        offlinePass();
        return;
    }
    if (!OnlineReady)
        runOnlineLayout();
    if (!self)
        return;
    OfflineReady = false;
    beforeOnlinePass();
    m_reads.clear();
    buildOnlinePass(m_reads);
    m_next = 0;
    m_stage = Stage::Reading;
}

bool DisplayForm::readStep()
{
    QPointer<DisplayForm> self(this);
    RSComm &link = comm();
    while (m_next < m_reads.size()) {
        const PassRead read = m_reads.at(m_next++);
        if (!FormActive || !link.OnlineMode)
            return false;
        if (read.kind == PassRead::Kind::PageField && m_pageChanged) {
            m_pageChanged = false;
            return false;
        }
        if (link.CommError)
            return false;
        if (read.wanted && !read.wanted())
            continue;
        const QString text = read.fetch ? read.fetch(link) : link.RSRead(read.address);
        if (!self)
            return false;
        ++m_readCount;
        emit passRead(read.address);
        if (!self)
            return false;
        if (link.CommError)
            return false;
        if (!read.fetch && link.lastTransactionFailed()) {
            // A failed read is no value: what is shown stays, never a 0.
            if (read.stale)
                read.stale();
        } else if (read.show) {
            read.show(text);
        }
        // One exchange per step: the events run before the next one.
        if (m_next < m_reads.size())
            return true;
    }
    ++m_passCount;
    return false;
}

void DisplayForm::writeIfOnline(const QString &address, const QString &text)
{
    const History::WriteAudit::Origin origin(m_util.gAudit, QStringLiteral("window ") + windowTitle());
    if (comm().OnlineMode && !comm().CommError)
        comm().RSWrite(address, text);
}

void DisplayForm::writeCommand(const QString &address, const QString &text)
{
    const History::WriteAudit::Origin origin(m_util.gAudit, QStringLiteral("window ") + windowTitle());
    if (!comm().CommError)
        comm().RSWrite(address, text);
}
