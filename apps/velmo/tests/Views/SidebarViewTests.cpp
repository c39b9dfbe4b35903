#include "State/VelmoStore.h"
#include "Support/InMemoryDefaultsStore.h"
#include "TestSupport.h"
#include "Views/BrowserTabView.h"
#include "Support/FileURIList.h"
#include "Views/MainWindow.h"
#include "Views/SidebarView.h"

#include <QAction>
#include <QDropEvent>
#include <QFile>
#include <QListView>
#include <QMenu>
#include <QMenuBar>
#include <QMimeData>

#include <gtest/gtest.h>

namespace {

// The sidebar in the real window, on real folders (the listing is a fake).
class SidebarFixture : public ::testing::Test {
protected:
    SidebarFixture()
    {
        for (const QString& path : {root.path(), root.folder("a"), root.folder("a/b"), root.folder("c")})
            listing->folders[path] = {};
        defaults->setData(FavoriteStore::key,
                          FavoriteStore::encode({item("a"), item("a/b"), {QUuid::createUuid(), "", "/", FavoriteItemKind::separator, {}, {}}}));
        VelmoStoreDependencies d = fakeStoreDependencies(defaults, listing);
        d.initialFolders = {root / "a/b", root.path()};
        store = std::make_unique<VelmoStore>(std::move(d));
        window = std::make_unique<MainWindow>(store.get());
        window->show();
        store->loadInitialPanes();
        listing->answerAll();
        sidebar = window->activeBrowserView()->sidebar();
        list = sidebar->favoritesList();
    }

    FavoriteItem item(const QString& relative)
    {
        return {QUuid::createUuid(), relative, root / relative, FavoriteItemKind::folder, {}, {}};
    }
    QStringList rows() const
    {
        QStringList names;
        for (int r = 0; r < list->model()->rowCount(); ++r) names << list->model()->index(r, 0).data().toString();
        return names;
    }
    QPoint centreOf(int row) const { return list->visualRect(list->model()->index(row, 0)).center(); }
    // A drag from another program: only the URIs.
    static QMimeData* external(const QStringList& paths)
    {
        auto* data = new QMimeData;
        data->setData("text/uri-list", FileURIList::uriList(paths));
        return data;
    }
    bool drop(QMimeData* data, const QPoint& at)
    {
        const Qt::DropActions actions = Qt::CopyAction | Qt::MoveAction | Qt::LinkAction;
        QDragEnterEvent enter(at, actions, data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(list->viewport(), &enter);
        QDropEvent event(at, actions, data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(list->viewport(), &event);
        delete data;
        return event.isAccepted();
    }

    TemporaryFolder root;
    std::shared_ptr<InMemoryDefaultsStore> defaults = std::make_shared<InMemoryDefaultsStore>();
    std::shared_ptr<FakeListingService> listing = std::make_shared<FakeListingService>();
    std::unique_ptr<VelmoStore> store;
    std::unique_ptr<MainWindow> window;
    SidebarView* sidebar = nullptr;
    QListView* list = nullptr;
};

} // namespace

TEST_F(SidebarFixture, HighlightsTheRowForTheActivePaneAndOpensClickedRows)
{
    EXPECT_EQ(rows(), QStringList({"a", "a/b", ""}));
    EXPECT_EQ(sidebar->highlightedFavoriteID(), store->favorites()[1].id);
    store->activate(PaneID::right);
    EXPECT_EQ(sidebar->highlightedFavoriteID(), std::nullopt);

    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, centreOf(0));
    listing->answerAll();
    EXPECT_EQ(store->pane(PaneID::right)->currentURL(), root / "a");
    EXPECT_EQ(sidebar->highlightedFavoriteID(), store->favorites()[0].id);
}

TEST_F(SidebarFixture, TheViewMenuAndItsKeysHideAndShowTheSidebar)
{
    ASSERT_TRUE(sidebar->isVisible());
    QAction* toggle = nullptr;
    for (QAction* action : window->menuBar()->findChild<QMenu*>("viewMenu")->actions())
        if (action->text() == "Hide Sidebar") toggle = action;
    ASSERT_TRUE(toggle);
    EXPECT_TRUE(toggle->shortcuts().contains(QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_S)));
    toggle->trigger();
    EXPECT_FALSE(sidebar->isVisible());
    EXPECT_EQ(toggle->text(), "Show Sidebar");
    EXPECT_FALSE(defaults->boolValue("velmo.layout.isSidebarVisible", true));
}

TEST_F(SidebarFixture, ContextMenusRemoveAndAdd)
{
    auto trigger = [this](const QPoint& at, const QString& title) {
        std::unique_ptr<QMenu> menu(sidebar->contextMenuAt(at, nullptr));
        for (QAction* action : menu->actions())
            if (action->text() == title) {
                action->trigger();
                return true;
            }
        return false;
    };
    ASSERT_TRUE(trigger(centreOf(0), "Remove from Sidebar"));
    EXPECT_EQ(rows(), QStringList({"a/b", ""}));
    const QPoint below(5, list->viewport()->height() - 2);
    ASSERT_TRUE(trigger(below, "Add Both Panes as a Pair"));
    EXPECT_EQ(store->favorites().back().panePairURLs(), std::pair(root / "a/b", root.path()));
}

TEST_F(SidebarFixture, DroppedFoldersBecomeFavoritesAndDroppedFilesGoIntoOne)
{
    const QString file = root.file("note.txt", "hello");
    // Below the rows: folders are added, files are not.
    ASSERT_TRUE(drop(external({root / "c", file}), QPoint(5, list->viewport()->height() - 2)));
    ASSERT_TRUE(waitUntil([this] { return store->favorites().size() == 4; }));
    EXPECT_EQ(store->favorites().back().url, root / "c");

    // On the middle of a folder's row: copied in (a drag from elsewhere never moves).
    ASSERT_TRUE(drop(external({file}), centreOf(0)));
    EXPECT_TRUE(waitUntil([&] { return QFile::exists(root / "a/note.txt"); }));
    EXPECT_TRUE(QFile::exists(file));
}
