#pragma once

#include "Models/FileEntrySortColumn.h"
#include "Models/FilePaneRow.h"

#include <functional>
#include <optional>
#include <vector>

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
    // The place of each entry's name in name order, parallel to a list: names are
    // collated once per list, after which every sort compares integers.
    using NameRanks = std::vector<int>;

    static NameRanks nameRanks(const FileEntryList& entries);

    // Whether `lhs` goes before `rhs`.
    static bool order(const FileEntry& lhs, const FileEntry& rhs, const Options& options,
                      const NumberProvider& sizeProvider = {}, const NumberProvider& contentCountProvider = {});

    // A stable sort by the same rule; `ranks`, when given, must be those of `entries`.
    static FileEntryList sorted(const FileEntryList& entries, const Options& options,
                                const NumberProvider& sizeProvider = {},
                                const NumberProvider& contentCountProvider = {}, const NameRanks* ranks = nullptr);

    // The natural, case-insensitive compare of two names (<0, 0, >0).
    static int compareNames(const QString& a, const QString& b);
};
