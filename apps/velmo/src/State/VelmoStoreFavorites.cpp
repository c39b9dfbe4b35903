#include "State/VelmoStore.h"

#include "Models/SidebarSelectionResolver.h"
#include "PathKit/FilePaths.h"

#include <algorithm>

namespace {

const QString kSidebarVisibleKey = QStringLiteral("velmo.layout.isSidebarVisible");

int clampedIndex(int index, std::size_t count)
{
    return std::clamp(index, 0, int(count));
}

} // namespace

void VelmoStore::loadFavorites()
{
    favoriteStore_ = FavoriteStore(dependencies_.defaults, PortablePathResolver(), UserFolders::current());
    favorites_ = favoriteStore_.load();
}

void VelmoStore::setFavorites(std::vector<FavoriteItem> favorites)
{
    if (favorites == favorites_) return;
    favorites_ = std::move(favorites);
    favoriteStore_.save(favorites_);
    emit favoritesChanged();
}

const FavoriteItem* VelmoStore::favorite(const QUuid& id) const
{
    auto found = std::find_if(favorites_.begin(), favorites_.end(), [&id](const FavoriteItem& item) { return item.id == id; });
    return found == favorites_.end() ? nullptr : &*found;
}

void VelmoStore::openFavorite(const FavoriteItem& item)
{
    switch (item.kind) {
    case FavoriteItemKind::separator: return;
    case FavoriteItemKind::folder:
        if (auto* panes = anyBrowserPanes()) panes->activePane()->navigate(item.url, true);
        return;
    case FavoriteItemKind::panePair: {
        auto* active = activeTab();
        const auto pair = item.panePairURLs();
        if (!active || !active->browserPanes() || !pair) return;
        active->browserPanes()->leftPane()->navigate(pair->first, true);
        active->browserPanes()->rightPane()->navigate(pair->second, true);
        return;
    }
    }
}

void VelmoStore::addActivePaneToFavorites()
{
    if (auto* panes = anyBrowserPanes()) insertFavorite(panes->activePane()->currentURL(), int(favorites_.size()));
}

void VelmoStore::addCurrentPanesToFavorites()
{
    auto* active = activeTab();
    if (!active || !active->browserPanes()) return;
    insertPanePairFavorite(active->browserPanes()->leftPane()->currentURL(),
                           active->browserPanes()->rightPane()->currentURL(), int(favorites_.size()));
}

void VelmoStore::insertFavoriteSeparator(int index)
{
    auto items = favorites_;
    items.insert(items.begin() + clampedIndex(index, items.size()),
                 FavoriteItem {QUuid::createUuid(), QString(), QStringLiteral("/"), FavoriteItemKind::separator, {}, {}});
    setFavorites(std::move(items));
}

void VelmoStore::insertFavorite(const QString& url, int index)
{
    const QString path = FilePaths::standardized(url);
    for (const FavoriteItem& item : favorites_)
        if (item.kind == FavoriteItemKind::folder && FilePaths::standardized(item.url) == path) return;
    auto items = favorites_;
    items.insert(items.begin() + clampedIndex(index, items.size()),
                 FavoriteItem {QUuid::createUuid(), FavoriteItem::displayName(path), path, FavoriteItemKind::folder, {}, {}});
    setFavorites(std::move(items));
}

void VelmoStore::insertPanePairFavorite(const QString& leftURL, const QString& rightURL, int index)
{
    const QString left = FilePaths::standardized(leftURL);
    const QString right = FilePaths::standardized(rightURL);
    for (const FavoriteItem& item : favorites_)
        if (auto pair = item.panePairURLs(); pair && FilePaths::standardized(pair->first) == left
                                             && FilePaths::standardized(pair->second) == right)
            return;
    auto items = favorites_;
    const QString name = FavoriteItem::displayName(left) + QStringLiteral(" + ") + FavoriteItem::displayName(right);
    items.insert(items.begin() + clampedIndex(index, items.size()),
                 FavoriteItem {QUuid::createUuid(), name, left, FavoriteItemKind::panePair, left, right});
    setFavorites(std::move(items));
}

void VelmoStore::insertFavoriteURLs(const QStringList& urls, int index)
{
    int at = clampedIndex(index, favorites_.size());
    for (const QString& url : urls) {
        const std::size_t before = favorites_.size();
        insertFavorite(url, at);
        // A folder already there takes no place, so the next one goes where it would have.
        if (favorites_.size() > before) ++at;
    }
}

void VelmoStore::removeFavorite(const QUuid& id)
{
    auto items = favorites_;
    std::erase_if(items, [&id](const FavoriteItem& item) { return item.id == id; });
    setFavorites(std::move(items));
}

void VelmoStore::renameFavorite(const QUuid& id, const QString& name)
{
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty()) return;
    auto items = favorites_;
    for (FavoriteItem& item : items)
        if (item.id == id && item.kind != FavoriteItemKind::separator) item.name = trimmed;
    setFavorites(std::move(items));
}

void VelmoStore::moveFavorite(const FavoriteItem& item, FavoriteMoveDirection direction)
{
    const auto found = std::find_if(favorites_.begin(), favorites_.end(), [&item](const FavoriteItem& each) { return each.id == item.id; });
    if (found == favorites_.end()) return;
    const auto index = found - favorites_.begin();
    const auto neighbour = index + int(direction);
    if (neighbour < 0 || neighbour >= qsizetype(favorites_.size())) return;
    auto items = favorites_;
    std::swap(items[std::size_t(index)], items[std::size_t(neighbour)]);
    setFavorites(std::move(items));
}

void VelmoStore::moveFavorite(const QUuid& id, int toIndex)
{
    auto items = favorites_;
    const auto found = std::find_if(items.begin(), items.end(), [&id](const FavoriteItem& item) { return item.id == id; });
    if (found == items.end()) return;
    FavoriteItem moving = std::move(*found);
    items.erase(found);
    items.insert(items.begin() + clampedIndex(toIndex, items.size()), std::move(moving));
    setFavorites(std::move(items));
}

std::optional<QUuid> VelmoStore::selectedFavoriteID(const BrowserPanes* panes) const
{
    if (!panes) {
        auto* active = activeTab();
        panes = active ? active->browserPanes() : nullptr;
    }
    if (!panes) return std::nullopt;
    return SidebarSelectionResolver::selectedFavoriteID(favorites_, panes->activePane()->currentURL(),
                                                        panes->leftPane()->currentURL(), panes->rightPane()->currentURL());
}

void VelmoStore::toggleSidebarVisibility()
{
    isSidebarVisible_ = !isSidebarVisible_;
    dependencies_.defaults->setValue(kSidebarVisibleKey, isSidebarVisible_);
    emit sidebarChanged();
}
