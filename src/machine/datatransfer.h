#pragma once

#include "dataset.h"
#include "registermap.h"

#include <QHash>
#include <QString>

#include <functional>
#include <optional>

class RegisterLink;

// Transfer mode codes: the group's submenu index, plus 10 for a download.
enum class TransferMode : int {
    UploadSetup = 0,
    UploadShift = 1,
    UploadAll = 4,
    DownloadSetup = 10,
    DownloadShift = 11,
    DownloadAll = 14,
};
enum class TransferDirection { Upload, Download };

std::optional<TransferMode> transferModeFromCode(int code);
TransferDirection transferDirection(TransferMode mode);
DataGroup transferGroup(TransferMode mode);
TransferMode transferMode(TransferDirection direction, DataGroup group);
// The progress window's text for the mode ("Uploading Set-up Data, Please Standby").
QString transferCaption(TransferMode mode);
// Registers moved by a complete transfer: 17, 121 or 138.
int transferCount(TransferMode mode);

// Shown by the caller when a transfer ends on a link error.
inline const QString TransferErrorTitle = QStringLiteral("KESTRO");
inline const QString TransferErrorText =
    QStringLiteral("Error Processing Request\r\n\r\nProcess Not Complete");

// Hooks into the caller's loop. Every one may be empty.
struct TransferCallbacks {
    // Runs before each register of the loop; the window lets pending events
    // run here, which is when a Cancel click or a timer tick is handled.
    std::function<void()> yieldEvents;
    // After each register moved: value counts up to maximum.
    std::function<void(int value, int maximum)> progress;
    // Asked after each yield; true stops before the next register.
    std::function<bool()> cancelRequested;
};

enum class TransferOutcome { Completed, Cancelled, CommError };

struct TransferResult {
    TransferOutcome Outcome = TransferOutcome::Completed;
    int Transferred = 0; // registers tried before the transfer ended
    // Indexes whose register did not move: no answer, or a wrong echo the
    // link could not repair. An upload holds 0 for them.
    QList<int> Failed;
    // For a failed write, what its register was read back as; an index not
    // here holds a value nobody knows.
    QHash<int, QString> ReadBack;

    // Registers that moved: the tried ones less the failed ones.
    int moved() const { return Transferred - int(Failed.size()); }
};

// The items of the mode's group that did not move: the failed ones and those
// not tried after a cancel or a link error, in group order.
QList<int> notMoved(TransferMode mode, const TransferResult &result);
// Names the registers that did not move, for the operator: how many of how
// many and which ("Registers Not Read: 2 of 121" and the addresses); empty
// when every register moved.
QString shortfallText(TransferMode mode, const TransferResult &result, const DataSet &data);

// Moves one data group between the board and a record, register by register
// in group order, through the record's own address list. An upload stores
// each value read, rounded to a whole number; a download writes each value
// as a blank followed by the number. The transfer stops at the first link
// error or cancel request; what was moved before stays moved.
class DataTransfer
{
public:
    DataTransfer(RegisterLink &link, DataSet &data) : m_link(link), m_data(data) {}

    TransferResult ProcessTransfer(TransferMode mode, const TransferCallbacks &callbacks = {});

private:
    void transferIndex(TransferDirection direction, int index);

    RegisterLink &m_link;
    DataSet &m_data;
};
