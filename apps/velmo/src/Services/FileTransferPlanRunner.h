#pragma once

#include "Models/FileTransferModels.h"
#include "Services/CrossDeviceMoveBatch.h"
#include "Services/FileCreationRecord.h"
#include "Services/FileItemOperations.h"
#include "Services/FileTransferPlanOutline.h"
#include "Services/FileTransferPlanner.h"
#include "Services/FileTransferProgressReporter.h"

#include <expected>
#include <functional>
#include <stop_token>

// Carries out one plan at a time for a batch, and undoes what a failed or
// stopped plan did: a copy takes back exactly what it made, a move puts every
// entry back. Folders get their source's owner, mode, attributes and times once
// their content is complete. Runs on the batch's thread; `stop` is checked
// before each entry and never inside a platform call.
class FileTransferPlanRunner {
public:
    FileTransferPlanRunner(FileSystemCalls& calls, std::stop_token stop);

    // When the top-level destination was taken after planning, the plan moves
    // to the next free name, so `plan` may change. What a finished copy made
    // joins `record`, so that a failing batch can take back earlier plans too.
    std::expected<FileTransferPlanResult, FileTransferError> copyPlan(FileTransferPlan& plan, qint64 completedEntryCount,
                                                                     qint64 totalEntryCount,
                                                                     FileTransferProgressReporter& reporter,
                                                                     FileCreationRecord& record);
    // A finished move fills `outline`, when given, so that it can be put back.
    std::expected<FileTransferPlanResult, FileTransferError> movePlan(FileTransferPlan& plan, qint64 completedEntryCount,
                                                                     qint64 totalEntryCount,
                                                                     FileTransferProgressReporter& reporter,
                                                                     std::optional<FileTransferPlanOutline>* outline = nullptr);

    // Puts a finished move plan back, entry by entry as it came, so that what
    // another program added to its folders meanwhile stays where it was put
    // (and so do those folders). Runs while undoing a failed batch: it does not
    // stop, and an entry that cannot go back stays where it is.
    void moveBack(const FileTransferPlanOutline& moved);

    FileItemOperations& operations() { return items; }
    const FileTransferPlanner& planner() const { return transferPlanner; }

private:
    struct MoveUndo;
    // What a move plan does when an entry fails: undo the plan, or (putting a
    // plan back) leave that entry and go on.
    enum class MoveFailure { undoPlan, keepGoing };
    struct OpenFolder {
        QString sourceURL;
        QString destinationURL;
        struct stat source;
    };
    using Step = std::function<FileItemOperations::Result()>;

    FileItemOperations::Result createTopLevel(FileTransferPlan& plan, const Step& step);
    FileItemOperations::Result copyEntry(const FileTransferEntry& entry, FileCreationRecord& record);
    FileItemOperations::Result moveEntry(const FileTransferEntry& entry, MoveUndo& undo);
    FileItemOperations::Result openFolder(const FileTransferEntry& entry);
    // Finishes the open folders that `sourceURL` does not lie in (all when empty).
    FileItemOperations::Result closeFoldersOutside(const QString& sourceURL);
    std::expected<FileTransferPlanResult, FileTransferError> runMovePlan(FileTransferPlan& plan,
                                                                        qint64 completedEntryCount,
                                                                        qint64 totalEntryCount,
                                                                        FileTransferProgressReporter& reporter,
                                                                        MoveFailure onFailure,
                                                                        std::optional<FileTransferPlanOutline>* outline);
    FileItemOperations::Result removeSourceDirectories(const FileTransferPlan& plan, MoveUndo& undo,
                                                       MoveFailure onFailure);
    void rollbackMove(MoveUndo& undo);
    static void rebase(FileTransferPlan& plan, const QString& destinationURL);

    FileSystemCalls& calls;
    FileItemOperations items;
    FileTransferPlanner transferPlanner;
    std::stop_token stop;
    std::vector<OpenFolder> openFolders;
};
