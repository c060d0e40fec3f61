#pragma once

#include "comm/rscomm.h"
#include "historystore.h"

#include <QHash>
#include <QSet>

#include <functional>

namespace History
{

// The caption of a register in the audit: a set-up parameter's caption, an
// item's name, else the register itself.
QString registerCaption(const QString &add);

// Keeps the audit of every write to the board. Installed as the link's
// register observer it sees every value read (the last known value of a
// register) and every write tried. A caller names where writes come from
// with an Origin held around them; a download opens a batch, recorded as
// one entry listing the items it changed.
class WriteAudit final : public RegisterObserver
{
public:
    explicit WriteAudit(HistoryStore &store);
    // False when the store could not be opened: nothing is recorded.
    bool recording() const { return m_store.isOpen(); }

    void valueRead(const QString &add, const QString &value) override;
    void valueWritten(const QString &add, const QString &value, bool done) override;

    // Told of every value read but the hidden ones (the history sampler
    // takes what the windows read).
    void setReadListener(std::function<void(const QString &, const QString &)> listener)
    {
        m_readListener = std::move(listener);
    }

    // Writes to this register are recorded without their values (the
    // passcode is one from the start).
    void keepValuesOut(const QString &add);

    // A value known from elsewhere (a file just uploaded, a window's read).
    void setLastKnown(const QString &add, const QString &value);
    QString lastKnown(const QString &add) const { return m_lastKnown.value(add); }

    // Names the origin of the writes made while it lives, unless one around
    // it already did.
    class Origin
    {
    public:
        Origin(WriteAudit *audit, const QString &origin);
        ~Origin();
        Origin(const Origin &) = delete;
        Origin &operator=(const Origin &) = delete;

    private:
        WriteAudit *m_audit;
        QString m_previous;
    };

    // A download: its writes are collected and stored as one entry on
    // endBatch, accepted when every write was.
    void beginBatch(const QString &origin, const QString &caption);
    void endBatch();

private:
    HistoryStore &m_store;
    QHash<QString, QString> m_lastKnown;
    QSet<QString> m_hidden;
    std::function<void(const QString &, const QString &)> m_readListener;
    QString m_origin;
    bool m_inBatch = false;
    ChangeRecord m_batch;
};

} // namespace History
