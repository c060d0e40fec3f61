#include "frmcompare.h"

#include "comm/rscomm.h"
#include "history/itemdiff.h"
#include "machine/datatransfer.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QTableWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

frmCompare::frmCompare(RSComm &comm, const DataSet &memory, QWidget *parent)
    : QDialog(parent), m_comm(comm), m_memory(memory)
{
    setWindowTitle(u"Compare with Board"_s);
    setObjectName(u"frmCompare"_s);
    lblSummary = new QLabel(this);
    lblSummary->setObjectName(u"lblSummary"_s);
    grdItems = new QTableWidget(0, 3, this);
    grdItems->setObjectName(u"grdItems"_s);
    grdItems->setHorizontalHeaderLabels({u"Item"_s, u"Memory"_s, u"Board"_s});
    grdItems->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
    grdItems->setEditTriggers(QAbstractItemView::NoEditTriggers);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(lblSummary);
    layout->addWidget(grdItems, 1);
    layout->addWidget(buttons);
    resize(640, 420);
}

bool frmCompare::run()
{
    grdItems->setRowCount(0);
    DataSet board = m_memory;
    // No event runs during the reads, so the update cycle cannot cut in.
    const TransferResult result = DataTransfer(m_comm, board).ProcessTransfer(
        transferMode(TransferDirection::Upload, DataGroup::SetupData));
    if (result.Outcome != TransferOutcome::Completed || !result.Failed.isEmpty()
        || m_comm.CommError) {
        lblSummary->setText(u"The board was not read: nothing compared."_s);
        return false;
    }
    const QList<History::ItemDifference> diffs =
        History::differingItems(m_memory, board, DataGroup::SetupData);
    lblSummary->setText(diffs.isEmpty()
                            ? u"The Set-up Data in memory is the same as on the board."_s
                            : u"%1 Set-up Data item(s) differ: a download would change them."_s
                                  .arg(diffs.size()));
    for (const History::ItemDifference &d : diffs) {
        const int row = grdItems->rowCount();
        grdItems->insertRow(row);
        grdItems->setItem(row, 0, new QTableWidgetItem(d.caption));
        grdItems->setItem(row, 1, new QTableWidgetItem(QString::number(d.first)));
        grdItems->setItem(row, 2, new QTableWidgetItem(QString::number(d.second)));
    }
    return true;
}
