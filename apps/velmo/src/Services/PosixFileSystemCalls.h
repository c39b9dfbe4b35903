#pragma once

#include "Services/FileSystemCalls.h"

// FileSystemCalls on the Linux system calls. Stateless: one instance may serve
// any number of threads.
class PosixFileSystemCalls final : public FileSystemCalls {
public:
    Result<int> open(const QByteArray& path, int flags, mode_t mode) override;
    Result<int> createUnnamed(const QByteArray& folder, mode_t mode) override;
    Result<void> linkUnnamed(int fd, const QByteArray& path) override;
    void close(int fd) override;
    Result<void> closeWritten(int fd) override;
    Result<struct stat> fileStatus(int fd) override;
    Result<struct stat> linkStatus(const QByteArray& path) override;
    Result<struct stat> status(const QByteArray& path) override;
    Result<bool> isReadable(const QByteArray& path) override;

    Result<qint64> read(int fd, char* buffer, qint64 size) override;
    Result<qint64> write(int fd, const char* buffer, qint64 size) override;
    Result<qint64> copyRange(int fromFd, int toFd, qint64 size) override;
    Result<void> cloneFile(int fromFd, int toFd) override;
    Result<qint64> seek(int fd, qint64 offset, int whence) override;
    Result<void> truncate(int fd, qint64 size) override;
    Result<void> syncData(int fd) override;
    Result<void> sync(int fd) override;

    Result<void> setOwner(int fd, uid_t owner, gid_t group) override;
    Result<void> setMode(int fd, mode_t mode) override;
    Result<void> setTimes(int fd, const struct timespec times[2]) override;
    Result<void> setAttribute(int fd, const QByteArray& name, const QByteArray& value) override;
    Result<void> setOwnerAt(const QByteArray& path, uid_t owner, gid_t group) override;
    Result<void> setModeAt(const QByteArray& path, mode_t mode) override;
    Result<void> setTimesAt(const QByteArray& path, const struct timespec times[2]) override;
    Result<QByteArray> attributeNames(const QByteArray& path) override;
    Result<QByteArray> attribute(const QByteArray& path, const QByteArray& name) override;

    Result<void> makeDirectory(const QByteArray& path, mode_t mode) override;
    Result<void> removeDirectory(const QByteArray& path) override;
    Result<void> unlink(const QByteArray& path) override;
    Result<QByteArray> readLink(const QByteArray& path) override;
    Result<void> makeSymbolicLink(const QByteArray& target, const QByteArray& path) override;
    Result<void> makeNode(const QByteArray& path, mode_t mode, dev_t device) override;
    Result<void> renameExclusive(const QByteArray& from, const QByteArray& to) override;
    Result<void> link(const QByteArray& from, const QByteArray& to) override;

    Result<std::vector<DirectoryChild>> listDirectory(const QByteArray& path) override;
};
