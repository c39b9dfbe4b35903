#pragma once

#include "Models/FileEntrySortColumn.h"
#include "Models/FilePaneRow.h"

#include <QCollatorSortKey>
#include <QHash>

#include <functional>
#include <optional>

// The pane's sort order. Folders group first under smart sorting (except by size
// and contents); names compare naturally ("file2" before "file10"), without case;
// absent values stand last in both directions; ties fall back to the name in
// ascending order even in a descending sort, so equal files keep a reading order.
class FileEntrySort {
public:
    struct Options {
        FileEntrySortColumn column = FileEntrySortColumn::name;
        bool ascending = true;
        bool smartSorting = true;
        bool groupFolderAliasesWithFolders = false;
        bool operator==(const Options&) const = default;
    };
    using NumberProvider = std::function<std::optional<qint64>(const FileEntry&)>;
    // Collation keys by name; a pane keeps one per folder so a re-sort or a refresh
    // does not collate the same names again.
    using KeyCache = QHash<QString, QCollatorSortKey>;

    // Whether `lhs` goes before `rhs`.
    static bool order(const FileEntry& lhs, const FileEntry& rhs, const Options& options,
                      const NumberProvider& sizeProvider = {}, const NumberProvider& contentCountProvider = {});

    // A stable sort by the same rule.
    static FileEntryList sorted(const FileEntryList& entries, const Options& options,
                                const NumberProvider& sizeProvider = {},
                                const NumberProvider& contentCountProvider = {}, KeyCache* cache = nullptr);

    // The natural, case-insensitive compare of two names (<0, 0, >0).
    static int compareNames(const QString& a, const QString& b);
};
