#include "App/StateDump.h"
#include "PathKit/FilePaths.h"
#include "State/FilePaneStore.h"
#include "TestSupport.h"
#include "Views/FilePaneTableModel.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QSignalSpy>

#include <gtest/gtest.h>

namespace {

using C = FileEntrySortColumn;

// Panes over real folders in a temporary folder, listed by the fake listing
// (so the test says when a listing lands) and walked on a manual executor (so
// the test says when each walk runs).
class FolderSizeFixture : public ::testing::Test {
protected:
    std::unique_ptr<FilePaneStore> makePane(const QString& folder, FilePaneStore::Configuration configuration = {})
    {
        FilePaneServices services;
        services.listing = listing;
        services.watcher = std::make_shared<FakeDirectoryWatcher>();
        services.clock = clock;
        services.folderSizes = walks;
        configuration.folderURL = folder;
        auto pane = std::make_unique<FilePaneStore>(PaneID::left, services, configuration);
        pane->startLoad(folder);
        listing->answerAll();
        return pane;
    }

    // Lists `names` of `folder` ("x/" is a folder), as the listing would.
    void offer(const QString& folder, const QStringList& names)
    {
        std::vector<FileEntry> entries = makeFileEntries(folder, names);
        for (FileEntry& entry : entries)
            if (!entry.isDirectory) entry.byteSize = QFileInfo(entry.url).size();
        listing->folders[folder] = entries;
    }

    void finishWalks()
    {
        while (!walks->queue.empty()) walks->runAll();
    }

    static std::optional<FolderSizeState> size(const FilePaneStore& pane, const QString& id)
    {
        const auto* state = pane.folderStates(id).size;
        return state ? std::optional(*state) : std::nullopt;
    }

    static QString sizeText(const FilePaneStore& pane, const QString& id)
    {
        for (const auto& entry : pane.entries())
            if (entry->id == id) return FilePaneCellText::text(*entry, C::size, {}, {}, pane.folderStates(id));
        return QStringLiteral("(no row)");
    }

    TemporaryFolder tmp;
    std::shared_ptr<FakeListingService> listing = std::make_shared<FakeListingService>();
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::shared_ptr<ManualExecutor> walks = std::make_shared<ManualExecutor>();
};

} // namespace

TEST_F(FolderSizeFixture, AutomaticSizesKeepToTheBudgetAndTheUserCommandFinishesThem)
{
    tmp.file("small/a", QByteArray(1000, 'a'));
    tmp.file("small/b", QByteArray(500, 'b'));
    for (int i = 0; i < 501; ++i) tmp.file(QStringLiteral("big/f%1").arg(i), "x");
    tmp.folder("empty");
    tmp.file("note.txt", "hello");
    offer(tmp.path(), {"big/", "empty/", "small/", "note.txt"});
    auto pane = makePane(tmp.path());
    EXPECT_EQ(sizeText(*pane, tmp / "big"), "Calculating...");
    finishWalks();
    EXPECT_EQ(size(*pane, tmp / "big"), FolderSizeState::skipped());
    EXPECT_EQ(size(*pane, tmp / "empty"), FolderSizeState::calculated(0));
    EXPECT_EQ(size(*pane, tmp / "small"), FolderSizeState::calculated(1500));
    EXPECT_EQ(sizeText(*pane, tmp / "big"), "--");
    EXPECT_EQ(sizeText(*pane, tmp / "empty"), "0 KB");
    EXPECT_EQ(sizeText(*pane, tmp / "small"), "2 KB");

    // The user's command shows in the activity strip, and its Cancel stops it.
    pane->calculateFolderSizesForVisibleFolders();
    ASSERT_EQ(pane->activityItems().size(), 1u);
    const FileActivityItem item = pane->activityItems().front();
    EXPECT_EQ(item.title + ", " + item.detail, "Calculating Folder Sizes, 3 folders left");
    pane->cancelActivity(item.id);
    EXPECT_FALSE(pane->isCalculatingFolderSizes());
    EXPECT_TRUE(pane->activityItems().empty());

    pane->calculateFolderSizesForVisibleFolders();
    finishWalks();
    EXPECT_EQ(size(*pane, tmp / "big"), FolderSizeState::calculated(501));
    EXPECT_TRUE(pane->activityItems().empty());
    EXPECT_FALSE(pane->isCalculatingFolderSizes());

    // The dump says it per folder row, and only there (rows: big, empty, small, note.txt).
    const QJsonArray rows = StateDump::dumpPane(*pane, {})["rows"].toArray();
    EXPECT_EQ(rows[0].toObject()["folderSizeState"].toObject(), (QJsonObject {{"state", "calculated"}, {"bytes", 501}}));
    EXPECT_FALSE(rows[3].toObject().contains("folderSizeState"));
}

TEST_F(FolderSizeFixture, LateWalksAreDroppedAndReloadsResumeTheScan)
{
    tmp.file("a/x/f", "12345");
    tmp.file("b/y/f", "123");
    tmp.file("b/z/f", "1");
    offer(tmp / "a", {"x/"});
    offer(tmp / "b", {"y/", "z/"});
    auto pane = makePane(tmp / "a");
    ASSERT_FALSE(walks->queue.empty()); // x's walk waits
    pane->navigate(tmp / "b");
    listing->answerAll();
    finishWalks();
    EXPECT_FALSE(size(*pane, tmp / "a/x"));
    EXPECT_EQ(size(*pane, tmp / "b/y"), FolderSizeState::calculated(3));

    // A reload while a walk waits: the walk is cancelled, the state merged, the folder walked again.
    pane->calculateFolderSizesForVisibleFolders();
    EXPECT_EQ(size(*pane, tmp / "b/y"), FolderSizeState::calculating());
    pane->startLoad(tmp / "b");
    listing->answerAll();
    finishWalks();
    EXPECT_EQ(size(*pane, tmp / "b/y"), FolderSizeState::calculated(3));
    EXPECT_EQ(size(*pane, tmp / "b/z"), FolderSizeState::calculated(1));
    EXPECT_FALSE(pane->isCalculatingFolderSizes());
}

TEST_F(FolderSizeFixture, SizeSortedFolderComesUpOnceInItsFinalOrder)
{
    tmp.file("f/a/x", QByteArray(3000, 'a'));
    tmp.file("f/b/x", QByteArray(1000, 'b'));
    tmp.file("f/c/x", QByteArray(2000, 'c'));
    tmp.file("f/m.txt", QByteArray(1500, 'm'));
    offer(tmp / "f", {"a/", "b/", "c/", "m.txt"});
    FilePaneStore::Configuration sortedBySize;
    sortedBySize.sortColumn = C::size;
    sortedBySize.sortAscending = false;
    auto pane = makePane(tmp / "f", sortedBySize);
    QSignalSpy rows(pane.get(), &FilePaneStore::rowsChanged);
    EXPECT_TRUE(pane->treeRows().empty()); // the listing waits for its sizes
    walks->runAll();
    EXPECT_EQ(rowNames(*pane), QStringList({"a", "c", "m.txt", "b"}));
    EXPECT_EQ(rows.count(), 1);
    EXPECT_TRUE(walks->queue.empty()); // nothing left to calculate, nothing will move

    // Sizes that come later, one by one: each finished one moves its row once.
    offer(tmp / "f", {"a/", "b/", "c/", "m.txt"});
    auto byName = makePane(tmp / "f");
    finishWalks();
    for (const QString& id : {tmp / "f/a", tmp / "f/b", tmp / "f/c"}) EXPECT_TRUE(size(*byName, id));
    byName->cancelFolderSizeScan(FolderStateDisposal::clear);
    byName->sort(C::size);
    EXPECT_EQ(rowNames(*byName), QStringList({"m.txt", "a", "b", "c"})); // unknown sizes last, by name
    byName->scheduleSmartFolderSizeScan();
    ASSERT_FALSE(walks->queue.empty());
    walks->runAll(); // a
    EXPECT_EQ(rowNames(*byName), QStringList({"m.txt", "a", "b", "c"}));
    walks->runAll(); // b
    EXPECT_EQ(rowNames(*byName), QStringList({"b", "m.txt", "a", "c"}));
    finishWalks();
    EXPECT_EQ(rowNames(*byName), QStringList({"b", "m.txt", "c", "a"}));
}

TEST_F(FolderSizeFixture, AutomaticPathStandsDownWhereItWouldWalkTooMuch)
{
    for (const QString& broad : {QStringLiteral("/usr/"), QDir::homePath(), FilePaths::parent(QDir::homePath())})
        EXPECT_TRUE(FilePaneStore::isBroadFolderSizeScanRoot(broad)) << broad.toStdString();
    EXPECT_FALSE(FilePaneStore::isBroadFolderSizeScanRoot(QDir::homePath() + "/Music"));

    // A broad root: nothing unasked; the user's command walks (here into nothing).
    offer("/usr", {"velmo-no-such-folder/"});
    auto broad = makePane("/usr");
    EXPECT_TRUE(walks->queue.empty());
    broad->calculateFolderSizesForVisibleFolders();
    finishWalks();
    EXPECT_EQ(size(*broad, "/usr/velmo-no-such-folder"), FolderSizeState::failed());
    EXPECT_EQ(sizeText(*broad, "/usr/velmo-no-such-folder"), "--");

    // 41 folders: nothing unasked.
    QStringList many;
    for (int i = 0; i < 41; ++i) many << QStringLiteral("d%1/").arg(i);
    offer(tmp / "many", many);
    auto crowded = makePane(tmp / "many");
    EXPECT_TRUE(walks->queue.empty());
    EXPECT_TRUE(crowded->folderSizeStates().isEmpty());

    // Hiding the column stops the scan and drops what was unfinished; showing it resumes.
    tmp.file("two/p/f", "1");
    tmp.file("two/q/f", "22");
    offer(tmp / "two", {"p/", "q/"});
    auto pane = makePane(tmp / "two");
    walks->runAll(); // p done, q waiting
    const QSet<FileEntryColumn> shown = pane->visibleColumns();
    pane->setVisibleColumns({FileEntryColumn::kind});
    finishWalks();
    EXPECT_EQ(size(*pane, tmp / "two/p"), FolderSizeState::calculated(1));
    EXPECT_FALSE(size(*pane, tmp / "two/q"));
    pane->setVisibleColumns(shown);
    finishWalks();
    EXPECT_EQ(size(*pane, tmp / "two/q"), FolderSizeState::calculated(2));
}

TEST(FolderContentCountText, CompactNumbersAndCells)
{
    const std::pair<qint64, const char*> table[] = {
        {0, "0"},      {999, "999"},   {1000, "1K"},       {1250, "1.3K"},     {9999, "10K"},
        {10500, "10K"}, {999'999, "999K"}, {1'500'000, "1.5M"}, {12'345'678, "12M"},
    };
    for (const auto& [n, text] : table) EXPECT_EQ(FilePaneCellText::compactCount(n), text) << n;
    const FileEntry folder = makeFileEntry("/f", "d", true);
    const auto counted = FolderContentCountState::calculated({1250, 3});
    const auto counting = FolderContentCountState::calculating();
    const auto failed = FolderContentCountState::failed();
    EXPECT_EQ(FilePaneCellText::contents(folder, &counted), "1.3K - 3");
    EXPECT_EQ(FilePaneCellText::contents(folder, &counting), "...");
    EXPECT_EQ(FilePaneCellText::contents(folder, &failed), "--");
    EXPECT_EQ(FilePaneCellText::contents(makeFileEntry("/f", "x"), &counted), "--");
    const auto progress = FolderSizeState::calculating(2'500'000);
    EXPECT_EQ(FilePaneCellText::size(folder, &progress), "2.5 MB...");
}

TEST_F(FolderSizeFixture, FoldersSortByWhatTheyHoldAndCountsFollowHiddenFiles)
{
    for (const char* name : {"five/1", "five/2", "five/3", "one/1", "one/.dot"}) tmp.file(name);
    tmp.folder("five/s1");
    tmp.folder("five/s2");
    tmp.folder("empty");
    offer(tmp.path(), {"empty/", "five/", "gone/", "one/"});
    FilePaneStore::Configuration byContents;
    byContents.sortColumn = C::contents;
    byContents.sortAscending = false;
    byContents.visibleColumns = {FileEntryColumn::contents};
    auto pane = makePane(tmp.path(), byContents);
    walks->runAll();
    EXPECT_EQ(rowNames(*pane), QStringList({"five", "one", "empty", "gone"}));
    const auto text = [&](const char* name) {
        return FilePaneCellText::contents(makeFileEntry(tmp.path(), name, true), pane->folderStates(tmp / name).contents);
    };
    EXPECT_EQ(text("five"), "3 - 2");
    EXPECT_EQ(text("empty"), "0 - 0");
    EXPECT_EQ(text("gone"), "--");

    pane->setShowHiddenFiles(true);
    EXPECT_FALSE(pane->folderStates(tmp / "one").contents); // counts start over
    listing->answerAll();
    finishWalks();
    EXPECT_EQ(text("one"), "2 - 0");
}

TEST_F(FolderSizeFixture, TableRedrawsOnlyTheSizeCellOfAChangedFolder)
{
    tmp.file("d/x", "123");
    tmp.file("e/x", "1");
    tmp.file("n.txt", "1");
    offer(tmp.path(), {"d/", "e/", "n.txt"});
    FilePaneStore::Configuration configuration;
    configuration.visibleColumns = {FileEntryColumn::size, FileEntryColumn::kind};
    auto pane = makePane(tmp.path(), configuration);
    FilePaneTableModel model(pane.get());
    QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
    QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
    QSignalSpy layouts(&model, &QAbstractItemModel::layoutChanged);
    finishWalks(); // d: calculating, progress, calculated; then e likewise
    const int sizeColumn = model.sectionOfSortColumn(C::size);
    ASSERT_GE(changed.count(), 2);
    for (const auto& signal : changed) {
        const auto from = signal[0].toModelIndex(), to = signal[1].toModelIndex();
        EXPECT_EQ(from, to);
        EXPECT_EQ(from.column(), sizeColumn);
        EXPECT_TRUE(model.row(from.row())->entry->isDirectory);
    }
    EXPECT_EQ(model.data(model.index(model.rowOfEntry(tmp / "d"), sizeColumn), Qt::DisplayRole).toString(), "3 bytes");
    EXPECT_EQ(resets.count() + layouts.count(), 0);

    // Without the column on show, a change redraws nothing.
    pane->setVisibleColumns({FileEntryColumn::kind});
    changed.clear();
    pane->calculateFolderSizesForVisibleFolders();
    finishWalks();
    EXPECT_EQ(changed.count(), 0);
}
