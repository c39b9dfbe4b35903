#pragma once

#include "FileSizeScanner/FileSystemProviding.h"

#include <memory>

// The real file system: one directory read and one statx per entry relative to the open
// folder; symbolic links are reported, never followed. Counts like du: every object that
// can be stat'ed is readable (its permission bits do not matter), and a folder whose names
// cannot be reached (read but no search permission) fails with EACCES as a whole.
// A folder on a pseudo file system (proc, sysfs, autofs, ...) lists as empty and is never
// opened. Safe to call from several threads.
class LocalFileSystemProvider : public FileSystemProviding {
public:
    LocalFileSystemProvider();
    ~LocalFileSystemProvider() override;

    std::expected<QList<ChildEntry>, FileSystemError> childEntries(const QString& path) const override;
    std::expected<NodeResourceValues, FileSystemError> resourceValues(const QString& path) const override;

private:
    class Mounts;
    std::shared_ptr<Mounts> mounts_;
};
