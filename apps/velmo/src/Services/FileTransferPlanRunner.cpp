#include "Services/FileTransferPlanRunner.h"

#include "PathKit/FilePaths.h"
#include "Services/FileTransferErrorClassifier.h"

#include <cerrno>

namespace {

// How often a top-level name may be taken by someone else between planning and
// creating before the plan gives up.
constexpr int kTopLevelNameAttempts = 100;

} // namespace

// What a move plan has done so far, so that it can be undone.
struct FileTransferPlanRunner::MoveUndo {
    std::vector<FileMoveResult> moved;
    QStringList createdDirectories;
    QStringList removedSourceDirectories;
};

FileTransferPlanRunner::FileTransferPlanRunner(FileSystemCalls& calls, std::stop_token stop)
    : items(calls)
    , transferPlanner(calls)
    , stop(std::move(stop))
{
}

std::expected<FileTransferPlanResult, FileTransferError> FileTransferPlanRunner::copyPlan(
    FileTransferPlan& plan, qint64 completedEntryCount, qint64 totalEntryCount, FileTransferProgressReporter& reporter)
{
    FileTransferPlanResult result;
    MoveUndo unused;
    const auto fail = [&](FileTransferError error) {
        // Only what this plan made goes: the top-level destination is ours once it exists.
        if (result.createdDestinationURL) items.removeItem(plan.destinationURL);
        return std::unexpected(std::move(error));
    };
    qint64 completed = completedEntryCount;
    for (size_t index = 0; index < plan.entries.size(); ++index) {
        if (stop.stop_requested()) return fail(FileTransferStopped{});
        const FileTransferEntry& entry = plan.entries[index];
        reporter.reportIfDue(completed, totalEntryCount, entry.sourceURL);
        const auto copied = index == 0 ? createTopLevel(plan, unused, &FileTransferPlanRunner::copyEntry)
                                       : copyEntry(entry, unused);
        if (copied) {
            if (index == 0) result.createdDestinationURL = plan.destinationURL;
        } else {
            // An item the user may not read is left out; anything else fails the plan.
            const bool isForgiven = !entry.isDirectory
                && FileTransferErrorClassifier::isPermissionDenied(copied.error().code)
                && !items.isReadable(entry.sourceURL);
            if (!isForgiven) return fail(copied.error());
            result.skippedURLs.append(entry.sourceURL);
        }
        ++completed;
        reporter.reportIfDue(completed, totalEntryCount, entry.sourceURL);
    }
    result.completedEntryCount = completed;
    return result;
}

std::expected<FileTransferPlanResult, FileTransferError> FileTransferPlanRunner::movePlan(
    FileTransferPlan& plan, qint64 completedEntryCount, qint64 totalEntryCount, FileTransferProgressReporter& reporter)
{
    MoveUndo undo;
    const auto fail = [&](FileTransferError error) {
        rollbackMove(undo);
        return std::unexpected(std::move(error));
    };
    qint64 completed = completedEntryCount;
    for (size_t index = 0; index < plan.entries.size(); ++index) {
        if (stop.stop_requested()) return fail(FileTransferStopped{});
        const FileTransferEntry& entry = plan.entries[index];
        reporter.reportIfDue(completed, totalEntryCount, entry.sourceURL);
        const auto moved = index == 0 ? createTopLevel(plan, undo, &FileTransferPlanRunner::moveEntry)
                                      : moveEntry(entry, undo);
        if (!moved) return fail(moved.error());
        ++completed;
        reporter.reportIfDue(completed, totalEntryCount, entry.sourceURL);
    }
    if (const auto removed = removeSourceDirectories(plan, undo); !removed) return fail(removed.error());
    return FileTransferPlanResult{completed, plan.destinationURL, {}};
}

void FileTransferPlanRunner::moveBack(const FileMoveResult& move)
{
    items.makeDirectoryWithIntermediates(FilePaths::parent(move.sourceURL));
    const auto renamed = items.renameItem(move.destinationURL, move.sourceURL);
    if (renamed || renamed.error().code != EXDEV) return;
    // Across file systems a folder goes back entry by entry, as it came. This
    // runs while undoing a failed batch, so a stop must not cut it short.
    FileTransferPlan plan{move.destinationURL, move.sourceURL, {}};
    QStringList skipped;
    const auto collected = transferPlanner.collectEntries(move.destinationURL, move.sourceURL, plan.entries, skipped,
                                                          FileTransferPlanOptions{}, std::stop_token{});
    if (!collected || !*collected) return;
    const std::stop_token batchStop = std::exchange(stop, std::stop_token{});
    FileTransferProgressReporter silent(nullptr, 0);
    (void)movePlan(plan, 0, qint64(plan.entries.size()), silent);
    stop = batchStop;
}

void FileTransferPlanRunner::removeItems(const QStringList& urls)
{
    for (auto url = urls.crbegin(); url != urls.crend(); ++url) items.removeItem(*url);
}

FileItemOperations::Result FileTransferPlanRunner::createTopLevel(FileTransferPlan& plan, MoveUndo& undo,
                                                                  EntryStep step)
{
    QSet<QString> taken;
    for (int attempt = 1;; ++attempt) {
        const auto made = (this->*step)(plan.entries.front(), undo);
        if (made || made.error().code != EEXIST || attempt == kTopLevelNameAttempts) return made;
        // Something took the planned name after planning: the next free one, never theirs.
        taken.insert(plan.destinationURL);
        rebase(plan, transferPlanner.nextAvailableDestinationURL(plan.sourceURL,
                                                                 FilePaths::parent(plan.destinationURL), taken));
    }
}

FileItemOperations::Result FileTransferPlanRunner::copyEntry(const FileTransferEntry& entry, MoveUndo&)
{
    if (entry.isDirectory) return items.makeDirectory(entry.destinationURL);
    return items.copyItem(entry.sourceURL, entry.destinationURL);
}

FileItemOperations::Result FileTransferPlanRunner::moveEntry(const FileTransferEntry& entry, MoveUndo& undo)
{
    if (entry.isDirectory) {
        // The source folder stays until all it held has gone.
        const auto made = items.makeDirectory(entry.destinationURL);
        if (made) undo.createdDirectories.append(entry.destinationURL);
        return made;
    }
    const auto moved = items.moveItem(entry.sourceURL, entry.destinationURL);
    if (moved) undo.moved.push_back({entry.sourceURL, entry.destinationURL});
    return moved;
}

FileItemOperations::Result FileTransferPlanRunner::removeSourceDirectories(const FileTransferPlan& plan,
                                                                           MoveUndo& undo)
{
    // Children stand after their parents, so walking backwards empties each
    // folder before it is removed. rmdir only removes an empty folder: one that
    // gained an item during the move fails here and the move is undone.
    for (auto entry = plan.entries.crbegin(); entry != plan.entries.crend(); ++entry) {
        if (!entry->isDirectory) continue;
        if (const auto removed = items.removeDirectory(entry->sourceURL); !removed) return removed;
        undo.removedSourceDirectories.append(entry->sourceURL);
    }
    return {};
}

void FileTransferPlanRunner::rollbackMove(const MoveUndo& undo)
{
    // Folders were removed children first; recreate them parents first.
    for (auto folder = undo.removedSourceDirectories.crbegin(); folder != undo.removedSourceDirectories.crend();
         ++folder)
        items.makeDirectory(*folder);
    for (auto move = undo.moved.crbegin(); move != undo.moved.crend(); ++move) {
        items.makeDirectoryWithIntermediates(FilePaths::parent(move->sourceURL));
        items.moveItem(move->destinationURL, move->sourceURL);
    }
    // Only empty folders go: one still holding an item that could not go back
    // keeps it.
    for (auto folder = undo.createdDirectories.crbegin(); folder != undo.createdDirectories.crend(); ++folder)
        items.removeDirectory(*folder);
}

void FileTransferPlanRunner::rebase(FileTransferPlan& plan, const QString& destinationURL)
{
    const qsizetype oldLength = plan.destinationURL.size();
    for (FileTransferEntry& entry : plan.entries)
        entry.destinationURL = destinationURL + entry.destinationURL.mid(oldLength);
    plan.destinationURL = destinationURL;
}
