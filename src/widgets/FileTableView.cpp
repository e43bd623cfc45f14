#include "widgets/FileTableView.h"

#include "app/LanguageManager.h"

#include <QHeaderView>

QString fileDurationText(const QVariantMap& record) {
    if (record.value("isImage").toBool())
        return {};
    const auto s = static_cast<unsigned long>(std::max(0.0, record.value("duration").toDouble()));
    return QString::asprintf("%02lu:%02lu:%02lu", s / 3600, (s / 60) % 60, s % 60);
}

QString fileSizeText(const QVariantMap& record) {
    // Integer conversion first: recordings store a real, screenshots an integer.
    const qlonglong bytes = record.value("size").toLongLong();
    return QString::asprintf("%.2f M", static_cast<double>(bytes) / 1000000.0);
}

FileTableView::FileTableView(QWidget* parent) : QTableWidget(0, 4, parent) {
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setShowGrid(false);
    setAlternatingRowColors(true);
    setWordWrap(false);
    verticalHeader()->hide();
    verticalHeader()->setDefaultSectionSize(kRowHeight);
    horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
    for (int c = 1; c < 4; ++c)
        horizontalHeader()->setSectionResizeMode(c, QHeaderView::ResizeToContents);
    horizontalHeader()->setHighlightSections(false);
    connect(selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
        if (selectItemBlock)
            selectItemBlock(selectedRow());
    });
    connect(this, &QTableWidget::cellDoubleClicked, this, [this](int row, int) {
        if (selectItemDoubleClickBlock)
            selectItemDoubleClickBlock(row);
    });
    retitle();
}

void FileTableView::retitle() {
    setHorizontalHeaderLabels({L("FileName"), L("FileDuration"), L("FileSize"), L("FileDate")});
}

void FileTableView::reloadData() {
    const int keep = selectedRow();
    const QSignalBlocker block(selectionModel());
    clearContents();
    setRowCount(static_cast<int>(items.size()));
    for (int row = 0; row < items.size(); ++row) {
        const QVariantMap record = items[row].toMap();
        const QString texts[] = {record.value("name").toString(), fileDurationText(record),
                                 fileSizeText(record), record.value("date").toString()};
        for (int column = 0; column < 4; ++column) {
            auto* cell = new QTableWidgetItem(texts[column]);
            cell->setToolTip(column == 0 ? record.value("path").toString() : QString());
            if (column > 0)
                cell->setTextAlignment(Qt::AlignCenter);
            setItem(row, column, cell);
        }
    }
    if (keep >= 0 && keep < rowCount())
        QTableWidget::selectRow(keep);
    else
        clearSelection();
}

int FileTableView::selectedRow() const {
    const QModelIndexList rows = selectionModel()->selectedRows();
    return rows.isEmpty() ? -1 : rows.first().row();
}

void FileTableView::selectRow(int row) {
    if (row >= 0 && row < rowCount())
        QTableWidget::selectRow(row);
    else
        clearSelection();
}

void FileTableView::setEnabele(bool enabled) {
    setEnabled(enabled);
}
