#include "App/StateDump.h"
#include "State/VelmoStore.h"
#include "Support/InMemoryDefaultsStore.h"
#include "TestSupport.h"
#include "Views/FilePaneTableModel.h"
#include "Views/FilePaneView.h"
#include "Views/MainWindow.h"

#include <QJsonArray>
#include <QLabel>
#include <QLineEdit>
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
        listing->folders["/w"] = makeFileEntries("/w", {"docs/", "b.txt", "a.txt"});
        listing->folders["/w/docs"] = makeFileEntries("/w/docs", {"inner.txt"});
        VelmoStoreDependencies d;
        d.defaults = std::make_shared<InMemoryDefaultsStore>();
        d.listingServiceFactory = [this](PaneID) { return listing; };
        d.directoryWatcherFactory = [this](PaneID) { return std::make_shared<FakeDirectoryWatcher>(); };
        d.fileOpeningServiceFactory = [](PaneID) { return std::make_shared<FakeFileOpener>(); };
        d.initialFolders = {"/w"};
        store = std::make_unique<VelmoStore>(std::move(d));
        window = std::make_unique<MainWindow>(store.get());
        window->show();
        store->loadInitialPanes();
        listing->answerAll();
    }

    FilePaneView* leftView() { return window->findChild<FilePaneView*>("leftPane"); }
    QStringList shownNames(FilePaneView* view)
    {
        QStringList names;
        auto* model = view->table()->model();
        for (int r = 0; r < model->rowCount(); ++r) names << model->index(r, 0).data().toString();
        return names;
    }

    std::shared_ptr<FakeListingService> listing = std::make_shared<FakeListingService>();
    std::unique_ptr<VelmoStore> store;
    std::unique_ptr<MainWindow> window;
};

} // namespace

TEST_F(WindowFixture, ShowsBothPanesWithTheirRowsAndColumns)
{
    FilePaneView* left = leftView();
    ASSERT_TRUE(left);
    EXPECT_EQ(shownNames(left), QStringList({"docs", "a.txt", "b.txt"}));
    auto* model = left->table()->model();
    QStringList headers;
    for (int c = 0; c < model->columnCount(); ++c) headers << model->headerData(c, Qt::Horizontal).toString();
    EXPECT_EQ(headers, QStringList({"Name", "Size", "Modified", "Kind"}));
    EXPECT_EQ(window->tabBar()->count(), 1);
    EXPECT_EQ(window->tabBar()->tabText(0), "w");
}

TEST_F(WindowFixture, ReturnOpensAFolderAndTheButtonsWalkHistory)
{
    FilePaneView* left = leftView();
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
    EXPECT_EQ(window->tabBar()->count(), 2);
    EXPECT_EQ(window->tabBar()->currentIndex(), 1);
    store->openSettingsTab();
    EXPECT_EQ(window->tabBar()->tabText(2), "Settings");
    store->closeTab(store->activeTabID());
    EXPECT_EQ(window->tabBar()->count(), 2);
    EXPECT_EQ(window->tabBar()->currentIndex(), 1);
}

TEST_F(WindowFixture, TheStateDumpShowsWhatTheListShows)
{
    FilePaneView* left = leftView();
    left->store()->setSelectedEntryIDs({"/w/b.txt", "/w/docs"});
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
    const QJsonObject folder = rows[0].toObject()["cells"].toObject();
    EXPECT_EQ(folder["name"].toString(), "docs");
    EXPECT_EQ(folder["size"].toString(), "--");
    EXPECT_EQ(folder["kind"].toString(), "Folder");
}
