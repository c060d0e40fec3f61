#pragma once

#include <QList>
#include <QtGlobal>

#include <optional>

// Where the board can be in its dialogue after a write went wrong, and what
// it can have written getting there.
//
// The rule the link lives by. The board echoes what it received; in write
// mode 0xFF is attention only at the start of a transaction, and inside an
// address/address/data triplet every byte is data. So a wrong echo or a lost
// reply inside a triplet leaves the board somewhere the PC cannot see, and
// the next byte sent (a resynchronising 0xFF included) may be taken as the
// rest of an address or as data. The PC therefore never lets the board
// decide: from the first fault on it follows every place the board can be in
// (each byte received as sent, received as the echo showed, or not received;
// each reply right, wrong or lost), keeping the explanations with the fewest
// faults, and sends only what it chooses: the rest of its own triplet where
// the likeliest place lets the write land where it was meant to, 0xFF (plain
// attention for a board between transactions) otherwise. When no place is
// left inside a triplet, every write any remaining explanation made is read
// back; the register meant to be written is confirmed by reading its value,
// and any other that may have been written is named to the caller with the
// value it now holds, or as unknown when it cannot be read.
class BoardPlace
{
public:
    struct Write {
        int address = 0;
        quint8 data = 0;
        bool operator==(const Write &) const = default;
    };

    // A board at the start of a write transaction, no fault seen.
    BoardPlace();

    // One byte the PC sent and what came back (nothing: no reply in time).
    void sent(quint8 byte, std::optional<quint8> reply);

    // Some explanation leaves the board inside a triplet (the next byte
    // sent would be taken as address or data).
    bool insideTriplet() const;
    // Some explanation has the board in a mode the PC cannot follow.
    bool lost() const;
    // The byte to send next to end any triplet the board may be inside:
    // intended.high/low/data of the transaction being written let the
    // likeliest explanation finish exactly that write.
    quint8 nextClosingByte(int intendedAddress, quint8 intendedData) const;
    // Every write any remaining explanation made, once each.
    QList<Write> possibleWrites() const;

private:
    enum class Place { WriteStart, WriteLow, WriteData, Await, ReadStart, ReadLow, Lost };
    struct Hypothesis {
        Place place = Place::WriteStart;
        quint8 high = 0;
        quint8 low = 0;
        int faults = 0;
        QList<Write> writes;
        bool sameBoard(const Hypothesis &o) const
        {
            return place == o.place && high == o.high && low == o.low && writes == o.writes;
        }
    };
    // The board's reply when it can be told (nothing for a data read or a
    // board that is lost), and its next place.
    static std::optional<quint8> step(Hypothesis &h, quint8 received);
    void add(QList<Hypothesis> &into, Hypothesis h) const;
    const Hypothesis &likeliest() const;

    QList<Hypothesis> m_hypotheses;
};
