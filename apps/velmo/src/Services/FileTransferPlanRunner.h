#pragma once

#include "Models/FileTransferModels.h"
#include "Services/FileItemOperations.h"
#include "Services/FileTransferPlanner.h"
#include "Services/FileTransferProgressReporter.h"

#include <expected>
#include <stop_token>

// Carries out one plan at a time for a batch, and undoes what a failed or
// stopped plan did: a copy removes its partial tree, a move puts every entry
// back. Runs on the batch's thread; `stop` is checked before each entry and
// never inside a platform call.
class FileTransferPlanRunner {
public:
    FileTransferPlanRunner(FileSystemCalls& calls, std::stop_token stop);

    // When the top-level destination was taken after planning, the plan moves
    // to the next free name, so `plan` may change.
    std::expected<FileTransferPlanResult, FileTransferError> copyPlan(FileTransferPlan& plan, qint64 completedEntryCount,
                                                                     qint64 totalEntryCount,
                                                                     FileTransferProgressReporter& reporter);
    std::expected<FileTransferPlanResult, FileTransferError> movePlan(FileTransferPlan& plan, qint64 completedEntryCount,
                                                                     qint64 totalEntryCount,
                                                                     FileTransferProgressReporter& reporter);

    // Puts a finished top-level move back: whole by one rename where it can,
    // entry by entry across file systems. Failures leave the item where it is.
    void moveBack(const FileMoveResult& move);
    // Deletes the items in reverse order, ignoring failures.
    void removeItems(const QStringList& urls);

    FileItemOperations& operations() { return items; }
    const FileTransferPlanner& planner() const { return transferPlanner; }

private:
    struct MoveUndo;
    using EntryStep = FileItemOperations::Result (FileTransferPlanRunner::*)(const FileTransferEntry&, MoveUndo&);

    FileItemOperations::Result createTopLevel(FileTransferPlan& plan, MoveUndo& undo, EntryStep step);
    FileItemOperations::Result copyEntry(const FileTransferEntry& entry, MoveUndo& undo);
    FileItemOperations::Result moveEntry(const FileTransferEntry& entry, MoveUndo& undo);
    FileItemOperations::Result removeSourceDirectories(const FileTransferPlan& plan, MoveUndo& undo);
    void rollbackMove(const MoveUndo& undo);
    static void rebase(FileTransferPlan& plan, const QString& destinationURL);

    FileItemOperations items;
    FileTransferPlanner transferPlanner;
    std::stop_token stop;
};
