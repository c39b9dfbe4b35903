#include "State/FilePaneStore.h"
#include "TestSupport.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

namespace {

class PaneFixture : public ::testing::Test {
protected:
    PaneFixture()
    {
        listing->folders["/a"] = makeFileEntries("/a", {"b/", "x/", "notes.txt"});
        listing->folders["/a/b"] = makeFileEntries("/a/b", {"c/", "one.txt", "two.txt"});
        listing->folders["/a/b/c"] = makeFileEntries("/a/b/c", {"deep.txt"});
        listing->folders["/a/x"] = makeFileEntries("/a/x", {"y.txt"});
        listing->folders["/"] = makeFileEntries("/", {"a/"});
    }

    std::unique_ptr<FilePaneStore> makePane(const QString& folder, quint64 debounceNanoseconds = 250'000'000)
    {
        FilePaneServices services;
        services.listing = listing;
        services.watcher = watcher;
        services.opening = opener;
        services.clock = clock;
        FilePaneStore::Configuration configuration;
        configuration.folderURL = folder;
        configuration.directoryRefreshDebounceNanoseconds = debounceNanoseconds;
        auto pane = std::make_unique<FilePaneStore>(PaneID::left, services, configuration);
        pane->startLoad(folder);
        listing->answerAll();
        return pane;
    }

    std::shared_ptr<FakeListingService> listing = std::make_shared<FakeListingService>();
    std::shared_ptr<FakeDirectoryWatcher> watcher = std::make_shared<FakeDirectoryWatcher>();
    std::shared_ptr<FakeFileOpener> opener = std::make_shared<FakeFileOpener>();
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
};

} // namespace

TEST_F(PaneFixture, NavigationMovesHistoryAndBackAndForwardWalkIt)
{
    auto pane = makePane("/a/");
    EXPECT_EQ(pane->currentURL(), "/a");
    EXPECT_EQ(rowNames(*pane), QStringList({"b", "x", "notes.txt"}));
    EXPECT_EQ(pane->watchedURL(), QString("/a"));
    pane->navigate("/a/b");
    EXPECT_EQ(pane->loadState(), FilePaneLoadState::loading());
    listing->answerAll();
    EXPECT_EQ(pane->currentURL(), "/a/b");
    EXPECT_EQ(pane->backStack(), QStringList({"/a"}));

    pane->navigate("/a/b/c");
    listing->answerAll();
    pane->goBack();
    listing->answerAll();
    EXPECT_EQ(pane->currentURL(), "/a/b");
    EXPECT_EQ(pane->backStack(), QStringList({"/a"}));
    EXPECT_EQ(pane->forwardStack(), QStringList({"/a/b/c"}));

    pane->goForward();
    listing->answerAll();
    EXPECT_EQ(pane->currentURL(), "/a/b/c");
    EXPECT_EQ(pane->backStack(), QStringList({"/a", "/a/b"}));
    EXPECT_TRUE(pane->forwardStack().isEmpty());

    pane->goBack();
    listing->answerAll();
    pane->navigate("/a/x"); // an ordinary navigation drops the way forward
    listing->answerAll();
    EXPECT_TRUE(pane->forwardStack().isEmpty());
}

TEST_F(PaneFixture, OnlyTheNewestOfOverlappingNavigationsCommits)
{
    auto pane = makePane("/a");
    pane->navigate("/a/b");
    pane->navigate("/a/x");
    ASSERT_EQ(listing->pending.size(), 2u);
    listing->answer(1, listing->folders["/a/x"]);
    listing->answer(0, listing->folders["/a/b"]); // late and cancelled: dropped
    EXPECT_EQ(pane->currentURL(), "/a/x");
    EXPECT_EQ(rowNames(*pane), QStringList({"y.txt"}));
    EXPECT_EQ(pane->backStack(), QStringList({"/a"}));
    EXPECT_FALSE(pane->activeNavigationLoadGeneration());
}

TEST_F(PaneFixture, AFailedFolderIsEnteredWithItsReasonAndLeftByBack)
{
    auto pane = makePane("/a");
    pane->navigate("/a/locked");
    listing->answerNext(std::unexpected(DirectoryListingError {DirectoryListingError::AccessDenied {"/a/locked"}}));
    EXPECT_EQ(pane->currentURL(), "/a/locked");
    EXPECT_EQ(pane->loadState(), FilePaneLoadState::failed("Access denied: /a/locked"));
    EXPECT_TRUE(pane->treeRows().empty());
    EXPECT_EQ(pane->backStack(), QStringList({"/a"}));
    pane->goBack();
    listing->answerAll();
    EXPECT_EQ(pane->currentURL(), "/a");
    EXPECT_EQ(pane->loadState(), FilePaneLoadState::ready());
}

TEST_F(PaneFixture, NavigatingToTheFolderOnShowReloadsAndKeepsEverything)
{
    auto pane = makePane("/a");
    pane->navigate("/a/b");
    listing->answerAll();
    pane->setFilterText("t");
    pane->setSelectedEntryIDs({"/a/b/two.txt"});
    pane->navigate("/a/b");
    listing->answerAll();
    EXPECT_EQ(pane->backStack(), QStringList({"/a"}));
    EXPECT_EQ(pane->filterText(), "t");
    EXPECT_EQ(pane->selectedEntryIDs(), QSet<QString>({"/a/b/two.txt"}));
    EXPECT_GT(pane->suppressWatcherEchoUntilNanos(), clock->now);
}

TEST_F(PaneFixture, ARunningOperationBlocksNavigationWithAToast)
{
    auto pane = makePane("/a");
    pane->setActiveOperationTitle(QStringLiteral("Copying"));
    pane->goBack(); // empty history, but the guard speaks first
    ASSERT_TRUE(pane->actionToast());
    EXPECT_EQ(pane->actionToast()->text, "Wait for the current file operation to finish before navigating.");
    pane->navigate("/a/b");
    EXPECT_TRUE(listing->pending.empty());
    pane->navigateExternally("/a/b"); // the sidebar is never blocked
    listing->answerAll();
    EXPECT_EQ(pane->currentURL(), "/a/b");
}

TEST_F(PaneFixture, TogglingHiddenFilesDuringALoadCommitsOnlyTheNewListing)
{
    auto pane = makePane("/a");
    pane->navigate("/a/b");
    pane->setShowHiddenFiles(true); // reload of /a, the folder still on show
    ASSERT_EQ(listing->pending.size(), 2u);
    EXPECT_TRUE(listing->pending[1].includingHiddenFiles);
    listing->answer(0, listing->folders["/a/b"]);
    EXPECT_EQ(pane->currentURL(), "/a");
    listing->answerAll();
    EXPECT_EQ(pane->currentURL(), "/a");
    EXPECT_EQ(pane->loadState(), FilePaneLoadState::ready());
}

TEST_F(PaneFixture, TheBreadcrumbTrailRemembersTheWayDownAndUpStopsAtTheRoot)
{
    auto pane = makePane("/a/b/c");
    pane->goUp();
    listing->answerAll();
    pane->goUp();
    listing->answerAll();
    EXPECT_EQ(pane->currentURL(), "/a");
    EXPECT_EQ(pane->breadcrumbTrailURL(), "/a/b/c");
    EXPECT_EQ(pane->breadcrumbs().size(), 4);
    EXPECT_EQ(pane->breadcrumbs().back().title, "c");

    pane->setSelectedEntryIDs({});
    pane->enterFolder();
    listing->answerAll();
    EXPECT_EQ(pane->currentURL(), "/a/b");
    EXPECT_EQ(pane->breadcrumbTrailURL(), "/a/b/c");

    pane->navigateExternally("/a/b"); // asked for again from outside: the walk below is dropped
    listing->answerAll();
    EXPECT_EQ(pane->breadcrumbTrailURL(), "/a/b");

    pane->goUp();
    listing->answerAll();
    pane->navigate("/a/x", true, true);
    listing->answerAll();
    EXPECT_EQ(pane->breadcrumbTrailURL(), "/a/x");

    // Up stops at the root.
    pane->navigate("/");
    listing->answerAll();
    const auto history = pane->backStack();
    pane->goUp();
    EXPECT_TRUE(listing->pending.empty());
    EXPECT_EQ(pane->backStack(), history);
    EXPECT_EQ(FilePaneStore::breadcrumbs("/").size(), 1);
}

TEST_F(PaneFixture, OpeningFoldersNavigatesAndFilesGoToTheirApplication)
{
    auto pane = makePane("/a");
    pane->open(*pane->treeRows()[2].entry);
    EXPECT_EQ(opener->opened, std::vector<QString>({"/a/notes.txt"}));
    FileEntry link = makeFileEntry("/a", "link-to-x");
    link.isSymbolicLink = true;
    link.resolvedURL = "/a/x";
    link.resolvedIsDirectory = true;
    pane->open(link);
    listing->answerAll();
    EXPECT_EQ(pane->currentURL(), "/a/x");
}

TEST_F(PaneFixture, ToastsReplaceEachOtherAndEachLivesItsOwnTime)
{
    auto pane = makePane("/a");
    pane->showActionToast("first", ToastMessage::Kind::info);
    clock->advanceMilliseconds(3000);
    pane->showActionToast("second", ToastMessage::Kind::error);
    clock->advanceMilliseconds(3000); // the first one's time is up, the second's is not
    ASSERT_TRUE(pane->actionToast());
    EXPECT_EQ(pane->actionToast()->text, "second");
    clock->advanceMilliseconds(1000);
    EXPECT_FALSE(pane->actionToast());
}

TEST_F(PaneFixture, ABurstOfWatchEventsGivesOneListingAfterTheLast)
{
    auto pane = makePane("/a");
    const std::size_t before = listing->listedURLs.size();
    for (int i = 0; i < 10; ++i) {
        watcher->fire("/a");
        QCoreApplication::processEvents(); // the watcher's hop to the main thread
        clock->advanceMilliseconds(10);
    }
    clock->advanceMilliseconds(239);
    EXPECT_EQ(listing->listedURLs.size(), before);
    clock->advanceMilliseconds(1);
    EXPECT_EQ(listing->listedURLs.size(), before + 1);
    clock->advanceMilliseconds(1000);
    EXPECT_EQ(listing->listedURLs.size(), before + 1);

    auto eager = makePane("/a/b", 0); // no debounce: straight to the checks
    eager->scheduleExternalDirectoryRefresh("/a/b");
    EXPECT_EQ(listing->listedURLs.back(), "/a/b");
    EXPECT_EQ(listing->pending.size(), 1u);
}

TEST_F(PaneFixture, EchoesOfTheOwnReloadAndEventsOfOtherFoldersAreDropped)
{
    auto pane = makePane("/a");
    pane->navigate("/a"); // a reload by hand: its own events echo for 650 ms
    listing->answerAll();
    const std::size_t before = listing->listedURLs.size();
    clock->advanceMilliseconds(300);
    pane->scheduleExternalDirectoryRefresh("/a");
    clock->advanceMilliseconds(300);
    EXPECT_EQ(listing->listedURLs.size(), before);
    pane->scheduleExternalDirectoryRefresh("/a"); // past the window
    clock->advanceMilliseconds(250);
    EXPECT_EQ(listing->listedURLs.size(), before + 1);
    listing->answerAll();

    pane->scheduleExternalDirectoryRefresh("/elsewhere");
    pane->navigate("/a/b"); // in flight: events are dropped until it commits
    pane->scheduleExternalDirectoryRefresh("/a");
    EXPECT_FALSE(pane->hasDirectoryRefreshPending());
    listing->answerAll();
    EXPECT_EQ(watcher->liveWatchCount("/a"), 0);
    EXPECT_EQ(watcher->liveWatchCount("/a/b"), 1);
}

TEST_F(PaneFixture, AGonePaneIgnoresItsLateListingsTimersAndEvents)
{
    auto pane = makePane("/a");
    pane->navigate("/a/b");
    pane->showActionToast("bye", ToastMessage::Kind::info);
    watcher->fire("/a");
    pane.reset();
    listing->answerAll();
    QCoreApplication::processEvents();
    clock->advanceMilliseconds(10'000); // nothing left to run: no use of the gone pane
    EXPECT_EQ(watcher->liveWatchCount("/a"), 0);
}

TEST_F(PaneFixture, AnUnchangedRefreshNotifiesNoRows)
{
    auto pane = makePane("/a/b");
    QSignalSpy rows(pane.get(), &FilePaneStore::rowsChanged);
    QSignalSpy selection(pane.get(), &FilePaneStore::selectionChanged);
    pane->startLoad("/a/b");
    listing->answerAll();
    EXPECT_EQ(rows.count(), 0);
    EXPECT_EQ(selection.count(), 0);
}
