#include "Services/FileItemOperations.h"

#include "PathKit/FilePaths.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr qint64 kCopyChunk = qint64(1) << 30;
constexpr qint64 kBufferSize = 256 * 1024;

std::unexpected<FileTransferSystemError> failure(int code, const QString& path)
{
    return std::unexpected(FileTransferSystemError{code, path});
}

// Errors by which a file system says it cannot do an in-kernel copy or clone at
// all, as opposed to failing while doing it.
bool meansUnsupported(int code)
{
    return code == EOPNOTSUPP || code == ENOTTY || code == EINVAL || code == EXDEV || code == ENOSYS
        || code == EBADF || code == EPERM;
}

} // namespace

FileItemOperations::Result FileItemOperations::copyItem(const QString& source, const QString& destination)
{
    const QByteArray from = FilePaths::toNative(source);
    const QByteArray to = FilePaths::toNative(destination);
    // O_NOFOLLOW makes a link fail with ELOOP instead of opening its target;
    // O_NONBLOCK keeps a pipe from blocking the open.
    const auto fd = calls.open(from, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0);
    if (!fd) {
        if (fd.error() == ELOOP) return copyLink(from, to, source, destination);
        if (fd.error() == ENXIO) return copyNode(from, to, source, destination); // a socket
        return failure(fd.error(), source);
    }
    const auto status = calls.fileStatus(*fd);
    if (!status) {
        calls.close(*fd);
        return failure(status.error(), source);
    }
    if (!S_ISREG(status->st_mode)) {
        calls.close(*fd);
        if (S_ISDIR(status->st_mode)) return failure(EISDIR, source);
        return copyNode(from, to, source, destination);
    }
    const Result copied = copyRegularFile(*fd, *status, to, destination);
    calls.close(*fd);
    return copied;
}

FileItemOperations::Result FileItemOperations::copyRegularFile(int sourceFd, const struct stat& status,
                                                               const QByteArray& destination,
                                                               const QString& destinationURL)
{
    const auto fd = calls.open(destination, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (!fd) return failure(fd.error(), destinationURL);
    auto written = copyData(sourceFd, *fd, status);
    if (written) written = keepAttributes(*fd, status);
    if (written)
        written = calls.closeWritten(*fd);
    else
        calls.close(*fd);
    if (written) return {};
    // The file is ours: it was created exclusively above.
    calls.unlink(destination);
    return failure(written.error(), destinationURL);
}

FileSystemCalls::Result<void> FileItemOperations::copyData(int sourceFd, int destinationFd, const struct stat& status)
{
    const qint64 size = status.st_size;
    // Files that say they are empty may still have content (generated files).
    if (size == 0) return copyByReading(sourceFd, destinationFd);
    if (!devicesWithoutCloning.contains(status.st_dev)) {
        const auto cloned = calls.cloneFile(sourceFd, destinationFd);
        if (cloned) return {};
        if (!meansUnsupported(cloned.error())) return cloned;
        devicesWithoutCloning.insert(status.st_dev);
    }
    if (devicesWithoutRangeCopy.contains(status.st_dev)) return copyByReading(sourceFd, destinationFd);
    // Stop at the size read at the start: one call fewer per small file, and a
    // file that grows meanwhile is copied as it was.
    qint64 copied = 0;
    while (copied < size) {
        const auto chunk = calls.copyRange(sourceFd, destinationFd, std::min(size - copied, kCopyChunk));
        if (!chunk) {
            if (!meansUnsupported(chunk.error())) return std::unexpected(chunk.error());
            // Both descriptors stand where the kernel stopped: reading goes on from there.
            devicesWithoutRangeCopy.insert(status.st_dev);
            return copyByReading(sourceFd, destinationFd);
        }
        if (*chunk == 0) break;
        copied += *chunk;
    }
    return {};
}

FileSystemCalls::Result<void> FileItemOperations::copyByReading(int sourceFd, int destinationFd)
{
    if (!buffer) buffer = std::make_unique<char[]>(kBufferSize);
    for (;;) {
        const auto count = calls.read(sourceFd, buffer.get(), kBufferSize);
        if (!count) return std::unexpected(count.error());
        if (*count == 0) return {};
        for (qint64 offset = 0; offset < *count;) {
            const auto written = calls.write(destinationFd, buffer.get() + offset, *count - offset);
            if (!written) return std::unexpected(written.error());
            if (*written == 0) return std::unexpected(EIO);
            offset += *written;
        }
    }
}

FileSystemCalls::Result<void> FileItemOperations::keepAttributes(int destinationFd, const struct stat& status)
{
    // File systems that cannot hold a mode or time (FAT) refuse them; the data is
    // what counts, so those refusals do not fail the copy.
    const auto tolerated = [](const FileSystemCalls::Result<void>& result) {
        return result || result.error() == EPERM || result.error() == EOPNOTSUPP || result.error() == EINVAL;
    };
    const auto moded = calls.setMode(destinationFd, status.st_mode & 07777);
    if (!tolerated(moded)) return moded;
    const struct timespec times[2] = {status.st_atim, status.st_mtim};
    const auto timed = calls.setTimes(destinationFd, times);
    if (!tolerated(timed)) return timed;
    return {};
}

FileItemOperations::Result FileItemOperations::copyLink(const QByteArray& source, const QByteArray& destination,
                                                        const QString& sourceURL, const QString& destinationURL)
{
    const auto target = calls.readLink(source);
    if (!target) return failure(target.error(), sourceURL);
    const auto made = calls.makeSymbolicLink(*target, destination);
    if (!made) return failure(made.error(), destinationURL);
    return {};
}

FileItemOperations::Result FileItemOperations::copyNode(const QByteArray& source, const QByteArray& destination,
                                                        const QString& sourceURL, const QString& destinationURL)
{
    const auto status = calls.linkStatus(source);
    if (!status) return failure(status.error(), sourceURL);
    if (S_ISLNK(status->st_mode)) return copyLink(source, destination, sourceURL, destinationURL);
    if (S_ISDIR(status->st_mode)) return failure(EISDIR, sourceURL);
    const auto made = calls.makeNode(destination, status->st_mode & (S_IFMT | 07777), status->st_rdev);
    if (!made) return failure(made.error(), destinationURL);
    return {};
}

FileItemOperations::Result FileItemOperations::moveItem(const QString& source, const QString& destination)
{
    const QByteArray from = FilePaths::toNative(source);
    const QByteArray to = FilePaths::toNative(destination);
    const auto renamed = calls.renameExclusive(from, to);
    if (renamed) return {};
    if (renamed.error() == EXDEV) {
        // Another file system: copy, then remove the source; if the source cannot
        // go, the copy goes instead, so the item exists once.
        if (const Result copied = copyItem(source, destination); !copied) return copied;
        const auto removed = calls.unlink(from);
        if (removed) return {};
        calls.unlink(to);
        return failure(removed.error(), source);
    }
    if (renamed.error() == EINVAL) {
        // A file system without exclusive rename: a hard link is exclusive too.
        const auto linked = calls.link(from, to);
        if (!linked) return failure(linked.error(), destination);
        const auto removed = calls.unlink(from);
        if (removed) return {};
        calls.unlink(to);
        return failure(removed.error(), source);
    }
    return failure(renamed.error(), destination);
}

FileItemOperations::Result FileItemOperations::renameItem(const QString& source, const QString& destination)
{
    const auto renamed = calls.renameExclusive(FilePaths::toNative(source), FilePaths::toNative(destination));
    if (!renamed) return failure(renamed.error(), destination);
    return {};
}

FileItemOperations::Result FileItemOperations::makeDirectory(const QString& path)
{
    const auto made = calls.makeDirectory(FilePaths::toNative(path), 0777);
    if (!made) return failure(made.error(), path);
    return {};
}

FileItemOperations::Result FileItemOperations::makeLink(const QString& target, const QString& path)
{
    const auto made = calls.makeSymbolicLink(FilePaths::toNative(target), FilePaths::toNative(path));
    if (!made) return failure(made.error(), path);
    return {};
}

FileItemOperations::Result FileItemOperations::makeDirectoryWithIntermediates(const QString& path)
{
    if (exists(path) || path == u"/") return {};
    if (const Result parent = makeDirectoryWithIntermediates(FilePaths::parent(path)); !parent) return parent;
    const Result made = makeDirectory(path);
    if (!made && made.error().code == EEXIST) return {};
    return made;
}

FileItemOperations::Result FileItemOperations::removeDirectory(const QString& path)
{
    const auto removed = calls.removeDirectory(FilePaths::toNative(path));
    if (!removed) return failure(removed.error(), path);
    return {};
}

void FileItemOperations::removeItem(const QString& path)
{
    removeNative(FilePaths::toNative(path));
}

void FileItemOperations::removeNative(const QByteArray& path)
{
    const auto status = calls.linkStatus(path);
    if (!status) return;
    if (!S_ISDIR(status->st_mode)) {
        calls.unlink(path);
        return;
    }
    if (const auto children = calls.listDirectory(path))
        for (const auto& child : *children) removeNative(path + '/' + child.name);
    calls.removeDirectory(path);
}

bool FileItemOperations::isReadable(const QString& path)
{
    return calls.isReadable(FilePaths::toNative(path)).value_or(false);
}

bool FileItemOperations::exists(const QString& path)
{
    return calls.status(FilePaths::toNative(path)).has_value();
}
