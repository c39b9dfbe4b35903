#pragma once

#include "FileSizeScanner/ChildEntry.h"
#include "FileSizeScanner/FileSystemError.h"

#include <QList>

#include <expected>

// The file system as the recursive ScanEngine sees it. Implementations are called from
// several threads at once.
class FileSystemProviding {
public:
    virtual ~FileSystemProviding() = default;
    // The folder's entries in the order the system returns them, hidden ones included.
    virtual std::expected<QList<ChildEntry>, FileSystemError> childEntries(const QString& path) const = 0;
    virtual std::expected<NodeResourceValues, FileSystemError> resourceValues(const QString& path) const = 0;
};
