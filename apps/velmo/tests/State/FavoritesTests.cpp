#include "Models/SidebarSelectionResolver.h"
#include "PathKit/FilePaths.h"
#include "State/FavoriteStore.h"
#include "State/VelmoStore.h"
#include "Support/InMemoryDefaultsStore.h"
#include "Support/PortablePathResolver.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

namespace {

// ------------------------------------------------------------ portable paths

// Where a stored folder on the cloud drive is found now ("~" is the fake home;
// folders are made under it, links are "link=target").
TEST(PortablePath, FindsTheDriveFolderInstalledNow)
{
    const QString cloud = QStringLiteral("~/Library/CloudStorage/");
    const struct {
        QStringList folders, links;
        QString stored, expected;
    } cases[] = {
        {{}, {}, "/Users/someone/Documents", "/Users/someone/Documents"}, // outside the drive, even if missing
        {{"Library/CloudStorage/GoogleDrive-me/My Drive/a"}, {}, "~/Google Drive/My Drive/a", cloud + "GoogleDrive-me/My Drive/a"},
        // The account named in the path wins; otherwise the first in natural order (9 before 10).
        {{"Library/CloudStorage/GoogleDrive-9/My Drive/a", "Library/CloudStorage/GoogleDrive-10/My Drive/a"}, {},
         cloud + "GoogleDrive-10/My Drive/a", cloud + "GoogleDrive-10/My Drive/a"},
        {{"Library/CloudStorage/GoogleDrive-10/My Drive/a", "Library/CloudStorage/GoogleDrive-9/My Drive/a"}, {},
         "~/My Drive/a", cloud + "GoogleDrive-9/My Drive/a"},
        {{"My Drive"}, {}, "~/Google Drive/My Drive/gone/x", "~/My Drive/gone/x"}, // missing: under the first root
        {{}, {}, "~/My Drive/x", "~/My Drive/x"},                                  // no root: kept
        {{"Google Drive/My Drive/x"}, {}, "/Users/other/My Drive/x", "~/Google Drive/My Drive/x"},
        {{"Library/CloudStorage/GoogleDrive-x/My Drive/a"}, {}, "/Users/u/Library/CloudStorage/GoogleDrive-x/Shared drives/a",
         "/Users/u/Library/CloudStorage/GoogleDrive-x/Shared drives/a"},
        {{"elsewhere/drive/a"}, {"My Drive=~/elsewhere/drive"}, "~/My Drive/a", "~/elsewhere/drive/a"},
    };
    for (const auto& c : cases) {
        TemporaryFolder home;
        auto expand = [&home](QString path) { return path.replace(u'~', home.path()); };
        for (const QString& folder : c.folders) home.folder(folder);
        for (const QString& link : c.links) home.link(link.section(u'=', 0, 0), expand(link.section(u'=', 1)));
        EXPECT_EQ(PortablePathResolver(home.path()).restoredURL(expand(c.stored), true), expand(c.expected))
            << c.stored.toStdString();
    }
}

// ------------------------------------------------------------ selection

FavoriteItem folder(const QString& path)
{
    return {QUuid::createUuid(), FilePaths::lastComponent(path), path, FavoriteItemKind::folder, {}, {}};
}

TEST(SidebarSelection, TheDeepestFolderAboveThePaneWinsAndAnExactPairBeatsIt)
{
    const std::vector<FavoriteItem> items {
        folder("/"), folder("/u/a"), folder("/u/a/b"),
        {QUuid::createUuid(), "pair", "/l", FavoriteItemKind::panePair, "/l", "/r"},
        {QUuid::createUuid(), "", "/", FavoriteItemKind::separator, {}, {}}};
    auto selected = [&items](const QString& active, const QString& left = "/x", const QString& right = "/y") {
        return SidebarSelectionResolver::selectedFavoriteID(items, active, left, right);
    };
    EXPECT_EQ(selected("/u/ab"), items[0].id); // "/u/a" is no folder above "/u/ab"
    EXPECT_EQ(selected("/u/a/"), items[1].id);
    EXPECT_EQ(selected("/u/a/b/c"), items[2].id);
    EXPECT_EQ(selected("/u/a/b", "/l", "/r"), items[3].id);
    EXPECT_EQ(selected("/u/a/b", "/r", "/l"), items[2].id);
    EXPECT_EQ(SidebarSelectionResolver::selectedFavoriteID({items[1]}, "/u", "/u", "/u"), std::nullopt);

    const std::vector<SidebarSelectionResolver::DeviceCandidate> devices {{"computer", "/"}, {"usb", "/media/usb"}};
    EXPECT_EQ(SidebarSelectionResolver::selectedDeviceID(devices, "/"), "computer");
    EXPECT_EQ(SidebarSelectionResolver::selectedDeviceID(devices, "/media/usb/x"), "usb");
    EXPECT_EQ(SidebarSelectionResolver::selectedDeviceID(devices, "/home"), std::nullopt);
}

// ------------------------------------------------------------ stored list

TEST(FavoriteStoreTest, DefaultsAreTheUserFoldersThatExistInOrder)
{
    TemporaryFolder home;
    for (const char* name : {"Music", "Videos", "Downloads"}) home.folder(name);
    home.file("Documents"); // a file is no folder
    const auto items = FavoriteStore::defaultFavorites(UserFolders::standardUnder(home.path()));
    QStringList names, paths;
    for (const auto& item : items) {
        names << item.name;
        paths << item.url;
    }
    EXPECT_EQ(names, QStringList({"Home", "Downloads", "Videos", "Music"}));
    EXPECT_EQ(paths, QStringList({home.path(), home / "Downloads", home / "Videos", home / "Music"}));
}

// Loads what can be read and never loses the stored bytes: only an absent list is written.
TEST(FavoriteStoreTest, LoadsWhatCanBeReadAndNeverLosesTheStoredBytes)
{
    const QStringList defaultList {"<defaults>"};
    const struct {
        QByteArray stored;
        QStringList expectedPaths;
    } cases[] = {
        {QByteArray(), defaultList},
        {"[]", {}},
        {"[{\"url\":", defaultList},
        {"{\"url\": \"/a\"}", defaultList},
        {R"([{"url": "/a"}, 7, {"url": 5}, {"url": "relative"}, {"kind": "future", "url": "/b"},
            {"kind": "separator"}, {"url": "file:///c/d%20e/", "kind": "folder"}])",
         {"/a", "/", "/c/d e"}},
    };
    for (const auto& c : cases) {
        TemporaryFolder home;
        auto defaults = std::make_shared<InMemoryDefaultsStore>();
        if (!c.stored.isNull()) defaults->setData(FavoriteStore::key, c.stored);
        const FavoriteStore store(defaults, PortablePathResolver(home.path()), UserFolders::standardUnder(home.path()));
        QStringList paths;
        for (const auto& item : store.load()) paths << item.url;
        EXPECT_EQ(paths, c.expectedPaths == defaultList ? QStringList {home.path()} : c.expectedPaths) << c.stored.toStdString();
        const QByteArray after = defaults->data(FavoriteStore::key).value_or(QByteArray());
        if (c.stored.isNull()) EXPECT_EQ(FavoriteStore::decode(after)->size(), 1u);
        else EXPECT_EQ(after, c.stored);
    }
}

TEST(FavoriteStoreTest, RoundTripsEveryKindAndGivesCopiedIDsTheirOwn)
{
    const QUuid id = QUuid::createUuid();
    const std::vector<FavoriteItem> items {
        {id, "A", "/a", FavoriteItemKind::folder, {}, {}},
        {QUuid::createUuid(), "", "/", FavoriteItemKind::separator, {}, {}},
        {QUuid::createUuid(), "l + r", "/l", FavoriteItemKind::panePair, "/l", "/r"}};
    EXPECT_EQ(FavoriteStore::decode(FavoriteStore::encode(items)), items);

    const auto copied = FavoriteStore::decode(FavoriteStore::encode({items[0], items[0]}));
    ASSERT_EQ(copied->size(), 2u);
    EXPECT_EQ((*copied)[0].id, id);
    EXPECT_NE((*copied)[1].id, id);
}

TEST(FavoriteStoreTest, AFolderThatMovedWithTheDriveIsFoundAndSavedOnce)
{
    TemporaryFolder home;
    home.folder("Library/CloudStorage/GoogleDrive-me/My Drive/work");
    auto defaults = std::make_shared<InMemoryDefaultsStore>();
    const std::vector<FavoriteItem> stored {folder(home / "Google Drive/My Drive/work"), folder("/elsewhere")};
    defaults->setData(FavoriteStore::key, FavoriteStore::encode(stored));
    const FavoriteStore store(defaults, PortablePathResolver(home.path()), UserFolders::standardUnder(home.path()));
    const auto loaded = store.load();
    ASSERT_EQ(loaded.size(), 2u);
    EXPECT_EQ(loaded[0].url, home / "Library/CloudStorage/GoogleDrive-me/My Drive/work");
    EXPECT_EQ(FavoriteStore::decode(*defaults->data(FavoriteStore::key)), loaded);
}

// ------------------------------------------------------------ the store's operations

class FavoritesFixture : public ::testing::Test {
protected:
    FavoritesFixture()
    {
        for (const char* path : {"/w", "/a", "/b", "/l", "/r"}) listing->folders[path] = {};
        defaults->setData(FavoriteStore::key, "[]");
        VelmoStoreDependencies d = fakeStoreDependencies(defaults, listing);
        d.initialFolders = {"/w"};
        store = std::make_unique<VelmoStore>(std::move(d));
        store->loadInitialPanes();
        listing->answerAll();
    }

    QStringList names() const
    {
        QStringList out;
        for (const auto& item : store->favorites()) out << item.name;
        return out;
    }
    // What a new run would load.
    std::vector<FavoriteItem> saved() const { return *FavoriteStore::decode(*defaults->data(FavoriteStore::key)); }

    std::shared_ptr<InMemoryDefaultsStore> defaults = std::make_shared<InMemoryDefaultsStore>();
    std::shared_ptr<FakeListingService> listing = std::make_shared<FakeListingService>();
    std::unique_ptr<VelmoStore> store;
};

TEST_F(FavoritesFixture, InsertsOnceClampedAndSavesEveryChange)
{
    store->insertFavorite("/b/", 99);
    store->insertFavorite("/a", -5);
    store->insertFavoriteURLs({"/c", "/a", "/d"}, 1); // "/a" stands already and takes no place
    store->insertFavoriteSeparator(100);
    EXPECT_EQ(names(), QStringList({"a", "c", "d", "b", ""}));
    EXPECT_EQ(saved(), store->favorites());

    store->addActivePaneToFavorites();
    EXPECT_EQ(store->favorites().back().url, "/w");
}

TEST_F(FavoritesFixture, PairsAreNamedForBothFoldersAndAddedOnce)
{
    store->pane(PaneID::right)->navigate("/r");
    listing->answerAll();
    store->addCurrentPanesToFavorites();
    store->addCurrentPanesToFavorites();
    ASSERT_EQ(store->favorites().size(), 1u);
    const FavoriteItem pair = store->favorites()[0];
    EXPECT_EQ(pair.name, "w + r");
    EXPECT_EQ(pair.panePairURLs(), std::pair(QString("/w"), QString("/r")));
    EXPECT_EQ(store->selectedFavoriteID(), pair.id);
}

TEST_F(FavoritesFixture, MovesRenamesAndRemoves)
{
    store->insertFavoriteURLs({"/a", "/b", "/l"}, 0);
    const auto items = store->favorites();
    store->moveFavorite(items[0], VelmoStore::FavoriteMoveDirection::up); // already first
    store->moveFavorite(items[0], VelmoStore::FavoriteMoveDirection::down);
    EXPECT_EQ(names(), QStringList({"b", "a", "l"}));
    store->moveFavorite(items[2].id, -3);
    EXPECT_EQ(names(), QStringList({"l", "b", "a"}));
    store->moveFavorite(items[2].id, 10);
    EXPECT_EQ(names(), QStringList({"b", "a", "l"}));

    store->renameFavorite(items[1].id, "  Bee  ");
    store->renameFavorite(items[0].id, "   ");
    store->removeFavorite(items[2].id);
    EXPECT_EQ(names(), QStringList({"Bee", "a"}));
    EXPECT_EQ(saved(), store->favorites());
}

TEST_F(FavoritesFixture, OpensAFolderInTheActivePaneAndAPairInBoth)
{
    store->insertFavoriteURLs({"/a"}, 0);
    store->insertPanePairFavorite("/l", "/r", 1);
    store->activate(PaneID::right);
    store->openFavorite(store->favorites()[0]);
    listing->answerAll();
    EXPECT_EQ(store->pane(PaneID::left)->currentURL(), "/w");
    EXPECT_EQ(store->pane(PaneID::right)->currentURL(), "/a");
    EXPECT_EQ(store->pane(PaneID::right)->backStack(), QStringList({"/w"}));
    EXPECT_EQ(store->selectedFavoriteID(), store->favorites()[0].id);

    store->openFavorite(store->favorites()[1]);
    listing->answerAll();
    EXPECT_EQ(store->pane(PaneID::left)->currentURL(), "/l");
    EXPECT_EQ(store->pane(PaneID::right)->currentURL(), "/r");
    EXPECT_EQ(store->selectedFavoriteID(), store->favorites()[1].id);
}

} // namespace
