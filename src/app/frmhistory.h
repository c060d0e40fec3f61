#pragma once

#include "history/historycsv.h"
#include "history/historystore.h"

#include <QWidget>

class QChartView;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QTabWidget;
class QTableWidget;

// View > History: what the PC recorded, online or not. Production per hour
// and per shift, trips per spindle of a chosen shift, and the faults and
// changes as tables that filter as you type and export to CSV.
class frmHistory : public QWidget
{
    Q_OBJECT
public:
    explicit frmHistory(History::HistoryStore &store, QWidget *parent = nullptr);

    // Reads the store again and redraws.
    void reload();
    // The rows a table shows now (header first), as exported.
    History::Table shownRows(QTableWidget *table) const;
    bool exportTable(QTableWidget *table, const QString &path) const;

    QTabWidget *tabHistory;
    QChartView *chtPerHour;
    QChartView *chtPerShift;
    QComboBox *cboShift;
    QChartView *chtTrips;
    QLabel *lblTrips;
    QLineEdit *txtFaultFilter;
    QTableWidget *grdFaults;
    QLineEdit *txtChangeFilter;
    QTableWidget *grdChanges;
    QTableWidget *grdShifts;

private:
    QWidget *tablePage(const QString &name, QLineEdit *&filter, QTableWidget *&table);
    void fillTable(QTableWidget *table, const History::Table &rows);
    void applyFilter(QTableWidget *table, const QString &text);
    void drawProduction();
    void drawTrips(int shiftIndex);

    History::HistoryStore &m_store;
    QList<History::ShiftRecord> m_shifts;
};
