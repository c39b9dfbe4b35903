#pragma once

#include <QString>
#include <QUuid>

#include <optional>
#include <utility>

struct UserFolders;

// Stored by these names.
enum class FavoriteItemKind { folder, separator, panePair };

// One row of the sidebar's favorites: a folder, a separator line, or a pair of
// folders that open in the two panes at once. Paths are standardised.
struct FavoriteItem {
    QUuid id;
    QString name;
    QString url;
    FavoriteItemKind kind = FavoriteItemKind::folder;
    std::optional<QString> leftPaneURL;
    std::optional<QString> rightPaneURL;

    bool operator==(const FavoriteItem&) const = default;

    // (left, right) for a pair that has both folders; nothing otherwise.
    std::optional<std::pair<QString, QString>> panePairURLs() const;

    static QString kindText(FavoriteItemKind kind);
    static std::optional<FavoriteItemKind> kindFromText(const QString& text);

    // The freedesktop icon name the sidebar shows: the named user folders by
    // their place (or their name, for copies elsewhere), "folder" for the rest,
    // nothing for a separator.
    static QString sidebarIconName(const QString& name, const QString& url, FavoriteItemKind kind,
                                   const UserFolders& folders);

    // The name a new favorite gets for `path`: its last component as a person
    // reads it, the volume's name for the root.
    static QString displayName(const QString& path);
};
