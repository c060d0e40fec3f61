#pragma once

#include <QList>
#include <QString>
#include <QStringList>

// Highest index of the machine data table; loops run 0..gLastIndex inclusive.
inline constexpr int gLastIndex = 137;
inline constexpr int ItemCount = gLastIndex + 1;

// Version tag written into every record this program produces.
inline const QString gProgramVersion = QStringLiteral("KESTRO_R2.1.3");

// One copy of the machine data table: the register address and value of each
// item, and the version tag of the program that produced it. Field order is
// the order of the set-up file. Copies are deep (Qt's implicit sharing
// detaches on write), so two records never share their lists.
struct DataSet {
    QString Version;
    QStringList Address;
    QList<qint32> Value;

    bool operator==(const DataSet &) const = default;

    // Resizes both lists to indexes 0..gLastIndex, keeping the entries that
    // exist: extra entries are dropped, missing ones become "" and 0.
    void fitToTable();
    // Value of an index, 0 when the list does not reach it.
    qint32 valueAt(int index) const
    {
        return index >= 0 && index < Value.size() ? Value[index] : 0;
    }
    QString addressAt(int index) const
    {
        return index >= 0 && index < Address.size() ? Address[index] : QString();
    }
};

// The factory default record: every address of the register map, values 0
// except the set-up parameter defaults, Version = gProgramVersion.
DataSet buildDefaultData();
