#include "frmhistory.h"

#include "history/historyfigures.h"

#include <QBarCategoryAxis>
#include <QBarSeries>
#include <QBarSet>
#include <QChart>
#include <QChartView>
#include <QComboBox>
#include <QDateTimeAxis>
#include <QFile>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QLineSeries>
#include <QPushButton>
#include <QSaveFile>
#include <QStackedBarSeries>
#include <QTabWidget>
#include <QTableWidget>
#include <QVBoxLayout>
#include <QValueAxis>

using namespace Qt::StringLiterals;

namespace
{

QChartView *chartView(const char *name, QWidget *parent)
{
    auto *view = new QChartView(new QChart, parent);
    view->setObjectName(QString::fromLatin1(name));
    view->setRenderHint(QPainter::Antialiasing);
    view->chart()->legend()->setVisible(false);
    return view;
}

// How many shifts the per-shift chart shows, newest last.
constexpr int ShiftsCharted = 15;

} // namespace

frmHistory::frmHistory(History::HistoryStore &store, QWidget *parent)
    : QWidget(parent, Qt::Window), m_store(store)
{
    setObjectName(u"frmHistory"_s);
    setWindowTitle(u"Production History"_s);
    tabHistory = new QTabWidget(this);
    tabHistory->setObjectName(u"tabHistory"_s);

    auto *production = new QWidget;
    chtPerHour = chartView("chtPerHour", production);
    chtPerShift = chartView("chtPerShift", production);
    auto *pl = new QVBoxLayout(production);
    pl->addWidget(chtPerHour, 1);
    pl->addWidget(chtPerShift, 1);
    tabHistory->addTab(production, u"&Production"_s);

    auto *trips = new QWidget;
    cboShift = new QComboBox(trips);
    cboShift->setObjectName(u"cboShift"_s);
    lblTrips = new QLabel(trips);
    lblTrips->setObjectName(u"lblTrips"_s);
    chtTrips = chartView("chtTrips", trips);
    auto *tl = new QVBoxLayout(trips);
    auto *row = new QHBoxLayout;
    row->addWidget(new QLabel(u"Shift ended:"_s, trips));
    row->addWidget(cboShift, 1);
    tl->addLayout(row);
    tl->addWidget(chtTrips, 1);
    tl->addWidget(lblTrips);
    tabHistory->addTab(trips, u"Spindle &Trips"_s);
    connect(cboShift, &QComboBox::currentIndexChanged, this, [this](int i) { drawTrips(i); });

    QLineEdit *shiftFilter = nullptr;
    tabHistory->addTab(tablePage(u"Shifts"_s, shiftFilter, grdShifts), u"&Shifts"_s);
    tabHistory->addTab(tablePage(u"Faults"_s, txtFaultFilter, grdFaults), u"&Faults"_s);
    tabHistory->addTab(tablePage(u"Changes"_s, txtChangeFilter, grdChanges), u"&Changes"_s);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(tabHistory);
    resize(900, 640);
}

QWidget *frmHistory::tablePage(const QString &name, QLineEdit *&filter, QTableWidget *&table)
{
    auto *page = new QWidget;
    filter = new QLineEdit(page);
    filter->setObjectName(u"txt%1Filter"_s.arg(name));
    filter->setPlaceholderText(u"Filter: any text in a row"_s);
    filter->setClearButtonEnabled(true);
    table = new QTableWidget(page);
    table->setObjectName(u"grd%1"_s.arg(name));
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->verticalHeader()->setVisible(false);
    table->horizontalHeader()->setStretchLastSection(true);
    auto *exportButton = new QPushButton(u"&Export CSV..."_s, page);
    exportButton->setObjectName(u"cmdExport%1"_s.arg(name));
    auto *row = new QHBoxLayout;
    row->addWidget(filter, 1);
    row->addWidget(exportButton);
    auto *layout = new QVBoxLayout(page);
    layout->addLayout(row);
    layout->addWidget(table, 1);
    QTableWidget *t = table;
    connect(filter, &QLineEdit::textChanged, this, [this, t](const QString &text) {
        applyFilter(t, text);
    });
    connect(exportButton, &QPushButton::clicked, this, [this, t, name] {
        const QString path = QFileDialog::getSaveFileName(
            this, u"Export %1"_s.arg(name), name.toLower() + u".csv"_s, u"CSV files (*.csv)"_s);
        if (!path.isEmpty())
            exportTable(t, path);
    });
    return page;
}

void frmHistory::reload()
{
    m_shifts = m_store.shifts();
    fillTable(grdShifts, History::shiftTable(m_shifts));
    fillTable(grdFaults, History::faultTable(m_store.faults()));
    fillTable(grdChanges, History::changeTable(m_store.changes()));
    applyFilter(grdFaults, txtFaultFilter->text());
    applyFilter(grdChanges, txtChangeFilter->text());
    drawProduction();
    cboShift->blockSignals(true);
    cboShift->clear();
    for (qsizetype i = m_shifts.size() - 1; i >= 0; --i)
        cboShift->addItem(History::timeText(m_shifts[i].endedAt) + u"  ("_s
                              + History::shiftOriginName(m_shifts[i].origin) + u')',
                          int(i));
    cboShift->blockSignals(false);
    drawTrips(cboShift->currentIndex());
}

void frmHistory::fillTable(QTableWidget *table, const History::Table &rows)
{
    table->clear();
    table->setColumnCount(rows.isEmpty() ? 0 : int(rows[0].size()));
    table->setRowCount(rows.isEmpty() ? 0 : int(rows.size() - 1));
    if (rows.isEmpty())
        return;
    table->setHorizontalHeaderLabels(rows[0]);
    // Newest first: what was asked about is usually recent.
    for (qsizetype r = 1; r < rows.size(); ++r) {
        const int at = int(rows.size() - 1 - r);
        for (qsizetype c = 0; c < rows[r].size(); ++c)
            table->setItem(at, int(c), new QTableWidgetItem(rows[r][c]));
    }
    table->resizeColumnsToContents();
}

void frmHistory::applyFilter(QTableWidget *table, const QString &text)
{
    for (int r = 0; r < table->rowCount(); ++r) {
        bool match = text.isEmpty();
        for (int c = 0; !match && c < table->columnCount(); ++c)
            match = table->item(r, c) && table->item(r, c)->text().contains(text, Qt::CaseInsensitive);
        table->setRowHidden(r, !match);
    }
}

History::Table frmHistory::shownRows(QTableWidget *table) const
{
    History::Table rows;
    QStringList header;
    for (int c = 0; c < table->columnCount(); ++c)
        header << table->horizontalHeaderItem(c)->text();
    rows << header;
    for (int r = 0; r < table->rowCount(); ++r) {
        if (table->isRowHidden(r))
            continue;
        QStringList row;
        for (int c = 0; c < table->columnCount(); ++c)
            row << (table->item(r, c) ? table->item(r, c)->text() : QString());
        rows << row;
    }
    return rows;
}

bool frmHistory::exportTable(QTableWidget *table, const QString &path) const
{
    // All or nothing: a failed export leaves no half-written file.
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text))
        return false;
    file.write(History::csvText(shownRows(table)).toUtf8());
    return file.commit();
}

void frmHistory::drawProduction()
{
    QChart *hourly = chtPerHour->chart();
    hourly->removeAllSeries();
    for (QAbstractAxis *axis : hourly->axes())
        hourly->removeAxis(axis);
    hourly->setTitle(u"Good cans per hour"_s);
    auto *line = new QLineSeries;
    qint64 top = 0;
    for (const History::HourCount &h : History::productionPerHour(m_store.snapshots())) {
        line->append(double(h.hour.toMSecsSinceEpoch()), double(h.goodCans));
        top = std::max(top, h.goodCans);
    }
    hourly->addSeries(line);
    auto *time = new QDateTimeAxis;
    time->setFormat(u"MM-dd HH:mm"_s);
    time->setTickCount(8);
    hourly->addAxis(time, Qt::AlignBottom);
    line->attachAxis(time);
    auto *cans = new QValueAxis;
    cans->setRange(0, double(top) * 1.1 + 1);
    cans->setLabelFormat(u"%d"_s);
    cans->applyNiceNumbers();
    hourly->addAxis(cans, Qt::AlignLeft);
    line->attachAxis(cans);

    QChart *perShift = chtPerShift->chart();
    perShift->removeAllSeries();
    for (QAbstractAxis *axis : perShift->axes())
        perShift->removeAxis(axis);
    perShift->setTitle(u"Good cans per shift (by the time it ended)"_s);
    auto *good = new QBarSet(u"Good cans"_s);
    QStringList labels;
    qint64 most = 0;
    for (qsizetype i = std::max<qsizetype>(0, m_shifts.size() - ShiftsCharted); i < m_shifts.size();
         ++i) {
        good->append(m_shifts[i].goodCans);
        labels << m_shifts[i].endedAt.toString(u"MM-dd'<br>'HH'h'"_s);
        most = std::max<qint64>(most, m_shifts[i].goodCans);
    }
    auto *bars = new QBarSeries;
    bars->append(good);
    perShift->addSeries(bars);
    auto *names = new QBarCategoryAxis;
    names->append(labels);
    names->setTruncateLabels(false);
    perShift->addAxis(names, Qt::AlignBottom);
    bars->attachAxis(names);
    auto *count = new QValueAxis;
    count->setRange(0, double(most) * 1.1 + 1);
    count->setLabelFormat(u"%d"_s);
    count->applyNiceNumbers();
    perShift->addAxis(count, Qt::AlignLeft);
    bars->attachAxis(count);
}

void frmHistory::drawTrips(int comboIndex)
{
    QChart *chart = chtTrips->chart();
    chart->removeAllSeries();
    for (QAbstractAxis *axis : chart->axes())
        chart->removeAxis(axis);
    lblTrips->clear();
    if (comboIndex < 0 || comboIndex >= cboShift->count())
        return;
    const History::ShiftRecord &shift = m_shifts.at(cboShift->itemData(comboIndex).toInt());
    chart->setTitle(u"Trips per spindle, shift ended %1"_s.arg(History::timeText(shift.endedAt)));
    const QList<int> outliers = History::outlierSpindles(shift.trips);
    // Two stacked sets, one of them empty at each spindle, colour the
    // spindles that stand out.
    auto *usual = new QBarSet(u"Trips"_s);
    auto *high = new QBarSet(u"Far above the others"_s);
    usual->setColor(QColor(0x3a, 0x6e, 0xa5));
    high->setColor(QColor(0xc0, 0x20, 0x20));
    QStringList labels;
    qint32 most = 0;
    for (qsizetype i = 0; i < shift.trips.size(); ++i) {
        const bool stands = outliers.contains(int(i + 1));
        usual->append(stands ? 0 : shift.trips[i]);
        high->append(stands ? shift.trips[i] : 0);
        labels << QString::number(i + 1);
        most = std::max(most, shift.trips[i]);
    }
    auto *series = new QStackedBarSeries;
    series->append(usual);
    series->append(high);
    chart->addSeries(series);
    chart->legend()->setVisible(!outliers.isEmpty());
    auto *spindles = new QBarCategoryAxis;
    spindles->append(labels);
    spindles->setTitleText(u"Spindle"_s);
    chart->addAxis(spindles, Qt::AlignBottom);
    series->attachAxis(spindles);
    auto *count = new QValueAxis;
    count->setRange(0, double(most) * 1.1 + 1);
    count->setLabelFormat(u"%d"_s);
    count->applyNiceNumbers();
    chart->addAxis(count, Qt::AlignLeft);
    series->attachAxis(count);
    QStringList names;
    for (int s : outliers)
        names << QString::number(s);
    lblTrips->setText(outliers.isEmpty()
                          ? u"No spindle stands out."_s
                          : u"Spindle %1 far above the others."_s.arg(names.join(u", "_s)));
}
