#pragma once

#include "Models/FileEntrySortColumn.h"
#include "Models/PaneID.h"

#include <QMap>
#include <QSet>
#include <QStringList>

// How one folder is arranged: its sort, view mode and list columns.
struct FolderViewState {
    FileEntrySortColumn sortColumn = FileEntrySortColumn::name;
    bool sortAscending = true;
    VelmoFileViewMode viewMode = VelmoFileViewMode::list;
    QSet<FileEntryColumn> visibleColumns;
    QStringList columnOrder;
    QMap<QString, double> columnWidths;

    bool operator==(const FolderViewState&) const = default;
};

enum class FolderViewStatePersistence { immediate, deferred };
