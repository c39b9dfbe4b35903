#include "FileSizeScanner/ScanTree.h"

#include <QSet>

std::optional<ScanNodeRecord> ScanTree::rootNode() const
{
    return node(rootID);
}

std::optional<ScanNodeRecord> ScanTree::node(const std::optional<QUuid>& id) const
{
    if (!id) return std::nullopt;
    auto found = nodesByID.constFind(*id);
    if (found == nodesByID.constEnd()) return std::nullopt;
    return *found;
}

QList<ScanNodeRecord> ScanTree::children(const QUuid& parentID) const
{
    QList<ScanNodeRecord> records;
    const auto ids = childIDsByParentID.constFind(parentID);
    if (ids == childIDsByParentID.constEnd()) return records;
    records.reserve(ids->size());
    for (const QUuid& id : *ids) {
        auto found = nodesByID.constFind(id);
        if (found != nodesByID.constEnd()) records.append(*found);
    }
    return records;
}

QList<ScanNodeRecord> ScanTree::pathTo(const QUuid& id) const
{
    QList<ScanNodeRecord> chain;
    QSet<QUuid> visited;
    std::optional<QUuid> current = id;
    while (current && !visited.contains(*current)) {
        auto found = nodesByID.constFind(*current);
        if (found == nodesByID.constEnd()) break;
        visited.insert(*current);
        chain.append(*found);
        current = found->parentID;
    }
    std::reverse(chain.begin(), chain.end());
    return chain;
}
