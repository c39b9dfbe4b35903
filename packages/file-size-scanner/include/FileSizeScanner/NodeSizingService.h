#pragma once

#include "FileSizeScanner/NodeResourceValues.h"
#include "FileSizeScanner/NodeSize.h"

// Turns an object's resource values into its two sizes: totals first, then the plain
// file values, allocated falling back to logical; never negative.
class NodeSizingService {
public:
    NodeSize resolveSize(const NodeResourceValues& values) const;
};
