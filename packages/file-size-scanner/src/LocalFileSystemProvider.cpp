#include "FileSizeScanner/LocalFileSystemProvider.h"

#include "CScanKit/sg_scan.h"
#include "CScanKit/sg_mounts.h"
#include "sg_scan_internal.h"

#include <PathKit/FileDescriptor.h>
#include <PathKit/FilePaths.h>
#include <PathKit/HiddenFileList.h>

#include <cerrno>
#include <climits>
#include <dirent.h>
#include <fcntl.h>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr unsigned kStatxMask = STATX_TYPE | STATX_MODE | STATX_SIZE | STATX_BLOCKS | STATX_MNT_ID;
constexpr int kMountTableRereads = 4;


NodeResourceValues valuesFromStat(const QString& name, const QByteArray& nativeName, const struct statx& sx,
                                  bool isListedHidden)
{
    NodeResourceValues values;
    values.name = name;
    values.isDirectory = S_ISDIR(sx.stx_mode);
    values.isPackage = values.isDirectory && sg_is_package_name(nativeName.constData());
    values.isHidden = nativeName.startsWith('.') || isListedHidden;
    values.isReadable = true;
    // Held at the signed 64-bit maximum like every size in the scanner.
    values.fileAllocatedSize = sx.stx_blocks > uint64_t(INT64_MAX) / 512 ? INT64_MAX : qint64(sx.stx_blocks) * 512;
    values.fileSize = sx.stx_size > uint64_t(INT64_MAX) ? INT64_MAX : qint64(sx.stx_size);
    return values;
}

// The folder at `native` opened as the parent of its last component, so that a path longer
// than the kernel takes at once still resolves and the last component can be checked before
// it is opened. `name` receives that last component ("." for the root).
int openParent(const QByteArray& native, QByteArray& name)
{
    const qsizetype slash = native.lastIndexOf('/');
    if (native == "/") {
        name = ".";
        return ::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    }
    name = native.mid(slash + 1);
    const QByteArray parent = slash == 0 ? QByteArray("/") : native.left(slash);
    if (parent.size() < PATH_MAX) return ::open(parent.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const FileDescriptor root(::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return root.get() < 0 ? -1 : sg_open_below(root.get(), parent.constData() + 1);
}

} // namespace

// The mount table, read once and again only when a mount appears that it does not know. Every
// folder is looked up, not only mount roots, so that a walk started inside /proc stays out too.
class LocalFileSystemProvider::Mounts {
public:
    Mounts() { sg_mount_table_read(&table_); }
    ~Mounts() { sg_mount_table_free(&table_); }
    Mounts(const Mounts&) = delete;
    Mounts& operator=(const Mounts&) = delete;

    bool isPseudo(const struct statx& sx)
    {
        std::lock_guard lock(mutex_);
        return sg_mount_table_is_pseudo(&table_, &sx, &rereads_, kMountTableRereads);
    }

private:
    std::mutex mutex_;
    sg_mount_table_t table_ {};
    int rereads_ = 0;
};

LocalFileSystemProvider::LocalFileSystemProvider()
    : mounts_(std::make_shared<Mounts>())
{
}

LocalFileSystemProvider::~LocalFileSystemProvider() = default;

std::expected<QList<ChildEntry>, FileSystemError> LocalFileSystemProvider::childEntries(const QString& path) const
{
    const QString folder = FilePaths::standardized(path);
    QByteArray lastName;
    const FileDescriptor parent(openParent(FilePaths::toNative(folder), lastName));
    if (parent.get() < 0) return std::unexpected(FileSystemError {errno, folder});
    // Checked before opening: an automount point would be triggered, a pseudo file system is not disk usage.
    struct statx self {};
    if (statx(parent.get(), lastName.constData(), AT_NO_AUTOMOUNT, kStatxMask, &self) != 0)
        return std::unexpected(FileSystemError {errno, folder});
    if (mounts_->isPseudo(self)) return QList<ChildEntry>();
    const FileDescriptor directory(openat(parent.get(), lastName.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory.get() < 0) return std::unexpected(FileSystemError {errno, folder});
    // A second descriptor for reading, so the first stays usable for statx.
    const int readFd = dup(directory.get());
    DIR* stream = readFd >= 0 ? fdopendir(readFd) : nullptr;
    if (!stream) {
        const int code = errno;
        if (readFd >= 0) ::close(readFd);
        return std::unexpected(FileSystemError {code, folder});
    }

    QList<ChildEntry> entries;
    bool hasHiddenList = false;
    errno = 0;
    for (const dirent* entry; (entry = readdir(stream)) != nullptr; errno = 0) {
        const char* nativeName = entry->d_name;
        if (nativeName[0] == '.' && (nativeName[1] == '\0' || (nativeName[1] == '.' && nativeName[2] == '\0'))) continue;
        const QByteArray bytes(nativeName);
        hasHiddenList = hasHiddenList || bytes == ".hidden";
        const QString name = FilePaths::fromNative(bytes);
        ChildEntry child {FilePaths::appending(folder, name), {}};
        struct statx sx {};
        if (statx(directory.get(), nativeName, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, kStatxMask, &sx) == 0) {
            child.values = valuesFromStat(name, bytes, sx, false);
        } else if (errno == EACCES) {
            // No search permission: none of the names can be reached, so the folder is unreadable.
            const int code = errno;
            closedir(stream);
            return std::unexpected(FileSystemError {code, folder});
        } else {
            // Gone since it was listed: kept as a zero-sized item that is not a folder.
            child.values.name = name;
            child.values.isReadable = false;
        }
        entries.append(std::move(child));
    }
    const int readError = errno;
    closedir(stream);
    if (readError != 0) return std::unexpected(FileSystemError {readError, folder});

    if (hasHiddenList) {
        const QSet<QByteArray> hidden = HiddenFileList::read(directory.get());
        for (ChildEntry& child : entries)
            if (hidden.contains(FilePaths::toNative(child.values.name))) child.values.isHidden = true;
    }
    return entries;
}

std::expected<NodeResourceValues, FileSystemError> LocalFileSystemProvider::resourceValues(const QString& path) const
{
    const QString standardized = FilePaths::standardized(path);
    QByteArray nativeName;
    const FileDescriptor parent(openParent(FilePaths::toNative(standardized), nativeName));
    if (parent.get() < 0) return std::unexpected(FileSystemError {errno, standardized});
    struct statx sx {};
    if (statx(parent.get(), nativeName.constData(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, kStatxMask, &sx) != 0)
        return std::unexpected(FileSystemError {errno, standardized});
    const QString name = FilePaths::lastComponent(standardized);
    const bool listedHidden =
        standardized != QStringLiteral("/") && HiddenFileList::read(parent.get()).contains(FilePaths::toNative(name));
    return valuesFromStat(name, FilePaths::toNative(name), sx, listedHidden);
}
