#pragma once

#include "Models/FileEntrySortColumn.h"
#include "Models/PaneID.h"

#include <QJsonObject>
#include <QJsonValue>
#include <QMap>
#include <QSet>
#include <QStringList>

#include <optional>

// How one folder is arranged: its sort, view mode and list columns.
struct FolderViewState {
    FileEntrySortColumn sortColumn = FileEntrySortColumn::name;
    bool sortAscending = true;
    VelmoFileViewMode viewMode = VelmoFileViewMode::list;
    QSet<FileEntryColumn> visibleColumns;
    QStringList columnOrder;
    QMap<QString, double> columnWidths;

    bool operator==(const FolderViewState&) const = default;

    // What stands in for anything a stored record lacks: name ascending, a list
    // with the modified, size and contents columns, no order or widths of its own.
    static FolderViewState fallback();

    // The stored form: one key per field, named as the field.
    QJsonObject toJSON() const;
    // Never fails: a missing or unreadable field takes the fallback's value, so
    // records of older versions and damaged ones still give a usable layout.
    static FolderViewState fromJSON(const QJsonValue& value);
    // Widths outside this range are no user's choice; they are dropped when read.
    static constexpr double kMaximumColumnWidth = 10'000;
};

enum class FolderViewStatePersistence { immediate, deferred };

// What a folder without a record of its own follows: the default sort, if one
// is chosen, and the default list columns.
struct FolderLayoutDefaults {
    std::optional<FileEntrySortColumn> arrangeColumn;
    bool arrangeAscending = true;
    QSet<FileEntryColumn> visibleColumns = FolderViewState::fallback().visibleColumns;
    QStringList columnOrder;
    QMap<QString, double> columnWidths;

    bool operator==(const FolderLayoutDefaults&) const = default;
};
