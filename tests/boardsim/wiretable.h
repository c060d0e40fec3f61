#pragma once

// Wire tables for the board's side of the dialogue: each row is a byte from
// the PC and the answer the board must give.
#include "boardmodel.h"

#include <QString>
#include <QTest>

#include <vector>

// One byte from the PC and the answer the board must give (-1: none).
struct Exchange {
    int sent;
    int answer;
};

// Runs a wire table; the first exchange that differs, or nothing.
inline QString runWire(BoardModel &board, const std::vector<Exchange> &table)
{
    for (size_t i = 0; i < table.size(); ++i) {
        const auto reply = board.feed(quint8(table[i].sent));
        const int got = reply ? int(*reply) : -1;
        if (got != table[i].answer) {
            return QStringLiteral("exchange %1: sent %2, expected %3, got %4")
                .arg(i)
                .arg(table[i].sent, 2, 16, QLatin1Char('0'))
                .arg(table[i].answer, 2, 16, QLatin1Char('0'))
                .arg(got, 2, 16, QLatin1Char('0'));
        }
    }
    return {};
}

#define EXPECT_WIRE(board, ...)                                                                    \
    do {                                                                                           \
        const QString mismatch = runWire(board, __VA_ARGS__);                                      \
        QVERIFY2(mismatch.isEmpty(), qPrintable(mismatch));                                        \
    } while (false)
