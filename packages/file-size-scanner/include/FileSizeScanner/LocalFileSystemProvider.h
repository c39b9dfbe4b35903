#pragma once

#include "FileSizeScanner/FileSystemProviding.h"

// The real file system: one directory read and one statx per entry relative to the open
// folder; symbolic links are reported, never followed. Stateless.
class LocalFileSystemProvider : public FileSystemProviding {
public:
    std::expected<QList<ChildEntry>, FileSystemError> childEntries(const QString& path) const override;
    std::expected<NodeResourceValues, FileSystemError> resourceValues(const QString& path) const override;
};
