#include "Support/FileHierarchy.h"

#include "PathKit/FilePaths.h"

namespace {

QString withSlash(const QString& path) { return path.endsWith(u'/') ? path : path + u'/'; }

} // namespace

template <typename Item, typename PathOf>
std::vector<Item> FileHierarchy::strippingNested(const std::vector<Item>& items, PathOf pathOf)
{
    if (items.size() < 2) return items;
    std::vector<QString> prefixes;
    prefixes.reserve(items.size());
    for (const Item& item : items) prefixes.push_back(withSlash(pathOf(item)));
    std::vector<Item> kept;
    for (const Item& item : items) {
        const QString path = pathOf(item);
        bool nested = false;
        for (std::size_t i = 0; i < items.size() && !nested; ++i)
            nested = pathOf(items[i]) != path && path.startsWith(prefixes[i]);
        if (!nested) kept.push_back(item);
    }
    return kept;
}

std::vector<FileEntry> FileHierarchy::strippingDescendants(const std::vector<FileEntry>& entries)
{
    return strippingNested(entries, [](const FileEntry& entry) { return entry.id; });
}

QStringList FileHierarchy::strippingDescendants(const QStringList& urls)
{
    std::vector<QString> items(urls.begin(), urls.end());
    auto kept = strippingNested(items, [](const QString& url) { return FilePaths::standardized(url); });
    return QStringList(kept.begin(), kept.end());
}

QString FileHierarchy::rewriting(const QString& path, const QString& oldPath, const QString& newPath)
{
    if (path == oldPath) return newPath;
    if (path.startsWith(withSlash(oldPath))) return newPath + path.mid(oldPath.size());
    return path;
}
