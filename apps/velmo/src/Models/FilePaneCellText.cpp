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

bool hidesExtension(const FileEntry& entry, const VelmoViewOptions& options)
{
    return !options.alwaysShowFileExtensions && !entry.isDirectory && !FilePaths::extension(entry.name).isEmpty();
}

QString name(const FileEntry& entry, const VelmoViewOptions& options)
{
    const QString shown = FilePaths::displayName(entry.name);
    if (!hidesExtension(entry, options)) return shown;
    return shown.left(shown.lastIndexOf(u'.'));
}

QString renamedFullName(const QString& editedText, const FileEntry& entry, const VelmoViewOptions& options)
{
    const QString text = editedText.trimmed();
    if (text.isEmpty() || !hidesExtension(entry, options)) return text;
    return text + u'.' + FilePaths::extension(entry.name);
}

QString text(const FileEntry& entry, FileEntrySortColumn column, const VelmoViewOptions& options, const QDateTime& now)
{
    const bool relative = options.useRelativeDates;
    switch (column) {
    case FileEntrySortColumn::name: return name(entry, options);
    case FileEntrySortColumn::size: return size(entry);
    case FileEntrySortColumn::modified: return VelmoFormatters::date(entry.modificationDate, relative, now);
    case FileEntrySortColumn::created: return VelmoFormatters::date(entry.creationDate, relative, now);
    case FileEntrySortColumn::lastOpened: return VelmoFormatters::date(entry.contentAccessDate, relative, now);
    case FileEntrySortColumn::added: return VelmoFormatters::date(entry.addedDate, relative, now);
    case FileEntrySortColumn::kind: return entry.localizedKind.value_or(QStringLiteral("--"));
    case FileEntrySortColumn::version: return entry.version.value_or(QStringLiteral("--"));
    case FileEntrySortColumn::contents: return QStringLiteral("--");
    }
    return {};
}

} // namespace FilePaneCellText
