#include "State/FilePaneStore.h"

#include "PathKit/FilePaths.h"
#include "Services/FileTransferProviding.h"
#include "Support/BackgroundTask.h"
#include "Support/SystemErrorText.h"

#include <QCoreApplication>
#include <QPointer>

#include <mutex>
#include <sys/stat.h>

namespace {

QString transferErrorText(const FileTransferError& error)
{
    if (const auto* system = std::get_if<FileTransferSystemError>(&error))
        return SystemErrorText::describe(system->code, system->path);
    return QStringLiteral("The operation was stopped.");
}

QString sanitizedCreatedItemName(const QString& name)
{
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty() || trimmed.contains(u'/')) return {};
    return trimmed;
}

QString filename(const QString& baseName, const QString& pathExtension)
{
    return pathExtension.isEmpty() ? baseName : baseName + u'.' + pathExtension;
}

bool itemExists(const QString& path)
{
    struct stat st {};
    return ::lstat(FilePaths::toNative(path).constData(), &st) == 0;
}

QStringList standardizedAll(const QStringList& urls)
{
    QStringList out;
    out.reserve(urls.size());
    for (const QString& url : urls) out.append(FilePaths::standardized(url));
    return out;
}

QSet<QString> idSet(const QStringList& urls)
{
    QSet<QString> ids;
    ids.reserve(urls.size());
    for (const QString& url : urls) ids.insert(FilePaths::standardized(url));
    return ids;
}

// Progress of a background run reaches the main thread at most one post at a
// time: a copy of 20,000 small files must not queue 20,000 events.
struct ProgressMailbox {
    std::mutex lock;
    std::optional<FileTransferProgress> latest;
    bool posted = false;
};

} // namespace

QString FilePaneStore::itemCountText(qint64 count)
{
    return count == 1 ? QStringLiteral("1 item") : QStringLiteral("%1 items").arg(count);
}

QString FilePaneStore::busyMessage()
{
    return QStringLiteral("A file operation is already running.");
}

void FilePaneStore::setActiveTransfer(std::optional<FileTransferActivity> activity)
{
    if (activeTransfer_ == activity) return;
    activeTransfer_ = std::move(activity);
    emit transferChanged();
}

void FilePaneStore::clearPermissionDeniedURLs()
{
    if (!permissionDeniedURLs_) return;
    permissionDeniedURLs_.reset();
    emit permissionDeniedURLsChanged();
}

void FilePaneStore::setPendingInlineRenameEntryID(std::optional<QString> id)
{
    if (pendingInlineRenameEntryID_ == id) return;
    pendingInlineRenameEntryID_ = std::move(id);
    emit pendingInlineRenameChanged();
}

void FilePaneStore::reloadAfterOwnChange()
{
    suppressWatcherEcho();
    startLoad(currentURL_);
}

void FilePaneStore::selectAndReload(const QStringList& urls)
{
    setSelectedEntryIDs(idSet(urls));
    reloadAfterOwnChange();
}

// ---------------------------------------------------------------- clipboard

void FilePaneStore::copySelectionToPasteboard()
{
    writeSelectionToPasteboard(false);
}

void FilePaneStore::cutSelectionToPasteboard()
{
    writeSelectionToPasteboard(true);
}

// A cut only marks the files; nothing moves until a paste.
void FilePaneStore::writeSelectionToPasteboard(bool cut)
{
    QStringList urls;
    for (const auto& entry : selectedEntries()) urls.append(entry->url);
    if (urls.isEmpty() || !services_.fileActions) return;
    const auto written = cut ? services_.fileActions->cutItemsToPasteboard(urls)
                             : services_.fileActions->copyItemsToPasteboard(urls);
    if (!written)
        showActionToast(QStringLiteral("Could not copy to the clipboard: ") + written.error().localizedDescription(),
                        ToastMessage::Kind::error);
}

bool FilePaneStore::canPaste() const
{
    return services_.pasteboard && !services_.pasteboard->readFileURLs().isEmpty();
}

void FilePaneStore::pasteItems()
{
    if (!services_.fileActions) return;
    const auto intent = services_.fileActions->pasteIntent();
    if (!intent) return;
    if (intent->isCut)
        startMoveTransfer(FileTransferKind::pasteMove, intent->urls, currentURL_, true, intent->changeCount);
    else
        // A pasted copy leaves the clipboard as it was, so it can be pasted again.
        startCopyTransfer(FileTransferKind::pasteCopy, intent->urls, currentURL_, true, std::nullopt);
}

// ---------------------------------------------------------------- transfers

bool FilePaneStore::beginTransfer(FileTransferKind kind, qint64 sourceItemCount, const QString& destinationURL)
{
    if (isBusy()) {
        showActionToast(busyMessage(), ToastMessage::Kind::error);
        return false;
    }
    if (transferStop_) transferStop_->request_stop();
    transferStop_ = std::make_shared<std::stop_source>();
    setActiveTransfer(FileTransferActivity::started(kind, sourceItemCount, destinationURL));
    return true;
}

void FilePaneStore::updateTransfer(const QUuid& id, const FileTransferProgress& progress)
{
    if (!activeTransfer_ || activeTransfer_->id != id) return;
    FileTransferActivity activity = *activeTransfer_;
    activity.progress = progress;
    setActiveTransfer(activity);
}

bool FilePaneStore::clearTransfer(const QUuid& id)
{
    if (!activeTransfer_ || activeTransfer_->id != id) return false;
    transferStop_.reset();
    setActiveTransfer(std::nullopt);
    return true;
}

void FilePaneStore::failTransfer(const QUuid& id, const QString& message, const FileTransferError& error)
{
    if (clearTransfer(id)) showActionToast(message + QStringLiteral(": ") + transferErrorText(error), ToastMessage::Kind::error);
}

void FilePaneStore::cancelActiveTransfer()
{
    if (!activeTransfer_) return;
    FileTransferActivity activity = *activeTransfer_;
    activity.isCancelling = true;
    setActiveTransfer(activity);
    if (transferStop_) transferStop_->request_stop();
}

std::function<void(const FileTransferProgress&)> FilePaneStore::progressForwarder(const QUuid& id)
{
    auto mailbox = std::make_shared<ProgressMailbox>();
    QPointer<FilePaneStore> self(this);
    return [mailbox, self, id](const FileTransferProgress& progress) {
        std::lock_guard guard(mailbox->lock);
        mailbox->latest = progress;
        if (mailbox->posted) return;
        mailbox->posted = true;
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [mailbox, self, id] {
                std::optional<FileTransferProgress> latest;
                {
                    std::lock_guard guard(mailbox->lock);
                    latest = std::move(mailbox->latest);
                    mailbox->posted = false;
                }
                if (self && latest) self->updateTransfer(id, *latest);
            },
            Qt::QueuedConnection);
    };
}

void FilePaneStore::startCopyTransfer(FileTransferKind kind, const QStringList& urls, const QString& destinationURL,
                                      bool selectTransferredItems, std::optional<qint64> pasteboardChangeCountToClear)
{
    runCreatingTransfer(kind, urls, destinationURL, selectTransferredItems, pasteboardChangeCountToClear,
                        QStringLiteral("Could not copy items"), QStringLiteral("copied"),
                        [](const FileTransferProviding& service, const QStringList& sources, const QString& destination,
                           std::stop_token stop, const TransferProgressHandler& progress) {
                            return service.copyItems(sources, destination, stop, progress);
                        });
}

void FilePaneStore::startLinkTransfer(FileTransferKind kind, const QStringList& urls, const QString& destinationURL,
                                      bool selectTransferredItems)
{
    runCreatingTransfer(kind, urls, destinationURL, selectTransferredItems, std::nullopt,
                        QStringLiteral("Could not create links"), QStringLiteral("linked"),
                        [](const FileTransferProviding& service, const QStringList& sources, const QString& destination,
                           std::stop_token stop,
                           const TransferProgressHandler& progress) -> std::expected<FileCopyResult, FileTransferError> {
                            auto linked = service.linkItems(sources, destination, stop, progress);
                            if (!linked) return std::unexpected(linked.error());
                            return FileCopyResult {linked->createdURLs, linked->skippedURLs};
                        });
}

// Copies and links make new items: what they made is undone by the trash.
void FilePaneStore::runCreatingTransfer(FileTransferKind kind, const QStringList& urls, const QString& destinationURL,
                                        bool selectTransferredItems, std::optional<qint64> pasteboardChangeCountToClear,
                                        const QString& failureMessage, const QString& operationWord,
                                        CreatingTransferWork work)
{
    const QString destination = FilePaths::standardized(destinationURL);
    const QStringList sources = standardizedAll(urls);
    // Sources that may not go there (a folder into itself) come back as skipped.
    if (sources.isEmpty() || !services_.transfer || !beginTransfer(kind, sources.size(), destination)) return;
    const QUuid id = activeTransfer_->id;
    BackgroundTask::runToOutcome(
        services_.operations.get(), this, transferStop_->get_token(),
        [service = services_.transfer, sources, destination, progress = progressForwarder(id), work](std::stop_token stop) {
            return work(*service, sources, destination, stop, progress);
        },
        [this, id, destination, selectTransferredItems, pasteboardChangeCountToClear, failureMessage,
         operationWord](std::expected<FileCopyResult, FileTransferError> result) {
            QStringList created, skipped;
            if (result) {
                created = result->createdURLs;
                skipped = result->skippedURLs;
            } else if (const auto* cancellation = std::get_if<FileTransferCancellation>(&result.error())) {
                created = cancellation->completedURLs();
            } else if (std::holds_alternative<FileTransferStopped>(result.error())) {
                clearTransfer(id);
                return;
            } else {
                failTransfer(id, failureMessage, result.error());
                return;
            }
            if (!clearTransfer(id)) return;
            if (!created.isEmpty()) recordUndo(UndoAction {UndoAction::Created {created}});
            clearPasteboardIfUnchanged(pasteboardChangeCountToClear);
            finishTransfer(destination, created, selectTransferredItems);
            showSkippedItemsToast(skipped, operationWord);
        });
}

void FilePaneStore::clearPasteboardIfUnchanged(std::optional<qint64> changeCount)
{
    if (changeCount && services_.pasteboard && *changeCount == services_.pasteboard->changeCount())
        services_.pasteboard->clearContents();
}

void FilePaneStore::startMoveTransfer(FileTransferKind kind, const QStringList& urls, const QString& destinationURL,
                                      bool selectTransferredItems, std::optional<qint64> pasteboardChangeCountToClear)
{
    const QString destination = FilePaths::standardized(destinationURL);
    QStringList sources;
    for (const QString& url : standardizedAll(urls))
        if (FilePaths::parent(url) != destination) sources.append(url);
    if (sources.isEmpty() || !services_.transfer || !beginTransfer(kind, sources.size(), destination)) return;
    const QUuid id = activeTransfer_->id;
    BackgroundTask::runToOutcome(
        services_.operations.get(), this, transferStop_->get_token(),
        [service = services_.transfer, sources, destination, progress = progressForwarder(id)](std::stop_token stop) {
            return service->moveItems(sources, destination, stop, progress);
        },
        [this, id, destination, selectTransferredItems, pasteboardChangeCountToClear](
            std::expected<FileMoveBatchResult, FileTransferError> result) {
            std::vector<FileMoveResult> moves;
            QStringList skipped;
            if (result) {
                moves = result->moves;
                skipped = result->skippedURLs;
            } else if (const auto* cancellation = std::get_if<FileTransferCancellation>(&result.error())) {
                if (const auto* moved = std::get_if<FileTransferCancellation::Moved>(&cancellation->reason))
                    moves = moved->moves;
            } else if (std::holds_alternative<FileTransferStopped>(result.error())) {
                clearTransfer(id);
                return;
            } else {
                failTransfer(id, QStringLiteral("Could not move items"), result.error());
                return;
            }
            if (!clearTransfer(id)) return;
            recordMoveUndo(moves);
            if (!moves.empty()) clearPasteboardIfUnchanged(pasteboardChangeCountToClear);
            QStringList transferred;
            for (const FileMoveResult& move : moves) transferred.append(move.destinationURL);
            finishTransfer(destination, transferred, selectTransferredItems);
            showSkippedItemsToast(skipped, QStringLiteral("moved"));
        });
}

void FilePaneStore::recordMoveUndo(const std::vector<FileMoveResult>& results)
{
    UndoAction::Move move;
    for (const FileMoveResult& result : results) move.items.push_back({result.destinationURL, result.sourceURL});
    if (!move.items.empty()) recordUndo(UndoAction {std::move(move)});
}

void FilePaneStore::finishTransfer(const QString& destinationURL, const QStringList& transferredURLs,
                                   bool selectTransferredItems)
{
    if (transferredURLs.isEmpty()) return;
    if (selectTransferredItems) {
        if (FilePaths::standardized(destinationURL) == FilePaths::standardized(currentURL_))
            setSelectedEntryIDs(idSet(transferredURLs));
        else
            setSelectedEntryIDs({});
    }
    reloadAfterOwnChange();
}

void FilePaneStore::showSkippedItemsToast(const QStringList& urls, const QString& operation)
{
    if (urls.isEmpty()) return;
    QStringList names;
    for (qsizetype i = 0; i < urls.size() && i < 2; ++i) {
        const QString name = FilePaths::lastComponent(urls[i]);
        names.append(FilePaths::displayName(name.isEmpty() ? urls[i] : name));
    }
    QString text = QStringLiteral("Skipped ") + itemCountText(urls.size()) + QStringLiteral(" that couldn't be ") + operation
        + QStringLiteral(": ") + names.join(QStringLiteral(", "));
    if (urls.size() > 2) text += QStringLiteral(", ...");
    showActionToast(text, ToastMessage::Kind::info);
}

// ---------------------------------------------------------------- create, rename

void FilePaneStore::createFolder(const QString& name)
{
    createItem(name, true);
}

void FilePaneStore::createFile(const QString& name)
{
    createItem(name, false);
}

void FilePaneStore::createItem(const QString& name, bool isFolder)
{
    const QString sanitized = sanitizedCreatedItemName(name);
    if (sanitized.isEmpty() || !services_.fileActions) return;
    if (isBusy()) {
        showActionToast(busyMessage(), ToastMessage::Kind::error);
        return;
    }
    // A folder's whole name is its base; a file keeps its extension after the number.
    const QString extension = isFolder ? QString() : FilePaths::extension(sanitized);
    const QString base = extension.isEmpty() ? sanitized : sanitized.chopped(extension.size() + 1);
    QString url = FilePaths::appending(currentURL_, filename(base, extension));
    for (int n = 2; itemExists(url); ++n)
        url = FilePaths::appending(currentURL_, filename(base + QStringLiteral(" %1").arg(n), extension));
    const auto made = isFolder ? services_.fileActions->createDirectory(url) : services_.fileActions->createFile(url);
    if (!made) {
        showActionToast(QStringLiteral("Could not create ") + FilePaths::displayName(FilePaths::lastComponent(url))
                            + QStringLiteral(": ") + made.error().localizedDescription(),
                        ToastMessage::Kind::error);
        return;
    }
    recordUndo(UndoAction {UndoAction::Created {{url}}});
    setSelectedEntryIDs({url});
    setPendingInlineRenameEntryID(std::nullopt);
    reloadAfterOwnChange();
}

std::optional<QString> FilePaneStore::rename(const FileEntry& entry, const QString& name)
{
    if (isBusy()) {
        showActionToast(busyMessage(), ToastMessage::Kind::error);
        return std::nullopt;
    }
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty() || trimmed.contains(u'/') || trimmed == entry.name || !services_.fileActions)
        return std::nullopt;
    auto renamed = services_.fileActions->rename(entry.url, trimmed);
    if (!renamed) {
        showActionToast(QStringLiteral("Could not rename ") + FilePaths::displayName(entry.name) + QStringLiteral(": ")
                            + renamed.error().localizedDescription(),
                        ToastMessage::Kind::error);
        return std::nullopt;
    }
    recordUndo(UndoAction {UndoAction::Rename {*renamed, entry.name}});
    remapInlineTree(entry.id, *renamed);
    selectAndReload({*renamed});
    return *renamed;
}

// ---------------------------------------------------------------- trash

std::optional<QString> FilePaneStore::nextSelectionAfterTrash() const
{
    std::vector<const FileEntry*> remaining;
    std::optional<std::size_t> largestSelected;
    for (std::size_t i = 0; i < treeRows_.size(); ++i) {
        if (selectedEntryIDs_.contains(treeRows_[i].entry->id)) largestSelected = i;
        else remaining.push_back(treeRows_[i].entry.get());
    }
    if (remaining.empty()) return std::nullopt;
    if (!largestSelected) return remaining.front()->id;
    return remaining[std::min(*largestSelected, remaining.size() - 1)]->id;
}

void FilePaneStore::moveSelectionToTrash()
{
    const FileEntryList selected = selectedEntries();
    if (selected.empty()) return;
    QStringList urls;
    for (const auto& entry : selected) urls.append(entry->url);
    const std::optional<QString> next = nextSelectionAfterTrash();
    trash(urls, next ? QSet<QString> {*next} : QSet<QString> {});
}

void FilePaneStore::moveItemsToTrash(const QStringList& urls)
{
    if (!urls.isEmpty()) trash(urls, selectedEntryIDs_);
}

void FilePaneStore::trash(const QStringList& urls, const QSet<QString>& selectionAfter)
{
    if (!services_.fileActions) return;
    if (isBusy()) {
        showActionToast(busyMessage(), ToastMessage::Kind::error);
        return;
    }
    // Thousands of items take seconds: the trash runs off the main thread, and the
    // pane counts as busy until it is done.
    setActiveOperationTitle(QStringLiteral("Moving ") + itemCountText(urls.size()) + QStringLiteral(" to the Trash"));
    struct Outcome {
        std::vector<TrashedItem> trashed;
        QStringList failed;
    };
    auto service = services_.fileActions;
    BackgroundTask::runToOutcome(
        services_.operations.get(), this, std::stop_token {},
        [service, urls](std::stop_token) {
            Outcome outcome;
            for (const QString& url : urls) {
                auto items = service->moveToTrash({url});
                if (items && !items->empty()) outcome.trashed.push_back(items->front());
                else outcome.failed.append(url);
            }
            return outcome;
        },
        // Busy ends once the outcome is recorded: whoever waits for the end finds the undo.
        [this, selectionAfter](Outcome outcome) {
            finishTrash(outcome.trashed, outcome.failed, selectionAfter);
            setActiveOperationTitle(std::nullopt);
        });
}

void FilePaneStore::finishTrash(const std::vector<TrashedItem>& trashed, const QStringList& failed,
                                const QSet<QString>& selectionAfter)
{
    if (!trashed.empty()) {
        recordUndo(UndoAction {UndoAction::Trash {trashed}});
        QSet<QString> gone;
        for (const TrashedItem& item : trashed) gone.insert(item.originalURL);
        removeEntriesNow(gone);
        removeInlineEntries(gone.values());
        setSelectedEntryIDs(selectionAfter - gone);
    }
    reloadAfterOwnChange();
    if (!failed.isEmpty()) {
        permissionDeniedURLs_ = failed;
        emit permissionDeniedURLsChanged();
    }
}

void FilePaneStore::removeEntriesNow(const QSet<QString>& ids)
{
    FileEntryList kept;
    kept.reserve(entries_.size());
    for (const auto& entry : entries_)
        if (!ids.contains(entry->id)) kept.push_back(entry);
    if (kept.size() == entries_.size()) return;
    setEntries(std::move(kept));
}

// ---------------------------------------------------------------- bulk rename, reveal, terminal

bool FilePaneStore::beginBulkRenameOperation(int itemCount)
{
    if (isBusy()) {
        showActionToast(busyMessage(), ToastMessage::Kind::error);
        return false;
    }
    setActiveOperationTitle(QStringLiteral("Renaming ") + itemCountText(itemCount));
    return true;
}

void FilePaneStore::finishBulkRenames(const std::vector<std::pair<QString, std::optional<QString>>>& results,
                                      const std::optional<QString>& sourceDirectoryURL)
{
    UndoAction::RenameBatch batch;
    QStringList renamed;
    int failed = 0;
    for (const auto& [oldURL, newURL] : results) {
        if (!newURL) {
            ++failed;
            continue;
        }
        batch.items.push_back({*newURL, FilePaths::lastComponent(oldURL)});
        renamed.append(*newURL);
        remapInlineTree(oldURL, *newURL);
    }
    const qsizetype count = batch.items.size();
    if (!batch.items.empty()) recordUndo(UndoAction {std::move(batch)});
    if (sourceDirectoryURL && FilePaths::standardized(*sourceDirectoryURL) == FilePaths::standardized(currentURL_))
        selectAndReload(renamed);
    showActionToast(failed == 0 ? QStringLiteral("Renamed %1 item(s).").arg(count)
                                : QStringLiteral("Renamed %1 item(s), %2 failed.").arg(count).arg(failed),
                    ToastMessage::Kind::info);
}

void FilePaneStore::endBulkRenameOperation()
{
    setActiveOperationTitle(std::nullopt);
}

void FilePaneStore::revealSelection()
{
    const FileEntryList selected = selectedEntries();
    if (!selected.empty() && services_.fileActions) services_.fileActions->reveal(selected.front()->url);
}

void FilePaneStore::openInTerminal(const std::optional<QString>& url)
{
    if (!services_.fileActions) return;
    if (url) {
        services_.fileActions->openInTerminal(*url);
        return;
    }
    const FileEntryList selected = selectedEntries();
    services_.fileActions->openInTerminal(selected.size() == 1 ? selected.front()->url : currentURL_);
}

// ---------------------------------------------------------------- activity

std::vector<FileActivityItem> FilePaneStore::activityItems() const
{
    std::vector<FileActivityItem> items;
    const QString side = paneIDText(id_);
    if (activeTransfer_) {
        FileActivityItem item;
        item.id = side + QStringLiteral("-transfer-") + activeTransfer_->id.toString(QUuid::WithoutBraces);
        item.title = activeTransfer_->title();
        item.detail = activeTransfer_->detail();
        if (activeTransfer_->progress.totalItemCount >= 1)
            item.progressFraction
                = double(activeTransfer_->progress.completedItemCount) / double(activeTransfer_->progress.totalItemCount);
        item.isCancellable = true;
        item.isCancelling = activeTransfer_->isCancelling;
        item.cancelTransferOfPane = id_;
        items.push_back(std::move(item));
    }
    if (auto sizes = folderSizeActivity()) items.push_back(std::move(*sizes));
    const QString paneName = id_ == PaneID::left ? QStringLiteral("Left Pane") : QStringLiteral("Right Pane");
    if (activeOperationTitle_) {
        FileActivityItem item;
        item.id = side + QStringLiteral("-operation");
        item.title = *activeOperationTitle_;
        item.detail = paneName;
        items.push_back(std::move(item));
    }
    if (isLoading()) {
        FileActivityItem item;
        item.id = side + QStringLiteral("-loading");
        item.title = QStringLiteral("Loading ") + FilePaths::displayName(FilePaths::lastComponent(currentURL_));
        item.detail = paneName;
        items.push_back(std::move(item));
    }
    return items;
}

void FilePaneStore::cancelActivity(const QString& id)
{
    for (const FileActivityItem& item : activityItems()) {
        if (item.id != id || !item.isCancellable) continue;
        if (item.cancelTransferOfPane) return cancelActiveTransfer();
        // The other cancellable item is the user's folder-size calculation.
        requestedFolderSizeIDs_.clear();
        return cancelFolderSizeScan(FolderStateDisposal::dropCalculating);
    }
}
