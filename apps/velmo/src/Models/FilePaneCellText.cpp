#include "Models/FilePaneCellText.h"

#include "PathKit/FilePaths.h"
#include "Support/ByteCountFormatter.h"
#include "Support/VelmoFormatters.h"

namespace FilePaneCellText {

QString size(const FileEntry& entry)
{
    if (entry.isDirectory || !entry.byteSize) return QStringLiteral("--");
    if (*entry.byteSize == 0) return QStringLiteral("0 KB");
    return ByteCountFormatter::string(*entry.byteSize);
}

QString text(const FileEntry& entry, FileEntrySortColumn column)
{
    switch (column) {
    case FileEntrySortColumn::name: return FilePaths::displayName(entry.name);
    case FileEntrySortColumn::size: return size(entry);
    case FileEntrySortColumn::modified: return VelmoFormatters::date(entry.modificationDate);
    case FileEntrySortColumn::created: return VelmoFormatters::date(entry.creationDate);
    case FileEntrySortColumn::lastOpened: return VelmoFormatters::date(entry.contentAccessDate);
    case FileEntrySortColumn::added: return VelmoFormatters::date(entry.addedDate);
    case FileEntrySortColumn::kind: return entry.localizedKind.value_or(QStringLiteral("--"));
    case FileEntrySortColumn::version: return entry.version.value_or(QStringLiteral("--"));
    case FileEntrySortColumn::contents: return QStringLiteral("--");
    }
    return {};
}

} // namespace FilePaneCellText
