#pragma once

#include "Models/FavoriteItem.h"
#include "Support/DefaultsStore.h"
#include "Support/PortablePathResolver.h"
#include "Support/UserFolders.h"

#include <QByteArray>

#include <memory>
#include <optional>
#include <vector>

// Loads and saves the favorites: a JSON array of items under "velmo.favorites"
// in the user defaults. A damaged or foreign document never fails a load.
class FavoriteStore {
public:
    static const QString key;

    FavoriteStore() = default;
    FavoriteStore(std::shared_ptr<DefaultsStore> defaults, PortablePathResolver pathResolver, UserFolders folders);

    // The stored list, with folders that moved with a synced drive found again
    // (saved once if any did). Nothing stored: the default list, saved. A
    // document that can't be read: the default list, not saved, so the stored
    // bytes stay until the user changes the list.
    std::vector<FavoriteItem> load() const;
    void save(const std::vector<FavoriteItem>& items) const;

    // Home, then the desktop's Downloads, Documents, Desktop, Pictures, Videos
    // and Music folders; each only if it is a folder now.
    static std::vector<FavoriteItem> defaultFavorites(const UserFolders& folders);

    // Nothing when `data` is not a JSON array. Items that can't be used (no
    // path, a kind this version doesn't know) are left out; the rest are kept.
    static std::optional<std::vector<FavoriteItem>> decode(const QByteArray& data);
    static QByteArray encode(const std::vector<FavoriteItem>& items);

private:
    std::shared_ptr<DefaultsStore> defaults_;
    PortablePathResolver pathResolver_;
    UserFolders folders_;
};
