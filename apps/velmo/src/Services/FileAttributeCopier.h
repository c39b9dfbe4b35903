#pragma once

#include "Services/FileSystemCalls.h"

// Gives a new item what its source carries besides its data: the owner where the
// process may set it, the mode (set-user/group-ID bits only when the owner was
// kept), user.* extended attributes and POSIX ACLs (best effort) and the access
// and modification times. A file system that cannot hold some of it (FAT has no
// owner, no modes beyond read-only, no attributes) does not fail the item.
class FileAttributeCopier {
public:
    using Result = FileSystemCalls::Result<void>;

    explicit FileAttributeCopier(FileSystemCalls& calls) : calls(calls) {}

    // An open regular file or folder. Extended attributes are read from
    // `attributeSource` (native path), none when it is empty.
    Result applyTo(int fd, const struct stat& source, const QByteArray& attributeSource);
    // A symbolic link (owner and times) or special file (owner, mode, times) by path.
    Result applyAt(const QByteArray& path, const struct stat& source);

private:
    // `isModeTouched` turns true when an ACL was set: an ACL rewrites the mode's group bits.
    Result copyExtendedAttributes(int fd, const QByteArray& attributeSource, bool& isModeTouched);

    FileSystemCalls& calls;
};
