#pragma once

#include "Services/FileSystemCalls.h"

// FileSystemCalls on the Linux system calls. Stateless: one instance may serve
// any number of threads.
class PosixFileSystemCalls final : public FileSystemCalls {
public:
    Result<int> open(const QByteArray& path, int flags, mode_t mode) override;
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
    Result<void> setMode(int fd, mode_t mode) override;
    Result<void> setTimes(int fd, const struct timespec times[2]) override;

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
