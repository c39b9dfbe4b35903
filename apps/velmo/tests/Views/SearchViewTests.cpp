#include "App/StateDump.h"
#include "Services/FreedesktopTrash.h"
#include "Services/InMemoryFilePasteboard.h"
#include "Services/WorkspaceFileActionService.h"
#include "State/SearchSession.h"
#include "State/VelmoStore.h"
#include "Support/InMemoryDefaultsStore.h"
#include "TestSupport.h"
#include "Views/MainWindow.h"
#include "Views/SearchResultsModel.h"
#include "Views/SearchView.h"

#include <QJsonArray>
#include <QLineEdit>
#include <QTableView>
#include <QTest>

#include <gtest/gtest.h>

namespace {

// A window on a real folder whose search tabs search it for real (outside the home
// folder, so by walking); trash goes to a folder of the test's own.
class SearchViews : public ::testing::Test {
protected:
    SearchViews()
    {
        for (const char* name : {"Reports/2024/Report March.txt", "Reports/report-april.txt", "notes/REPORT.md", "other.txt"})
            tmp.file(name, "x");
        d.defaults = defaults;
        d.directoryWatcherFactory = [](PaneID) { return std::make_shared<FakeDirectoryWatcher>(); };
        d.pasteboard = pasteboard;
        auto actions = std::make_shared<WorkspaceFileActionService>(pasteboard, FreedesktopTrash(trash.path()));
        d.fileActionServiceFactory = [actions](PaneID) { return actions; };
        d.initialFolders = {tmp.path(), tmp.path()};
        d.homeFolderURL = tmp.path();
        d.restoresSession = true;
        open();
    }
    ~SearchViews() override { store->teardown(); }

    void open()
    {
        store = std::make_unique<VelmoStore>(VelmoStoreDependencies(d));
        window = std::make_unique<MainWindow>(store.get());
        window->show();
        window->activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(window.get()));
        store->loadInitialPanes();
        EXPECT_TRUE(waitUntil([this] { return !store->pane(PaneID::left)->isLoading(); }));
    }
    void search(const QString& query)
    {
        view = window->findChild<SearchView*>();
        ASSERT_TRUE(view);
        view->queryField()->setText(query);
        QTest::keyClick(view->queryField(), Qt::Key_Return);
        session = store->activeTab()->searchSession();
        ASSERT_TRUE(waitUntil([this] { return !session->isSearching(); }));
    }
    QStringList shownNames() const
    {
        QStringList names;
        for (int row = 0; row < view->model()->rowCount(); ++row) names << view->model()->resultAt(row)->name;
        return names;
    }
    void selectRows(const QStringList& names)
    {
        view->resultList()->clearSelection();
        for (int row = 0; row < view->model()->rowCount(); ++row)
            if (names.contains(view->model()->resultAt(row)->name))
                view->resultList()->selectionModel()->select(view->model()->index(row, 0),
                                                            QItemSelectionModel::Select | QItemSelectionModel::Rows);
    }

    TemporaryFolder tmp;
    TemporaryFolder trash;
    std::shared_ptr<InMemoryDefaultsStore> defaults = std::make_shared<InMemoryDefaultsStore>();
    std::shared_ptr<InMemoryFilePasteboard> pasteboard = std::make_shared<InMemoryFilePasteboard>();
    VelmoStoreDependencies d;
    std::unique_ptr<VelmoStore> store;
    std::unique_ptr<MainWindow> window;
    SearchView* view = nullptr;
    SearchSession* session = nullptr;
};

} // namespace

TEST_F(SearchViews, FindSearchesThePaneFolderAndTheTabOutlivesARestartAndAClose)
{
    QTest::keyClick(window.get(), Qt::Key_F, Qt::ControlModifier);
    ASSERT_TRUE(store->activeTab()->searchSession());
    EXPECT_EQ(store->activeTab()->searchSession()->folderURL(), tmp.path());
    search("report");
    // Case, punctuation and folders alike; once the search has ended, in the session's order.
    QStringList sorted;
    for (const auto& result : session->sortedResults()) sorted << result.name;
    EXPECT_EQ(shownNames(), sorted);
    sorted.sort();
    EXPECT_EQ(sorted, (QStringList {"REPORT.md", "Report March.txt", "Reports", "report-april.txt"}));
    EXPECT_EQ(store->activeTab()->title(), "Search: report");
    const QJsonObject dumped = StateDump::dump(*store).value("tabs").toArray().at(1).toObject();
    EXPECT_EQ(dumped.value("search").toObject().value("resultCount").toInt(), 4);
    EXPECT_EQ(dumped.value("search").toObject().value("status").toString().left(29), "4 items, deep scan complete, ");

    // Copy puts the selected results on the clipboard as files.
    selectRows({"REPORT.md", "Reports"});
    view->resultList()->setFocus();
    QTest::keyClick(view->resultList(), Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(pasteboard->readFileURLs(), (QStringList {tmp / "notes/REPORT.md", tmp / "Reports"}));

    // A restart brings the tab back with its folder and query, not searching.
    store->teardown();
    window.reset();
    d.initialFolders.clear();
    open();
    ASSERT_EQ(store->tabs().size(), 2u);
    SearchSession* restored = store->tabs()[1]->searchSession();
    ASSERT_TRUE(restored);
    EXPECT_EQ(restored->query(), "report");
    EXPECT_EQ(restored->originBrowserTabID(), store->tabs()[0]->id());
    EXPECT_FALSE(restored->isSearching());

    // Closed and reopened, likewise.
    const QUuid id = store->tabs()[1]->id();
    EXPECT_EQ(store->closeTab(id), TabCloseResult::closed);
    WindowTab* reopened = store->reopenLastClosedTab();
    ASSERT_TRUE(reopened && reopened->searchSession());
    EXPECT_EQ(reopened->searchSession()->query(), "report");
    EXPECT_EQ(reopened->searchSession()->folderURL(), tmp.path());
}

TEST_F(SearchViews, RevealUnfoldsInThePaneAndTrashLeavesTheListWithUndoThroughThePane)
{
    store->addSearchTab();
    search("report");
    FilePaneStore* pane = store->pane(PaneID::left);

    const int row = view->model()->rowOf(tmp / "Reports/2024/Report March.txt");
    emit view->resultList()->doubleClicked(view->model()->index(row, 0));
    EXPECT_TRUE(store->activeTab()->isBrowser());
    ASSERT_TRUE(waitUntil([&] { return pane->selectedEntryIDs() == QSet<QString> {tmp / "Reports/2024/Report March.txt"}; }));
    EXPECT_EQ(pane->currentURL(), tmp.path());
    EXPECT_TRUE(pane->isInlineExpanded(tmp / "Reports/2024"));

    store->selectTab(store->tabs()[1]->id());
    selectRows({"REPORT.md", "report-april.txt"});
    view->resultList()->setFocus();
    QTest::keyClick(view->resultList(), Qt::Key_Delete);
    ASSERT_TRUE(waitUntil([&] { return session->results().size() == 2; }));
    QStringList left = shownNames();
    left.sort();
    EXPECT_EQ(left, (QStringList {"Report March.txt", "Reports"}));
    EXPECT_EQ(TestTree::childNames(trash / "files"), (QStringList {"REPORT.md", "report-april.txt"}));

    pane->undoLastAction();
    EXPECT_TRUE(waitUntil([&] { return TestTree::exists(tmp / "notes/REPORT.md") && TestTree::exists(tmp / "Reports/report-april.txt"); }));
}
