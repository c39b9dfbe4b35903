#include "App/StateDump.h"
#include "State/VelmoStore.h"
#include "Support/InMemoryDefaultsStore.h"
#include "TestSupport.h"
#include "Views/FilePaneTableModel.h"
#include "Views/FilePaneView.h"
#include "Views/MainWindow.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QLabel>
#include <QHeaderView>
#include <QLineEdit>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTabBar>
#include <QTableView>
#include <QToolButton>

#include <gtest/gtest.h>

namespace {

class WindowFixture : public ::testing::Test {
protected:
    WindowFixture()
    {
        listing->folders["/w"] = {makeFileEntry("/w", "docs", true), makeFileEntry("/w", "b.txt", false, 300'000),
                                  makeFileEntry("/w", "a.txt", false, 1'200'000)};
        listing->folders["/w/docs"] = makeFileEntries("/w/docs", {"inner.txt"});
        VelmoStoreDependencies d = fakeStoreDependencies(std::make_shared<InMemoryDefaultsStore>(), listing);
        d.clock = clock;
        d.initialFolders = {"/w"};
        store = std::make_unique<VelmoStore>(std::move(d));
        window = std::make_unique<MainWindow>(store.get());
        window->resize(1600, 760); // room for every column beside the sidebar
        window->show();
        store->loadInitialPanes();
        listing->answerAll();
    }

    FilePaneView* leftView() { return window->findChild<FilePaneView*>("leftPane"); }
    QStringList selectedNames(FilePaneView* view)
    {
        QStringList names;
        for (const auto& entry : view->store()->selectedEntries()) names << entry->name;
        return names;
    }
    QStringList shownNames(FilePaneView* view)
    {
        QStringList names;
        auto* model = view->table()->model();
        for (int r = 0; r < model->rowCount(); ++r) names << model->index(r, 0).data().toString();
        return names;
    }

    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::shared_ptr<FakeListingService> listing = std::make_shared<FakeListingService>();
    std::unique_ptr<VelmoStore> store;
    std::unique_ptr<MainWindow> window;
};

} // namespace

TEST_F(WindowFixture, ReturnOpensAFolderAndTheButtonsWalkHistory)
{
    FilePaneView* left = leftView();
    EXPECT_EQ(shownNames(left), QStringList({"docs", "a.txt", "b.txt"}));
    left->store()->setSelectedEntryIDs({"/w/docs"});
    QTest::keyClick(left->table(), Qt::Key_Return);
    listing->answerAll();
    EXPECT_EQ(left->store()->currentURL(), "/w/docs");
    EXPECT_EQ(shownNames(left), QStringList({"inner.txt"}));
    auto* back = left->findChild<QToolButton*>("back");
    ASSERT_TRUE(back->isEnabled());
    back->click();
    listing->answerAll();
    EXPECT_EQ(left->store()->currentURL(), "/w");
    EXPECT_EQ(left->store()->selectedEntryIDs(), QSet<QString>({"/w/docs"}));
    EXPECT_EQ(window->tabBar()->tabText(0), "w");
}

TEST_F(WindowFixture, AFailedFolderShowsItsReasonInPlaceOfTheList)
{
    FilePaneView* left = leftView();
    left->store()->navigate("/w/gone");
    listing->answerAll();
    auto* failure = left->findChild<QLabel*>("failure");
    ASSERT_TRUE(failure);
    EXPECT_TRUE(failure->isVisible());
    EXPECT_EQ(failure->text(), "Not a folder: /w/gone");
    EXPECT_FALSE(left->table()->isVisible());
}

TEST_F(WindowFixture, RefreshesBecomeRowEditsNotResets)
{
    FilePaneView* left = leftView();
    auto* model = left->model();
    listing->folders["/w"] = makeFileEntries("/w", {"docs/", "b.txt", "c.txt"});
    left->store()->startLoad("/w");
    listing->answerAll();
    EXPECT_EQ(shownNames(left), QStringList({"docs", "b.txt", "c.txt"}));
    EXPECT_EQ(model->updateCounts().resets, 0);
    EXPECT_EQ(model->updateCounts().removed, 1);
    EXPECT_EQ(model->updateCounts().inserted, 1);

    QSignalSpy layout(model, &QAbstractItemModel::layoutChanged);
    left->store()->sort(FileEntrySortColumn::name);
    EXPECT_EQ(layout.count(), 1);
    EXPECT_EQ(shownNames(left), QStringList({"docs", "c.txt", "b.txt"}));
}

TEST_F(WindowFixture, UnfoldingAFolderOfTenThousandInsertsOneRunAndKeepsSelectionAndScroll)
{
    QStringList names, many;
    for (int i = 0; i < 200; ++i) names << QStringLiteral("f%1/").arg(i, 3, 10, QLatin1Char('0'));
    for (int i = 0; i < 10'000; ++i) many << QStringLiteral("item%1").arg(i);
    listing->folders["/big"] = makeFileEntries("/big", names);
    listing->folders["/big/f100"] = makeFileEntries("/big/f100", many);
    FilePaneView* left = leftView();
    auto* model = left->model();
    QScrollBar* scroll = left->table()->verticalScrollBar();
    left->store()->navigate("/big");
    listing->answerAll();
    left->store()->setSelectedEntryIDs({"/big/f100", "/big/f150"});
    left->table()->scrollTo(model->index(90, 0), QAbstractItemView::PositionAtTop);
    const int offset = scroll->value();

    QSignalSpy inserted(model, &QAbstractItemModel::rowsInserted);
    QSignalSpy removed(model, &QAbstractItemModel::rowsRemoved);
    QSignalSpy reset(model, &QAbstractItemModel::modelReset);
    left->table()->setFocus();
    QTest::keyClick(left->table(), Qt::Key_Right);
    listing->answerAll();
    ASSERT_EQ(model->rowCount(), 10'200);
    EXPECT_EQ(model->index(101, 0).data(FilePaneTableModel::DepthRole).toInt(), 1);
    QTest::keyClick(left->table(), Qt::Key_Left);
    left->store()->expandInlineFolder(*left->store()->selectedEntries().front());
    listing->answerAll();
    EXPECT_EQ(inserted.count(), 2);
    EXPECT_EQ(removed.count(), 1);
    EXPECT_EQ(reset.count(), 0);
    EXPECT_EQ(scroll->value(), offset);
    EXPECT_EQ(selectedNames(left), QStringList({"f100", "f150"}));
    EXPECT_EQ(left->table()->selectionModel()->selectedRows().size(), 2);
    const QJsonObject dump = StateDump::dumpPane(*left->store(), {});
    EXPECT_EQ(dump["expandedFolders"].toArray(), QJsonArray({"/big/f100"}));
    EXPECT_EQ(dump["rows"].toArray()[100].toObject()["expansion"].toString(), "expanded");
    EXPECT_EQ(dump["rows"].toArray()[101].toObject()["depth"].toInt(), 1);

    // The triangle folds on a click, without selecting the row.
    const QRect cell = left->table()->visualRect(model->index(100, 0));
    QTest::mouseClick(left->table()->viewport(), Qt::LeftButton, {}, QPoint(cell.left() + 8, cell.center().y()));
    EXPECT_EQ(model->rowCount(), 200);
    EXPECT_EQ(selectedNames(left), QStringList({"f100", "f150"}));
}

TEST_F(WindowFixture, SelectionAndFilterFlowBetweenViewAndStore)
{
    FilePaneView* left = leftView();
    left->table()->selectRow(1);
    EXPECT_EQ(left->store()->selectedEntryIDs(), QSet<QString>({"/w/a.txt"}));
    left->findChild<QLineEdit*>("filter")->setText("b");
    EXPECT_EQ(shownNames(left), QStringList({"b.txt"}));
    EXPECT_TRUE(left->store()->selectedEntryIDs().isEmpty());
    left->store()->setSelectedEntryIDs({"/w/b.txt"});
    EXPECT_EQ(left->table()->selectionModel()->selectedRows().size(), 1);
}

TEST_F(WindowFixture, HomeAndEndSelectTheFirstAndLastRowAndShiftExtends)
{
    FilePaneView* left = leftView();
    QTableView* table = left->table();
    table->setCurrentIndex(left->model()->index(1, 2));
    QTest::keyClick(table, Qt::Key_End);
    EXPECT_EQ(selectedNames(left), QStringList({"b.txt"}));
    EXPECT_EQ(table->horizontalScrollBar()->value(), 0);
    QTest::keyClick(table, Qt::Key_Home);
    EXPECT_EQ(selectedNames(left), QStringList({"docs"}));
    QTest::keyClick(table, Qt::Key_End, Qt::ShiftModifier);
    EXPECT_EQ(selectedNames(left), QStringList({"docs", "a.txt", "b.txt"}));
    QTest::keyClick(table, Qt::Key_Up);
    QTest::keyClick(table, Qt::Key_Home, Qt::ShiftModifier);
    EXPECT_EQ(selectedNames(left), QStringList({"docs", "a.txt"}));
}

TEST_F(WindowFixture, TypingSelectsByNameWhicheverCellHasTheFocus)
{
    FilePaneView* left = leftView();
    QTableView* table = left->table();
    // The focus sits in the Kind column, whose text for a.txt ("Document") also starts with "d".
    const int kind = left->model()->sectionOfSortColumn(FileEntrySortColumn::kind);
    table->setCurrentIndex(left->model()->index(1, kind));
    QTest::keyClicks(table, "do");
    EXPECT_EQ(selectedNames(left), QStringList({"docs"}));
    QTest::keyClick(table, Qt::Key_X);
    EXPECT_EQ(selectedNames(left), QStringList({"docs"}));

    // After a pause the search starts over; case does not matter.
    clock->advanceMilliseconds(QApplication::keyboardInputInterval() + 1);
    QTest::keyClick(table, Qt::Key_B, Qt::ShiftModifier);
    EXPECT_EQ(selectedNames(left), QStringList({"b.txt"}));
}

TEST_F(WindowFixture, BackAndUpReturnToTheScrollPositionLeft)
{
    QStringList names;
    for (int i = 0; i < 300; ++i) names << QStringLiteral("f%1/").arg(i, 3, 10, QLatin1Char('0'));
    listing->folders["/big"] = makeFileEntries("/big", names);
    listing->folders["/big/f150"] = makeFileEntries("/big/f150", {"inner.txt"});
    FilePaneView* left = leftView();
    QScrollBar* scroll = left->table()->verticalScrollBar();
    left->store()->navigate("/big");
    listing->answerAll();
    ASSERT_EQ(left->model()->rowCount(), 300);
    left->store()->setSelectedEntryIDs({"/big/f150"});
    left->table()->scrollTo(left->model()->index(140, 0), QAbstractItemView::PositionAtTop);
    const int offset = scroll->value();
    ASSERT_GT(offset, 0);
    QTest::keyClick(left->table(), Qt::Key_Return);
    listing->answerAll();
    EXPECT_EQ(left->store()->currentURL(), "/big/f150");
    EXPECT_EQ(scroll->value(), 0);
    left->store()->goBack();
    listing->answerAll();
    EXPECT_EQ(scroll->value(), offset);

    // Up also restores, and the folder it selects (the one left) stays in sight.
    left->store()->navigate("/big/f150");
    listing->answerAll();
    scroll->setValue(scroll->maximum());
    left->store()->goUp();
    listing->answerAll();
    EXPECT_EQ(scroll->value(), offset);
    EXPECT_EQ(selectedNames(left), QStringList({"f150"}));

    // A new folder opened from elsewhere starts at the top.
    left->store()->setSelectedEntryIDs({});
    left->store()->navigate("/w");
    listing->answerAll();
    left->store()->navigate("/big");
    listing->answerAll();
    EXPECT_EQ(scroll->value(), 0);
}

TEST_F(WindowFixture, TheStatusLineCountsTheRowsAndWeighsTheSelectedFiles)
{
    FilePaneView* left = leftView();
    auto* status = left->findChild<QLabel*>("status");
    ASSERT_TRUE(status);
    EXPECT_EQ(status->text(), "3 items");
    const struct {
        QSet<QString> selection;
        const char* text;
    } cases[] = {
        {{"/w/a.txt"}, "1 of 3 selected, 1.2 MB"},
        {{"/w/docs"}, "1 of 3 selected"},
        {{"/w/docs", "/w/a.txt", "/w/b.txt"}, "3 of 3 selected, 1.5 MB"},
        {{}, "3 items"},
    };
    for (const auto& c : cases) {
        left->store()->setSelectedEntryIDs(c.selection);
        EXPECT_EQ(status->text(), c.text);
    }
    left->findChild<QLineEdit*>("filter")->setText("b");
    EXPECT_EQ(status->text(), "1 item");

    // The free space of a real folder arrives from the background.
    TemporaryFolder folder;
    listing->folders[folder.path()] = {};
    left->store()->navigate(folder.path());
    listing->answerAll();
    EXPECT_EQ(status->text(), "0 items");
    auto* space = left->findChild<QLabel*>("statusSpace");
    EXPECT_TRUE(waitUntil([&] { return space->text().endsWith(" available"); })) << space->text().toStdString();
}

TEST_F(WindowFixture, TheNameColumnTakesTheFreeWidthAndUserWidthsAreKept)
{
    FilePaneView* left = leftView();
    left->store()->setVisibleColumns({FileEntryColumn::size, FileEntryColumn::modified, FileEntryColumn::kind});
    QHeaderView* header = left->table()->horizontalHeader();
    auto total = [&] { return header->length(); };
    const int width = left->table()->viewport()->width();
    EXPECT_EQ(total(), width);
    EXPECT_FALSE(left->table()->horizontalScrollBar()->isVisible());

    const int size = left->model()->sectionOfSortColumn(FileEntrySortColumn::size);
    header->resizeSection(size, 120);
    EXPECT_EQ(left->store()->columnWidths().value("size"), 120);
    EXPECT_EQ(header->sectionSize(size), 120);
    EXPECT_EQ(total(), width);

    // Moving Name's edge trades width with the column beside it, down to Name's minimum.
    header->resizeSection(0, header->sectionSize(0) - 20);
    EXPECT_EQ(left->store()->columnWidths().value("size"), 140);
    EXPECT_EQ(total(), width);
    header->resizeSection(0, 20);
    EXPECT_EQ(header->sectionSize(0), 180);
    EXPECT_EQ(total(), width);

    // A column shown later leaves the others' widths alone.
    left->store()->setVisibleColumns({FileEntryColumn::size, FileEntryColumn::kind});
    EXPECT_EQ(header->sectionSize(left->model()->sectionOfSortColumn(FileEntrySortColumn::size)),
              left->store()->columnWidths().value("size"));
    EXPECT_EQ(left->store()->columnWidths().keys(), QStringList({"size"}));
    EXPECT_EQ(total(), width);
}

TEST_F(WindowFixture, TabMovesToTheOtherPaneAndMakesItActive)
{
    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    FilePaneView* left = leftView();
    left->focusList();
    QTest::keyClick(left->table(), Qt::Key_Tab);
    EXPECT_EQ(store->activePaneID(), PaneID::right);
    auto* right = window->findChild<FilePaneView*>("rightPane");
    QTest::keyClick(right->table(), Qt::Key_Tab);
    EXPECT_EQ(store->activePaneID(), PaneID::left);
}

TEST_F(WindowFixture, TabsFollowTheStore)
{
    store->addTab();
    listing->answerAll();
    store->openSettingsTab();
    EXPECT_EQ(window->tabBar()->tabText(2), "Settings");
    store->closeTab(store->activeTabID());
    EXPECT_EQ(window->tabBar()->count(), 2);
    EXPECT_EQ(window->tabBar()->currentIndex(), 1);
}

TEST_F(WindowFixture, TheStateDumpShowsWhatTheListShows)
{
    FilePaneView* left = leftView();
    VelmoViewOptions options;
    options.alwaysShowFileExtensions = false;
    options.useRelativeDates = true;
    store->setViewOptions(options);
    left->store()->setSelectedEntryIDs({"/w/b.txt", "/w/docs"});
    left->store()->setVisibleColumns({FileEntryColumn::size, FileEntryColumn::modified, FileEntryColumn::kind});
    left->store()->setColumnOrder({"kind", "size"});
    const QJsonObject pane = StateDump::dump(*store)["tabs"].toArray()[0].toObject()["left"].toObject();
    EXPECT_EQ(pane["folder"].toString(), "/w");
    EXPECT_EQ(pane["selection"].toArray(), QJsonArray({"/w/docs", "/w/b.txt"}));

    // Every cell as the table shows it, in the table's column order.
    QStringList columns;
    for (const auto& column : pane["columns"].toArray()) columns << column.toString();
    EXPECT_EQ(columns, QStringList({"name", "kind", "size", "modified"}));
    const QJsonArray rows = pane["rows"].toArray();
    const auto* model = left->model();
    ASSERT_EQ(rows.size(), model->rowCount());
    ASSERT_EQ(columns.size(), model->columnCount());
    for (int r = 0; r < model->rowCount(); ++r) {
        const QJsonObject cells = rows[r].toObject()["cells"].toObject();
        for (int c = 0; c < model->columnCount(); ++c)
            EXPECT_EQ(cells[columns[c]].toString(), model->index(r, c).data().toString()) << r << ' ' << c;
    }
    EXPECT_EQ(rows[1].toObject()["cells"].toObject()["name"].toString(), "a"); // as the options show it
}

TEST_F(WindowFixture, ViewOptionsRestyleRowsInPlaceAndHeaderClicksSortThroughTheApp)
{
    FilePaneView* left = leftView();
    auto* model = left->model();
    QSignalSpy resets(model, &QAbstractItemModel::modelReset);
    const std::size_t listed = listing->listedURLs.size();
    VelmoViewOptions options;
    options.alwaysShowFileExtensions = false;
    options.boldFolders = true;
    options.fontSize = 16;
    options.rowSpacing = 6;
    store->setViewOptions(options);
    EXPECT_EQ(shownNames(left), QStringList({"docs", "a", "b"}));
    EXPECT_TRUE(model->index(0, 0).data(Qt::FontRole).value<QFont>().bold());
    EXPECT_FALSE(model->index(1, 0).data(Qt::FontRole).value<QFont>().bold());
    EXPECT_EQ(model->updateCounts().changed, 3);
    EXPECT_EQ(resets.count(), 0);
    EXPECT_EQ(listing->listedURLs.size(), listed);
    EXPECT_EQ(left->table()->rowHeight(0), std::max(18, QFontMetrics(left->table()->font()).height()) + 10);

    // A click on the inactive pane's header makes it active and sorts it.
    FilePaneView* right = window->findChild<FilePaneView*>("rightPane");
    ASSERT_EQ(store->activePaneID(), PaneID::left);
    QHeaderView* header = right->table()->horizontalHeader();
    QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, QPoint(header->sectionViewportPosition(0) + 5, 5));
    EXPECT_EQ(store->activePaneID(), PaneID::right);
    EXPECT_FALSE(right->store()->sortAscending());
    EXPECT_EQ(shownNames(right), QStringList({"docs", "b", "a"}));
}

TEST(PaneViewOptions, WithExtensionsHiddenARenameEditsTheStemAndKeepsTheExtension)
{
    TemporaryFolder folder;
    folder.file("report.pdf");
    auto defaults = std::make_shared<InMemoryDefaultsStore>();
    defaults->setData("velmo.viewOptions", R"({"alwaysShowFileExtensions": false})");
    VelmoStoreDependencies d;
    d.defaults = defaults;
    d.directoryWatcherFactory = [](PaneID) { return std::make_shared<FakeDirectoryWatcher>(); };
    d.initialFolders = {folder.path()};
    VelmoStore store(std::move(d));
    MainWindow window(&store);
    window.show();
    store.loadInitialPanes();
    auto* view = window.findChild<FilePaneView*>("leftPane");
    ASSERT_TRUE(waitUntil([&] { return view->model()->rowCount() == 1; }));

    FilePaneTableView* table = view->table();
    table->beginRename(folder / "report.pdf");
    ASSERT_TRUE(table->isRenaming());
    EXPECT_EQ(table->renameEditor()->text(), "report");
    EXPECT_EQ(table->renameEditor()->selectedText(), "report");
    QTest::keyClicks(table->renameEditor(), "memo");
    QTest::keyClick(table->renameEditor(), Qt::Key_Return);
    EXPECT_TRUE(QFileInfo::exists(folder / "memo.pdf"));
    EXPECT_FALSE(QFileInfo::exists(folder / "report.pdf"));
    ASSERT_TRUE(waitUntil([&] { return view->model()->index(0, 0).data().toString() == "memo"; }));
    store.teardown();
}
