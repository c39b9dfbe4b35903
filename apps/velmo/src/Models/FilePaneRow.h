#pragma once

#include "Models/FileEntry.h"

#include <memory>
#include <vector>

// Entries are shared, immutable values: the pane's lists hold references to the
// same entry rather than copies of it.
using FileEntryRef = std::shared_ptr<const FileEntry>;
using FileEntryList = std::vector<FileEntryRef>;

// Equal lists hold equal entries in the same order (the same object or an equal value).
bool sameEntries(const FileEntryList& a, const FileEntryList& b);

// One row on show: an entry and its depth below the folder (0 for its own items).
struct FilePaneRow {
    FileEntryRef entry;
    int depth = 0;

    bool operator==(const FilePaneRow& other) const
    {
        return depth == other.depth && (entry == other.entry || *entry == *other.entry);
    }

    static std::vector<FilePaneRow> rows(const FileEntryList& entries);
};
