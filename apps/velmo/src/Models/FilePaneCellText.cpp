#include "Models/FilePaneCellText.h"

#include "PathKit/FilePaths.h"
#include "Support/ByteCountFormatter.h"
#include "Support/VelmoFormatters.h"

#include <cmath>

namespace FilePaneCellText {

namespace {

QString bytesText(qint64 bytes)
{
    return bytes == 0 ? QStringLiteral("0 KB") : ByteCountFormatter::string(bytes);
}

// One decimal where it says something: 1.3, but 1 and 10 rather than 1.0 and 10.0.
QString compactDecimal(double x)
{
    const double rounded = std::round(x * 10) / 10;
    if (rounded == std::floor(rounded)) return QString::number(qint64(rounded));
    return QString::number(rounded, 'f', 1);
}

} // namespace

QString size(const FileEntry& entry, const FolderSizeState* folderState)
{
    if (!entry.isDirectory) return entry.byteSize ? bytesText(*entry.byteSize) : QStringLiteral("--");
    if (!folderState) return QStringLiteral("--");
    switch (folderState->kind) {
    case FolderSizeState::Kind::calculating:
        return folderState->bytes ? bytesText(*folderState->bytes) + QStringLiteral("...")
                                  : QStringLiteral("Calculating...");
    case FolderSizeState::Kind::calculated: return bytesText(folderState->bytes.value_or(0));
    case FolderSizeState::Kind::skipped:
    case FolderSizeState::Kind::failed: break;
    }
    return QStringLiteral("--");
}

QString compactCount(qint64 n)
{
    if (n < 1000) return QString::number(n);
    if (n < 10'000) return compactDecimal(double(n) / 1000) + u'K';
    if (n < 1'000'000) return QString::number(n / 1000) + u'K';
    if (n < 10'000'000) return compactDecimal(double(n) / 1'000'000) + u'M';
    return QString::number(n / 1'000'000) + u'M';
}

QString contents(const FileEntry& entry, const FolderContentCountState* state)
{
    if (!entry.isDirectory || !state || state->kind == FolderContentCountState::Kind::failed)
        return QStringLiteral("--");
    if (state->isCalculating()) return QStringLiteral("...");
    return compactCount(state->count.fileCount) + QStringLiteral(" - ") + compactCount(state->count.folderCount);
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

QString text(const FileEntry& entry, FileEntrySortColumn column, const VelmoViewOptions& options, const QDateTime& now,
             FolderStates folder)
{
    const bool relative = options.useRelativeDates;
    switch (column) {
    case FileEntrySortColumn::name: return name(entry, options);
    case FileEntrySortColumn::size: return size(entry, folder.size);
    case FileEntrySortColumn::modified: return VelmoFormatters::date(entry.modificationDate, relative, now);
    case FileEntrySortColumn::created: return VelmoFormatters::date(entry.creationDate, relative, now);
    case FileEntrySortColumn::lastOpened: return VelmoFormatters::date(entry.contentAccessDate, relative, now);
    case FileEntrySortColumn::added: return VelmoFormatters::date(entry.addedDate, relative, now);
    case FileEntrySortColumn::kind: return entry.localizedKind.value_or(QStringLiteral("--"));
    case FileEntrySortColumn::version: return entry.version.value_or(QStringLiteral("--"));
    case FileEntrySortColumn::contents: return contents(entry, folder.contents);
    }
    return {};
}

} // namespace FilePaneCellText
