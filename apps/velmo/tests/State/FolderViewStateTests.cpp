#include "State/FolderViewStateStore.h"
#include "State/VelmoStore.h"
#include "Support/InMemoryDefaultsStore.h"
#include "TestSupport.h"
#include "Views/FilePaneTableModel.h"
#include "Views/FilePaneView.h"
#include "Views/FolderLayoutSettingsSection.h"

#include <QHeaderView>
#include <QPushButton>

#include <gtest/gtest.h>

namespace {

using C = FileEntryColumn;
using S = FileEntrySortColumn;
constexpr QLatin1StringView kKey = FolderViewStateStore::kDefaultsKey;

// Counts the writes of the folder layouts, to tell one write from many.
class CountingDefaults final : public DefaultsStore {
public:
    std::optional<QVariant> value(const QString& key) const override { return inner.value(key); }
    void setValue(const QString& key, const QVariant& value) override
    {
        writes += key == kKey;
        inner.setValue(key, value);
    }
    void remove(const QString& key) override { inner.remove(key); }
    InMemoryDefaultsStore inner;
    int writes = 0;
};

FolderViewState sortedBy(S column, bool ascending = true)
{
    FolderViewState state = FolderViewState::fallback();
    state.sortColumn = column;
    state.sortAscending = ascending;
    return state;
}

} // namespace

TEST(FolderViewStateStoreTest, DecodesTolerantly)
{
    FolderViewState olderRecord = sortedBy(S::size, false);
    olderRecord.visibleColumns = {C::kind};
    FolderViewState wrongTypes = FolderViewState::fallback();
    wrongTypes.columnOrder = {"size"};
    wrongTypes.columnWidths = {{"size", 120}};
    FolderViewState grid = FolderViewState::fallback();
    grid.viewMode = VelmoFileViewMode::thumbnails;
    const std::pair<QByteArray, std::vector<FolderViewStateStore::Entry>> cases[] = {
        {"{[garbage", {}},
        {R"({"path":"/a","state":{}})", {}},
        // A record without a view mode is a list.
        {R"([{"path":"/a/","state":{"sortColumn":"size","sortAscending":false,"visibleColumns":["kind","nope"]}}])",
         {{"/a", olderRecord}}},
        {R"([{"path":"/b","state":{"sortColumn":7,"sortAscending":"no","viewMode":"tiles","visibleColumns":"size",
             "columnOrder":["size",3],"columnWidths":{"size":120,"kind":-4,"name":1e300,"date":"wide"}}}])",
         {{"/b", wrongTypes}}},
        {R"([{"path":"/c","state":{"viewMode":"thumbnail"}},{"path":"/d","state":{"viewMode":"thumbnails"}}])",
         {{"/c", grid}, {"/d", grid}}},
        {R"([{"path":"relative","state":{}},{"state":{}},{"path":"/e","state":[]},7,{"path":"/f","state":{}}])",
         {{"/f", FolderViewState::fallback()}}},
    };
    for (const auto& [data, expected] : cases) EXPECT_EQ(FolderViewStateStore::decode(data), expected) << data.toStdString();
}

TEST(FolderViewStateStoreTest, EncodingRoundTrips)
{
    FolderViewState state = sortedBy(S::modified, false);
    state.viewMode = VelmoFileViewMode::thumbnails;
    state.visibleColumns = {C::added, C::version};
    state.columnOrder = {"name", "version", "added"};
    state.columnWidths = {{"added", 99.5}};
    const std::vector<FolderViewStateStore::Entry> entries {{"/x", state}, {"/y", FolderViewState::fallback()}};
    EXPECT_EQ(FolderViewStateStore::decode(FolderViewStateStore::encode(entries)), entries);
}

TEST(FolderViewStateStoreTest, KeepsTheFiveHundredFoldersChangedLast)
{
    auto defaults = std::make_shared<InMemoryDefaultsStore>();
    auto clock = std::make_shared<ManualClock>();
    {
        FolderViewStateStore store(defaults, clock);
        for (int i = 0; i <= FolderViewStateStore::kLimit; ++i)
            store.setState(sortedBy(S::size), "/f" + QString::number(i), FolderViewStatePersistence::deferred);
        EXPECT_FALSE(store.state("/f0"));
        // Sorting the oldest again makes it the newest, so a new folder pushes out the next one.
        store.setState(sortedBy(S::kind), "/f1/", FolderViewStatePersistence::deferred);
        store.setState(sortedBy(S::kind), "/new", FolderViewStatePersistence::immediate);
        EXPECT_EQ(store.recency().size(), FolderViewStateStore::kLimit);
        EXPECT_FALSE(store.state("/f2"));
        EXPECT_EQ(store.recency().mid(498), QStringList({"/f1", "/new"}));
    }
    FolderViewStateStore reloaded(defaults, clock);
    EXPECT_EQ(reloaded.recency().size(), FolderViewStateStore::kLimit);
    EXPECT_EQ(reloaded.recency().first(), "/f3");
    EXPECT_EQ(reloaded.state("/f1"), sortedBy(S::kind));
}

TEST(FolderViewStateStoreTest, DeferredChangesOfOneTurnWriteOnceAndNoneIsLost)
{
    auto defaults = std::make_shared<CountingDefaults>();
    defaults->inner.setData(kKey, "not json");
    auto clock = std::make_shared<ManualClock>();
    auto store = std::make_unique<FolderViewStateStore>(defaults, clock);
    EXPECT_TRUE(store->recency().isEmpty());
    for (int width = 100; width < 110; ++width) {
        FolderViewState state = FolderViewState::fallback();
        state.columnWidths = {{"size", double(width)}};
        store->setState(state, "/a", FolderViewStatePersistence::deferred);
    }
    EXPECT_EQ(defaults->writes, 0);
    clock->advance(0);
    EXPECT_EQ(defaults->writes, 1);
    const auto written = FolderViewStateStore::decode(*defaults->data(kKey));
    ASSERT_EQ(written.size(), 1u);
    EXPECT_EQ(written[0].state.columnWidths.value("size"), 109);

    // A write still waiting when the store goes is done then.
    store->setState(sortedBy(S::size), "/b", FolderViewStatePersistence::deferred);
    store.reset();
    EXPECT_EQ(defaults->writes, 2);
    clock->advance(0);
    EXPECT_EQ(defaults->writes, 2);
    EXPECT_EQ(FolderViewStateStore::decode(*defaults->data(kKey)).size(), 2u);
}

// ---------------------------------------------------------------- in the application

namespace {

class FolderViewsFixture : public ::testing::Test {
protected:
    FolderViewsFixture()
    {
        listing->folders[home.path()] = {makeFileEntry(home.path(), "b", false, 10),
                                         makeFileEntry(home.path(), "a", false, 20)};
        listing->folders[home / "sub"] = makeFileEntries(home / "sub", {"x", "y"});
        VelmoStoreDependencies d = fakeStoreDependencies(defaults, listing);
        d.clock = clock;
        d.defaultFolderURL = home.path();
        store = std::make_unique<VelmoStore>(std::move(d));
        store->loadInitialPanes();
        listing->answerAll();
    }

    FilePaneStore* left() { return store->pane(PaneID::left); }
    FilePaneStore* right() { return store->pane(PaneID::right); }
    std::vector<FolderViewStateStore::Entry> written() const
    {
        return FolderViewStateStore::decode(defaults->data(kKey).value_or(QByteArray()));
    }

    TemporaryFolder home;
    std::shared_ptr<CountingDefaults> defaults = std::make_shared<CountingDefaults>();
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::shared_ptr<FakeListingService> listing = std::make_shared<FakeListingService>();
    std::unique_ptr<VelmoStore> store;
};

} // namespace

TEST_F(FolderViewsFixture, PanesOnOneFolderStayInStepAndOtherFoldersKeepTheirOwn)
{
    WindowTab* second = store->addTab(); // its panes are still loading
    store->selectTab(store->tabs().front()->id());
    left()->sort(S::size);
    EXPECT_EQ(rowNames(*right()), QStringList({"b", "a"}));
    EXPECT_EQ(right()->sortColumn(), S::size);
    EXPECT_EQ(second->browserPanes()->leftPane()->sortColumn(), S::name);
    EXPECT_EQ(defaults->writes, 1);
    listing->answerAll();
    EXPECT_EQ(rowNames(*second->browserPanes()->leftPane()), QStringList({"b", "a"}));

    // Widths from a drag reach the other pane at once and the defaults after the turn.
    left()->setColumnWidths({{"size", 150}});
    left()->setColumnWidths({{"size", 160}});
    EXPECT_EQ(right()->columnWidths().value("size"), 160);
    EXPECT_EQ(defaults->writes, 1);
    clock->advance(0);
    EXPECT_EQ(defaults->writes, 2);

    right()->navigate(home / "sub");
    listing->answerAll();
    EXPECT_EQ(right()->sortColumn(), S::name);
    right()->sort(S::name); // descending, for this folder only
    EXPECT_EQ(rowNames(*right()), QStringList({"y", "x"}));
    EXPECT_EQ(left()->sortColumn(), S::size);
    ASSERT_EQ(written().size(), 2u);
    EXPECT_EQ(written()[0].state.columnWidths.value("size"), 160);

    right()->goBack();
    listing->answerAll();
    EXPECT_EQ(right()->sortColumn(), S::size);
}

TEST_F(FolderViewsFixture, FolderLayoutCommandsKeepEachFoldersSort)
{
    left()->sort(S::size);
    left()->setVisibleColumns({C::kind});
    left()->setColumnOrder({"name", "kind"});
    right()->navigate(home / "sub");
    listing->answerAll();
    right()->sort(S::name);
    store->useActiveFolderColumnsAsDefaults(); // the left pane's
    store->applyDefaultColumnsToAllSavedFolders();
    EXPECT_EQ(right()->visibleColumns(), QSet<C>({C::kind}));
    EXPECT_FALSE(right()->sortAscending());
    for (const auto& entry : written()) EXPECT_EQ(entry.state.columnOrder, QStringList({"name", "kind"}));

    FolderLayoutSettingsSection section(store.get());
    QStringList asked;
    section.setConfirmation([&](const QString& question, const QString& text, const QString&) {
        asked << question << text;
        return asked.size() > 2; // refuses the first question, accepts the second
    });
    auto* reset = section.findChild<QPushButton*>("resetAllFolderLayouts");
    reset->click();
    EXPECT_EQ(written().size(), 2u);
    reset->click();
    EXPECT_TRUE(asked.value(1).endsWith("list columns: Name, Kind")) << asked.value(1).toStdString();
    EXPECT_TRUE(written().empty());
    EXPECT_EQ(left()->sortColumn(), S::name);
    EXPECT_TRUE(right()->sortAscending());
    EXPECT_EQ(right()->visibleColumns(), QSet<C>({C::kind}));
}

TEST_F(FolderViewsFixture, ColumnsTheUserDragsAreStoredWithNameFirst)
{
    FilePaneView view(store.get(), left());
    view.resize(900, 400);
    view.show();
    QHeaderView* header = view.table()->horizontalHeader();
    const auto shownOrder = [&] {
        QStringList ids;
        for (int visual = 0; visual < header->count(); ++visual)
            ids << FileEntryColumns::id(view.model()->sortColumnOfSection(header->logicalIndex(visual)));
        return ids;
    };
    EXPECT_EQ(shownOrder(), QStringList({"name", "contents", "size", "modified"}));
    EXPECT_TRUE(written().empty()); // showing a folder stores nothing

    header->moveSection(3, 1);
    header->moveSection(0, 2); // Name goes back to the front
    QCoreApplication::processEvents();
    EXPECT_EQ(shownOrder(), QStringList({"name", "modified", "contents", "size"}));
    EXPECT_EQ(right()->columnOrder(), QStringList({"name", "modified", "contents", "size"}));

    header->resizeSection(header->logicalIndex(2), 140);
    EXPECT_EQ(left()->columnWidths().value("contents"), 140);
    clock->advance(0);
    ASSERT_EQ(written().size(), 1u);
    EXPECT_EQ(written()[0].state.columnOrder, QStringList({"name", "modified", "contents", "size"}));
    EXPECT_EQ(written()[0].state.columnWidths.value("contents"), 140);

    // Columns that change with the folder are not the user's doing: nothing is stored for it.
    left()->navigate(home / "sub");
    listing->answerAll();
    clock->advance(0);
    EXPECT_EQ(shownOrder(), QStringList({"name", "contents", "size", "modified"}));
    EXPECT_EQ(written().size(), 1u);
}
