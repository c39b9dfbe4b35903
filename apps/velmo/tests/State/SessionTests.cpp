#include "PathKit/FilePaths.h"
#include "State/VelmoStore.h"
#include "Support/InMemoryDefaultsStore.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

namespace {

class SessionFixture : public ::testing::Test {
protected:
    std::unique_ptr<VelmoStore> makeStore(bool restores = true)
    {
        VelmoStoreDependencies d = fakeStoreDependencies(defaults, listing, watcher);
        d.defaultFolderURL = home.path();
        d.restoresSession = restores;
        return std::make_unique<VelmoStore>(std::move(d));
    }

    void store(const QByteArray& document) { defaults->setData(VelmoSessionStore::key, document); }

    static QString browser(const QString& left, const QString& right, const QString& extra = {})
    {
        return QString(R"({"browser":{"_0":{"leftPath":"%1","rightPath":"%2","activePane":"right"%3}}})")
            .arg(left, right, extra);
    }

    static QStringList folders(const VelmoStore& store)
    {
        QStringList out;
        for (const auto& tab : store.tabs())
            out << (tab->browserPanes()   ? tab->browserPanes()->leftPane()->currentURL()
                    : tab->searchSession()         ? QStringLiteral("search")
                    : tab->pdfCompressionSession() ? QStringLiteral("pdfs")
                                                   : QStringLiteral("other"));
        return out;
    }

    TemporaryFolder home;
    std::shared_ptr<InMemoryDefaultsStore> defaults = std::make_shared<InMemoryDefaultsStore>();
    std::shared_ptr<FakeListingService> listing = std::make_shared<FakeListingService>();
    std::shared_ptr<FakeDirectoryWatcher> watcher = std::make_shared<FakeDirectoryWatcher>();
};

} // namespace

TEST_F(SessionFixture, QuitAndStartAgainBringsBackTabsPanesAndTheActiveTab)
{
    const QString a = home.folder("a"), b = home.folder("b"), c = home.folder("c");
    {
        auto first = makeStore();
        first->addTab();
        first->tabs()[1]->browserPanes()->leftPane()->navigate(a);
        listing->answerAll();
        first->tabs()[1]->browserPanes()->rightPane()->navigate(b);
        listing->answerAll();
        first->tabs()[1]->browserPanes()->rightPane()->setViewMode(VelmoFileViewMode::thumbnails);
        first->tabs()[1]->browserPanes()->rightPane()->sort(FileEntrySortColumn::size);
        first->activate(PaneID::right);
        first->addTab();
        first->tabs()[2]->browserPanes()->leftPane()->navigate(c);
        listing->answerAll();
        first->openSettingsTab();
        first->selectTab(first->tabs()[1]->id());
        first->teardown();
    }
    auto second = makeStore();
    EXPECT_EQ(folders(*second), QStringList({home.path(), a, c}));
    EXPECT_EQ(second->activeTab()->id(), second->tabs()[1]->id());
    const BrowserPanes* panes = second->tabs()[1]->browserPanes();
    EXPECT_EQ(panes->activePaneID(), PaneID::right);
    EXPECT_EQ(panes->rightPane()->currentURL(), b);
    EXPECT_EQ(panes->rightPane()->fileViewMode(), VelmoFileViewMode::thumbnails);
    EXPECT_EQ(panes->rightPane()->sortColumn(), FileEntrySortColumn::size);
    EXPECT_EQ(panes->leftPane()->sortColumn(), FileEntrySortColumn::name);
}

TEST_F(SessionFixture, DocumentsDecodeStrictlyWhereThereIsNoDefault)
{
    const QString a = home.folder("a");
    struct Case {
        QString document;
        QStringList folders;
        int active;
    };
    const QString gone = home / "gone";
    const std::vector<Case> cases {
        {R"({"tabs":[],"activeTabIndex":3})", {home.path()}, 0},
        {QString(R"({"tabs":[%1,%2],"activeTabIndex":-1})").arg(browser(a, a), browser(home.path(), a)), {a, home.path()}, 0},
        {QString(R"({"tabs":[%1,%2],"activeTabIndex":99})").arg(browser(a, a), browser(home.path(), a)), {a, home.path()}, 1},
        // A vanished folder falls back to the default folder.
        {QString(R"({"tabs":[%1],"activeTabIndex":0})").arg(browser(gone, a)), {home.path()}, 0},
        // A missing optional key or null takes its default...
        {QString(R"({"tabs":[%1],"activeTabIndex":0})").arg(browser(a, a, R"(,"leftViewMode":null)")), {a}, 0},
        // ...but a wrong type, an unknown case, a missing required key or a second key spoil the document.
        {QString(R"({"tabs":[%1],"activeTabIndex":0})").arg(browser(a, a, R"(,"leftSortAscending":"yes")")), {home.path()}, 0},
        {QString(R"({"tabs":[%1],"activeTabIndex":0})").arg(browser(a, a, R"(,"leftSortColumn":"colour")")), {home.path()}, 0},
        {QString(R"({"tabs":[{"browser":{"_0":{"leftPath":"%1","rightPath":"%1"}}}],"activeTabIndex":0})").arg(a), {home.path()}, 0},
        {QString(R"({"tabs":[{"browser":{"_0":{}},"search":{"_0":{}}}],"activeTabIndex":0})"), {home.path()}, 0},
        {QString(R"({"tabs":[%1],"activeTabIndex":0.5})").arg(browser(a, a)), {home.path()}, 0},
        {"[1,2", {home.path()}, 0},
    };
    for (const Case& c : cases) {
        store(c.document.toUtf8());
        auto restored = makeStore();
        EXPECT_EQ(folders(*restored), c.folders) << c.document.toStdString();
        EXPECT_EQ(restored->indexOfTab(restored->activeTabID()), c.active) << c.document.toStdString();
    }
}

TEST_F(SessionFixture, SearchAndCompressionTabsComeBackWithTheirOriginAndSettings)
{
    const QString a = home.folder("a");
    const QString search = QString(R"({"search":{"_0":{"folderPath":"%1","query":"q","originBrowserTabIndex":2}}})").arg(a);
    const QString pdf = R"({"pdfCompression":{"_0":{"sourcePaths":["/x.pdf"],"settings":{"jpegQuality":33},"originBrowserTabIndex":1}}})";
    store(QString(R"({"tabs":[%1,%2,%3,%4],"activeTabIndex":1})")
              .arg(search, browser(a, a), browser(home.path(), a), pdf)
              .toUtf8());
    auto restored = makeStore();
    EXPECT_EQ(folders(*restored), QStringList({"search", a, home.path(), "pdfs"}));
    EXPECT_EQ(restored->indexOfTab(restored->activeTabID()), 1);
    const SearchSession* searchTab = restored->tabs()[0]->searchSession();
    ASSERT_TRUE(searchTab);
    EXPECT_EQ(searchTab->query(), "q");
    EXPECT_EQ(searchTab->folderURL(), a);
    EXPECT_EQ(searchTab->originBrowserTabID(), restored->tabs()[2]->id());
    EXPECT_FALSE(searchTab->isSearching());
    auto state = restored->captureSessionState();
    ASSERT_EQ(state.tabs.size(), 4u);
    EXPECT_EQ(std::get<VelmoSessionState::SearchTab>(state.tabs[0]).originBrowserTabIndex, 2);
    // A missing source is kept: the file may be on a disk that is not mounted yet.
    const auto& pdfs = std::get<VelmoSessionState::PDFCompressionTab>(state.tabs[3]);
    EXPECT_EQ(pdfs.sourcePaths, QStringList({"/x.pdf"}));
    EXPECT_EQ(pdfs.settings.value("jpegQuality").toInt(), 33);
    EXPECT_EQ(pdfs.originBrowserTabIndex, 1);
    // The origin closed: the search tab stays, without its origin.
    restored->closeTab(restored->tabs()[2]->id());
    state = restored->captureSessionState();
    ASSERT_EQ(state.tabs.size(), 3u);
    EXPECT_EQ(std::get<VelmoSessionState::SearchTab>(state.tabs[0]).originBrowserTabIndex, std::nullopt);
    EXPECT_EQ(std::get<VelmoSessionState::PDFCompressionTab>(state.tabs[2]).originBrowserTabIndex, 1);
}

TEST_F(SessionFixture, AnActiveSettingsTabHandsItsPlaceToTheNextStoredTab)
{
    auto store = makeStore();
    store->openSettingsTab();
    EXPECT_EQ(store->captureSessionState().activeTabIndex, 0);
    store->addTab();
    store->selectTab(store->tabs()[1]->id());
    const auto state = store->captureSessionState();
    EXPECT_EQ(state.tabs.size(), 2u);
    EXPECT_EQ(state.activeTabIndex, 1);
}

TEST_F(SessionFixture, ClosedTabsComeBackAtTheirPlaceWithTheirRows)
{
    auto store = makeStore(false);
    for (int i = 0; i < 30; ++i) store->addTab();
    store->loadInitialPanes();
    listing->folders[home.path()] = makeFileEntries(home.path(), {"x.txt"});
    listing->answerAll();
    for (int i = 0; i < 29; ++i) store->closeTab(store->tabs()[1]->id());
    EXPECT_EQ(store->recentlyClosedTabs().size(), VelmoStore::kMaximumClosedTabs);
    store->tabs()[0]->browserPanes()->leftPane()->setSelectedEntryIDs({home / "x.txt"});
    store->addTab();
    store->tabs()[0]->browserPanes()->leftPane()->setSelectedEntryIDs({home / "x.txt"});
    store->closeTab(store->tabs()[0]->id());
    // Back at index 0, with rows and selection before any listing.
    WindowTab* reopened = store->reopenLastClosedTab();
    EXPECT_EQ(store->indexOfTab(reopened->id()), 0);
    EXPECT_EQ(store->activeTabID(), reopened->id());
    EXPECT_EQ(reopened->browserPanes()->leftPane()->treeRows().size(), 1u);
    EXPECT_EQ(reopened->browserPanes()->leftPane()->selectedEntryIDs(), QSet<QString> {home / "x.txt"});
    // A closed settings tab beside an open one activates the open one.
    store->openSettingsTab();
    store->closeTab(store->activeTabID());
    WindowTab* settings = store->openSettingsTab();
    EXPECT_EQ(store->reopenLastClosedTab(), settings);
    EXPECT_EQ(store->tabs().size(), 4u);
    while (store->canReopenClosedTab()) store->reopenLastClosedTab();
    EXPECT_EQ(store->reopenLastClosedTab(), nullptr);
}
