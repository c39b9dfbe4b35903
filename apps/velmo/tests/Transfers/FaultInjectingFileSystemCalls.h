#pragma once

#include "Services/PosixFileSystemCalls.h"

#include <QString>

#include <fcntl.h>

#include <functional>
#include <map>
#include <optional>
#include <type_traits>
#include <vector>

// The real calls, with failures and side effects injected at chosen calls:
// "the third data write fails with ENOSPC", "before the second rmdir, drop a
// file into the source folder", "stop the transfer before the 40th call",
// "the kernel's copy ends early". Every call is logged with its path.
class FaultInjectingFileSystemCalls final : public FileSystemCalls {
public:
    enum class Call {
        open, create, createUnnamed, linkUnnamed, close, closeWritten, fileStatus, linkStatus, status, isReadable,
        read, write, copyRange, clone, seek, truncate, syncData, sync, setOwner, setMode, setTimes, setAttribute,
        setOwnerAt, setModeAt, setTimesAt, attributeNames, attribute, makeDirectory, removeDirectory, unlink, readLink,
        makeSymbolicLink, makeNode, renameExclusive, link, listDirectory,
        any, // every call
    };
    // The calls a transfer makes on its way; `close` and the read-only checks are left out.
    static std::vector<Call> failableCalls();
    static const char* name(Call call);

    // The `occurrence`-th call (from 1) of `call` fails with `error` without reaching the disk.
    void failCall(Call call, int occurrence, int error) { faults.push_back({call, occurrence, {}, error, {}}); }
    // Every call of `call` whose path contains `fragment` (every call at all when it is empty) fails with `error`.
    void failPath(Call call, const QString& fragment, int error) { faults.push_back({call, 0, fragment, error, {}}); }
    // Runs `action` just before the `occurrence`-th call of `call`.
    void beforeCall(Call call, int occurrence, std::function<void()> action)
    {
        faults.push_back({call, occurrence, {}, 0, std::move(action)});
    }
    // The `occurrence`-th call of `call` (every one when 0; read or copyRange) answers 0 bytes without reaching the disk.
    void endEarly(Call call, int occurrence) { faults.push_back({call, occurrence, {}, 0, {}, true}); }
    // Clones succeed, by copying: a file system with shared extents, as far as a transfer can tell.
    bool emulatesCloning = false;

    int count(Call call) const { return counts.contains(call) ? counts.at(call) : 0; }
    std::vector<std::pair<Call, QByteArray>> log;

    // clang-format off
    Result<int> open(const QByteArray& p, int f, mode_t m) override { return pass(f & O_CREAT ? Call::create : Call::open, p, [&] { return real.open(p, f, m); }); }
    Result<int> createUnnamed(const QByteArray& p, mode_t m) override { return pass(Call::createUnnamed, p, [&] { return real.createUnnamed(p, m); }); }
    Result<void> linkUnnamed(int fd, const QByteArray& p) override { return pass(Call::linkUnnamed, p, [&] { return real.linkUnnamed(fd, p); }); }
    void close(int fd) override { enter(Call::close, {}); real.close(fd); }
    Result<void> closeWritten(int fd) override { if (auto e = enter(Call::closeWritten, {})) { real.close(fd); return std::unexpected(e->error); } return real.closeWritten(fd); }
    Result<struct stat> fileStatus(int fd) override { return pass(Call::fileStatus, {}, [&] { return real.fileStatus(fd); }); }
    Result<struct stat> linkStatus(const QByteArray& p) override { return pass(Call::linkStatus, p, [&] { return real.linkStatus(p); }); }
    Result<struct stat> status(const QByteArray& p) override { return pass(Call::status, p, [&] { return real.status(p); }); }
    // A failing check answers "not readable", as the real one does.
    Result<bool> isReadable(const QByteArray& p) override { return enter(Call::isReadable, p) ? false : *real.isReadable(p); }
    Result<qint64> read(int fd, char* b, qint64 n) override { return pass(Call::read, {}, [&] { return real.read(fd, b, n); }); }
    Result<void> cloneFile(int from, int to) override { return pass(Call::clone, {}, [&] { return emulatesCloning ? cloneByCopying(from, to) : real.cloneFile(from, to); }); }
    Result<qint64> write(int fd, const char* b, qint64 n) override { return pass(Call::write, {}, [&] { return real.write(fd, b, n); }); }
    Result<qint64> copyRange(int from, int to, qint64 n) override { return pass(Call::copyRange, {}, [&] { return real.copyRange(from, to, n); }); }
    Result<qint64> seek(int fd, qint64 o, int w) override { return pass(Call::seek, {}, [&] { return real.seek(fd, o, w); }); }
    Result<void> truncate(int fd, qint64 n) override { return pass(Call::truncate, {}, [&] { return real.truncate(fd, n); }); }
    Result<void> syncData(int fd) override { return pass(Call::syncData, {}, [&] { return real.syncData(fd); }); }
    Result<void> sync(int fd) override { return pass(Call::sync, {}, [&] { return real.sync(fd); }); }
    Result<void> setOwner(int fd, uid_t u, gid_t g) override { return pass(Call::setOwner, {}, [&] { return real.setOwner(fd, u, g); }); }
    Result<void> setMode(int fd, mode_t m) override { return pass(Call::setMode, {}, [&] { return real.setMode(fd, m); }); }
    Result<void> setTimes(int fd, const struct timespec t[2]) override { return pass(Call::setTimes, {}, [&] { return real.setTimes(fd, t); }); }
    Result<void> setAttribute(int fd, const QByteArray& n, const QByteArray& v) override { return pass(Call::setAttribute, {}, [&] { return real.setAttribute(fd, n, v); }); }
    Result<void> setOwnerAt(const QByteArray& p, uid_t u, gid_t g) override { return pass(Call::setOwnerAt, p, [&] { return real.setOwnerAt(p, u, g); }); }
    Result<void> setModeAt(const QByteArray& p, mode_t m) override { return pass(Call::setModeAt, p, [&] { return real.setModeAt(p, m); }); }
    Result<void> setTimesAt(const QByteArray& p, const struct timespec t[2]) override { return pass(Call::setTimesAt, p, [&] { return real.setTimesAt(p, t); }); }
    Result<QByteArray> attributeNames(const QByteArray& p) override { return pass(Call::attributeNames, p, [&] { return real.attributeNames(p); }); }
    Result<QByteArray> attribute(const QByteArray& p, const QByteArray& n) override { return pass(Call::attribute, p, [&] { return real.attribute(p, n); }); }
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
        bool endsEarly = false;
    };
    // What a call must answer instead of reaching the disk.
    struct Instead {
        int error = 0; // 0: answers zero bytes
    };
    // Counts and logs the call, runs due actions and tells what it must answer instead, if anything.
    std::optional<Instead> enter(Call call, const QByteArray& path);
    template <typename RealCall>
    auto pass(Call call, const QByteArray& path, RealCall realCall) -> decltype(realCall())
    {
        if (const auto instead = enter(call, path)) {
            if constexpr (std::is_same_v<decltype(realCall()), Result<qint64>>)
                if (instead->error == 0) return qint64(0);
            return std::unexpected(instead->error);
        }
        return realCall();
    }
    Result<void> cloneByCopying(int from, int to);

    PosixFileSystemCalls real;
    std::map<Call, int> counts;
    std::vector<Fault> faults;
};
