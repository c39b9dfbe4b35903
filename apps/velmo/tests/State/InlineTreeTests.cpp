#include "State/FilePaneStore.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

namespace {

class InlineTree : public ::testing::Test {
protected:
    InlineTree()
    {
        listing->folders["/r"] = makeFileEntries("/r", {"b/", "x/", "notes.txt"});
        listing->folders["/r/b"] = makeFileEntries("/r/b", {"c/", "two.txt", "one.txt"});
        listing->folders["/r/b/c"] = makeFileEntries("/r/b/c", {"deep.txt"});
        listing->folders["/r/x"] = {};
        listing->folders["/s"] = makeFileEntries("/s", {"t/"});
        listing->folders["/s/t"] = makeFileEntries("/s/t", {"u.txt"});
        FilePaneServices services;
        services.listing = listing;
        services.watcher = watcher;
        services.clock = clock;
        FilePaneStore::Configuration configuration;
        configuration.folderURL = "/r";
        pane = std::make_unique<FilePaneStore>(PaneID::left, services, configuration);
        pane->startLoad("/r");
        listing->answerAll();
    }

    const FileEntry& entry(const QString& id) const
    {
        for (const auto& row : pane->treeRows())
            if (row.entry->id == id) return *row.entry;
        static FileEntry none;
        ADD_FAILURE() << "no row " << id.toStdString();
        return none;
    }
    void expand(const QString& id)
    {
        pane->expandInlineFolder(entry(id));
        listing->answerAll();
    }
    // Rows as "name@depth".
    QStringList rows() const
    {
        QStringList out;
        for (const auto& row : pane->treeRows()) out << row.entry->name + '@' + QString::number(row.depth);
        return out;
    }
    void go(const QString& folder)
    {
        pane->navigate(folder);
        listing->answerAll();
    }

    std::shared_ptr<FakeListingService> listing = std::make_shared<FakeListingService>();
    std::shared_ptr<FakeDirectoryWatcher> watcher = std::make_shared<FakeDirectoryWatcher>();
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::unique_ptr<FilePaneStore> pane;
};

} // namespace

TEST_F(InlineTree, FoldersUnfoldInPlaceSortedAndFoldingForgetsWhatWasOpenInside)
{
    expand("/r/b");
    expand("/r/b/c");
    EXPECT_EQ(rows(), QStringList({"b@0", "c@1", "deep.txt@2", "one.txt@1", "two.txt@1", "x@0", "notes.txt@0"}));
    // Selection reaches rows at any depth.
    pane->setSelectedEntryIDs({"/r/b/c/deep.txt", "/r/notes.txt"});
    EXPECT_EQ(pane->selectedEntries().size(), 2u);

    pane->collapseInlineFolder("/r/b");
    EXPECT_EQ(rows(), QStringList({"b@0", "x@0", "notes.txt@0"}));
    EXPECT_EQ(pane->selectedEntryIDs(), QSet<QString>({"/r/notes.txt"}));
    expand("/r/b");
    EXPECT_FALSE(pane->isInlineExpanded("/r/b/c"));
    EXPECT_EQ(watcher->liveWatchCount("/r/b/c"), 0);
    EXPECT_EQ(watcher->liveWatchCount("/r/b"), 1);

    // A filter applies at each level: an open folder that doesn't match goes with its children.
    pane->setFilterText("o");
    EXPECT_EQ(rows(), QStringList({"notes.txt@0"}));
    pane->setFilterText("");
    // Keys: Left on a child selects its parent row, Left again folds it.
    pane->setSelectedEntryIDs({"/r/b/one.txt"});
    pane->collapseSelectedInlineRow();
    EXPECT_EQ(pane->selectedEntryIDs(), QSet<QString>({"/r/b"}));
    pane->collapseSelectedInlineRow();
    EXPECT_FALSE(pane->isInlineExpanded("/r/b"));
}

TEST_F(InlineTree, OnlyTheNewestLoadOfAnOpenFolderLands)
{
    // Folded while loading: the late answer changes nothing.
    pane->expandInlineFolder(entry("/r/b"));
    pane->collapseInlineFolder("/r/b");
    listing->answerAll();
    EXPECT_EQ(rows().size(), 3);
    EXPECT_TRUE(pane->inlineTree().loadingFolderPaths.isEmpty());

    // Two loads in flight: the older answer, coming last, is dropped.
    pane->expandInlineFolder(entry("/r/b"));
    watcher->fire("/r/b");
    QCoreApplication::processEvents();
    clock->advance(pane->directoryRefreshDebounceNanoseconds());
    ASSERT_EQ(listing->pending.size(), 2u);
    listing->answer(1, makeFileEntries("/r/b", {"new.txt"}));
    listing->answer(0, makeFileEntries("/r/b", {"old.txt"}));
    EXPECT_EQ(rows(), QStringList({"b@0", "new.txt@1", "x@0", "notes.txt@0"}));
}

TEST_F(InlineTree, EmptyAndUnreadableFoldersShowNoChildren)
{
    expand("/r/x");
    EXPECT_TRUE(pane->inlineTree().knowledge.childlessFolderPaths.contains("/r/x"));
    EXPECT_EQ(watcher->liveWatchCount("/r/x"), 0);

    listing->folders.erase("/r/b");
    expand("/r/b");
    EXPECT_FALSE(pane->isInlineExpanded("/r/b"));
    EXPECT_EQ(rows().size(), 3);
    ASSERT_TRUE(pane->actionToast());
    EXPECT_TRUE(pane->actionToast()->text.startsWith("Could not read /r/b: "));
}

TEST_F(InlineTree, ProbesRunSixteenAtATimeAndSkipLinksAndKnownFolders)
{
    std::vector<FileEntry> many;
    for (int i = 0; i < 20; ++i) many.push_back(makeFileEntry("/r", QString("d%1").arg(i, 2, 10, QChar('0')), true));
    FileEntry link = makeFileEntry("/r", "link", true);
    link.isSymbolicLink = true;
    for (const FileEntry& e : many) pane->probeInlineExpandability(e);
    pane->probeInlineExpandability(link);
    pane->probeInlineExpandability(many[0]);
    EXPECT_EQ(pane->inlineProbesInFlight(), 16);
    EXPECT_EQ(pane->inlineProbesQueued(), 4);
    EXPECT_EQ(listing->pendingProbes.size(), 16u);

    listing->folders["/r/d00"] = makeFileEntries("/r/d00", {"a"});
    listing->answerProbes();
    EXPECT_EQ(pane->inlineProbesInFlight() + pane->inlineProbesQueued(), 0);
    EXPECT_TRUE(pane->inlineTree().knowledge.knownExpandableFolderPaths.contains("/r/d00"));
    EXPECT_EQ(pane->inlineTree().knowledge.childlessFolderPaths.size(), 19);

    // A navigation makes the answers of probes in flight stale.
    pane->probeInlineExpandability(entry("/r/b"));
    go("/s");
    listing->answerProbes();
    EXPECT_TRUE(pane->inlineTree().knowledge.isEmpty());
}

TEST_F(InlineTree, OpenRowsComeBackOnReturnAndAfterTheirSnapshotWasEvicted)
{
    expand("/r/b");
    go("/s");
    EXPECT_EQ(rows(), QStringList({"t@0"}));
    EXPECT_EQ(watcher->liveWatchCount("/r/b"), 0);
    pane->goBack();
    listing->answerAll();
    EXPECT_EQ(rows(), QStringList({"b@0", "c@1", "one.txt@1", "two.txt@1", "x@0", "notes.txt@0"}));
    EXPECT_EQ(watcher->liveWatchCount("/r/b"), 1);

    // 64 other folders with open rows push /r's whole tree out; its expansion stays.
    for (int i = 0; i < 64; ++i) {
        const QString folder = QString("/m%1").arg(i);
        listing->folders[folder] = makeFileEntries(folder, {"k/"});
        listing->folders[folder + "/k"] = makeFileEntries(folder + "/k", {"z"});
        go(folder);
        expand(folder + "/k");
    }
    EXPECT_FALSE(pane->inlineTreeMemory().snapshots().contains("/r"));
    EXPECT_EQ(pane->inlineTreeMemory().snapshots().size(), FilePaneInlineTreeMemory::kSnapshotLimit);
    go("/r");
    EXPECT_EQ(rows(), QStringList({"b@0", "c@1", "one.txt@1", "two.txt@1", "x@0", "notes.txt@0"}));
}

TEST_F(InlineTree, AFolderFoundEmptyTellsItsParent)
{
    go("/r/x");
    pane->goUp();
    listing->answerAll();
    EXPECT_TRUE(pane->inlineTree().knowledge.childlessFolderPaths.contains("/r/x"));
}

TEST_F(InlineTree, OpenRowsFollowTheDisk)
{
    expand("/r/b");
    expand("/r/b/c");
    // A change inside an open folder lists it again after the debounce.
    listing->folders["/r/b/c"] = makeFileEntries("/r/b/c", {"deep.txt", "more.txt"});
    watcher->fire("/r/b/c");
    QCoreApplication::processEvents();
    clock->advance(pane->directoryRefreshDebounceNanoseconds());
    listing->answerAll();
    EXPECT_TRUE(rows().contains("more.txt@2"));

    // The open folder is deleted: the refresh of its parent takes its rows, watches and memory.
    listing->folders["/r/b"] = makeFileEntries("/r/b", {"one.txt"});
    watcher->fire("/r/b");
    QCoreApplication::processEvents();
    clock->advance(pane->directoryRefreshDebounceNanoseconds());
    listing->answerAll();
    EXPECT_EQ(rows(), QStringList({"b@0", "one.txt@1", "x@0", "notes.txt@0"}));
    EXPECT_FALSE(pane->isInlineExpanded("/r/b/c"));
    EXPECT_EQ(watcher->liveWatchCount("/r/b/c"), 0);

    // The pane's own folder refreshes: open rows stay open and list again.
    pane->startLoad("/r");
    listing->answerAll();
    EXPECT_EQ(rows(), QStringList({"b@0", "one.txt@1", "x@0", "notes.txt@0"}));
    // Hidden files change what is childless, and keep rows open.
    pane->setShowHiddenFiles(true);
    EXPECT_TRUE(pane->inlineTreeMemory().expandability().isEmpty());
    EXPECT_TRUE(pane->inlineTree().knowledge.isEmpty());
    listing->answerAll();
    EXPECT_EQ(rows(), QStringList({"b@0", "one.txt@1", "x@0", "notes.txt@0"}));
}

TEST_F(InlineTree, RevealOpensTheWayDownAndSelectsTheItem)
{
    EXPECT_FALSE(pane->revealInlineDescendant("/s/t/u.txt"));
    EXPECT_TRUE(pane->revealInlineDescendant("/r/b/c/deep.txt"));
    listing->answerAll();
    EXPECT_TRUE(pane->isInlineExpanded("/r/b"));
    EXPECT_TRUE(pane->isInlineExpanded("/r/b/c"));
    EXPECT_EQ(pane->selectedEntryIDs(), QSet<QString>({"/r/b/c/deep.txt"}));
}
