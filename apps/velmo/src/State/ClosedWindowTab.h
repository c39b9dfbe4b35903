#pragma once

#include "Models/FilePaneRow.h"
#include "Models/FileEntrySortColumn.h"
#include "Models/PaneID.h"

#include <QSet>
#include <QString>
#include <QUuid>

#include <optional>
#include <variant>

class WindowTab;

// What "Reopen Closed Tab" brings back: a closed tab as it was, with its panes'
// rows, so they show before the folder is listed again. Kept in memory only.
struct ClosedPaneSnapshot {
    QString url;
    FileEntryList entries;
    QSet<QString> selectedEntryIDs;
    VelmoFileViewMode fileViewMode = VelmoFileViewMode::list;
    FileEntrySortColumn sortColumn = FileEntrySortColumn::name;
    bool sortAscending = true;
};

struct ClosedBrowserTab {
    ClosedPaneSnapshot leftPane;
    ClosedPaneSnapshot rightPane;
    PaneID activePane = PaneID::left;
};

struct ClosedSizeMapTab {
    QString folderURL;
    std::optional<QUuid> originBrowserTabID;
};

struct ClosedSearchTab {
    QString folderURL;
    QString query;
    std::optional<QUuid> originBrowserTabID;
};

struct ClosedSettingsTab { };

struct ClosedWindowTab {
    using PaneSnapshot = ClosedPaneSnapshot;
    using Browser = ClosedBrowserTab;
    using Search = ClosedSearchTab;
    using SizeMap = ClosedSizeMapTab;
    using Settings = ClosedSettingsTab;
    using Kind = std::variant<Browser, Search, SizeMap, Settings>;

    qint64 index = 0;
    Kind kind;

    // Nothing for a tab that is closed for good.
    static std::optional<ClosedWindowTab> make(const WindowTab& tab, qint64 index);
    QString title() const;
};
