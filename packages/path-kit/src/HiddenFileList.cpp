#include "PathKit/HiddenFileList.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A real list is a few names; past this a file is not one.
constexpr qsizetype kReadLimit = 1024 * 1024;

} // namespace

QSet<QByteArray> HiddenFileList::read(int dirFd)
{
    QSet<QByteArray> names;
    // O_NONBLOCK: opening a FIFO for reading would otherwise wait for a writer.
    // O_NOFOLLOW: a link named ".hidden" is not a list.
    const int fd = ::openat(dirFd, ".hidden", O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY);
    if (fd < 0) return names;
    struct stat status {};
    if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
        ::close(fd);
        return names;
    }
    QByteArray bytes;
    char buffer[8192];
    ssize_t n = 0;
    while (bytes.size() < kReadLimit && (n = ::read(fd, buffer, sizeof buffer)) > 0) bytes.append(buffer, n);
    ::close(fd);
    for (const QByteArray& line : bytes.split('\n'))
        if (!line.isEmpty()) names.insert(line);
    return names;
}
