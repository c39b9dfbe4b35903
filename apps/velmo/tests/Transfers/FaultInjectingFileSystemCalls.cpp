#include "FaultInjectingFileSystemCalls.h"

#include "PathKit/FilePaths.h"

#include <fcntl.h>

using Call = FaultInjectingFileSystemCalls::Call;

std::vector<Call> FaultInjectingFileSystemCalls::mutatingCalls()
{
    return {Call::open, Call::create, Call::closeWritten, Call::fileStatus, Call::linkStatus, Call::read,
            Call::write, Call::copyRange, Call::clone, Call::setMode, Call::setTimes, Call::makeDirectory,
            Call::removeDirectory, Call::unlink, Call::readLink, Call::makeSymbolicLink, Call::renameExclusive,
            Call::link, Call::listDirectory};
}

const char* FaultInjectingFileSystemCalls::name(Call call)
{
    static const char* const names[] = {
        "open", "create", "close", "closeWritten", "fileStatus", "linkStatus", "status", "isReadable",
        "read", "write", "copyRange", "clone", "setMode", "setTimes",
        "makeDirectory", "removeDirectory", "unlink", "readLink", "makeSymbolicLink", "makeNode",
        "renameExclusive", "link", "listDirectory", "any"};
    return names[int(call)];
}

void FaultInjectingFileSystemCalls::failCall(Call call, int occurrence, int error)
{
    faults.push_back({call, occurrence, {}, error, {}});
}

void FaultInjectingFileSystemCalls::failPath(Call call, const QString& fragment, int error)
{
    faults.push_back({call, 0, fragment, error, {}});
}

void FaultInjectingFileSystemCalls::beforeCall(Call call, int occurrence, std::function<void()> action)
{
    faults.push_back({call, occurrence, {}, 0, std::move(action)});
}

int FaultInjectingFileSystemCalls::count(Call call) const
{
    const auto found = counts.find(call);
    return found == counts.end() ? 0 : found->second;
}

std::optional<int> FaultInjectingFileSystemCalls::enter(Call call, const QByteArray& path)
{
    const int occurrence = ++counts[call];
    const int anyOccurrence = ++counts[Call::any];
    if (auto error = match(Call::any, anyOccurrence, path)) return error;
    return match(call, occurrence, path);
}

std::optional<int> FaultInjectingFileSystemCalls::match(Call call, int occurrence, const QByteArray& path)
{
    for (Fault& fault : faults) {
        if (fault.call != call) continue;
        const bool hits = fault.occurrence == 0
            ? !path.isEmpty() && FilePaths::fromNative(path).contains(fault.fragment)
            : fault.occurrence == occurrence;
        if (!hits) continue;
        if (fault.action) {
            fault.action();
            continue;
        }
        return fault.error;
    }
    return std::nullopt;
}

#define FAULT(call, path) \
    if (const auto error = enter(call, path)) return std::unexpected(*error)

FileSystemCalls::Result<int> FaultInjectingFileSystemCalls::open(const QByteArray& path, int flags, mode_t mode)
{
    FAULT((flags & O_CREAT) ? Call::create : Call::open, path);
    return real.open(path, flags, mode);
}

void FaultInjectingFileSystemCalls::close(int fd)
{
    enter(Call::close);
    real.close(fd);
}

FileSystemCalls::Result<void> FaultInjectingFileSystemCalls::closeWritten(int fd)
{
    if (const auto error = enter(Call::closeWritten)) {
        real.close(fd);
        return std::unexpected(*error);
    }
    return real.closeWritten(fd);
}

FileSystemCalls::Result<struct stat> FaultInjectingFileSystemCalls::fileStatus(int fd)
{
    FAULT(Call::fileStatus, {});
    return real.fileStatus(fd);
}

FileSystemCalls::Result<struct stat> FaultInjectingFileSystemCalls::linkStatus(const QByteArray& path)
{
    FAULT(Call::linkStatus, path);
    return real.linkStatus(path);
}

FileSystemCalls::Result<struct stat> FaultInjectingFileSystemCalls::status(const QByteArray& path)
{
    FAULT(Call::status, path);
    return real.status(path);
}

FileSystemCalls::Result<bool> FaultInjectingFileSystemCalls::isReadable(const QByteArray& path)
{
    // A failing check answers "not readable", as the real one does.
    if (enter(Call::isReadable, path)) return false;
    return real.isReadable(path);
}

FileSystemCalls::Result<qint64> FaultInjectingFileSystemCalls::read(int fd, char* buffer, qint64 size)
{
    FAULT(Call::read, {});
    return real.read(fd, buffer, size);
}

FileSystemCalls::Result<qint64> FaultInjectingFileSystemCalls::write(int fd, const char* buffer, qint64 size)
{
    FAULT(Call::write, {});
    return real.write(fd, buffer, size);
}

FileSystemCalls::Result<qint64> FaultInjectingFileSystemCalls::copyRange(int fromFd, int toFd, qint64 size)
{
    FAULT(Call::copyRange, {});
    return real.copyRange(fromFd, toFd, size);
}

FileSystemCalls::Result<void> FaultInjectingFileSystemCalls::cloneFile(int fromFd, int toFd)
{
    FAULT(Call::clone, {});
    return real.cloneFile(fromFd, toFd);
}

FileSystemCalls::Result<void> FaultInjectingFileSystemCalls::setMode(int fd, mode_t mode)
{
    FAULT(Call::setMode, {});
    return real.setMode(fd, mode);
}

FileSystemCalls::Result<void> FaultInjectingFileSystemCalls::setTimes(int fd, const struct timespec times[2])
{
    FAULT(Call::setTimes, {});
    return real.setTimes(fd, times);
}

FileSystemCalls::Result<void> FaultInjectingFileSystemCalls::makeDirectory(const QByteArray& path, mode_t mode)
{
    FAULT(Call::makeDirectory, path);
    return real.makeDirectory(path, mode);
}

FileSystemCalls::Result<void> FaultInjectingFileSystemCalls::removeDirectory(const QByteArray& path)
{
    FAULT(Call::removeDirectory, path);
    return real.removeDirectory(path);
}

FileSystemCalls::Result<void> FaultInjectingFileSystemCalls::unlink(const QByteArray& path)
{
    FAULT(Call::unlink, path);
    return real.unlink(path);
}

FileSystemCalls::Result<QByteArray> FaultInjectingFileSystemCalls::readLink(const QByteArray& path)
{
    FAULT(Call::readLink, path);
    return real.readLink(path);
}

FileSystemCalls::Result<void> FaultInjectingFileSystemCalls::makeSymbolicLink(const QByteArray& target,
                                                                             const QByteArray& path)
{
    FAULT(Call::makeSymbolicLink, path);
    return real.makeSymbolicLink(target, path);
}

FileSystemCalls::Result<void> FaultInjectingFileSystemCalls::makeNode(const QByteArray& path, mode_t mode, dev_t device)
{
    FAULT(Call::makeNode, path);
    return real.makeNode(path, mode, device);
}

FileSystemCalls::Result<void> FaultInjectingFileSystemCalls::renameExclusive(const QByteArray& from,
                                                                            const QByteArray& to)
{
    FAULT(Call::renameExclusive, from);
    return real.renameExclusive(from, to);
}

FileSystemCalls::Result<void> FaultInjectingFileSystemCalls::link(const QByteArray& from, const QByteArray& to)
{
    FAULT(Call::link, from);
    return real.link(from, to);
}

FileSystemCalls::Result<std::vector<FileSystemCalls::DirectoryChild>> FaultInjectingFileSystemCalls::listDirectory(
    const QByteArray& path)
{
    FAULT(Call::listDirectory, path);
    return real.listDirectory(path);
}
