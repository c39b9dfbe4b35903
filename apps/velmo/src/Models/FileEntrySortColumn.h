#pragma once

#include <QSet>
#include <QString>
#include <QStringList>

#include <array>
#include <optional>
#include <vector>

// Column ids, stored as their names in view states and sessions.
enum class FileEntrySortColumn { name, size, modified, created, lastOpened, added, kind, version, contents };

// The optional list columns; the name column is always there.
enum class FileEntryColumn { modified, created, lastOpened, added, size, contents, kind, version };

namespace FileEntryColumns {

QString id(FileEntrySortColumn column);
QString id(FileEntryColumn column);
std::optional<FileEntrySortColumn> sortColumn(const QString& id);
std::optional<FileEntryColumn> column(const QString& id);
// The sort column that a list column sorts by.
FileEntrySortColumn sortColumn(FileEntryColumn column);

inline constexpr std::array<FileEntrySortColumn, 9> allSortColumns {
    FileEntrySortColumn::name, FileEntrySortColumn::size, FileEntrySortColumn::modified,
    FileEntrySortColumn::created, FileEntrySortColumn::lastOpened, FileEntrySortColumn::added,
    FileEntrySortColumn::kind, FileEntrySortColumn::version, FileEntrySortColumn::contents,
};
inline constexpr std::array<FileEntryColumn, 8> allColumns {
    FileEntryColumn::modified, FileEntryColumn::created, FileEntryColumn::lastOpened, FileEntryColumn::added,
    FileEntryColumn::size, FileEntryColumn::contents, FileEntryColumn::kind, FileEntryColumn::version,
};

// The list's columns, left to right: the name, then the visible ones in the
// stored order, then visible ones the order doesn't name, in the standard order
// (name, contents, size, modified, created, last opened, added, kind, version).
std::vector<FileEntrySortColumn> shown(const QSet<FileEntryColumn>& visible, const QStringList& order);

} // namespace FileEntryColumns
