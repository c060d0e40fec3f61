#include "datatransfer.h"

#include "comm/registerlink.h"
#include "machineerror.h"
#include "valuetext.h"

std::optional<TransferMode> transferModeFromCode(int code)
{
    switch (code) {
    case 0:
    case 1:
    case 4:
    case 10:
    case 11:
    case 14:
        return TransferMode(code);
    default:
        return std::nullopt;
    }
}

TransferDirection transferDirection(TransferMode mode)
{
    return int(mode) >= 10 ? TransferDirection::Download : TransferDirection::Upload;
}

DataGroup transferGroup(TransferMode mode)
{
    switch (int(mode) % 10) {
    case 0:
        return DataGroup::SetupData;
    case 1:
        return DataGroup::ShiftData;
    default:
        return DataGroup::All;
    }
}

TransferMode transferMode(TransferDirection direction, DataGroup group)
{
    const int base = direction == TransferDirection::Download ? 10 : 0;
    switch (group) {
    case DataGroup::SetupData:
        return TransferMode(base);
    case DataGroup::ShiftData:
        return TransferMode(base + 1);
    case DataGroup::All:
        break;
    }
    return TransferMode(base + 4);
}

QString transferCaption(TransferMode mode)
{
    switch (mode) {
    case TransferMode::UploadSetup:
        return QStringLiteral("Uploading Set-up Data, Please Standby");
    case TransferMode::UploadShift:
        return QStringLiteral("Uploading Shift Data, Please Standby");
    case TransferMode::UploadAll:
        return QStringLiteral("Uploading, Please Standby");
    case TransferMode::DownloadSetup:
        return QStringLiteral("Downloading Set-Up Data, Please Standby");
    case TransferMode::DownloadShift:
        return QStringLiteral("Downloading Shift Data, Please Standby");
    case TransferMode::DownloadAll:
        return QStringLiteral("Downloading, Please Standby");
    }
    return QString();
}

int transferCount(TransferMode mode)
{
    return int(dataGroupIndexes(transferGroup(mode)).size());
}

void DataTransfer::transferIndex(TransferDirection direction, int index)
{
    const QString address = m_data.addressAt(index);
    if (direction == TransferDirection::Download) {
        m_link.RSWrite(address, plainNumberText(m_data.valueAt(index)));
    } else {
        const qint32 value = roundedTextValue(m_link.RSRead(address));
        if (m_data.Value.size() <= index)
            m_data.Value.resize(index + 1);
        m_data.Value[index] = value;
    }
}

TransferResult DataTransfer::ProcessTransfer(TransferMode mode, const TransferCallbacks &callbacks)
{
    const TransferDirection direction = transferDirection(mode);
    QList<int> indexes = dataGroupIndexes(transferGroup(mode));
    const int maximum = int(indexes.size());
    TransferResult result;
    const auto advance = [&](int index) {
        if (m_link.lastTransactionFailed()) {
            result.Failed << index;
            if (direction == TransferDirection::Download &&
                !m_link.lastWriteReadBack().isEmpty())
                result.ReadBack.insert(index, m_link.lastWriteReadBack());
        }
        ++result.Transferred;
        if (callbacks.progress)
            callbacks.progress(result.Transferred, maximum);
    };

    // The set-up group's first item is moved on its own, before the loop and
    // without a yield; the loop then covers 122..137.
    if (transferGroup(mode) == DataGroup::SetupData) {
        const int first = indexes.takeFirst();
        if (!m_link.commErrorSet()) {
            transferIndex(direction, first);
            advance(first);
        }
    }

    for (int index : std::as_const(indexes)) {
        if (callbacks.yieldEvents)
            callbacks.yieldEvents();
        if (callbacks.cancelRequested && callbacks.cancelRequested()) {
            result.Outcome = TransferOutcome::Cancelled;
            break;
        }
        if (m_link.commErrorSet())
            break;
        transferIndex(direction, index);
        advance(index);
    }

    if (m_link.commErrorSet()) {
        result.Outcome = TransferOutcome::CommError;
        qCWarning(lcMachine) << "transfer" << int(mode) << "stopped by a link error after"
                             << result.moved() << "of" << maximum << "registers";
    }
    return result;
}

QList<int> notMoved(TransferMode mode, const TransferResult &result)
{
    const QList<int> indexes = dataGroupIndexes(transferGroup(mode));
    QList<int> left;
    for (qsizetype i = 0; i < indexes.size(); ++i) {
        if (i >= result.Transferred || result.Failed.contains(indexes[i]))
            left << indexes[i];
    }
    return left;
}

QString shortfallText(TransferMode mode, const TransferResult &result, const DataSet &data)
{
    const QList<int> left = notMoved(mode, result);
    if (left.isEmpty())
        return QString();
    const bool upload = transferDirection(mode) == TransferDirection::Upload;
    QString text = (upload ? QStringLiteral("Registers Not Read: ")
                           : QStringLiteral("Registers Not Written: ")) +
                   QString::number(left.size()) + QStringLiteral(" of ") +
                   QString::number(transferCount(mode)) + QStringLiteral("\r\n");
    // Eight addresses to a line keep a long list inside a message box.
    for (qsizetype i = 0; i < left.size(); ++i) {
        text +=
            (i % 8 == 0 ? QStringLiteral("\r\n") : QStringLiteral(", ")) + data.addressAt(left[i]);
    }
    if (upload)
        text += QStringLiteral("\r\n\r\nData in Memory Not Fully Read from T6800");
    return text;
}
