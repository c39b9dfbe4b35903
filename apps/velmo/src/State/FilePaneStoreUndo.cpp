#include "State/FilePaneStore.h"

#include "PathKit/FilePaths.h"
#include "Services/FileTransferProviding.h"
#include "Support/BackgroundTask.h"

#include <QCoreApplication>
#include <QPointer>

namespace {

const QString kUndoingTitle = QStringLiteral("Undoing");

} // namespace

void FilePaneStore::recordUndo(UndoAction action)
{
    undoStack_.push_back(std::move(action));
    emit undoStackChanged();
}

void FilePaneStore::endUndo()
{
    if (activeOperationTitle_ == kUndoingTitle) setActiveOperationTitle(std::nullopt);
}

void FilePaneStore::undoLastAction()
{
    if (isBusy()) {
        showActionToast(QStringLiteral("Wait for the current file operation to finish before undoing."),
                        ToastMessage::Kind::error);
        return;
    }
    if (undoStack_.empty() || !services_.fileActions) return;
    UndoAction action = std::move(undoStack_.back());
    undoStack_.pop_back();
    emit undoStackChanged();

    if (auto* move = std::get_if<UndoAction::Move>(&action.value)) {
        startUndoMove(std::move(move->items));
        return;
    }
    setActiveOperationTitle(kUndoingTitle);
    if (auto* trash = std::get_if<UndoAction::Trash>(&action.value)) {
        undoTrash(std::move(trash->items));
    } else if (auto* batch = std::get_if<UndoAction::RenameBatch>(&action.value)) {
        undoRenameBatch(std::move(batch->items));
    } else if (auto* created = std::get_if<UndoAction::Created>(&action.value)) {
        undoCreated(std::move(created->urls));
    } else {
        const auto& rename = std::get<UndoAction::Rename>(action.value);
        auto renamed = services_.fileActions->rename(rename.currentURL, rename.previousName);
        endUndo();
        if (!renamed) {
            showActionToast(QStringLiteral("Could not undo: ") + renamed.error().localizedDescription(),
                            ToastMessage::Kind::error);
            return;
        }
        selectAndReload({*renamed});
    }
}

// Restores run off the main thread: an undo of a large trash must not freeze the window.
void FilePaneStore::undoTrash(std::vector<TrashedItem> items)
{
    struct Outcome {
        QStringList restored;
        std::vector<TrashedItem> failed;
    };
    auto service = services_.fileActions;
    BackgroundTask::runToOutcome(
        services_.operations.get(), this, std::stop_token {},
        [service, items = std::move(items)](std::stop_token) {
            Outcome outcome;
            for (const TrashedItem& item : items) {
                auto restored = service->restoreTrashedItems({item});
                if (restored && !restored->isEmpty()) outcome.restored.append(restored->front());
                else outcome.failed.push_back(item);
            }
            return outcome;
        },
        [this](Outcome outcome) {
            endUndo();
            if (!outcome.failed.empty()) {
                const qsizetype count = outcome.failed.size();
                recordUndo(UndoAction {UndoAction::Trash {std::move(outcome.failed)}});
                showActionToast(QStringLiteral("Could not undo %1 trash move(s).").arg(count), ToastMessage::Kind::error);
            }
            selectAndReload(outcome.restored);
        });
}

void FilePaneStore::undoRenameBatch(std::vector<UndoAction::RenamedFile> items)
{
    QStringList renamed;
    std::vector<UndoAction::RenamedFile> failed;
    for (const auto& item : items) {
        if (auto result = services_.fileActions->rename(item.currentURL, item.previousName)) {
            renamed.append(*result);
            remapInlineTree(item.currentURL, *result);
        } else {
            failed.push_back(item);
        }
    }
    endUndo();
    if (!failed.empty()) {
        const qsizetype count = failed.size();
        recordUndo(UndoAction {UndoAction::RenameBatch {std::move(failed)}});
        showActionToast(QStringLiteral("Could not undo %1 rename(s).").arg(count), ToastMessage::Kind::error);
    }
    selectAndReload(renamed);
}

// Made items go to the trash, never to deletion; their trash records are not
// kept, so this undo has no redo.
void FilePaneStore::undoCreated(QStringList urls)
{
    auto service = services_.fileActions;
    BackgroundTask::runToOutcome(
        services_.operations.get(), this, std::stop_token {},
        [service, urls = std::move(urls)](std::stop_token) { return service->moveToTrash(urls); },
        [this](std::expected<std::vector<TrashedItem>, FileActionError> result) {
            endUndo();
            if (!result)
                showActionToast(QStringLiteral("Could not undo: ") + result.error().localizedDescription(),
                                ToastMessage::Kind::error);
            reloadAfterOwnChange();
        });
}

// ---------------------------------------------------------------- undo of a move

void FilePaneStore::startUndoMove(std::vector<UndoAction::MovedFile> items)
{
    if (items.empty() || !services_.transfer) return;
    if (transferStop_) transferStop_->request_stop();
    transferStop_ = std::make_shared<std::stop_source>();
    setActiveTransfer(FileTransferActivity::started(FileTransferKind::undoMove, qint64(items.size()), currentURL_));
    const QUuid id = activeTransfer_->id;

    struct Outcome {
        QStringList restored;
        std::vector<UndoAction::MovedFile> remaining;
        bool wasCancelled = false;
    };
    auto service = services_.transfer;
    QPointer<FilePaneStore> self(this);
    auto report = [self, id](qint64 index, qint64 total, QString name) {
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, id, index, total, name] {
                if (self) self->updateUndoTransfer(id, index, total, name);
            },
            Qt::QueuedConnection);
    };
    BackgroundTask::runToOutcome(
        services_.operations.get(), this, transferStop_->get_token(),
        [service, items = std::move(items), report](std::stop_token stop) {
            Outcome outcome;
            std::vector<UndoAction::MovedFile> failed;
            const qint64 total = qint64(items.size());
            for (std::size_t i = 0; i < items.size(); ++i) {
                const auto rest = [&](std::size_t from) {
                    outcome.remaining = failed;
                    outcome.remaining.insert(outcome.remaining.end(), items.begin() + qsizetype(from), items.end());
                    outcome.wasCancelled = true;
                };
                if (stop.stop_requested()) {
                    rest(i);
                    return outcome;
                }
                const auto& item = items[i];
                report(qint64(i), total, FilePaths::lastComponent(item.currentURL));
                auto moved = service->moveItems({item.currentURL}, FilePaths::parent(item.originalURL), stop);
                if (moved) {
                    for (const FileMoveResult& result : moved->moves) outcome.restored.append(result.destinationURL);
                    // A source the service refused comes back as skipped: it stays to undo.
                    if (moved->moves.empty()) failed.push_back(item);
                    continue;
                }
                if (const auto* cancellation = std::get_if<FileTransferCancellation>(&moved.error())) {
                    const QStringList done = cancellation->completedURLs();
                    outcome.restored.append(done);
                    rest(done.isEmpty() ? i : i + 1);
                    return outcome;
                }
                if (std::holds_alternative<FileTransferStopped>(moved.error())) {
                    rest(i);
                    return outcome;
                }
                failed.push_back(item);
            }
            outcome.remaining = std::move(failed);
            return outcome;
        },
        [this, id](Outcome outcome) {
            completeUndoMove(id, outcome.restored, std::move(outcome.remaining), outcome.wasCancelled);
        });
}

void FilePaneStore::updateUndoTransfer(const QUuid& id, qint64 completed, qint64 total, const QString& currentItemName)
{
    updateTransfer(id, FileTransferProgress {completed, total, currentItemName});
}

void FilePaneStore::completeUndoMove(const QUuid& id, const QStringList& restored,
                                     std::vector<UndoAction::MovedFile> remaining, bool wasCancelled)
{
    if (!clearTransfer(id)) return;
    if (!remaining.empty()) {
        const qsizetype count = remaining.size();
        recordUndo(UndoAction {UndoAction::Move {std::move(remaining)}});
        // Every file is at one of its two places; the toast says how many stayed.
        if (!wasCancelled)
            showActionToast(QStringLiteral("Could not undo %1 move(s).").arg(count), ToastMessage::Kind::error);
    }
    if (!restored.isEmpty()) setSelectedEntryIDs(QSet<QString>(restored.begin(), restored.end()));
    reloadAfterOwnChange();
}
