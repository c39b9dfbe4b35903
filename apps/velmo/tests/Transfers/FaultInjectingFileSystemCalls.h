#pragma once

#include "Services/PosixFileSystemCalls.h"

#include <QString>

#include <fcntl.h>

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
        open, create, close, closeWritten, fileStatus, linkStatus, status, isReadable, read, write, copyRange, clone,
        setMode, setTimes, makeDirectory, removeDirectory, unlink, readLink, makeSymbolicLink, makeNode,
        renameExclusive, link, listDirectory,
        any, // every call
    };
    // The calls a transfer makes on its way; `close` and the read-only checks are left out.
    static std::vector<Call> failableCalls();
    static const char* name(Call call);

    // The `occurrence`-th call (from 1) of `call` fails with `error` without reaching the disk.
    void failCall(Call call, int occurrence, int error) { faults.push_back({call, occurrence, {}, error, {}}); }
    // Every call of `call` whose path contains `fragment` fails with `error`.
    void failPath(Call call, const QString& fragment, int error) { faults.push_back({call, 0, fragment, error, {}}); }
    // Runs `action` just before the `occurrence`-th call of `call`.
    void beforeCall(Call call, int occurrence, std::function<void()> action)
    {
        faults.push_back({call, occurrence, {}, 0, std::move(action)});
    }
    int count(Call call) const { return counts.contains(call) ? counts.at(call) : 0; }

    // clang-format off
    Result<int> open(const QByteArray& p, int f, mode_t m) override { return pass(f & O_CREAT ? Call::create : Call::open, p, [&] { return real.open(p, f, m); }); }
    void close(int fd) override { enter(Call::close, {}); real.close(fd); }
    Result<void> closeWritten(int fd) override { if (auto e = enter(Call::closeWritten, {})) { real.close(fd); return std::unexpected(*e); } return real.closeWritten(fd); }
    Result<struct stat> fileStatus(int fd) override { return pass(Call::fileStatus, {}, [&] { return real.fileStatus(fd); }); }
    Result<struct stat> linkStatus(const QByteArray& p) override { return pass(Call::linkStatus, p, [&] { return real.linkStatus(p); }); }
    Result<struct stat> status(const QByteArray& p) override { return pass(Call::status, p, [&] { return real.status(p); }); }
    // A failing check answers "not readable", as the real one does.
    Result<bool> isReadable(const QByteArray& p) override { return enter(Call::isReadable, p) ? false : *real.isReadable(p); }
    Result<qint64> read(int fd, char* b, qint64 n) override { return pass(Call::read, {}, [&] { return real.read(fd, b, n); }); }
    Result<qint64> write(int fd, const char* b, qint64 n) override { return pass(Call::write, {}, [&] { return real.write(fd, b, n); }); }
    Result<qint64> copyRange(int from, int to, qint64 n) override { return pass(Call::copyRange, {}, [&] { return real.copyRange(from, to, n); }); }
    Result<void> cloneFile(int from, int to) override { return pass(Call::clone, {}, [&] { return real.cloneFile(from, to); }); }
    Result<void> setMode(int fd, mode_t m) override { return pass(Call::setMode, {}, [&] { return real.setMode(fd, m); }); }
    Result<void> setTimes(int fd, const struct timespec t[2]) override { return pass(Call::setTimes, {}, [&] { return real.setTimes(fd, t); }); }
    Result<void> makeDirectory(const QByteArray& p, mode_t m) override { return pass(Call::makeDirectory, p, [&] { return real.makeDirectory(p, m); }); }
    Result<void> removeDirectory(const QByteArray& p) override { return pass(Call::removeDirectory, p, [&] { return real.removeDirectory(p); }); }
    Result<void> unlink(const QByteArray& p) override { return pass(Call::unlink, p, [&] { return real.unlink(p); }); }
    Result<QByteArray> readLink(const QByteArray& p) override { return pass(Call::readLink, p, [&] { return real.readLink(p); }); }
    Result<void> makeSymbolicLink(const QByteArray& t, const QByteArray& p) override { return pass(Call::makeSymbolicLink, p, [&] { return real.makeSymbolicLink(t, p); }); }
    Result<void> makeNode(const QByteArray& p, mode_t m, dev_t d) override { return pass(Call::makeNode, p, [&] { return real.makeNode(p, m, d); }); }
    Result<void> renameExclusive(const QByteArray& from, const QByteArray& to) override { return pass(Call::renameExclusive, from, [&] { return real.renameExclusive(from, to); }); }
    Result<void> link(const QByteArray& from, const QByteArray& to) override { return pass(Call::link, from, [&] { return real.link(from, to); }); }
    Result<std::vector<DirectoryChild>> listDirectory(const QByteArray& p) override { return pass(Call::listDirectory, p, [&] { return real.listDirectory(p); }); }
    // clang-format on

private:
    struct Fault {
        Call call;
        int occurrence = 0; // 0: by path
        QString fragment;
        int error = 0;
        std::function<void()> action;
    };
    // Counts the call, runs due actions and returns the errno it must fail with, if any.
    std::optional<int> enter(Call call, const QByteArray& path);
    template <typename RealCall>
    auto pass(Call call, const QByteArray& path, RealCall realCall) -> decltype(realCall())
    {
        if (const auto error = enter(call, path)) return std::unexpected(*error);
        return realCall();
    }

    PosixFileSystemCalls real;
    std::map<Call, int> counts;
    std::vector<Fault> faults;
};
