#include "Services/PosixFileSystemCalls.h"

#include <cerrno>
#include <cstdio>

#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

using Calls = FileSystemCalls;

Calls::Result<void> voidResult(int returned)
{
    if (returned == 0) return {};
    return std::unexpected(errno);
}

// An attribute list or value: asks for the size, reads, and asks again when it
// grew in between.
template <typename Read>
Calls::Result<QByteArray> sizedRead(Read readInto)
{
    for (;;) {
        const ssize_t size = readInto(nullptr, 0);
        if (size < 0) return std::unexpected(errno);
        QByteArray bytes(size, Qt::Uninitialized);
        const ssize_t got = size == 0 ? 0 : readInto(bytes.data(), size_t(size));
        if (got >= 0) {
            bytes.truncate(got);
            return bytes;
        }
        if (errno != ERANGE) return std::unexpected(errno);
    }
}

// Retries a call that a signal interrupted; returns its value or the errno.
template <typename Call>
Calls::Result<qint64> retrying(Call call)
{
    for (;;) {
        const auto returned = call();
        if (returned >= 0) return qint64(returned);
        if (errno != EINTR) return std::unexpected(errno);
    }
}

} // namespace

Calls::Result<int> PosixFileSystemCalls::open(const QByteArray& path, int flags, mode_t mode)
{
    const auto fd = retrying([&] { return ::open(path.constData(), flags, mode); });
    if (!fd) return std::unexpected(fd.error());
    return int(*fd);
}

Calls::Result<int> PosixFileSystemCalls::createUnnamed(const QByteArray& folder, mode_t mode)
{
    return open(folder, O_TMPFILE | O_WRONLY | O_CLOEXEC, mode);
}

Calls::Result<void> PosixFileSystemCalls::linkUnnamed(int fd, const QByteArray& path)
{
    // The descriptor's entry in /proc names the unnamed file; without /proc,
    // AT_EMPTY_PATH does the same where the process is allowed it.
    char procPath[64];
    std::snprintf(procPath, sizeof procPath, "/proc/self/fd/%d", fd);
    if (::linkat(AT_FDCWD, procPath, AT_FDCWD, path.constData(), AT_SYMLINK_FOLLOW) == 0) return {};
    if (errno != ENOENT || ::access("/proc/self/fd", F_OK) == 0) return std::unexpected(errno);
    return voidResult(::linkat(fd, "", AT_FDCWD, path.constData(), AT_EMPTY_PATH));
}

void PosixFileSystemCalls::close(int fd)
{
    ::close(fd);
}

Calls::Result<void> PosixFileSystemCalls::closeWritten(int fd)
{
    // Linux releases the descriptor even when close reports an error: never retry.
    return voidResult(::close(fd));
}

Calls::Result<struct stat> PosixFileSystemCalls::fileStatus(int fd)
{
    struct stat status {};
    if (::fstat(fd, &status) != 0) return std::unexpected(errno);
    return status;
}

Calls::Result<struct stat> PosixFileSystemCalls::linkStatus(const QByteArray& path)
{
    struct stat status {};
    if (::lstat(path.constData(), &status) != 0) return std::unexpected(errno);
    return status;
}

Calls::Result<struct stat> PosixFileSystemCalls::status(const QByteArray& path)
{
    struct stat status {};
    if (::stat(path.constData(), &status) != 0) return std::unexpected(errno);
    return status;
}

Calls::Result<bool> PosixFileSystemCalls::isReadable(const QByteArray& path)
{
    // AT_EACCESS asks with the ids the copy itself runs under.
    return ::faccessat(AT_FDCWD, path.constData(), R_OK, AT_EACCESS) == 0;
}

Calls::Result<qint64> PosixFileSystemCalls::read(int fd, char* buffer, qint64 size)
{
    return retrying([&] { return ::read(fd, buffer, size_t(size)); });
}

Calls::Result<qint64> PosixFileSystemCalls::write(int fd, const char* buffer, qint64 size)
{
    return retrying([&] { return ::write(fd, buffer, size_t(size)); });
}

Calls::Result<qint64> PosixFileSystemCalls::copyRange(int fromFd, int toFd, qint64 size)
{
    return retrying([&] { return ::copy_file_range(fromFd, nullptr, toFd, nullptr, size_t(size), 0); });
}

Calls::Result<void> PosixFileSystemCalls::cloneFile(int fromFd, int toFd)
{
    return voidResult(::ioctl(toFd, FICLONE, fromFd));
}

Calls::Result<qint64> PosixFileSystemCalls::seek(int fd, qint64 offset, int whence)
{
    const off_t position = ::lseek(fd, off_t(offset), whence);
    if (position < 0) return std::unexpected(errno);
    return qint64(position);
}

Calls::Result<void> PosixFileSystemCalls::truncate(int fd, qint64 size)
{
    return voidResult(::ftruncate(fd, off_t(size)));
}

Calls::Result<void> PosixFileSystemCalls::syncData(int fd)
{
    return voidResult(::fdatasync(fd));
}

Calls::Result<void> PosixFileSystemCalls::sync(int fd)
{
    return voidResult(::fsync(fd));
}

Calls::Result<void> PosixFileSystemCalls::setOwner(int fd, uid_t owner, gid_t group)
{
    return voidResult(::fchown(fd, owner, group));
}

Calls::Result<void> PosixFileSystemCalls::setMode(int fd, mode_t mode)
{
    return voidResult(::fchmod(fd, mode));
}

Calls::Result<void> PosixFileSystemCalls::setTimes(int fd, const struct timespec times[2])
{
    return voidResult(::futimens(fd, times));
}

Calls::Result<void> PosixFileSystemCalls::setAttribute(int fd, const QByteArray& name, const QByteArray& value)
{
    return voidResult(::fsetxattr(fd, name.constData(), value.constData(), size_t(value.size()), 0));
}

Calls::Result<void> PosixFileSystemCalls::setOwnerAt(const QByteArray& path, uid_t owner, gid_t group)
{
    return voidResult(::lchown(path.constData(), owner, group));
}

Calls::Result<void> PosixFileSystemCalls::setModeAt(const QByteArray& path, mode_t mode)
{
    return voidResult(::fchmodat(AT_FDCWD, path.constData(), mode, 0));
}

Calls::Result<void> PosixFileSystemCalls::setTimesAt(const QByteArray& path, const struct timespec times[2])
{
    return voidResult(::utimensat(AT_FDCWD, path.constData(), times, AT_SYMLINK_NOFOLLOW));
}

Calls::Result<QByteArray> PosixFileSystemCalls::attributeNames(const QByteArray& path)
{
    return sizedRead([&](char* buffer, size_t size) { return ::llistxattr(path.constData(), buffer, size); });
}

Calls::Result<QByteArray> PosixFileSystemCalls::attribute(const QByteArray& path, const QByteArray& name)
{
    return sizedRead(
        [&](char* buffer, size_t size) { return ::lgetxattr(path.constData(), name.constData(), buffer, size); });
}

Calls::Result<void> PosixFileSystemCalls::makeDirectory(const QByteArray& path, mode_t mode)
{
    return voidResult(::mkdir(path.constData(), mode));
}

Calls::Result<void> PosixFileSystemCalls::removeDirectory(const QByteArray& path)
{
    return voidResult(::rmdir(path.constData()));
}

Calls::Result<void> PosixFileSystemCalls::unlink(const QByteArray& path)
{
    return voidResult(::unlink(path.constData()));
}

Calls::Result<QByteArray> PosixFileSystemCalls::readLink(const QByteArray& path)
{
    QByteArray target(256, Qt::Uninitialized);
    for (;;) {
        const ssize_t length = ::readlink(path.constData(), target.data(), size_t(target.size()));
        if (length < 0) return std::unexpected(errno);
        // A full buffer may mean a cut target: grow and read again.
        if (length < target.size()) {
            target.truncate(length);
            return target;
        }
        target.resize(target.size() * 2);
    }
}

Calls::Result<void> PosixFileSystemCalls::makeSymbolicLink(const QByteArray& target, const QByteArray& path)
{
    return voidResult(::symlink(target.constData(), path.constData()));
}

Calls::Result<void> PosixFileSystemCalls::makeNode(const QByteArray& path, mode_t mode, dev_t device)
{
    return voidResult(::mknod(path.constData(), mode, device));
}

Calls::Result<void> PosixFileSystemCalls::renameExclusive(const QByteArray& from, const QByteArray& to)
{
    return voidResult(::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE));
}

Calls::Result<void> PosixFileSystemCalls::link(const QByteArray& from, const QByteArray& to)
{
    return voidResult(::link(from.constData(), to.constData()));
}

Calls::Result<std::vector<Calls::DirectoryChild>> PosixFileSystemCalls::listDirectory(const QByteArray& path)
{
    const int fd = ::open(path.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return std::unexpected(errno);
    DIR* directory = ::fdopendir(fd);
    if (!directory) {
        const int error = errno;
        ::close(fd);
        return std::unexpected(error);
    }
    std::vector<DirectoryChild> children;
    for (;;) {
        errno = 0;
        const dirent* item = ::readdir(directory);
        if (!item) break;
        const char* name = item->d_name;
        if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0))) continue;
        children.push_back({QByteArray(name), item->d_type});
    }
    const int error = errno;
    ::closedir(directory);
    if (error != 0) return std::unexpected(error);
    return children;
}
