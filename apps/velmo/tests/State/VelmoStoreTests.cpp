#include "PathKit/FilePaths.h"
#include "State/VelmoStore.h"
#include "Support/InMemoryDefaultsStore.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

namespace {

class AppFixture : public ::testing::Test {
protected:
    std::unique_ptr<VelmoStore> makeStore(QStringList initialFolders = {})
    {
        listing->folders[home.path()] = makeFileEntries(home.path(), {"Documents/", "a.txt"});
        VelmoStoreDependencies d = fakeStoreDependencies(defaults, listing, watcher);
        d.defaultFolderURL = home.path();
        d.initialFolders = std::move(initialFolders);
        return std::make_unique<VelmoStore>(std::move(d));
    }

    TemporaryFolder home;
    std::shared_ptr<InMemoryDefaultsStore> defaults = std::make_shared<InMemoryDefaultsStore>();
    std::shared_ptr<FakeListingService> listing = std::make_shared<FakeListingService>();
    std::shared_ptr<FakeDirectoryWatcher> watcher = std::make_shared<FakeDirectoryWatcher>();
};

QList<QUuid> ids(const VelmoStore& store)
{
    QList<QUuid> out;
    for (const auto& tab : store.tabs()) out << tab->id();
    return out;
}

} // namespace

TEST_F(AppFixture, StartsWithOneBrowserTabLoadedOnce)
{
    auto store = makeStore();
    ASSERT_EQ(store->tabs().size(), 1u);
    store->loadInitialPanes();
    store->loadInitialPanes();
    EXPECT_EQ(listing->pending.size(), 2u);
    listing->answerAll();
    EXPECT_EQ(store->pane(PaneID::right)->treeRows().size(), 2u);
    EXPECT_EQ(store->activeTab()->title(), FilePaths::lastComponent(home.path()));
}

TEST_F(AppFixture, CommandLineFoldersOpenInTheFirstTab)
{
    auto store = makeStore({"/tmp/../tmp/", "/"});
    EXPECT_EQ(store->pane(PaneID::left)->currentURL(), "/tmp");
    EXPECT_EQ(store->pane(PaneID::right)->currentURL(), "/");
}

TEST_F(AppFixture, ClosingTabsPicksTheNeighbourAndNeverTheLast)
{
    auto store = makeStore();
    const QUuid first = store->activeTabID();
    EXPECT_EQ(store->closeTab(first), TabCloseResult::lastTab);
    EXPECT_EQ(store->closeTab(QUuid::createUuid()), TabCloseResult::notFound);
    const QUuid second = store->addTab()->id();
    const QUuid third = store->addTab()->id();
    EXPECT_EQ(store->activeTabID(), third);

    store->selectTab(second);
    EXPECT_EQ(store->closeTab(second), TabCloseResult::closed);
    EXPECT_EQ(store->activeTabID(), third); // the right-hand neighbour slid into place
    EXPECT_EQ(store->closeTab(third), TabCloseResult::closed);
    EXPECT_EQ(store->activeTabID(), first); // the new last tab
    EXPECT_EQ(ids(*store), QList<QUuid>({first}));
}

TEST_F(AppFixture, MovingATabClampsItsIndex)
{
    auto store = makeStore();
    const QUuid a = store->activeTabID();
    const QUuid b = store->addTab()->id();
    store->moveTab(b, -5);
    EXPECT_EQ(ids(*store), QList<QUuid>({b, a}));
    store->moveTab(b, 99);
    EXPECT_EQ(ids(*store), QList<QUuid>({a, b}));
}

TEST_F(AppFixture, ThereIsOneSettingsTabAndPanesOutliveTheBrowserTabs)
{
    auto store = makeStore();
    const QUuid browser = store->activeTabID();
    WindowTab* settings = store->openSettingsTab();
    store->selectTab(browser);
    EXPECT_EQ(store->openSettingsTab(), settings);
    EXPECT_EQ(store->tabs().size(), 2u);
    EXPECT_EQ(store->activeTabID(), settings->id());

    EXPECT_EQ(store->closeTab(browser), TabCloseResult::closed);
    EXPECT_NE(store->pane(PaneID::left), nullptr); // commands still find a pane
    EXPECT_EQ(store->closeTab(settings->id()), TabCloseResult::lastTab);
}

TEST_F(AppFixture, ANewTabOnAShownFolderHasRowsAtOnce)
{
    auto store = makeStore();
    store->loadInitialPanes();
    listing->answerAll();
    WindowTab* added = store->addTab();
    EXPECT_EQ(added->browserPanes()->leftPane()->treeRows().size(), 2u);
    EXPECT_EQ(listing->pending.size(), 2u); // and still lists for itself
}

TEST_F(AppFixture, HiddenFilesReloadOnlyPanesThatDiffer)
{
    auto store = makeStore();
    store->loadInitialPanes();
    listing->answerAll();
    store->addTab();
    listing->answerAll();
    store->pane(PaneID::left)->setShowHiddenFiles(true);
    listing->answerAll();
    const std::size_t before = listing->listedURLs.size();
    store->setShowHiddenFiles(true);
    EXPECT_EQ(listing->listedURLs.size(), before + 3); // four panes, one already showed them
    EXPECT_EQ(defaults->boolValue("velmo.files.showHiddenFiles", false), true);
    listing->answerAll();
    for (const auto& tab : store->tabs())
        for (auto* pane : {tab->browserPanes()->leftPane(), tab->browserPanes()->rightPane()})
            EXPECT_TRUE(pane->showHiddenFiles());
}

TEST_F(AppFixture, RestorableFoldersFallBack)
{
    EXPECT_EQ(VelmoStore::restorableFolder(home.path() + "/", "/"), home.path());
    EXPECT_EQ(VelmoStore::restorableFolder(home.path() + "/missing", "/tmp"), "/tmp");
    EXPECT_EQ(VelmoStore::restorableFolder("/nope", "/nope-either"), VelmoStore::systemDefaultFolderURL());
}
