#include "Services/FileTransferProviding.h"
#include "Services/InMemoryFilePasteboard.h"
#include "State/FilePaneStore.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace {

class FakeFileActions final : public FileActionProviding {
    using Ok = std::expected<void, FileActionError>;

public:
    explicit FakeFileActions(std::shared_ptr<InMemoryFilePasteboard> pasteboard) : pasteboard(std::move(pasteboard)) { }
    void reveal(const QString&) override { }
    std::expected<void, FileActionError> copyItemsToPasteboard(const QStringList& urls) override
    {
        pasteboard->clearContents();
        pasteboard->writeFileURLs(urls);
        return {};
    }
    std::expected<void, FileActionError> cutItemsToPasteboard(const QStringList& urls) override
    {
        return copyItemsToPasteboard(urls), pasteboard->setCutOperationMarker(), Ok {};
    }
    void openInTerminal(const QString&) override { }
    QString terminalTargetURL(const QString& url) const override { return url; }
    std::expected<std::vector<TrashedItem>, FileActionError> moveToTrash(const QStringList& urls) override
    {
        std::vector<TrashedItem> items;
        for (const QString& url : urls) {
            if (refused.contains(url)) return std::unexpected(FileActionError {EACCES, url});
            items.push_back({url, "/trash/" + url.section('/', -1)});
            trashed.append(url);
        }
        return items;
    }
    std::expected<QStringList, FileActionError> restoreTrashedItems(const std::vector<TrashedItem>& items) override
    {
        QStringList restored;
        for (const auto& item : items) {
            if (refused.contains(item.trashedURL)) return std::unexpected(FileActionError {ENOENT, item.trashedURL});
            restored.append(item.originalURL);
        }
        return restored;
    }
    std::expected<void, FileActionError> createDirectory(const QString& url) override { return created.append(url), Ok {}; }
    std::expected<void, FileActionError> createFile(const QString& url) override { return created.append(url), Ok {}; }
    std::optional<FilePasteIntent> pasteIntent() override
    {
        if (pasteboard->readFileURLs().isEmpty()) return std::nullopt;
        return FilePasteIntent {pasteboard->readFileURLs(), pasteboard->hasCutOperationMarker(), pasteboard->changeCount()};
    }
    std::expected<QString, FileActionError> rename(const QString& url, const QString& name) override
    {
        if (refused.contains(url)) return std::unexpected(FileActionError {EEXIST, url});
        return url.section('/', 0, -2) + '/' + name;
    }

    std::shared_ptr<InMemoryFilePasteboard> pasteboard;
    QSet<QString> refused;
    QStringList trashed;
    QStringList created;
};

// Answers each call with what the test put in `next` (success with every source
// done by default), and records the calls.
class FakeTransfer final : public FileTransferProviding {
public:
    struct Call {
        QString kind;
        QStringList sources;
        QString destination;
    };
    std::expected<FileCopyResult, FileTransferError> copyItems(const QStringList& sources, const QString& destination,
                                                               std::stop_token stop, const ProgressHandler&) const override
    {
        calls.push_back({"copy", sources, destination});
        if (nextError) return std::unexpected(*std::exchange(nextError, std::nullopt));
        if (stop.stop_requested()) return std::unexpected(FileTransferCancellation::copied(renamed(sources.mid(0, 1), destination)));
        return FileCopyResult {createsNothing ? QStringList() : renamed(sources, destination), skipped};
    }
    std::expected<FileLinkResult, FileTransferError> linkItems(const QStringList& sources, const QString& destination,
                                                               std::stop_token, const ProgressHandler&) const override
    {
        calls.push_back({"link", sources, destination});
        return FileLinkResult {renamed(sources, destination), {}};
    }
    std::expected<FileMoveBatchResult, FileTransferError> moveItems(const QStringList& sources, const QString& destination,
                                                                   std::stop_token, const ProgressHandler&) const override
    {
        calls.push_back({"move", sources, destination});
        if (failingSources.contains(sources.front()))
            return std::unexpected(FileTransferSystemError {ENOENT, sources.front()});
        if (nextError) return std::unexpected(*std::exchange(nextError, std::nullopt));
        std::vector<FileMoveResult> moves;
        const QStringList targets = renamed(sources, destination);
        for (qsizetype i = 0; i < sources.size(); ++i) moves.push_back({sources[i], targets[i]});
        if (afterMove) afterMove(int(calls.size()));
        return FileMoveBatchResult {moves, skipped};
    }

    static QStringList renamed(const QStringList& sources, const QString& destination)
    {
        QStringList out;
        for (const QString& source : sources) out.append(destination + '/' + source.section('/', -1));
        return out;
    }

    mutable std::vector<Call> calls;
    mutable std::optional<FileTransferError> nextError;
    QStringList skipped;
    bool createsNothing = false;
    QSet<QString> failingSources;
    std::function<void(int)> afterMove;
};

class FileActionFlow : public ::testing::Test {
protected:
    FileActionFlow()
    {
        listing->folders["/w"] = makeFileEntries("/w", {"a.txt", "b.txt", "c.txt", "d/"});
        listing->folders["/other"] = makeFileEntries("/other", {"x.txt"});
        FilePaneServices services;
        services.listing = listing;
        services.watcher = std::make_shared<FakeDirectoryWatcher>();
        services.clock = clock;
        services.transfer = transfer;
        services.fileActions = actions;
        services.pasteboard = pasteboard;
        services.operations = executor;
        FilePaneStore::Configuration configuration;
        configuration.folderURL = "/w";
        pane = std::make_unique<FilePaneStore>(PaneID::left, services, configuration);
        pane->startLoad("/w");
        listing->answerAll();
    }

    QString toast() const { return pane->actionToast() ? pane->actionToast()->text : QString(); }
    QStringList selection() const
    {
        QStringList ids(pane->selectedEntryIDs().begin(), pane->selectedEntryIDs().end());
        ids.sort();
        return ids;
    }

    std::shared_ptr<FakeListingService> listing = std::make_shared<FakeListingService>();
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::shared_ptr<InMemoryFilePasteboard> pasteboard = std::make_shared<InMemoryFilePasteboard>();
    std::shared_ptr<FakeFileActions> actions = std::make_shared<FakeFileActions>(pasteboard);
    std::shared_ptr<FakeTransfer> transfer = std::make_shared<FakeTransfer>();
    std::shared_ptr<ManualExecutor> executor = std::make_shared<ManualExecutor>();
    std::unique_ptr<FilePaneStore> pane;
};

} // namespace

// Selection and undo of a paste on disk are in FileActionsOnDiskTests.
TEST_F(FileActionFlow, APasteWhileAnotherRunsIsRefusedAndACopyKeepsTheClipboard)
{
    pasteboard->writeFileURLs({"/other/x.txt"});
    pane->pasteItems();
    pane->pasteItems();
    EXPECT_EQ(toast(), "A file operation is already running.");
    EXPECT_EQ(executor->queue.size(), 1u);
    executor->runAll();
    EXPECT_EQ(pasteboard->readFileURLs(), QStringList {"/other/x.txt"});
    EXPECT_GT(pane->suppressWatcherEchoUntilNanos(), clock->now);
    pane->undoLastAction();
    EXPECT_EQ(pane->activeOperationTitle(), QString("Undoing"));
    executor->runAll();
    EXPECT_EQ(actions->trashed, QStringList {"/w/x.txt"});
    EXPECT_FALSE(pane->activeOperationTitle());
}

TEST_F(FileActionFlow, PastedCutEmptiesTheClipboardOnlyIfNobodyWroteToItMeanwhile)
{
    for (const bool overwritten : {false, true}) {
        actions->cutItemsToPasteboard({"/other/x.txt"});
        pane->pasteItems();
        if (overwritten) pasteboard->writeFileURLs({"/elsewhere/new.txt"});
        executor->runAll();
        EXPECT_EQ(transfer->calls.back().kind, "move");
        EXPECT_EQ(pasteboard->readFileURLs().isEmpty(), !overwritten) << overwritten;
        EXPECT_EQ(pane->undoStack().back(),
                  (FilePaneUndoAction {FilePaneUndoAction::Move {{{"/w/x.txt", "/other/x.txt"}}}}));
    }
}

TEST_F(FileActionFlow, OutcomesOfTransfers)
{
    // Everything skipped: a toast, but no reload and no undo.
    transfer->skipped = {"/w/d"};
    transfer->createsNothing = true;
    pane->startCopyTransfer(FileTransferKind::copy, {"/w/d"}, "/w/d", true);
    executor->runAll();
    EXPECT_EQ(toast(), "Skipped 1 item that couldn't be copied: d");
    EXPECT_FALSE(pane->canUndo());
    EXPECT_TRUE(listing->pending.empty());
    transfer->createsNothing = false;

    // A failure is one toast in the user's words.
    transfer->nextError = FileTransferSystemError {ENOSPC, "/other/big"};
    pane->startCopyTransfer(FileTransferKind::copy, {"/w/a.txt"}, "/other", true);
    executor->runAll();
    EXPECT_TRUE(toast().startsWith("Could not copy items: ")) << toast().toStdString();
    EXPECT_FALSE(pane->activeTransfer());

    // Skipped items are named, two at most.
    transfer->skipped = {"/w/a.txt", "/w/b.txt", "/w/c.txt"};
    pane->startCopyTransfer(FileTransferKind::copy, {"/w/a.txt", "/w/b.txt", "/w/c.txt", "/w/d"}, "/other", true);
    executor->runAll();
    EXPECT_EQ(toast(), "Skipped 3 items that couldn't be copied: a.txt, b.txt, ...");
    // Copying into a folder not on show clears the selection.
    EXPECT_TRUE(selection().isEmpty());

    // A stopped copy keeps and selects what it finished, undoably, and skips nothing.
    pane->dismissActionToast();
    pane->startCopyTransfer(FileTransferKind::copy, {"/other/x.txt", "/other/y.txt"}, "/w", true);
    pane->cancelActiveTransfer();
    EXPECT_TRUE(pane->activeTransfer()->isCancelling);
    EXPECT_TRUE(pane->activityItems().front().isCancelling);
    executor->runAll();
    EXPECT_EQ(selection(), QStringList {"/w/x.txt"});
    EXPECT_EQ(pane->undoStack().back(), (FilePaneUndoAction {FilePaneUndoAction::Created {{"/w/x.txt"}}}));
    EXPECT_FALSE(pane->actionToast());
}

TEST_F(FileActionFlow, ALateCompletionAfterAnotherTransferTookOverChangesNothing)
{
    pane->startLinkTransfer(FileTransferKind::link, {"/other/x.txt"}, "/w", true);
    const QUuid first = pane->activeTransfer()->id;
    EXPECT_TRUE(pane->clearTransfer(first));
    pane->startCopyTransfer(FileTransferKind::copy, {"/other/x.txt"}, "/w", true);
    executor->queue.front()();
    EXPECT_FALSE(pane->clearTransfer(first));
    EXPECT_TRUE(pane->activeTransfer());
    // Moving items into the folder that holds them does nothing at all.
    executor->runAll();
    pane->startMoveTransfer(FileTransferKind::move, {"/w/a.txt"}, "/w/", true);
    EXPECT_FALSE(pane->activeTransfer());
}

TEST_F(FileActionFlow, TrashRemovesRowsAtOnceSelectsTheNextRowAndHandsRefusedItemsOn)
{
    pane->setSelectedEntryIDs({"/w/b.txt", "/w/c.txt"});
    actions->refused = {"/w/c.txt"};
    EXPECT_EQ(pane->nextSelectionAfterTrash(), QString("/w/a.txt"));
    pane->moveSelectionToTrash();
    EXPECT_TRUE(pane->isBusy());
    executor->runAll();
    EXPECT_EQ(rowNames(*pane), QStringList({"d", "a.txt", "c.txt"}));
    EXPECT_EQ(pane->permissionDeniedURLs(), QStringList {"/w/c.txt"});
    EXPECT_EQ(pane->undoStack().back().kindText(), "trash");

    // The last row trashed: the new last row is selected.
    pane->setSelectedEntryIDs({"/w/c.txt"});
    EXPECT_EQ(pane->nextSelectionAfterTrash(), QString("/w/a.txt"));
    pane->setSelectedEntryIDs({"/w/d", "/w/a.txt", "/w/c.txt"});
    EXPECT_EQ(pane->nextSelectionAfterTrash(), std::nullopt);
}

TEST_F(FileActionFlow, UndoOfTrashPutsBackWhatItCanAndKeepsTheRest)
{
    pane->recordUndo({FilePaneUndoAction::Trash {{{"/w/a.txt", "/trash/a.txt"},
                                                  {"/w/b.txt", "/trash/b.txt"},
                                                  {"/w/c.txt", "/trash/c.txt"}}}});
    actions->refused = {"/trash/b.txt"};
    pane->undoLastAction();
    executor->runAll();
    EXPECT_EQ(toast(), "Could not undo 1 trash move(s).");
    EXPECT_EQ(pane->undoStack().back(), (FilePaneUndoAction {FilePaneUndoAction::Trash {{{"/w/b.txt", "/trash/b.txt"}}}}));
    EXPECT_EQ(selection(), QStringList({"/w/a.txt", "/w/c.txt"}));
}

TEST_F(FileActionFlow, UndoRules)
{
    // An empty stack says nothing.
    pane->undoLastAction();
    EXPECT_FALSE(pane->actionToast());

    // A failed rename undo is gone and says why; the action below is next.
    pane->recordUndo({FilePaneUndoAction::Created {{"/w/a.txt"}}});
    pane->recordUndo({FilePaneUndoAction::Rename {"/w/b.txt", "a.txt"}});
    actions->refused = {"/w/b.txt"};
    pane->undoLastAction();
    EXPECT_TRUE(toast().startsWith("Could not undo: ")) << toast().toStdString();
    EXPECT_EQ(pane->undoStack().size(), 1u);

    // During a transfer, undo waits.
    pane->startCopyTransfer(FileTransferKind::copy, {"/other/x.txt"}, "/w", false);
    pane->undoLastAction();
    EXPECT_EQ(toast(), "Wait for the current file operation to finish before undoing.");
    EXPECT_EQ(pane->undoStack().size(), 1u);
}

TEST_F(FileActionFlow, UndoOfAMoveRunsInTheBackgroundAndKeepsWhatItCouldNotMove)
{
    pane->recordUndo({FilePaneUndoAction::Move {{{"/w/a.txt", "/o/a.txt"},
                                                 {"/w/b.txt", "/o/b.txt"},
                                                 {"/w/c.txt", "/o/c.txt"}}}});
    transfer->failingSources = {"/w/b.txt"};
    pane->undoLastAction();
    ASSERT_TRUE(pane->activeTransfer());
    EXPECT_EQ(pane->activeTransfer()->kind, FileTransferKind::undoMove);
    executor->runAll();
    EXPECT_EQ(toast(), "Could not undo 1 move(s).");
    EXPECT_EQ(pane->undoStack().back(), (FilePaneUndoAction {FilePaneUndoAction::Move {{{"/w/b.txt", "/o/b.txt"}}}}));
    EXPECT_EQ(selection(), QStringList({"/o/a.txt", "/o/c.txt"}));
}

TEST_F(FileActionFlow, CancellingAnUndoneMoveOfFiveAfterTwoKeepsThree)
{
    std::vector<FilePaneUndoAction::MovedFile> items;
    for (int i = 1; i <= 5; ++i) items.push_back({QString("/w/%1").arg(i), QString("/o/%1").arg(i)});
    pane->recordUndo({FilePaneUndoAction::Move {items}});
    pane->undoLastAction();
    transfer->afterMove = [this](int moved) {
        if (moved == 2) pane->cancelActiveTransfer();
    };
    executor->runAll();
    EXPECT_EQ(pane->undoStack().back(), (FilePaneUndoAction {FilePaneUndoAction::Move {{items.begin() + 2, items.end()}}}));
    EXPECT_EQ(selection(), QStringList({"/o/1", "/o/2"}));
    // A user's stop says nothing.
    EXPECT_FALSE(pane->actionToast());
}

TEST_F(FileActionFlow, CreatedNamesAreTrimmedAndBlankOnesCreateNothing)
{
    TemporaryFolder folder;
    folder.folder("untitled folder");
    listing->folders[folder.path()] = {};
    pane->navigate(folder.path());
    listing->answerAll();
    pane->createFolder("   \n");
    EXPECT_TRUE(actions->created.isEmpty());
    EXPECT_FALSE(pane->actionToast());
    pane->createFolder(" untitled folder ");
    pane->createFile("notes.txt");
    EXPECT_EQ(actions->created, QStringList({folder / "untitled folder 2", folder / "notes.txt"}));
    EXPECT_EQ(pane->undoStack().size(), 2u);
    EXPECT_EQ(selection(), QStringList {folder / "notes.txt"});
}
