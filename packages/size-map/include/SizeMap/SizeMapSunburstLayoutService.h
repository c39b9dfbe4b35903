#pragma once

#include "SizeMap/SizeMapSunburstSegment.h"

#include <FileSizeScanner/ScanTree.h>
#include <FileSizeScanner/ScanTreeBuilder.h>

#include <QList>

// Lays out a ScanTree around a focused node as an open ring of rings: from 12 to 348
// degrees, a gap at the top, `maximumDepth` rings outward.
//
// Pure and reentrant: makeSegments reads the tree only and keeps no state, so it runs on
// any thread over a snapshot (ScanTree copies share their data until written). Its cost
// follows what is drawn, not the tree's size: only folders that get an arc are sorted,
// and for them only the children big enough to be drawn are ordered by name.
struct SizeMapSunburstLayoutService {
    double minimumFraction = 0.0035;          // below this share of its parent: aggregated
    double minimumAngleDegrees = 0.42;        // an arc narrower than this: aggregated
    int maximumDepth = 6;                     // rings below the focused node
    int maximumVisibleChildrenPerParent = 84; // the rest of a parent's children: aggregated
    double siblingGapDegrees = 0.075;
    double chartStartDegrees = 12.0;
    double chartEndDegrees = 348.0;
    double terminalCapMinimumDegrees = 0.22;  // a narrower leaf gets no cap

    // Drawing order: inner to outer within each branch, depth first. Empty when the
    // focused node is missing or its allocated size is below 1.
    QList<SizeMapSunburstSegment> makeSegments(const ScanTree& tree, const QUuid& focusedNodeID) const;

    // What a tree must hold for this layout of its root: what the scan sends first, so
    // that the finished chart is drawn before the whole tree is built.
    ScanTreeBuilder::DrawableLimits drawableLimits() const
    {
        return {.rings = maximumDepth,
                .spanDegrees = chartEndDegrees - chartStartDegrees,
                .minimumFraction = minimumFraction,
                .minimumAngleDegrees = minimumAngleDegrees,
                .maximumVisibleChildren = maximumVisibleChildrenPerParent};
    }

    // A value in [0, 1) that depends on `text` and `offset` only, so caps keep their
    // heights between layouts: FNV-1a of "text-offset", modulo 10,000.
    static double deterministicUnit(QStringView text, int offset);

    // Layouts need recomputing only when this changes: focused id, node count, root size.
    static QString segmentCacheKey(const ScanTree& tree, const QUuid& focusedNodeID);

    bool operator==(const SizeMapSunburstLayoutService&) const = default;
};
