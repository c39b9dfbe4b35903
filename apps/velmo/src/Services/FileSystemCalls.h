#pragma once

#include <QByteArray>

#include <expected>
#include <vector>

#include <sys/stat.h>
#include <sys/types.h>

// The platform calls through which transfers reach the disk, one virtual per call
// so that a test can make any of them fail. Paths are native bytes
// (FilePaths::toNative). A call returns its value or the errno it failed with.
// Implementations must be safe to use from the thread that runs a transfer.
class FileSystemCalls {
public:
    template <typename T>
    using Result = std::expected<T, int>;

    struct DirectoryChild {
        QByteArray name;
        unsigned char type = 0; // DT_* from the listing; DT_UNKNOWN when the file system does not say
    };

    virtual ~FileSystemCalls() = default;

    virtual Result<int> open(const QByteArray& path, int flags, mode_t mode) = 0;
    // A file without a name in `folder` (O_TMPFILE), open for writing; it vanishes
    // when closed unless linkUnnamed gives it a name first.
    virtual Result<int> createUnnamed(const QByteArray& folder, mode_t mode) = 0;
    // Gives an unnamed file its name; fails with EEXIST rather than replace anything.
    virtual Result<void> linkUnnamed(int fd, const QByteArray& path) = 0;
    virtual void close(int fd) = 0;
    // Closing a written file reports late write errors (NFS, quotas).
    virtual Result<void> closeWritten(int fd) = 0;
    virtual Result<struct stat> fileStatus(int fd) = 0;
    virtual Result<struct stat> linkStatus(const QByteArray& path) = 0; // lstat
    virtual Result<struct stat> status(const QByteArray& path) = 0;     // stat: follows links
    virtual Result<bool> isReadable(const QByteArray& path) = 0;        // by the effective ids; false when absent

    virtual Result<qint64> read(int fd, char* buffer, qint64 size) = 0;
    virtual Result<qint64> write(int fd, const char* buffer, qint64 size) = 0;
    // From and to the descriptors' current offsets, which move on.
    virtual Result<qint64> copyRange(int fromFd, int toFd, qint64 size) = 0;
    virtual Result<void> cloneFile(int fromFd, int toFd) = 0;
    virtual Result<qint64> seek(int fd, qint64 offset, int whence) = 0; // SEEK_SET, SEEK_DATA, SEEK_HOLE...
    virtual Result<void> truncate(int fd, qint64 size) = 0;
    virtual Result<void> syncData(int fd) = 0; // fdatasync
    virtual Result<void> sync(int fd) = 0;     // fsync, for folders

    virtual Result<void> setOwner(int fd, uid_t owner, gid_t group) = 0;
    virtual Result<void> setMode(int fd, mode_t mode) = 0;
    virtual Result<void> setTimes(int fd, const struct timespec times[2]) = 0;
    virtual Result<void> setAttribute(int fd, const QByteArray& name, const QByteArray& value) = 0;
    // The same for items that are not opened (links, pipes, devices); links are never followed.
    virtual Result<void> setOwnerAt(const QByteArray& path, uid_t owner, gid_t group) = 0;
    virtual Result<void> setModeAt(const QByteArray& path, mode_t mode) = 0;
    virtual Result<void> setTimesAt(const QByteArray& path, const struct timespec times[2]) = 0;
    // Extended attribute names (NUL-separated) and values, links not followed.
    virtual Result<QByteArray> attributeNames(const QByteArray& path) = 0;
    virtual Result<QByteArray> attribute(const QByteArray& path, const QByteArray& name) = 0;

    virtual Result<void> makeDirectory(const QByteArray& path, mode_t mode) = 0;
    virtual Result<void> removeDirectory(const QByteArray& path) = 0;
    virtual Result<void> unlink(const QByteArray& path) = 0;
    virtual Result<QByteArray> readLink(const QByteArray& path) = 0;
    virtual Result<void> makeSymbolicLink(const QByteArray& target, const QByteArray& path) = 0;
    virtual Result<void> makeNode(const QByteArray& path, mode_t mode, dev_t device) = 0;
    // rename that fails with EEXIST instead of replacing what is at `to`.
    virtual Result<void> renameExclusive(const QByteArray& from, const QByteArray& to) = 0;
    virtual Result<void> link(const QByteArray& from, const QByteArray& to) = 0;

    // Every child but "." and "..", in the order the file system gives them.
    virtual Result<std::vector<DirectoryChild>> listDirectory(const QByteArray& path) = 0;
};
