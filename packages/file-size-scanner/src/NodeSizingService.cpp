#include "FileSizeScanner/NodeSizingService.h"

#include <algorithm>

NodeSize NodeSizingService::resolveSize(const NodeResourceValues& values) const
{
    const qint64 logical = values.totalFileSize.value_or(values.fileSize.value_or(0));
    const qint64 allocated = values.totalFileAllocatedSize.value_or(values.fileAllocatedSize.value_or(logical));
    return {std::max<qint64>(allocated, 0), std::max<qint64>(logical, 0)};
}
