#pragma once

#include "Models/FavoriteItem.h"

#include <optional>
#include <vector>

// Which sidebar row follows what the panes show. A folder favorite lights up for
// its folder and everything below it; the deepest one wins, so with "/a" and
// "/a/b" a pane in "/a/b/c" lights "/a/b". A pair lights up only when both
// panes show exactly its two folders, and then it wins.
namespace SidebarSelectionResolver {

// A device row: its id and the folder it is mounted on.
struct DeviceCandidate {
    QString id;
    QString url;
};

// Length of `candidate` when it is `activeURL` or a folder above it.
std::optional<qsizetype> matchScore(const QString& candidate, const QString& activeURL);
// The same, except that "/" matches only "/": the whole-disk row isn't lit for
// every folder on it.
std::optional<qsizetype> deviceMatchScore(const QString& candidate, const QString& activeURL);

std::optional<QUuid> selectedFavoriteID(const std::vector<FavoriteItem>& favorites, const QString& activeURL,
                                        const QString& leftURL, const QString& rightURL);
std::optional<QString> selectedDeviceID(const std::vector<DeviceCandidate>& devices, const QString& url);

} // namespace SidebarSelectionResolver
