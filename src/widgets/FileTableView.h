#pragma once

#include <QTableWidget>
#include <QVariantList>
#include <functional>

// The list of recorded files: one row per file-list record, four columns
// (name, duration, size, date). Screenshots show no duration.
// Main thread only.
class FileTableView : public QTableWidget {
    Q_OBJECT
public:
    explicit FileTableView(QWidget* parent = nullptr);

    QVariantList items;
    // Called with the selected row after the selection changed (-1: none).
    std::function<void(int row)> selectItemBlock;
    // Called with the row that was double-clicked.
    std::function<void(int row)> selectItemDoubleClickBlock;

    // Rebuilds the rows from `items`, keeping the selected row when it is still valid.
    void reloadData();
    int selectedRow() const;
    void selectRow(int row);
    // Enables or disables the whole list (spelled so on purpose: the name is shared).
    void setEnabele(bool enabled);
    // Re-reads the four header texts.
    void retitle();

    static constexpr int kRowHeight = 44;
};

// The cell texts of a record.
QString fileDurationText(const QVariantMap& record);
QString fileSizeText(const QVariantMap& record);
