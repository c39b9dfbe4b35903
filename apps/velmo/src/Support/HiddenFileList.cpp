#include "Support/HiddenFileList.h"

#include <fcntl.h>
#include <unistd.h>

QSet<QByteArray> HiddenFileList::read(int dirFd)
{
    QSet<QByteArray> names;
    const int fd = ::openat(dirFd, ".hidden", O_RDONLY | O_CLOEXEC);
    if (fd < 0) return names;
    QByteArray bytes;
    char buffer[8192];
    ssize_t n = 0;
    // A real list is a few names; a huge file is not one.
    while ((n = ::read(fd, buffer, sizeof buffer)) > 0 && bytes.size() < 1024 * 1024) bytes.append(buffer, n);
    ::close(fd);
    for (const QByteArray& line : bytes.split('\n'))
        if (!line.isEmpty()) names.insert(line);
    return names;
}
