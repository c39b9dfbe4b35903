#include "Services/FileDataCopier.h"

#include <algorithm>
#include <cerrno>

#include <unistd.h>

namespace {

constexpr qint64 kCopyChunk = qint64(1) << 30;
constexpr qint64 kBufferSize = 256 * 1024;

// Errors by which a file system says it cannot clone or copy in the kernel at
// all, as opposed to failing while doing it.
bool meansUnsupported(int code)
{
    return code == EOPNOTSUPP || code == ENOTTY || code == EINVAL || code == EXDEV || code == ENOSYS
        || code == EBADF || code == EPERM;
}

// Fewer blocks than the size needs: the file has holes.
bool hasHoles(const struct stat& status)
{
    return status.st_size > 0 && qint64(status.st_blocks) * 512 < qint64(status.st_size);
}

} // namespace

FileSystemCalls::Result<qint64> FileDataCopier::copy(int sourceFd, int destinationFd, const struct stat& source)
{
    if (source.st_size > 0 && !devicesWithoutCloning.contains(source.st_dev)) {
        const auto cloned = calls.cloneFile(sourceFd, destinationFd);
        if (cloned) {
            const auto status = calls.fileStatus(destinationFd);
            if (!status) return std::unexpected(status.error());
            return qint64(status->st_size);
        }
        if (!meansUnsupported(cloned.error())) return std::unexpected(cloned.error());
        devicesWithoutCloning.insert(source.st_dev);
    }
    if (hasHoles(source))
        if (auto copied = copyExtents(sourceFd, destinationFd, source.st_dev)) return *copied;
    return copyRun(sourceFd, destinationFd, -1, source.st_dev, source.st_size);
}

FileSystemCalls::Result<qint64> FileDataCopier::copyRun(int sourceFd, int destinationFd, qint64 length, dev_t device,
                                                        qint64 expectedSize)
{
    qint64 copied = 0;
    if (!devicesWithoutRangeCopy.contains(device)) {
        while (length < 0 || copied < length) {
            const qint64 want = length < 0 ? kCopyChunk : std::min(length - copied, kCopyChunk);
            const auto chunk = calls.copyRange(sourceFd, destinationFd, want);
            if (!chunk) {
                if (!meansUnsupported(chunk.error())) return std::unexpected(chunk.error());
                // Both descriptors stand where the kernel stopped: reading goes on from there.
                devicesWithoutRangeCopy.insert(device);
                break;
            }
            // Zero is the end of the file, or a file system that copies nothing
            // (generated files that say they are empty): reading tells the two apart.
            if (*chunk == 0) break;
            copied += *chunk;
        }
        if (length >= 0 ? copied == length : expectedSize > 0 && copied >= expectedSize) return copied;
    }
    const auto rest = copyByReading(sourceFd, destinationFd, length < 0 ? -1 : length - copied);
    if (!rest) return rest;
    return copied + *rest;
}

FileSystemCalls::Result<qint64> FileDataCopier::copyByReading(int sourceFd, int destinationFd, qint64 length)
{
    if (!buffer) buffer = std::make_unique<char[]>(kBufferSize);
    qint64 copied = 0;
    while (length < 0 || copied < length) {
        const qint64 want = length < 0 ? kBufferSize : std::min(length - copied, kBufferSize);
        const auto count = calls.read(sourceFd, buffer.get(), want);
        if (!count) return std::unexpected(count.error());
        if (*count == 0) break;
        for (qint64 offset = 0; offset < *count;) {
            const auto written = calls.write(destinationFd, buffer.get() + offset, *count - offset);
            if (!written) return std::unexpected(written.error());
            if (*written == 0) return std::unexpected(EIO);
            offset += *written;
        }
        copied += *count;
    }
    return copied;
}

std::optional<FileSystemCalls::Result<qint64>> FileDataCopier::copyExtents(int sourceFd, int destinationFd,
                                                                         dev_t device)
{
    using Result = FileSystemCalls::Result<qint64>;
    for (qint64 offset = 0;;) {
        const auto data = calls.seek(sourceFd, offset, SEEK_DATA);
        if (!data) {
            if (data.error() == ENXIO) break; // no data after `offset`: the rest is a hole
            if (offset == 0 && meansUnsupported(data.error())) return std::nullopt;
            return Result(std::unexpected(data.error()));
        }
        const auto hole = calls.seek(sourceFd, *data, SEEK_HOLE);
        if (!hole) return Result(std::unexpected(hole.error()));
        for (const int fd : {sourceFd, destinationFd})
            if (const auto placed = calls.seek(fd, *data, SEEK_SET); !placed)
                return Result(std::unexpected(placed.error()));
        const auto copied = copyRun(sourceFd, destinationFd, *hole - *data, device, 0);
        if (!copied) return Result(std::unexpected(copied.error()));
        // The extent ended early: the file shrank while it was being copied.
        if (*copied != *hole - *data) return Result(*data + *copied);
        offset = *hole;
    }
    // A hole at the end is made by the size alone.
    const auto end = calls.seek(sourceFd, 0, SEEK_END);
    if (!end) return Result(std::unexpected(end.error()));
    if (const auto sized = calls.truncate(destinationFd, *end); !sized) return Result(std::unexpected(sized.error()));
    return Result(*end);
}
