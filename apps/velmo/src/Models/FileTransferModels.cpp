#include "Models/FileTransferModels.h"

namespace {

QString countText(qint64 count)
{
    return count == 1 ? QStringLiteral("1 item") : QStringLiteral("%1 items").arg(count);
}

} // namespace

FileTransferActivity FileTransferActivity::started(FileTransferKind kind, qint64 sourceItemCount,
                                                   const QString& destinationURL)
{
    FileTransferActivity activity;
    activity.id = QUuid::createUuid();
    activity.kind = kind;
    activity.sourceItemCount = sourceItemCount;
    activity.destinationURL = destinationURL;
    activity.progress = {0, sourceItemCount, std::nullopt};
    return activity;
}

QString FileTransferActivity::title() const
{
    switch (kind) {
    case FileTransferKind::copy: return QStringLiteral("Copying ") + countText(sourceItemCount);
    case FileTransferKind::link: return QStringLiteral("Creating ") + countText(sourceItemCount);
    case FileTransferKind::move: return QStringLiteral("Moving ") + countText(sourceItemCount);
    case FileTransferKind::pasteCopy: return QStringLiteral("Pasting ") + countText(sourceItemCount);
    case FileTransferKind::pasteMove: return QStringLiteral("Moving pasted ") + countText(sourceItemCount);
    case FileTransferKind::undoMove: return QStringLiteral("Undoing move");
    }
    return {};
}

QString FileTransferActivity::detail() const
{
    QStringList parts{QStringLiteral("%1 of %2").arg(progress.completedItemCount).arg(progress.totalItemCount)};
    if (progress.currentItemName) parts.append(*progress.currentItemName);
    if (isCancelling) parts.append(QStringLiteral("Cancelling..."));
    return parts.join(QStringLiteral(" - "));
}

QStringList FileTransferCancellation::completedURLs() const
{
    if (const auto* copied = std::get_if<Copied>(&reason)) return copied->destinationURLs;
    QStringList urls;
    for (const FileMoveResult& move : std::get<Moved>(reason).moves) urls.append(move.destinationURL);
    return urls;
}
