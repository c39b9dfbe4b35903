#include "Models/FavoriteItem.h"

#include "PathKit/FilePaths.h"
#include "Support/UserFolders.h"
#include "Support/VolumeNames.h"

#include <initializer_list>

std::optional<std::pair<QString, QString>> FavoriteItem::panePairURLs() const
{
    if (kind != FavoriteItemKind::panePair || !leftPaneURL || !rightPaneURL) return std::nullopt;
    return std::pair {*leftPaneURL, *rightPaneURL};
}

QString FavoriteItem::kindText(FavoriteItemKind kind)
{
    switch (kind) {
    case FavoriteItemKind::folder: return QStringLiteral("folder");
    case FavoriteItemKind::separator: return QStringLiteral("separator");
    case FavoriteItemKind::panePair: return QStringLiteral("panePair");
    }
    return {};
}

std::optional<FavoriteItemKind> FavoriteItem::kindFromText(const QString& text)
{
    for (auto kind : {FavoriteItemKind::folder, FavoriteItemKind::separator, FavoriteItemKind::panePair})
        if (kindText(kind) == text) return kind;
    return std::nullopt;
}

QString FavoriteItem::sidebarIconName(const QString& name, const QString& url, FavoriteItemKind kind,
                                      const UserFolders& folders)
{
    if (kind == FavoriteItemKind::separator) return {};
    if (kind == FavoriteItemKind::panePair) return QStringLiteral("view-split-left-right");
    const QString path = FilePaths::standardized(url);
    const QString lower = name.toLower();
    const QString home = folders.home;
    auto is = [&](const QString& place, std::initializer_list<const char*> names) {
        if (!place.isEmpty() && path == place) return true;
        for (const char* each : names)
            if (lower == QLatin1String(each)) return true;
        return false;
    };
    if (!home.isEmpty() && path == home) return QStringLiteral("user-home");
    if (is(FilePaths::appending(home, QStringLiteral(".local/share/Trash/files")), {"trash", ".trash"})
        || (!home.isEmpty() && path == FilePaths::appending(home, QStringLiteral(".Trash"))))
        return QStringLiteral("user-trash");
    if (is(folders.downloads, {"downloads"})) return QStringLiteral("folder-download");
    if (is(folders.desktop, {"desktop"})) return QStringLiteral("user-desktop");
    if (is(folders.documents, {"documents"})) return QStringLiteral("folder-documents");
    if (is(folders.pictures, {"pictures"})) return QStringLiteral("folder-pictures");
    if (is(folders.videos, {"videos", "movies"})) return QStringLiteral("folder-videos");
    if (is(folders.music, {"music"})) return QStringLiteral("folder-music");
    return QStringLiteral("folder");
}

QString FavoriteItem::displayName(const QString& path)
{
    const QString standard = FilePaths::standardized(path);
    if (standard == u"/") return VolumeNames::rootVolumeName();
    const QString last = FilePaths::displayName(FilePaths::lastComponent(standard));
    return last.isEmpty() ? standard : last;
}
