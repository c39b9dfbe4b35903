#include "Services/InlineFolderProbe.h"

#include "PathKit/FilePaths.h"
#include "Support/DirectoryStream.h"

#include <QByteArray>
#include <QList>

#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

bool listedInHiddenFile(int dirFd, const char* name)
{
    const int fd = ::openat(dirFd, ".hidden", O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    QByteArray bytes;
    char buffer[4096];
    ssize_t n = 0;
    while ((n = ::read(fd, buffer, sizeof buffer)) > 0 && bytes.size() < 1024 * 1024) bytes.append(buffer, n);
    ::close(fd);
    return bytes.split('\n').contains(QByteArray(name));
}

} // namespace

bool InlineFolderProbe::hasVisibleChildren(const QString& url, bool includingHiddenFiles)
{
    const int fd = ::open(FilePaths::toNative(FilePaths::standardized(url)).constData(),
                          O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return false;
    bool found = false;
    DirectoryStream(fd, 16384).forEach([&](const DirectoryStream::Name& d) {
        if (!includingHiddenFiles && (d.name[0] == '.' || listedInHiddenFile(fd, d.name))) return true;
        found = true;
        return false;
    });
    ::close(fd);
    return found;
}
