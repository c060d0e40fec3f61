#pragma once

#include "app/childform.h"
#include "numericentryfield.h"
#include "paintpacer.h"

#include <QList>
#include <QTimer>

#include <functional>

class QPushButton;
class RSComm;

// One register read of an online pass, with what to do with the text read.
struct PassRead {
    enum class Kind { Value, PageField };

    QString address;
    std::function<void(const QString &text)> show;
    // A page field: a changed page ends the pass before it is read.
    Kind kind = Kind::Value;
    // Skipped when this says no at the moment of the read.
    std::function<bool()> wanted = {};
    // Instead of a register read (the limit-switch queries).
    std::function<QString(RSComm &)> fetch = {};
    // The register read failed without a link error: nothing is shown, and
    // this marks the shown value as stale.
    std::function<void()> stale = {};
};

class ValueLabel;
// The stale action of a live value shown in a label.
std::function<void()> staleMark(ValueLabel *label);

// The refresh cycle of an operator window, run as a timer-driven state
// machine so the user interface never waits for more than one register
// exchange. A turn switches the system offline when the link has latched an
// error, applies the layout of the mode once per change of mode and starts a
// pass; an online pass then does one read per step, the events of the user
// interface running between steps, and ends early when the window stops
// being active, the system goes offline, the page changes or a read fails.
// The windows supply their layouts, their passes and their fields.
class DisplayForm : public ChildForm
{
    Q_OBJECT
public:
    explicit DisplayForm(ModUtility &util, QWidget *parent = nullptr);

    void Form_Activate() override;
    void Form_Unload() override;

    // The focus-parking button "-".
    QPushButton *cmdDefault;

    // Whole online passes and register reads done by the cycle so far.
    qint64 passCount() const { return m_passCount; }
    qint64 readCount() const { return m_readCount; }
    // Pause between turns while offline; online turns follow at once.
    void setOfflineTurnInterval(int ms) { m_offlineIntervalMs = ms; }

    // The data in memory was replaced (New, Open): entries in progress end
    // unwritten and the fields show the new values.
    void dataReplaced() override;

signals:
    // A register (or limit-switch query, empty address) was read by a pass.
    void passRead(const QString &address);

protected:
    // Activation before the cycle starts; by default the layout of the mode.
    virtual void activated();
    // Closing: the being-edited marks are dropped.
    virtual void unloaded() {}
    // Runs each turn after the comm error check, in both modes.
    virtual void beforeMode() {}
    // Runs each online turn after the layout, before the pass.
    virtual void beforeOnlinePass() {}
    // The reads of one online pass, in order.
    virtual void buildOnlinePass(QList<PassRead> &reads) = 0;

    void runOnlineLayout();
    void runOfflineLayout();
    void applyLayoutForMode();
    // The tab page changed: the running pass ends at its next page field,
    // and the focus is parked.
    void pageChanged();
    // The focus goes to "-", never to a command that acts on the machine;
    // an entry the operator is typing keeps it.
    void parkFocus();

    RSComm &comm() const;
    OperatorPrompt &prompt() const;
    // Writes only while online and the link is sound.
    void writeIfOnline(const QString &address, const QString &text);
    // Writes only while the link is sound (the command buttons).
    void writeCommand(const QString &address, const QString &text);

    EntryWindowState m_entry;

private:
    enum class Stage { Turn, Reading };
    static constexpr int LinkBusyRetryMs = 50;

    void step();
    void beginTurn();
    // One read of the pass; false when the pass is over.
    bool readStep();
    void schedule(int ms);

    QTimer m_timer;
    // Reads come faster than a screen shows them: paint at screen rate.
    PaintPacer m_paintPacer;
    Stage m_stage = Stage::Turn;
    QList<PassRead> m_reads;
    qsizetype m_next = 0;
    bool m_pageChanged = false;
    bool m_inStep = false;
    int m_offlineIntervalMs = 100;
    qint64 m_passCount = 0;
    qint64 m_readCount = 0;
};
