#pragma once

#include "CScanKit/sg_scan.h"
#include "FileSizeScanner/FileSystemProviding.h"
#include "FileSizeScanner/NodeSize.h"
#include "FileSizeScanner/ScanTree.h"

#include <QSet>

#include <stop_token>

// Turns the walker's flat records into a ScanTree. Paths are built from the parent's path
// and the record's name, identifiers by StableScanNodeID, so a live tree and the final
// tree agree on them. Sizes above the signed 64-bit range are held at its maximum.
class ScanTreeBuilder {
public:
    // What a chart draws from a tree's root: `rings` rings of children across
    // `spanDegrees`. A child below `minimumFraction` of its parent's size or narrower than
    // `minimumAngleDegrees`, or beyond a parent's `maximumVisibleChildren` largest, is drawn
    // only as part of its parent's arc of smaller objects.
    struct DrawableLimits {
        int rings = 6;
        double spanDegrees = 336;
        double minimumFraction = 0.0035;
        double minimumAngleDegrees = 0.42;
        int maximumVisibleChildren = 84;
        // How many undrawn children of drawn folders are kept as themselves in all before
        // the folders with the most have theirs packed into stand-ins: every one in an
        // ordinary tree, and still built in a few tens of milliseconds.
        qsizetype undrawnChildrenBudget = 50000;
        bool operator==(const DrawableLimits&) const = default;
    };

    // The part of a finished walk that a chart with `limits` draws from the root, with the
    // final sizes: built in a few milliseconds where the whole tree takes seconds.
    struct DrawableTree {
        ScanTree tree;
        // Records of no file-system object (no path): each stands for several children
        // of its parent that are too small to be drawn, so that the parent's arc of
        // smaller objects keeps its exact angle.
        QSet<QUuid> standInIDs;
    };

    // Replaces each package's own size by that of its whole content, walked through
    // `fileSystem`, and adds the difference to its ancestors. Done on a finished walk before
    // any tree is made of it. Stops early, leaving the rest at their own size, once `stop`
    // is requested.
    static void sizePackages(sg_scan_result_t* result, const QString& rootPath, const FileSystemProviding& fileSystem,
                             std::stop_token stop = {});
    // The final tree of a finished walk. Consumes the flat records: their memory goes back
    // to the system as the tree grows, so only the counters and the children array of
    // `result` stay meaningful. std::nullopt when the result holds no node or `stop` was
    // requested (the caller tells the two apart by `stop`).
    static std::optional<ScanTree> fromScanResult(sg_scan_result_t* result, const QString& rootPath,
                                                  std::stop_token stop = {});
    // The records of a finished walk that the chart draws from the root, each down to its
    // ring (a folder in the outer ring without its content). Of the other children of a
    // drawn folder every one is kept as itself while they number few enough in all;
    // otherwise, in the folders with the most of them, they are packed into stand-ins that
    // each stay too small to be drawn. So the chart of the root is that of the whole tree,
    // and so are the item counts of its smaller arcs unless a folder holds a great many.
    // Reads `result` only. std::nullopt when it holds no node.
    static std::optional<DrawableTree> drawableFromScanResult(const sg_scan_result_t* result, const QString& rootPath,
                                                              const DrawableLimits& limits);
    // A live tree from a snapshot copy; children come from parent indices, packages stay at
    // their own size.
    static std::optional<ScanTree> fromSnapshot(const sg_flat_node_t* nodes, int32_t count, const QString& rootPath);
    // A package measured as one leaf, like du: the fallbacks (its own sizes) plus every object
    // below it, symbolic links not followed. std::nullopt when the package itself cannot be
    // read. Stops early, with what it has, once `stop` is requested.
    static std::optional<NodeSize> packageSize(const QString& path, qint64 fallbackAllocated, qint64 fallbackLogical,
                                               const FileSystemProviding& fileSystem, std::stop_token stop = {});
    // a + b for sizes, held at the signed 64-bit maximum.
    static qint64 addSizes(qint64 a, qint64 b);
};
