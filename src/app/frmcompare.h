#pragma once

#include "machine/dataset.h"

#include <QDialog>

class QLabel;
class QTableWidget;
class RSComm;

// File > Compare with Board: the set-up items whose value in memory differs
// from the board's, read before a download would change them.
class frmCompare : public QDialog
{
    Q_OBJECT
public:
    frmCompare(RSComm &comm, const DataSet &memory, QWidget *parent = nullptr);

    // Reads the board and fills the table; false when the board was not read.
    bool run();

    QLabel *lblSummary;
    QTableWidget *grdItems;

private:
    RSComm &m_comm;
    DataSet m_memory;
};
