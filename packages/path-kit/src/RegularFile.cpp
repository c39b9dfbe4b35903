#include "PathKit/RegularFile.h"

#include "PathKit/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>

std::optional<QByteArray> RegularFile::read(int dirFd, const char* path, qint64 limit, Links links)
{
    const int noFollow = links == Links::refuse ? AT_SYMLINK_NOFOLLOW : 0;
    struct stat status {};
    if (::fstatat(dirFd, path, &status, noFollow) != 0 || !S_ISREG(status.st_mode) || status.st_size > limit)
        return std::nullopt;
    const int openFlags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | (links == Links::refuse ? O_NOFOLLOW : 0);
    const FileDescriptor fd(::openat(dirFd, path, openFlags));
    if (fd.get() < 0 || ::fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    QByteArray bytes;
    char buffer[16384];
    ssize_t n = 0;
    while (bytes.size() <= limit && (n = ::read(fd.get(), buffer, sizeof buffer)) > 0) bytes.append(buffer, n);
    if (n < 0 || bytes.size() > limit) return std::nullopt;
    return bytes;
}
