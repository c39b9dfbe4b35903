#include "Services/FileAttributeCopier.h"

#include <cerrno>

namespace {

// Refusals by which a file system or the process's rights say "not here": the
// item stays without that piece of metadata.
bool isRefusal(int code)
{
    return code == EPERM || code == EOPNOTSUPP || code == EINVAL || code == ENOSYS;
}

// Attribute refusals also include names the destination does not take (a
// default ACL on a file, a value too large for the file system).
bool isAttributeRefusal(int code)
{
    return isRefusal(code) || code == EACCES || code == ENODATA || code == E2BIG || code == ERANGE;
}

FileSystemCalls::Result<void> tolerated(const FileSystemCalls::Result<void>& result, bool (*refusal)(int) = isRefusal)
{
    if (result || refusal(result.error())) return {};
    return result;
}

// What travels: the user's own attributes and access control lists. Security
// labels and trusted attributes belong to the destination's policy.
bool travels(const QByteArray& name)
{
    return name.startsWith("user.") || name == "system.posix_acl_access" || name == "system.posix_acl_default";
}

mode_t keptMode(const struct stat& source, bool isOwnerKept)
{
    const mode_t mode = source.st_mode & 07777;
    return isOwnerKept ? mode : mode & ~mode_t(S_ISUID | S_ISGID);
}

} // namespace

FileAttributeCopier::Result FileAttributeCopier::applyTo(int fd, const struct stat& source,
                                                        const QByteArray& attributeSource)
{
    // Owner and mode are set only where they differ: each change is a metadata
    // write, which many small files would pay for (most copies are the user's own).
    const auto current = calls.fileStatus(fd);
    const bool isOwned = current && current->st_uid == source.st_uid && current->st_gid == source.st_gid;
    bool isOwnerKept = isOwned;
    if (!isOwned) {
        const auto owned = calls.setOwner(fd, source.st_uid, source.st_gid);
        if (const auto checked = tolerated(owned); !checked) return checked;
        isOwnerKept = owned.has_value();
    }
    bool isModeTouched = false;
    if (!attributeSource.isEmpty())
        if (const auto copied = copyExtendedAttributes(fd, attributeSource, isModeTouched); !copied) return copied;
    // The mode after the ACL: both describe the same bits, and the mode is the source's.
    const mode_t mode = keptMode(source, isOwnerKept);
    if (!current || (current->st_mode & 07777) != mode || isModeTouched)
        if (const auto moded = tolerated(calls.setMode(fd, mode)); !moded) return moded;
    const struct timespec times[2] = {source.st_atim, source.st_mtim};
    return tolerated(calls.setTimes(fd, times));
}

FileAttributeCopier::Result FileAttributeCopier::applyAt(const QByteArray& path, const struct stat& source)
{
    const auto owned = calls.setOwnerAt(path, source.st_uid, source.st_gid);
    if (const auto checked = tolerated(owned); !checked) return checked;
    // A link has no mode of its own on Linux.
    if (!S_ISLNK(source.st_mode))
        if (const auto moded = tolerated(calls.setModeAt(path, keptMode(source, owned.has_value()))); !moded)
            return moded;
    const struct timespec times[2] = {source.st_atim, source.st_mtim};
    return tolerated(calls.setTimesAt(path, times));
}

FileAttributeCopier::Result FileAttributeCopier::copyExtendedAttributes(int fd, const QByteArray& attributeSource,
                                                                       bool& isModeTouched)
{
    // Best effort: a source whose attributes cannot be read has none to give.
    const auto names = calls.attributeNames(attributeSource);
    if (!names || names->isEmpty()) return {};
    for (const QByteArray& name : names->split('\0')) {
        if (!travels(name)) continue;
        const auto value = calls.attribute(attributeSource, name);
        if (!value) continue;
        if (const auto set = tolerated(calls.setAttribute(fd, name, *value), isAttributeRefusal); !set) return set;
        isModeTouched = isModeTouched || name.startsWith("system.posix_acl");
    }
    return {};
}
