#include "Views/SidebarFavoritesModel.h"

#include "State/VelmoStore.h"
#include "Support/UserFolders.h"

#include <QApplication>
#include <QIcon>
#include <QMimeData>
#include <QStyle>

const QString SidebarFavoritesModel::dragMimeType = QStringLiteral("application/x-velmo-favorite-id");

namespace {

QIcon iconFor(const FavoriteItem& item)
{
    // Named user folders by their place: read once, the desktop doesn't move them while we run.
    static const UserFolders folders = UserFolders::current();
    const QString name = FavoriteItem::sidebarIconName(item.name, item.url, item.kind, folders);
    if (name.isEmpty()) return {};
    const QIcon fallback = QApplication::style()->standardIcon(QStyle::SP_DirIcon);
    return QIcon::fromTheme(name, QIcon::fromTheme(QStringLiteral("folder"), fallback));
}

} // namespace

SidebarFavoritesModel::SidebarFavoritesModel(VelmoStore* app, QObject* parent) : QAbstractListModel(parent), app_(app)
{
    // A handful of rows: a reset is cheaper than working out the difference.
    connect(app, &VelmoStore::favoritesChanged, this, [this] {
        beginResetModel();
        endResetModel();
    });
}

int SidebarFavoritesModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() || !app_ ? 0 : int(app_->favorites().size());
}

QVariant SidebarFavoritesModel::data(const QModelIndex& index, int role) const
{
    if (!app_ || !index.isValid() || index.row() >= rowCount()) return {};
    const FavoriteItem& item = app_->favorites()[std::size_t(index.row())];
    const bool separator = item.kind == FavoriteItemKind::separator;
    switch (role) {
    case Qt::DisplayRole: return item.name;
    case Qt::DecorationRole: return separator ? QVariant() : QVariant(iconFor(item));
    case Qt::ToolTipRole:
        if (auto pair = item.panePairURLs()) return pair->first + QStringLiteral("  |  ") + pair->second;
        return separator ? QVariant() : QVariant(item.url);
    case Qt::SizeHintRole: return separator ? QVariant(QSize(0, 9)) : QVariant();
    case IDRole: return item.id;
    default: return {};
    }
}

Qt::ItemFlags SidebarFavoritesModel::flags(const QModelIndex& index) const
{
    if (!index.isValid()) return Qt::NoItemFlags;
    const bool separator = app_ && app_->favorites()[std::size_t(index.row())].kind == FavoriteItemKind::separator;
    // A separator is never highlighted, opened or dragged.
    return separator ? Qt::ItemIsEnabled : Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled;
}

QStringList SidebarFavoritesModel::mimeTypes() const
{
    return {dragMimeType};
}

QMimeData* SidebarFavoritesModel::mimeData(const QModelIndexList& indexes) const
{
    if (indexes.isEmpty()) return nullptr;
    auto* data = new QMimeData;
    data->setData(dragMimeType, indexes.front().data(IDRole).toUuid().toByteArray(QUuid::WithoutBraces));
    return data;
}

int SidebarFavoritesModel::rowOf(const QUuid& id) const
{
    if (!app_) return -1;
    const auto& items = app_->favorites();
    for (std::size_t i = 0; i < items.size(); ++i)
        if (items[i].id == id) return int(i);
    return -1;
}
