#pragma once

#include "Models/FileEntrySortColumn.h"
#include "Models/FilePaneRow.h"
#include "Models/VelmoViewOptions.h"

#include <QAbstractTableModel>
#include <QFont>
#include <QIcon>
#include <QPointer>

class FilePaneStore;

// The pane's list as a table over the store's rows. A change of rows becomes row
// removals, insertions and cell updates; only a new order is a layout change,
// and an unchanged list touches nothing.
class FilePaneTableModel : public QAbstractTableModel {
    Q_OBJECT

public:
    enum Role { EntryIDRole = Qt::UserRole + 1, DepthRole, DisclosureRole };
    // What a row's triangle shows: nothing (a file, a link, a package, a folder known
    // to be empty), closed (a folder with, or maybe with, something inside), open.
    enum class Disclosure { none, closed, open };
    Disclosure disclosure(const FileEntry& entry) const;

    explicit FilePaneTableModel(FilePaneStore* store, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    // Rows drag out as files (the table builds the drag itself).
    Qt::ItemFlags flags(const QModelIndex& index) const override;

    const FilePaneRow* row(int index) const;
    int rowOfEntry(const QString& id) const;
    FileEntrySortColumn sortColumnOfSection(int section) const;
    int sectionOfSortColumn(FileEntrySortColumn column) const;

    // Every column's title, menu title and widths, in the standard order.
    struct ColumnInfo {
        FileEntrySortColumn column;
        const char* title;
        const char* menuTitle;
        int minimumWidth;
        int width;
    };
    static const std::vector<ColumnInfo>& allColumns();
    // The columns on show (FileEntryColumns::shown).
    const std::vector<FileEntrySortColumn>& columns() const { return columns_; }

    // How rows look. A change that alters the rows' text or fonts redraws every
    // row as a cell update: no reset, so the selection and scroll position stay.
    const VelmoViewOptions& viewOptions() const { return options_; }
    void setViewOptions(const VelmoViewOptions& options);
    // The list's font at the options' size.
    static QFont listFont(const VelmoViewOptions& options);

    // Counts of what the last update did, for tests and the state dump.
    struct UpdateCounts {
        int resets = 0;
        int inserted = 0;
        int removed = 0;
        int changed = 0;
        int layouts = 0;
    };
    const UpdateCounts& updateCounts() const { return counts_; }

signals:
    void viewOptionsChanged();

private:
    void applyRows();
    // A folder's new size or count redraws that one cell, nothing else.
    void reloadFolderCells(const QSet<QString>& ids, FileEntrySortColumn column);
    QIcon icon(const FileEntry& entry) const;
    QFont font(const FileEntry& entry, FileEntrySortColumn column) const;
    void rebuildIndex() const;
    void updateColumns();

    QPointer<FilePaneStore> store_;
    std::vector<FilePaneRow> rows_;
    // Row of each id, rebuilt when first asked after a run of rows came or went.
    mutable QHash<QString, int> rowByID_;
    mutable bool indexStale_ = false;
    std::vector<FileEntrySortColumn> columns_;
    UpdateCounts counts_;
    VelmoViewOptions options_;
    QFont font_;
};
