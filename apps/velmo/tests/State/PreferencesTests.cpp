#include "App/StateDump.h"
#include "Models/FilePaneCellText.h"
#include "Models/RenameWordStop.h"
#include "State/VelmoPreferencesStore.h"
#include "State/VelmoStore.h"
#include "Support/InMemoryDefaultsStore.h"
#include "TestSupport.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

namespace {

using Options = VelmoViewOptions;

// Each stored document against the fields that differ from the defaults after decoding.
TEST(ViewOptions, DecodingKeepsWhatIsReadableAndDefaultsTheRest)
{
    const std::pair<QByteArray, QByteArray> cases[] = {
        {R"({"fontSize": 15})", R"({"fontSize": 15})"},
        {R"({"boldFolders": "yes", "fontSize": "big", "visibleColumns": 5, "columnWidths": [1], "arrangeColumn": 3,
            "useRelativeDates": true})",
         R"({"useRelativeDates": true})"},
        {"{\"fontSize\": 1", "{}"},
        {"[true, 12]", "{}"},
        {"", "{}"},
        {R"({"fontSize": 1e300, "iconSize": -4, "rowSpacing": 3})", R"({"fontSize": 24, "iconSize": 12, "rowSpacing": 3})"},
        {R"({"visibleColumns": ["kind", "colour", 7], "columnOrder": ["kind", "kind", "x", "name"],
            "columnWidths": {"kind": 90, "x": 10, "size": "wide"}, "arrangeColumn": "colour", "someFutureKey": {}})",
         R"({"visibleColumns": ["kind"], "columnOrder": ["kind", "name"], "columnWidths": {"kind": 90}})"},
        {R"({"arrangeColumn": "size", "arrangeAscending": false})", R"({"arrangeColumn": "size", "arrangeAscending": false})"},
    };
    for (const auto& [stored, changed] : cases) {
        QJsonObject expected = Options().toJson();
        const QJsonObject fields = QJsonDocument::fromJson(changed).object();
        for (auto it = fields.begin(); it != fields.end(); ++it) expected[it.key()] = *it;
        EXPECT_EQ(Options::decode(stored).toJson(), expected) << stored.toStdString();
    }
}

TEST(ViewOptions, EveryFieldSurvivesARoundTrip)
{
    // Every field away from its default, so a field the encoder forgets shows.
    Options changed;
    QJsonObject json = changed.toJson();
    for (auto it = json.begin(); it != json.end(); ++it) {
        if (it->isBool()) *it = !it->toBool();
        else if (it->isDouble()) *it = it->toDouble() + 2;
    }
    json["visibleColumns"] = QJsonArray {"kind", "version"};
    json["columnOrder"] = QJsonArray {"version", "name"};
    json["columnWidths"] = QJsonObject {{"name", 300.5}};
    json["arrangeColumn"] = "added";
    changed = Options::fromJson(json);
    EXPECT_EQ(changed.toJson(), json);
    EXPECT_EQ(Options::decode(changed.encode()), changed);
    EXPECT_FALSE(changed == Options::defaults());
}

TEST(ViewOptions, ContentsGoesBeforeSizeElseAfterNameElseFirst)
{
    using L = QStringList;
    const std::vector<std::pair<L, L>> cases {
        {{}, {"name", "contents", "size", "modified"}},
        {{"name", "size", "modified"}, {"name", "contents", "size", "modified"}},
        {{"contents", "modified", "name", "kind"}, {"modified", "name", "contents", "kind"}},
        {{"kind", "contents"}, {"contents", "kind"}},
    };
    for (const auto& [order, expected] : cases)
        EXPECT_EQ(Options::columnOrderWithContentsBeforeSize(order), expected) << order.join(',').toStdString();
}

TEST(PreferencesStore, AnEarlierReleasesColumnsGainContentsAndAreWrittenBackOnce)
{
    InMemoryDefaultsStore defaults;
    VelmoPreferencesStore preferences(defaults);
    EXPECT_EQ(preferences.viewOptions(), Options::defaults());
    EXPECT_FALSE(defaults.data(VelmoPreferencesStore::viewOptionsKey)) << "reading must not write the defaults";

    const QByteArray legacy = R"({"visibleColumns": ["size", "modified"], "columnOrder": ["name", "size", "modified"],
                                  "fontSize": 13})";
    defaults.setData(VelmoPreferencesStore::viewOptionsKey, legacy);
    const Options read = preferences.viewOptions();
    const QSet<FileEntryColumn> three {FileEntryColumn::modified, FileEntryColumn::size, FileEntryColumn::contents};
    EXPECT_EQ(read.visibleColumns, three);
    EXPECT_EQ(read.columnOrder, QStringList({"name", "contents", "size", "modified"}));
    EXPECT_EQ(read.fontSize, 13);
    const QByteArray written = *defaults.data(VelmoPreferencesStore::viewOptionsKey);
    EXPECT_EQ(Options::decode(written), read);
    EXPECT_EQ(preferences.viewOptions(), read);
    EXPECT_EQ(*defaults.data(VelmoPreferencesStore::viewOptionsKey), written);

    // An empty order beside the old set gets the whole standard order.
    defaults.setData(VelmoPreferencesStore::viewOptionsKey, R"({"visibleColumns": ["modified", "size"]})");
    EXPECT_EQ(preferences.viewOptions().columnOrder, QStringList({"name", "contents", "size", "modified"}));
}

TEST(CellText, NamesAndDatesFollowTheOptions)
{
    Options hidden;
    hidden.alwaysShowFileExtensions = false;
    const FileEntry file = makeFileEntry("/f", "report.final.pdf");
    const FileEntry folder = makeFileEntry("/f", "photos.2024", true);
    const FileEntry dotfile = makeFileEntry("/f", ".profile");
    EXPECT_EQ(FilePaneCellText::text(file, FileEntrySortColumn::name), "report.final.pdf");
    EXPECT_EQ(FilePaneCellText::text(file, FileEntrySortColumn::name, hidden), "report.final");
    EXPECT_EQ(FilePaneCellText::text(folder, FileEntrySortColumn::name, hidden), "photos.2024");
    EXPECT_EQ(FilePaneCellText::text(dotfile, FileEntrySortColumn::name, hidden), ".profile");

    // An edit of the stem gets its extension back; anything else stands as typed.
    EXPECT_EQ(FilePaneCellText::renamedFullName(" memo \n", file, hidden), "memo.pdf");
    EXPECT_EQ(FilePaneCellText::renamedFullName("memo", file, {}), "memo");
    EXPECT_EQ(FilePaneCellText::renamedFullName("  ", file, hidden), "");
    EXPECT_EQ(FilePaneCellText::renamedFullName("albums", folder, hidden), "albums");

    FileEntry dated = file;
    const QDateTime now = QDateTime::currentDateTime();
    dated.modificationDate = now.addSecs(-3 * 3600);
    Options relative;
    relative.useRelativeDates = true;
    EXPECT_EQ(FilePaneCellText::text(dated, FileEntrySortColumn::modified, relative, now), "3 hr. ago");
    EXPECT_NE(FilePaneCellText::text(dated, FileEntrySortColumn::modified, {}, now), "3 hr. ago");
}

TEST(RenameWordStop, StopsOnceBeforeTheExtensionAndTakesSpacedDashesWhole)
{
    using RenameWordStop::Move;
    using S = RenameWordStop::Selection;
    const QString text = "photo - final.jpeg"; // the stem ends at 13
    const FileEntry file = makeFileEntry("/f", text);
    struct Case {
        Move move;
        S selection;
        S standard; // what the editor would do on its own
        std::optional<S> expected;
    };
    const std::vector<Case> cases {
        {Move::right, {8, 8}, {18, 18}, S {13, 13}},
        {Move::right, {13, 13}, {18, 18}, std::nullopt},
        {Move::right, {0, 0}, {6, 6}, std::nullopt},
        {Move::left, {18, 18}, {8, 8}, S {13, 13}},
        {Move::rightExtending, {8, 10}, {8, 18}, S {8, 13}},
        {Move::rightExtending, {5, 8}, {5, 13}, S {8, 8}},
        {Move::leftExtending, {8, 8}, {0, 8}, S {5, 8}},
    };
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const Case& c = cases[i];
        EXPECT_EQ(RenameWordStop::adjusted(c.move, c.selection, c.standard, text, file, {}), c.expected) << "case " << i;
    }
    // Off for folders, names without an extension, and when the option is off.
    VelmoViewOptions off;
    off.stopOptionArrowBeforeFileExtension = false;
    EXPECT_FALSE(RenameWordStop::stemEnd(text, makeFileEntry("/f", text, true), {}));
    EXPECT_FALSE(RenameWordStop::stemEnd("photo", makeFileEntry("/f", "photo"), {}));
    EXPECT_FALSE(RenameWordStop::stemEnd(text, file, off));
}

class StorePreferences : public ::testing::Test {
protected:
    std::unique_ptr<VelmoStore> makeStore()
    {
        listing->folders[home.path()] = makeFileEntries(home.path(), {"b10.txt", "b9.txt", "a.txt", "Docs/"});
        VelmoStoreDependencies d = fakeStoreDependencies(defaults, listing);
        d.defaultFolderURL = home.path();
        auto store = std::make_unique<VelmoStore>(std::move(d));
        store->loadInitialPanes();
        listing->answerAll();
        return store;
    }
    TemporaryFolder home;
    std::shared_ptr<InMemoryDefaultsStore> defaults = std::make_shared<InMemoryDefaultsStore>();
    std::shared_ptr<FakeListingService> listing = std::make_shared<FakeListingService>();
};

TEST_F(StorePreferences, NewPanesTakeTheStoredColumnsAndArrangement)
{
    auto store = makeStore();
    Options options;
    options.arrangeColumn = FileEntrySortColumn::kind;
    options.arrangeAscending = false;
    options.visibleColumns = {FileEntryColumn::kind};
    options.smartSorting = false;
    store->setViewOptions(options);
    // Stored at once, and a later run starts from it.
    auto next = makeStore();
    EXPECT_EQ(next->viewOptions(), options);
    FilePaneStore* pane = next->pane(PaneID::right);
    EXPECT_EQ(pane->sortColumn(), FileEntrySortColumn::kind);
    EXPECT_FALSE(pane->sortAscending());
    EXPECT_EQ(pane->visibleColumns(), options.visibleColumns);
    EXPECT_FALSE(pane->smartSorting());
    EXPECT_EQ(StateDump::dump(*next)["viewOptions"].toObject(), options.toJson());
}

TEST_F(StorePreferences, ASortFlagChangeResortsEveryPaneWithoutListingAgain)
{
    auto store = makeStore();
    WindowTab* second = store->addTab();
    listing->answerAll();
    const std::size_t listed = listing->listedURLs.size();
    EXPECT_EQ(rowNames(*second->browserPanes()->leftPane()), QStringList({"Docs", "a.txt", "b9.txt", "b10.txt"}));

    Options options = store->viewOptions();
    options.smartSorting = false;
    store->setViewOptions(options);
    // Folders no longer go first, in every pane.
    const QStringList mixed {"a.txt", "b9.txt", "b10.txt", "Docs"};
    EXPECT_EQ(rowNames(*store->tabs()[0]->browserPanes()->rightPane()), mixed);
    EXPECT_EQ(rowNames(*second->browserPanes()->leftPane()), mixed);
    EXPECT_EQ(listing->listedURLs.size(), listed);
}

TEST_F(StorePreferences, ArrangingSortsTheActivePaneAndRestoringDefaultsUndoesIt)
{
    auto store = makeStore();
    store->activate(PaneID::right);
    FilePaneStore* left = store->pane(PaneID::left);
    FilePaneStore* right = store->pane(PaneID::right);
    store->updateArrangeColumn(FileEntrySortColumn::size);
    EXPECT_EQ(right->sortColumn(), FileEntrySortColumn::size);
    // Both panes show one folder, so they keep in step.
    EXPECT_EQ(left->sortColumn(), FileEntrySortColumn::size);
    store->updateArrangeAscending(false);
    EXPECT_FALSE(right->sortAscending());
    // None leaves every pane as it is.
    store->updateArrangeColumn(std::nullopt);
    EXPECT_EQ(right->sortColumn(), FileEntrySortColumn::size);

    // A header click: a new column sorts ascending, the same one turns the order.
    store->sortActivePane(FileEntrySortColumn::modified);
    EXPECT_EQ(right->sortColumn(), FileEntrySortColumn::modified);
    EXPECT_TRUE(right->sortAscending());
    store->sortActivePane(FileEntrySortColumn::modified);
    EXPECT_FALSE(right->sortAscending());

    store->setShowHiddenFiles(true);
    store->restoreViewOptionsDefaults();
    EXPECT_EQ(store->viewOptions(), Options::defaults());
    EXPECT_FALSE(store->showHiddenFiles());
    EXPECT_FALSE(right->showHiddenFiles());
    // The folder keeps the layout the user gave it.
    EXPECT_EQ(right->sortColumn(), FileEntrySortColumn::modified);
    EXPECT_FALSE(right->sortAscending());
}

} // namespace
