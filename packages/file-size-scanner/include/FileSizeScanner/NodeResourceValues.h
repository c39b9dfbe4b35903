#pragma once

#include <QString>

#include <optional>

// What a file system reports for one object. On Linux the file sizes are what du counts for
// the object alone (st_blocks * 512 and st_size); the total sizes are never reported.
struct NodeResourceValues {
    QString name {};
    bool isDirectory = false;
    bool isPackage = false;
    bool isHidden = false;
    bool isReadable = true;
    std::optional<qint64> totalFileAllocatedSize {};
    std::optional<qint64> fileAllocatedSize {};
    std::optional<qint64> totalFileSize {};
    std::optional<qint64> fileSize {};

    bool operator==(const NodeResourceValues&) const = default;
};
