#include "Models/FilePaneRow.h"

bool sameEntries(const FileEntryList& a, const FileEntryList& b)
{
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (a[i] != b[i] && *a[i] != *b[i]) return false;
    return true;
}

std::vector<FilePaneRow> FilePaneRow::rows(const FileEntryList& entries)
{
    std::vector<FilePaneRow> rows;
    rows.reserve(entries.size());
    for (const auto& entry : entries) rows.push_back({entry, 0});
    return rows;
}
