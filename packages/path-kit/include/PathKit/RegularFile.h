#pragma once

#include <QByteArray>

#include <optional>

// Reads small files that name nothing but their content (".hidden" lists,
// Info.plist) without ever blocking: the item is looked at first and opened only
// when it is a regular file, so a pipe never waits for a writer and a device's
// driver never sees an open; the descriptor is looked at again to cover a swap.
namespace RegularFile {

enum class Links { follow, refuse };

// The content of `path` (relative to `dirFd`, or AT_FDCWD), or nothing when it
// is missing, not a regular file, or larger than `limit` bytes.
std::optional<QByteArray> read(int dirFd, const char* path, qint64 limit, Links links);

} // namespace RegularFile
