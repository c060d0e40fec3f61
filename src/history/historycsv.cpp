#include "historycsv.h"

namespace History
{

using namespace Qt::StringLiterals;

QString timeText(const QDateTime &t)
{
    return t.toString(u"yyyy-MM-dd HH:mm:ss"_s);
}

Table shiftTable(const QList<ShiftRecord> &shifts)
{
    Table t{{u"Ended"_s, u"Ended By"_s, u"Line"_s, u"Program"_s, u"Good Cans"_s, u"Blow-offs"_s,
             u"Bad Can"_s, u"Manual"_s, u"Q.C."_s, u"Restart"_s, u"Spindles"_s,
             u"Trips per Spindle"_s}};
    for (const ShiftRecord &s : shifts) {
        QStringList trips;
        for (qint32 n : s.trips)
            trips << QString::number(n);
        t << QStringList{timeText(s.endedAt),
                         shiftOriginName(s.origin),
                         s.lineName,
                         s.programIdentity,
                         QString::number(s.goodCans),
                         QString::number(s.blowoffs),
                         QString::number(s.badCanBlowoffs),
                         QString::number(s.manualBlowoffs),
                         QString::number(s.qcBlowoffs),
                         QString::number(s.restartBlowoffs),
                         QString::number(s.spindleCount),
                         trips.join(u' ')};
    }
    return t;
}

Table faultTable(const QList<FaultRecord> &faults)
{
    Table t{{u"Time"_s, u"Source"_s, u"Code"_s, u"Text"_s}};
    for (const FaultRecord &f : faults) {
        t << QStringList{timeText(f.at), faultSourceName(f.source),
                         f.source != FaultSource::Link && f.code != 0
                             ? QString::number(f.code, 16).toUpper() + u'H'
                             : QString::number(f.code),
                         f.code == 0 ? (f.text.isEmpty() ? u"cleared"_s : f.text) : f.text};
    }
    return t;
}

Table changeTable(const QList<ChangeRecord> &changes)
{
    Table t{{u"Time"_s, u"Login"_s, u"Register"_s, u"Item"_s, u"Old Value"_s, u"New Value"_s,
             u"Origin"_s, u"Accepted"_s, u"Changed Items"_s}};
    for (const ChangeRecord &c : changes) {
        QStringList items;
        for (const ChangeItem &i : c.items)
            items << u"%1 %2: %3 -> %4"_s.arg(i.reg, i.caption, i.oldValue, i.newValue);
        t << QStringList{timeText(c.at), c.login,    c.reg,
                         c.caption,      c.oldValue, c.newValue,
                         c.origin,       c.accepted ? u"yes"_s : u"no"_s,
                         items.join(u"; "_s)};
    }
    return t;
}

QString csvLine(const QStringList &fields)
{
    QStringList out;
    for (QString f : fields) {
        if (f.contains(u',') || f.contains(u'"') || f.contains(u'\n') || f.contains(u'\r'))
            f = u'"' + f.replace(u"\""_s, u"\"\""_s) + u'"';
        out << f;
    }
    return out.join(u',');
}

QString csvText(const Table &table)
{
    QString text;
    for (const QStringList &row : table)
        text += csvLine(row) + u'\n';
    return text;
}

QString alignedText(const Table &table)
{
    QList<qsizetype> widths;
    for (const QStringList &row : table)
        for (qsizetype i = 0; i < row.size(); ++i) {
            if (widths.size() <= i)
                widths << 0;
            widths[i] = std::max(widths[i], row[i].size());
        }
    QString text;
    for (const QStringList &row : table) {
        QString line;
        for (qsizetype i = 0; i < row.size(); ++i)
            line += (i ? u"  "_s : QString()) + row[i].leftJustified(widths[i]);
        text += line.trimmed() + u'\n';
    }
    return text;
}

} // namespace History
