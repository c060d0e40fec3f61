#include "writeaudit.h"

#include "itemdiff.h"

#include "machine/dataset.h"
#include "machine/registermap.h"

namespace History
{

QString registerCaption(const QString &add)
{
    for (int index = 0; index < ItemCount; ++index) {
        if (defaultAddress(index).compare(add, Qt::CaseInsensitive) != 0)
            continue;
        return itemCaption(index);
    }
    return add;
}

WriteAudit::WriteAudit(HistoryStore &store) : m_store(store)
{
    keepValuesOut(QString(LiveRegister::PasscodeRegister));
}

void WriteAudit::keepValuesOut(const QString &add)
{
    m_hidden.insert(add.toUpper());
}

void WriteAudit::valueRead(const QString &add, const QString &value)
{
    if (m_hidden.contains(add.toUpper()))
        return;
    m_lastKnown.insert(add.toUpper(), value.trimmed());
    if (m_readListener)
        m_readListener(add, value);
}

void WriteAudit::setLastKnown(const QString &add, const QString &value)
{
    m_lastKnown.insert(add.toUpper(), value.trimmed());
}

void WriteAudit::valueWritten(const QString &add, const QString &written, bool done)
{
    const QString key = add.toUpper();
    const bool hidden = m_hidden.contains(key);
    const QString old = hidden ? QStringLiteral("(hidden)") : m_lastKnown.value(key);
    const QString value = hidden ? QStringLiteral("(hidden)") : written.trimmed();
    if (done)
        m_lastKnown.insert(key, value);
    else
        m_lastKnown.remove(key); // what the board holds now is not known
    if (m_inBatch) {
        m_batch.accepted = m_batch.accepted && done;
        if (old != value)
            m_batch.items << ChangeItem{add, registerCaption(add), old, value};
        return;
    }
    ChangeRecord change;
    change.reg = add;
    change.caption = registerCaption(add);
    change.oldValue = old;
    change.newValue = value;
    change.origin = m_origin.isEmpty() ? QStringLiteral("program") : m_origin;
    change.accepted = done;
    m_store.recordChange(change);
}

WriteAudit::Origin::Origin(WriteAudit *audit, const QString &origin) : m_audit(audit)
{
    // The outer one names it: a field's write goes through its window's.
    if (m_audit) {
        m_previous = m_audit->m_origin;
        if (m_previous.isEmpty())
            m_audit->m_origin = origin;
    }
}

WriteAudit::Origin::~Origin()
{
    if (m_audit)
        m_audit->m_origin = m_previous;
}

void WriteAudit::beginBatch(const QString &origin, const QString &caption)
{
    m_inBatch = true;
    m_batch = ChangeRecord{};
    m_batch.origin = origin;
    m_batch.caption = caption;
    m_batch.accepted = true;
}

void WriteAudit::endBatch()
{
    if (!m_inBatch)
        return;
    m_inBatch = false;
    m_store.recordChange(m_batch);
}

} // namespace History
