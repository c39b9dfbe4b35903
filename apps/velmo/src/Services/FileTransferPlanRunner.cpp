#include "Services/FileTransferPlanRunner.h"

#include "PathKit/FilePaths.h"
#include "Services/FileTransferErrorClassifier.h"

#include <QSet>

#include <cerrno>

namespace {

// How often a top-level name may be taken by someone else between planning and
// creating before the plan gives up.
constexpr int kTopLevelNameAttempts = 100;

bool liesIn(const QString& path, const QString& folder)
{
    return path.size() > folder.size() && path.startsWith(folder)
        && (folder.endsWith(u'/') || path[folder.size()] == u'/');
}

std::unexpected<FileTransferSystemError> failure(int code, const QString& path)
{
    return std::unexpected(FileTransferSystemError{code, path});
}

} // namespace

// What a move plan has done so far, so that it can be undone.
struct FileTransferPlanRunner::MoveUndo {
    explicit MoveUndo(FileItemOperations& items) : crossing(items) {}

    struct Folder {
        QString sourceURL;
        QString destinationURL;
        struct stat source;
    };
    std::vector<Folder> folders;           // made at the destination, in plan order
    std::vector<FileMoveResult> moved;     // items that left their source
    QStringList removedSourceDirectories;  // children before parents
    CrossDeviceMoveBatch crossing;         // copies whose sources still wait
};

FileTransferPlanRunner::FileTransferPlanRunner(FileSystemCalls& calls, std::stop_token stop)
    : calls(calls)
    , items(calls)
    , transferPlanner(calls)
    , stop(std::move(stop))
{
}

std::expected<FileTransferPlanResult, FileTransferError> FileTransferPlanRunner::copyPlan(
    FileTransferPlan& plan, qint64 completedEntryCount, qint64 totalEntryCount, FileTransferProgressReporter& reporter,
    FileCreationRecord& record)
{
    FileTransferPlanResult result;
    FileCreationRecord made;
    openFolders.clear();
    const auto fail = [&](FileTransferError error) {
        openFolders.clear();
        made.undo(calls);
        return std::unexpected(std::move(error));
    };
    qint64 completed = completedEntryCount;
    for (size_t index = 0; index < plan.entries.size(); ++index) {
        if (stop.stop_requested()) return fail(FileTransferStopped{});
        const FileTransferEntry& entry = plan.entries[index];
        reporter.reportIfDue(completed, totalEntryCount, entry.sourceURL);
        if (const auto closed = closeFoldersOutside(entry.sourceURL); !closed) return fail(closed.error());
        const auto copied = index == 0 ? createTopLevel(plan, [&] { return copyEntry(plan.entries.front(), made); })
                                       : copyEntry(entry, made);
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
    if (const auto closed = closeFoldersOutside({}); !closed) return fail(closed.error());
    record.append(std::move(made));
    result.completedEntryCount = completed;
    return result;
}

std::expected<FileTransferPlanResult, FileTransferError> FileTransferPlanRunner::movePlan(
    FileTransferPlan& plan, qint64 completedEntryCount, qint64 totalEntryCount, FileTransferProgressReporter& reporter,
    std::optional<FileTransferPlanOutline>* outline)
{
    return runMovePlan(plan, completedEntryCount, totalEntryCount, reporter, MoveFailure::undoPlan, outline);
}

void FileTransferPlanRunner::moveBack(const FileTransferPlanOutline& moved)
{
    FileTransferPlan plan = moved.reversed();
    if (plan.entries.empty()) return;
    (void)items.makeDirectoryWithIntermediates(FilePaths::parent(plan.destinationURL));
    const std::stop_token batchStop = std::exchange(stop, std::stop_token{});
    FileTransferProgressReporter silent(nullptr, 0);
    (void)runMovePlan(plan, 0, qint64(plan.entries.size()), silent, MoveFailure::keepGoing, nullptr);
    stop = batchStop;
    // The folders took their times from the moved folders, which another
    // program may have written into since: the times from before the move win.
    for (const auto& [path, status] : moved.originalFolders()) (void)items.finishFolder(path, status, {});
}

std::expected<FileTransferPlanResult, FileTransferError> FileTransferPlanRunner::runMovePlan(
    FileTransferPlan& plan, qint64 completedEntryCount, qint64 totalEntryCount, FileTransferProgressReporter& reporter,
    MoveFailure onFailure, std::optional<FileTransferPlanOutline>* outline)
{
    MoveUndo undo(items);
    openFolders.clear();
    const auto fail = [&](FileTransferError error) {
        openFolders.clear();
        rollbackMove(undo);
        return std::unexpected(std::move(error));
    };
    // Whether a failed step ends the plan; putting a plan back leaves the entry and goes on.
    const auto ends = [&](const FileItemOperations::Result& step) { return !step && onFailure == MoveFailure::undoPlan; };
    qint64 completed = completedEntryCount;
    for (size_t index = 0; index < plan.entries.size(); ++index) {
        if (stop.stop_requested()) return fail(FileTransferStopped{});
        const FileTransferEntry& entry = plan.entries[index];
        reporter.reportIfDue(completed, totalEntryCount, entry.sourceURL);
        if (const auto closed = closeFoldersOutside(entry.sourceURL); ends(closed)) return fail(closed.error());
        const auto moved = index == 0 ? createTopLevel(plan, [&] { return moveEntry(plan.entries.front(), undo); })
                                      : moveEntry(entry, undo);
        if (ends(moved)) return fail(moved.error());
        ++completed;
        reporter.reportIfDue(completed, totalEntryCount, entry.sourceURL);
        if (undo.crossing.isDue())
            if (const auto flushed = undo.crossing.flush(undo.moved); ends(flushed)) return fail(flushed.error());
    }
    if (const auto closed = closeFoldersOutside({}); ends(closed)) return fail(closed.error());
    // Sources go only once every copy is durable.
    if (const auto flushed = undo.crossing.flush(undo.moved); ends(flushed)) return fail(flushed.error());
    if (const auto removed = removeSourceDirectories(plan, undo, onFailure); !removed) return fail(removed.error());
    if (outline) {
        std::vector<struct stat> folders;
        folders.reserve(undo.folders.size());
        for (const auto& folder : undo.folders) folders.push_back(folder.source);
        outline->emplace(plan, std::move(folders));
    }
    return FileTransferPlanResult{completed, plan.destinationURL, {}};
}

FileItemOperations::Result FileTransferPlanRunner::createTopLevel(FileTransferPlan& plan, const Step& step)
{
    QSet<QString> taken;
    for (int attempt = 1;; ++attempt) {
        const auto made = step();
        if (made || made.error().code != EEXIST || attempt == kTopLevelNameAttempts) return made;
        // Something took the planned name after planning: the next free one, never theirs.
        taken.insert(plan.destinationURL);
        rebase(plan, transferPlanner.nextAvailableDestinationURL(plan.sourceURL,
                                                                 FilePaths::parent(plan.destinationURL), taken));
    }
}

FileItemOperations::Result FileTransferPlanRunner::copyEntry(const FileTransferEntry& entry,
                                                             FileCreationRecord& record)
{
    if (entry.isDirectory) {
        if (const auto opened = openFolder(entry); !opened) return opened;
        record.add(entry.destinationURL, FileCreationRecord::Kind::folder);
        return {};
    }
    const auto copied = items.copyItem(entry.sourceURL, entry.destinationURL);
    if (!copied) return std::unexpected(copied.error());
    record.add(entry.destinationURL, FileCreationRecord::Kind::item);
    return {};
}

FileItemOperations::Result FileTransferPlanRunner::moveEntry(const FileTransferEntry& entry, MoveUndo& undo)
{
    if (entry.isDirectory) {
        // The source folder stays until all it held has gone.
        if (const auto opened = openFolder(entry); !opened) return opened;
        undo.folders.push_back({entry.sourceURL, entry.destinationURL, openFolders.back().source});
        undo.crossing.addFolder(entry.destinationURL);
        return {};
    }
    const auto renamed = items.renameItem(entry.sourceURL, entry.destinationURL);
    if (!renamed) return std::unexpected(renamed.error());
    if (*renamed == FileItemOperations::RenameOutcome::renamed) {
        undo.moved.push_back({entry.sourceURL, entry.destinationURL});
        return {};
    }
    // Another file system: a copy now, the source once the copy is durable.
    const auto copied =
        items.copyItem(entry.sourceURL, entry.destinationURL, FileItemOperations::SourceAfterCopy::removed);
    if (!copied) return std::unexpected(copied.error());
    undo.crossing.add(entry.sourceURL, entry.destinationURL, copied->type, copied->size);
    return {};
}

FileItemOperations::Result FileTransferPlanRunner::openFolder(const FileTransferEntry& entry)
{
    const auto status = items.itemStatus(entry.sourceURL);
    if (!status) return std::unexpected(status.error());
    if (!S_ISDIR(status->st_mode)) return failure(ENOTDIR, entry.sourceURL);
    if (const auto made = items.makeDirectory(entry.destinationURL); !made) return made;
    openFolders.push_back({entry.sourceURL, entry.destinationURL, *status});
    return {};
}

FileItemOperations::Result FileTransferPlanRunner::closeFoldersOutside(const QString& sourceURL)
{
    // Adding an item changes a folder's times, so a folder is finished only
    // when nothing more goes into it.
    while (!openFolders.empty() && (sourceURL.isEmpty() || !liesIn(sourceURL, openFolders.back().sourceURL))) {
        const OpenFolder folder = std::move(openFolders.back());
        openFolders.pop_back();
        if (const auto finished = items.finishFolder(folder.destinationURL, folder.source, folder.sourceURL); !finished)
            return finished;
    }
    return {};
}

FileItemOperations::Result FileTransferPlanRunner::removeSourceDirectories(const FileTransferPlan& plan,
                                                                           MoveUndo& undo, MoveFailure onFailure)
{
    // Children stand after their parents, so walking backwards empties each
    // folder before it is removed. rmdir only removes an empty folder: one that
    // gained an item during the move fails here and the move is undone (or,
    // putting a plan back, stays with what it holds).
    for (auto entry = plan.entries.crbegin(); entry != plan.entries.crend(); ++entry) {
        if (!entry->isDirectory) continue;
        const auto removed = items.removeDirectory(entry->sourceURL);
        if (removed)
            undo.removedSourceDirectories.append(entry->sourceURL);
        else if (onFailure == MoveFailure::undoPlan)
            return removed;
    }
    return {};
}

void FileTransferPlanRunner::rollbackMove(MoveUndo& undo)
{
    // Copies still waiting for their sources' removal simply go.
    undo.crossing.discard();
    // Folders were removed children first; recreate them parents first.
    const QSet<QString> recreated(undo.removedSourceDirectories.cbegin(), undo.removedSourceDirectories.cend());
    for (auto folder = undo.removedSourceDirectories.crbegin(); folder != undo.removedSourceDirectories.crend();
         ++folder)
        (void)items.makeDirectory(*folder);
    // Items go back the way they came; what must be copied back is removed at the
    // destination only once its copy is durable.
    CrossDeviceMoveBatch back(items);
    for (auto move = undo.moved.crbegin(); move != undo.moved.crend(); ++move) {
        const auto renamed = items.renameItem(move->destinationURL, move->sourceURL);
        if (!renamed || *renamed == FileItemOperations::RenameOutcome::renamed) continue;
        if (const auto copied = items.copyItem(move->destinationURL, move->sourceURL,
                                               FileItemOperations::SourceAfterCopy::removed))
            back.add(move->destinationURL, move->sourceURL, copied->type, copied->size);
    }
    std::vector<FileMoveResult> unused;
    (void)back.flush(unused);
    // Taking items out and putting them back changed the source folders' times;
    // recreated folders need everything back.
    for (auto folder = undo.folders.crbegin(); folder != undo.folders.crend(); ++folder)
        (void)items.finishFolder(folder->sourceURL, folder->source,
                                 recreated.contains(folder->sourceURL) ? folder->destinationURL : QString());
    // Only empty folders go: one still holding an item that could not go back,
    // or something another program put there, keeps it.
    for (auto folder = undo.folders.crbegin(); folder != undo.folders.crend(); ++folder)
        (void)items.removeDirectory(folder->destinationURL);
}

void FileTransferPlanRunner::rebase(FileTransferPlan& plan, const QString& destinationURL)
{
    const qsizetype oldLength = plan.destinationURL.size();
    for (FileTransferEntry& entry : plan.entries)
        entry.destinationURL = destinationURL + entry.destinationURL.mid(oldLength);
    plan.destinationURL = destinationURL;
}
