#pragma once

#include "FileSizeScanner/ProgressSnapshot.h"
#include "FileSizeScanner/ScanFailure.h"
#include "FileSizeScanner/ScanSummary.h"
#include "FileSizeScanner/ScanTree.h"

#include <QSet>

#include <variant>

// One event of a scan's stream. NodeDiscovered, NodeUpdated and BranchCompleted exist for
// readers that handle incremental trees; neither engine sends them.
struct ScanUpdate {
    struct Started {
        QString rootURL;
        QDateTime startedAt;
        bool operator==(const Started&) const = default;
    };
    struct NodeDiscovered {
        QUuid parentID;
        ScanNodeRecord node;
        bool operator==(const NodeDiscovered&) const = default;
    };
    struct NodeUpdated {
        QUuid nodeID;
        qint64 allocatedSize = 0;
        qint64 logicalSize = 0;
        bool operator==(const NodeUpdated&) const = default;
    };
    struct BranchCompleted {
        QUuid nodeID;
        bool operator==(const BranchCompleted&) const = default;
    };
    struct IntermediateTree {
        ScanTree tree;
        // Set on the drawable part of a finished walk: the final sizes of what a chart draws
        // from the root, sent while the whole tree is still being built. Its stand-ins are
        // records of no file-system object (see ScanTreeBuilder::DrawableTree).
        bool isDrawablePart = false;
        QSet<QUuid> standInIDs {};
        bool operator==(const IntermediateTree&) const = default;
    };
    struct Finished {
        ScanTree tree;
        ScanSummary summary;
        bool operator==(const Finished&) const = default;
    };
    struct Failed {
        ScanFailure failure;
        bool operator==(const Failed&) const = default;
    };
    struct Cancelled {
        bool operator==(const Cancelled&) const = default;
    };

    std::variant<Started, ProgressSnapshot, NodeDiscovered, NodeUpdated, BranchCompleted, IntermediateTree,
                 Finished, Failed, Cancelled>
        value;

    // True for the updates after which a stream sends nothing more.
    bool isTerminal() const
    {
        return std::holds_alternative<Finished>(value) || std::holds_alternative<Failed>(value)
            || std::holds_alternative<Cancelled>(value);
    }

    bool operator==(const ScanUpdate&) const = default;
};
