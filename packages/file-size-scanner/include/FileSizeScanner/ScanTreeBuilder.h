#pragma once

#include "CScanKit/sg_scan.h"
#include "FileSizeScanner/FileSystemProviding.h"
#include "FileSizeScanner/NodeSize.h"
#include "FileSizeScanner/ScanTree.h"

#include <stop_token>

// Turns the walker's flat records into a ScanTree. Paths are built from the parent's path
// and the record's name, identifiers by StableScanNodeID, so a live tree and the final
// tree agree on them. Sizes above the signed 64-bit range are held at its maximum.
class ScanTreeBuilder {
public:
    // The final tree of a finished walk. Sizes every package by walking its contents through
    // `packageFileSystem` and adds the difference to all its ancestors. Consumes the flat
    // records: their memory goes back to the system as the tree grows, so only the counters
    // and the children array of `result` stay meaningful. std::nullopt when the result holds
    // no node or `stop` was requested (the caller tells the two apart by `stop`).
    static std::optional<ScanTree> fromScanResult(sg_scan_result_t* result, const QString& rootPath,
                                                  const FileSystemProviding& packageFileSystem,
                                                  std::stop_token stop = {});
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
