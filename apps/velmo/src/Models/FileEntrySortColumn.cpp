#include "Models/FileEntrySortColumn.h"

namespace FileEntryColumns {

QString id(FileEntrySortColumn column)
{
    switch (column) {
    case FileEntrySortColumn::name: return QStringLiteral("name");
    case FileEntrySortColumn::size: return QStringLiteral("size");
    case FileEntrySortColumn::modified: return QStringLiteral("modified");
    case FileEntrySortColumn::created: return QStringLiteral("created");
    case FileEntrySortColumn::lastOpened: return QStringLiteral("lastOpened");
    case FileEntrySortColumn::added: return QStringLiteral("added");
    case FileEntrySortColumn::kind: return QStringLiteral("kind");
    case FileEntrySortColumn::version: return QStringLiteral("version");
    case FileEntrySortColumn::contents: return QStringLiteral("contents");
    }
    return {};
}

FileEntrySortColumn sortColumn(FileEntryColumn column)
{
    switch (column) {
    case FileEntryColumn::modified: return FileEntrySortColumn::modified;
    case FileEntryColumn::created: return FileEntrySortColumn::created;
    case FileEntryColumn::lastOpened: return FileEntrySortColumn::lastOpened;
    case FileEntryColumn::added: return FileEntrySortColumn::added;
    case FileEntryColumn::size: return FileEntrySortColumn::size;
    case FileEntryColumn::contents: return FileEntrySortColumn::contents;
    case FileEntryColumn::kind: return FileEntrySortColumn::kind;
    case FileEntryColumn::version: return FileEntrySortColumn::version;
    }
    return FileEntrySortColumn::name;
}

QString id(FileEntryColumn column) { return id(sortColumn(column)); }

std::optional<FileEntrySortColumn> sortColumn(const QString& text)
{
    for (auto column : allSortColumns)
        if (id(column) == text) return column;
    return std::nullopt;
}

std::optional<FileEntryColumn> column(const QString& text)
{
    for (auto column : allColumns)
        if (id(column) == text) return column;
    return std::nullopt;
}

std::vector<FileEntrySortColumn> shown(const QSet<FileEntryColumn>& visible, const QStringList& order)
{
    using C = FileEntrySortColumn;
    static constexpr C standardOrder[] = {C::contents, C::size,  C::modified, C::created,
                                          C::lastOpened, C::added, C::kind,     C::version};
    QSet<C> wanted;
    for (FileEntryColumn column : visible) wanted.insert(sortColumn(column));
    std::vector<C> columns {C::name};
    auto take = [&](C column) {
        if (wanted.remove(column)) columns.push_back(column);
    };
    for (const QString& text : order)
        if (auto column = sortColumn(text)) take(*column);
    for (C column : standardOrder) take(column);
    return columns;
}

} // namespace FileEntryColumns
