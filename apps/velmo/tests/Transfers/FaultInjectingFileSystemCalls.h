#pragma once

#include "Services/PosixFileSystemCalls.h"

#include <QString>

#include <functional>
#include <map>
#include <optional>
#include <vector>

// The real calls, with failures and side effects injected at chosen calls:
// "the third data write fails with ENOSPC", "before the second rmdir, drop a
// file into the source folder", "stop the transfer before the 40th call".
class FaultInjectingFileSystemCalls final : public FileSystemCalls {
public:
    enum class Call {
        open, create, close, closeWritten, fileStatus, linkStatus, status, isReadable,
        read, write, copyRange, clone, setMode, setTimes,
        makeDirectory, removeDirectory, unlink, readLink, makeSymbolicLink, makeNode, renameExclusive, link,
        listDirectory,
        any, // matches every call; counts them all
    };
    static std::vector<Call> mutatingCalls();
    static const char* name(Call call);

    // The `occurrence`-th call (from 1) of `call` fails with `error` without
    // reaching the disk.
    void failCall(Call call, int occurrence, int error);
    // Every call of `call` whose path contains `fragment` fails with `error`.
    void failPath(Call call, const QString& fragment, int error);
    // Runs `action` just before the `occurrence`-th call of `call`.
    void beforeCall(Call call, int occurrence, std::function<void()> action);
    int count(Call call) const;

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

private:
    struct Fault {
        Call call;
        int occurrence = 0; // 0: by path
        QString fragment;
        int error = 0;
        std::function<void()> action;
    };
    // Counts the call and returns the errno it must fail with, if any.
    std::optional<int> enter(Call call, const QByteArray& path = {});
    std::optional<int> match(Call call, int occurrence, const QByteArray& path);

    PosixFileSystemCalls real;
    std::map<Call, int> counts;
    std::vector<Fault> faults;
};
