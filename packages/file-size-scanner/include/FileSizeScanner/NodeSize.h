#pragma once

#include <QtGlobal>

struct NodeSize {
    qint64 allocated = 0;
    qint64 logical = 0;

    bool operator==(const NodeSize&) const = default;
};
