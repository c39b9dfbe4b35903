#pragma once

#include "SizeMap/SizeMapSunburstSegment.h"

#include <FileSizeScanner/ScanTree.h>

#include <QColor>

// Colours of the size map. Every colour follows from identifiers and angles, never from
// state, so two layouts of one tree look the same and any thread may compute them.
// Each top-level branch of the scan keeps its own hue family; depth shifts it slightly
// and makes it a little deeper.
namespace SizeMapNodeColor {

// The accent of the focused item.
QColor focus();

// A value in [0, 1) from the FNV-1a hash of `text`, modulo 10,000; 0.6037 for "".
double stableUnit(QStringView text);

// One of nine hues picked by the name, for legends and lists.
QColor color(QStringView name);

// The hue at an angular position (0...1 of a turn) in a branch seeded by `seed`.
double branchHue(double seed, double angular, int depth);

// A node's colour where `segment` draws it: its top-level branch, the segment's middle
// angle and its ring.
QColor color(const ScanNodeRecord& node, const SizeMapSunburstSegment& segment, const ScanTree& tree);

// What the view fills a segment with (before its fill opacity).
QColor segmentColor(const SizeMapSunburstSegment& segment, const ScanTree& tree);

// The colour of the focused node's name in the centre: its branch colour, or `focus`
// for the scan's root and for a node the tree does not hold.
QColor centerTextColor(const QUuid& focusedNodeID, const ScanTree& tree);

} // namespace SizeMapNodeColor
