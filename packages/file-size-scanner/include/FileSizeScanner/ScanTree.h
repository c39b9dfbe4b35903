#pragma once

#include "FileSizeScanner/ScanNodeRecord.h"

#include <QHash>
#include <QList>

// The records of one scan keyed by identifier. Cheap to copy: both maps are shared
// until one copy changes.
struct ScanTree {
    QUuid rootID;
    QHash<QUuid, ScanNodeRecord> nodesByID;
    QHash<QUuid, QList<QUuid>> childIDsByParentID; // a leaf may have no entry

    std::optional<ScanNodeRecord> rootNode() const;
    std::optional<ScanNodeRecord> node(const std::optional<QUuid>& id) const;
    // Direct children in stored order; identifiers without a record are skipped.
    QList<ScanNodeRecord> children(const QUuid& parentID) const;
    // Root first, the node last. Stops at a missing parent or at the first repeated
    // identifier, so broken data cannot loop; empty for an unknown identifier.
    QList<ScanNodeRecord> pathTo(const QUuid& id) const;

    bool operator==(const ScanTree&) const = default;
};
