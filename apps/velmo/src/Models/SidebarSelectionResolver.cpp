#include "Models/SidebarSelectionResolver.h"

#include "PathKit/FilePaths.h"

namespace SidebarSelectionResolver {

std::optional<qsizetype> matchScore(const QString& candidate, const QString& activeURL)
{
    // Standard form already has no trailing "/" but the root's.
    const QString folder = FilePaths::standardized(candidate);
    const QString active = FilePaths::standardized(activeURL);
    if (folder == active) return folder.size();
    const QString prefix = folder == u"/" ? folder : folder + u'/';
    if (active.startsWith(prefix)) return folder.size();
    return std::nullopt;
}

std::optional<qsizetype> deviceMatchScore(const QString& candidate, const QString& activeURL)
{
    if (FilePaths::standardized(candidate) == u"/") {
        if (FilePaths::standardized(activeURL) == u"/") return 1;
        return std::nullopt;
    }
    return matchScore(candidate, activeURL);
}

std::optional<QUuid> selectedFavoriteID(const std::vector<FavoriteItem>& favorites, const QString& activeURL,
                                        const QString& leftURL, const QString& rightURL)
{
    const QString left = FilePaths::standardized(leftURL);
    const QString right = FilePaths::standardized(rightURL);
    for (const FavoriteItem& item : favorites)
        if (auto pair = item.panePairURLs();
            pair && FilePaths::standardized(pair->first) == left && FilePaths::standardized(pair->second) == right)
            return item.id;
    std::optional<QUuid> best;
    qsizetype bestScore = -1;
    for (const FavoriteItem& item : favorites) {
        if (item.kind != FavoriteItemKind::folder) continue;
        if (auto score = matchScore(item.url, activeURL); score && *score > bestScore) {
            best = item.id;
            bestScore = *score;
        }
    }
    return best;
}

std::optional<QString> selectedDeviceID(const std::vector<DeviceCandidate>& devices, const QString& url)
{
    std::optional<QString> best;
    qsizetype bestScore = -1;
    for (const DeviceCandidate& device : devices)
        if (auto score = deviceMatchScore(device.url, url); score && *score > bestScore) {
            best = device.id;
            bestScore = *score;
        }
    return best;
}

} // namespace SidebarSelectionResolver
