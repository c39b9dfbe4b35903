#pragma once

#include "FileSizeScanner/NodeResourceValues.h"

struct ChildEntry {
    QString url {}; // standardised absolute path
    NodeResourceValues values;

    bool operator==(const ChildEntry&) const = default;
};
