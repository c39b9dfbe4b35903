#include "State/FavoriteStore.h"

#include "PathKit/FilePaths.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QUrl>

#include <sys/stat.h>

const QString FavoriteStore::key = QStringLiteral("velmo.favorites");

namespace {

bool isFolder(const QString& path)
{
    struct stat st {};
    return !path.isEmpty() && ::stat(FilePaths::toNative(path).constData(), &st) == 0 && S_ISDIR(st.st_mode);
}

// A stored path: an absolute path, or a file URL as other tools write them.
std::optional<QString> decodePath(const QJsonValue& value)
{
    if (!value.isString()) return std::nullopt;
    QString text = value.toString();
    if (text.startsWith(QLatin1String("file:"))) text = QUrl(text).toLocalFile();
    if (!text.startsWith(u'/')) return std::nullopt;
    return FilePaths::standardized(text);
}

std::optional<FavoriteItem> decodeItem(const QJsonValue& value)
{
    if (!value.isObject()) return std::nullopt;
    const QJsonObject object = value.toObject();
    FavoriteItem item;
    if (object.contains(QLatin1String("kind"))) {
        const auto kind = FavoriteItem::kindFromText(object.value(QLatin1String("kind")).toString());
        if (!kind) return std::nullopt;
        item.kind = *kind;
    }
    const auto url = decodePath(object.value(QLatin1String("url")));
    if (!url && item.kind != FavoriteItemKind::separator) return std::nullopt;
    item.url = url.value_or(QStringLiteral("/"));
    item.id = QUuid::fromString(object.value(QLatin1String("id")).toString());
    if (item.id.isNull()) item.id = QUuid::createUuid();
    const QJsonValue name = object.value(QLatin1String("name"));
    item.name = name.isString() ? name.toString()
                                : (item.kind == FavoriteItemKind::separator ? QString() : FavoriteItem::displayName(item.url));
    item.leftPaneURL = decodePath(object.value(QLatin1String("leftPaneURL")));
    item.rightPaneURL = decodePath(object.value(QLatin1String("rightPaneURL")));
    return item;
}

} // namespace

FavoriteStore::FavoriteStore(std::shared_ptr<DefaultsStore> defaults, PortablePathResolver pathResolver, UserFolders folders)
    : defaults_(std::move(defaults)), pathResolver_(std::move(pathResolver)), folders_(std::move(folders))
{
}

std::vector<FavoriteItem> FavoriteStore::load() const
{
    if (!defaults_) return {};
    const auto data = defaults_->data(key);
    if (!data) {
        auto items = defaultFavorites(folders_);
        save(items);
        return items;
    }
    auto items = decode(*data);
    if (!items) return defaultFavorites(folders_);
    bool changed = false;
    auto restore = [&](QString& path) {
        QString restored = pathResolver_.restoredURL(path, true);
        if (restored != path) {
            path = std::move(restored);
            changed = true;
        }
    };
    for (FavoriteItem& item : *items) {
        if (item.kind == FavoriteItemKind::separator) continue;
        restore(item.url);
        if (item.leftPaneURL) restore(*item.leftPaneURL);
        if (item.rightPaneURL) restore(*item.rightPaneURL);
    }
    if (changed) save(*items);
    return *items;
}

void FavoriteStore::save(const std::vector<FavoriteItem>& items) const
{
    if (defaults_) defaults_->setData(key, encode(items));
}

std::vector<FavoriteItem> FavoriteStore::defaultFavorites(const UserFolders& folders)
{
    const std::pair<QString, QString> candidates[] = {
        {QStringLiteral("Home"), folders.home},          {QStringLiteral("Downloads"), folders.downloads},
        {QStringLiteral("Documents"), folders.documents}, {QStringLiteral("Desktop"), folders.desktop},
        {QStringLiteral("Pictures"), folders.pictures},   {QStringLiteral("Videos"), folders.videos},
        {QStringLiteral("Music"), folders.music},
    };
    std::vector<FavoriteItem> items;
    for (const auto& [name, path] : candidates)
        if (isFolder(path)) items.push_back({QUuid::createUuid(), name, FilePaths::standardized(path), FavoriteItemKind::folder, {}, {}});
    return items;
}

std::optional<std::vector<FavoriteItem>> FavoriteStore::decode(const QByteArray& data)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError || !document.isArray()) return std::nullopt;
    std::vector<FavoriteItem> items;
    QSet<QUuid> ids;
    for (const QJsonValue& value : document.array()) {
        auto item = decodeItem(value);
        if (!item) continue;
        // Rows are addressed by id: a copied id would make one row act for two.
        if (ids.contains(item->id)) item->id = QUuid::createUuid();
        ids.insert(item->id);
        items.push_back(std::move(*item));
    }
    return items;
}

QByteArray FavoriteStore::encode(const std::vector<FavoriteItem>& items)
{
    QJsonArray array;
    for (const FavoriteItem& item : items) {
        QJsonObject object {{"id", item.id.toString(QUuid::WithoutBraces)},
                            {"name", item.name},
                            {"url", item.url},
                            {"kind", FavoriteItem::kindText(item.kind)}};
        if (item.leftPaneURL) object["leftPaneURL"] = *item.leftPaneURL;
        if (item.rightPaneURL) object["rightPaneURL"] = *item.rightPaneURL;
        array.append(object);
    }
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}
