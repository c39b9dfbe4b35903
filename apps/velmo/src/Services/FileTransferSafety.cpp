#include "Services/FileTransferSafety.h"

#include "PathKit/FilePaths.h"

#include <cstdlib>

#include <fcntl.h>
#include <linux/fs.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace {

constexpr long kExfatMagic = 0x2011BAB0;
constexpr long kCaseFoldFlag = 0x40000000; // FS_CASEFOLD_FL, missing from older kernel headers

bool exists(const QString& path)
{
    struct stat status {};
    return ::stat(FilePaths::toNative(path).constData(), &status) == 0;
}

// The path with every link resolved; the part that does not exist yet is kept
// as it stands, so a destination that is still to be made compares correctly.
QString resolvingLinks(const QString& path)
{
    if (char* resolved = ::realpath(FilePaths::toNative(path).constData(), nullptr)) {
        QString result = FilePaths::fromNative(resolved, qsizetype(strlen(resolved)));
        ::free(resolved);
        return result;
    }
    if (path == u"/") return path;
    return FilePaths::appending(resolvingLinks(FilePaths::parent(path)), FilePaths::lastComponent(path));
}

bool isCaseFoldedFolder(const QByteArray& path)
{
    const int fd = ::open(path.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return false;
    int flags = 0;
    const bool folded = ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0 && (flags & kCaseFoldFlag) != 0;
    ::close(fd);
    return folded;
}

} // namespace

FileTransferPartition FileTransferSafety::partitionTransferableSources(const QStringList& sources,
                                                                       const QString& destination,
                                                                       bool caseSensitivePaths)
{
    FileTransferPartition partition;
    const QStringList target = normalizedPathComponents(destination, caseSensitivePaths);
    for (const QString& source : sources) {
        if (isPrefix(normalizedPathComponents(source, caseSensitivePaths), target))
            partition.skipped.append(source);
        else
            partition.transferable.append(source);
    }
    return partition;
}

std::optional<bool> FileTransferSafety::volumeSupportsCaseSensitiveNames(const QString& url)
{
    QString path = FilePaths::standardized(url);
    while (path != u"/" && !exists(path)) path = FilePaths::parent(path);
    const QByteArray native = FilePaths::toNative(path);
    struct statfs info {};
    if (::statfs(native.constData(), &info) != 0) return std::nullopt;
    return fileSystemTypeSupportsCaseSensitiveNames(long(info.f_type), isCaseFoldedFolder(native));
}

bool FileTransferSafety::fileSystemTypeSupportsCaseSensitiveNames(long fileSystemType, bool isCaseFoldedFolder)
{
    if (isCaseFoldedFolder) return false;
    return fileSystemType != MSDOS_SUPER_MAGIC && fileSystemType != kExfatMagic;
}

QStringList FileTransferSafety::normalizedPathComponents(const QString& url, bool caseSensitivePaths)
{
    QStringList components = FilePaths::components(FilePaths::standardized(resolvingLinks(FilePaths::standardized(url))));
    if (!caseSensitivePaths)
        for (QString& component : components) component = component.toLower();
    return components;
}

bool FileTransferSafety::isSameOrDescendant(const QString& sourceURL, const QString& targetURL,
                                            bool caseSensitivePaths)
{
    return isPrefix(normalizedPathComponents(sourceURL, caseSensitivePaths),
                    normalizedPathComponents(targetURL, caseSensitivePaths));
}

bool FileTransferSafety::isPrefix(const QStringList& source, const QStringList& target)
{
    if (target.size() < source.size()) return false;
    for (qsizetype index = 0; index < source.size(); ++index)
        if (source[index] != target[index]) return false;
    return true;
}
