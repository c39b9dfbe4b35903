#include "TransferTestSupport.h"

#include "PathKit/FilePaths.h"

#include <QCryptographicHash>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <set>
#include <thread>

#include <fcntl.h>
#include <sched.h>
#include <sys/fsuid.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

QByteArray native(const QString& path)
{
    return FilePaths::toNative(path);
}

// "name=value;" for every user attribute, sorted by name.
QByteArray userAttributes(const QByteArray& path)
{
    char names[4096];
    const ssize_t length = ::llistxattr(path.constData(), names, sizeof names);
    std::set<QByteArray> sorted;
    for (ssize_t offset = 0; offset < length; offset += ssize_t(std::strlen(names + offset)) + 1)
        if (std::strncmp(names + offset, "user.", 5) == 0) sorted.insert(names + offset);
    QByteArray text;
    for (const QByteArray& name : sorted) {
        char value[1024];
        const ssize_t size = ::lgetxattr(path.constData(), name.constData(), value, sizeof value);
        text += name + '=' + QByteArray(value, size < 0 ? 0 : size) + ';';
    }
    return text;
}

void walk(const QByteArray& path, const QByteArray& relative, TestTree::Snapshot& into)
{
    struct stat status {};
    if (::lstat(path.constData(), &status) != 0) return;
    TestTree::Item item;
    item.kind = S_ISDIR(status.st_mode) ? 'd' : S_ISLNK(status.st_mode) ? 'l' : S_ISREG(status.st_mode) ? 'f' : 'o';
    if (!relative.isEmpty()) {
        item.owner = status.st_uid;
        item.attributes = userAttributes(path);
        if (item.kind != 'l') {
            item.mode = status.st_mode;
            item.modifiedNanoseconds = qint64(status.st_mtim.tv_sec) * 1'000'000'000 + status.st_mtim.tv_nsec;
        }
    }
    if (item.kind == 'l') item.digest = native(TestTree::linkTarget(FilePaths::fromNative(path)));
    if (item.kind == 'f')
        item.digest = QCryptographicHash::hash(TestTree::readFile(FilePaths::fromNative(path)),
                                               QCryptographicHash::Sha1).toHex();
    if (item.kind == 'o') item.digest = QByteArray::number(quint64(status.st_rdev));
    into[relative] = item;
    if (item.kind == 'd')
        for (const QString& child : TestTree::childNames(FilePaths::fromNative(path))) {
            const QByteArray name = native(child);
            walk(path + '/' + name, relative.isEmpty() ? name : relative + '/' + name, into);
        }
}

QByteArray pattern(qint64 size, unsigned seed)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (qint64 index = 0; index < size; ++index) {
        seed = seed * 1103515245u + 12345u;
        bytes[index] = char(seed >> 16);
    }
    return bytes;
}

} // namespace

namespace TestTree {

QString memoryScratchBase()
{
    return ::access("/dev/shm", W_OK) == 0 ? QStringLiteral("/dev/shm") : QDir::tempPath();
}

void makeLink(const QByteArray& target, const QString& path)
{
    if (::symlink(target.constData(), native(path).constData()) != 0) ADD_FAILURE() << "symlink failed";
}

void makeFifo(const QString& path)
{
    if (::mkfifo(native(path).constData(), 0644) != 0) ADD_FAILURE() << "mkfifo failed";
}

void setModifiedTime(const QString& path, qint64 secondsSinceEpoch)
{
    const struct timespec times[2] = {{secondsSinceEpoch, 0}, {secondsSinceEpoch, 0}};
    ::utimensat(AT_FDCWD, native(path).constData(), times, AT_SYMLINK_NOFOLLOW);
}

QString linkTarget(const QString& path)
{
    char buffer[4096];
    const ssize_t length = ::readlink(native(path).constData(), buffer, sizeof buffer);
    return length < 0 ? QString() : FilePaths::fromNative(buffer, length);
}

qint64 allocatedBlocks(const QString& path)
{
    struct stat status {};
    return ::lstat(native(path).constData(), &status) == 0 ? qint64(status.st_blocks) : -1;
}

void buildSampleTree(const QString& root, qint64 bigFileSize)
{
    const auto at = [&](const char* relative) { return root + u'/' + FilePaths::fromNative(QByteArray(relative)); };
    // Best effort: a file system without user attributes simply has none on either side.
    const auto label = [&](const char* relative, const char* value) {
        ::lsetxattr(native(at(relative)).constData(), "user.label", value, std::strlen(value), 0);
    };
    makeFolder(root);
    writeFile(at("a.txt"), "alpha\n");
    writeFile(at("empty.dat"), "");
    writeFile(at("big.bin"), pattern(bigFileSize, 1), 0640);
    writeFile(at("run.sh"), "#!/bin/sh\necho hi\n", 0755);
    setModifiedTime(at("run.sh"), 1'000'000'000);
    writeFile(at("with space 'quote\".txt"), "quoted\n");
    writeFile(at("-leading dash"), "dash\n");
    writeFile(at("new\nline"), "newline\n");
    writeFile(at("bad\xff\xfe name.txt"), "not utf-8\n");
    makeFolder(at("sub"));
    makeFolder(at("sub/nested"));
    writeFile(at("sub/nested/deep.txt"), pattern(70000, 2), 0600);
    makeFolder(at("sub/empty-folder"));
    makeLink("../a.txt", at("sub/link-to-a"));
    makeLink("nested", at("sub/link-to-folder"));
    makeLink("/nonexistent/target", at("sub/dangling"));
    makeFolder(at("dir \xff"));
    writeFile(at("dir \xff/inner.txt"), "inner\n");
    // Holes: 4 KiB of data at 64 KiB in a file of 256 KiB.
    writeFile(at("sparse.img"), "");
    const int sparse = ::open(native(at("sparse.img")).constData(), O_WRONLY | O_CLOEXEC);
    if (::pwrite(sparse, pattern(4096, 3).constData(), 4096, 65536) != 4096 || ::ftruncate(sparse, 262144) != 0)
        ADD_FAILURE() << "sparse file";
    ::close(sparse);
    setModifiedTime(at("sparse.img"), 1'500'000'000);
    writeFile(at("theirs.txt"), "owned by another user\n", 0640);
    ::lchown(native(at("theirs.txt")).constData(), 65534, 65534); // only where allowed (as root)
    label("a.txt", "on a file");
    label("sub", "on a folder");
    // Folders last, children first: adding to a folder changes its times.
    makeFolder(at("private"), 0700);
    writeFile(at("private/secret"), "s\n", 0600);
    makeFolder(at("read-only"));
    writeFile(at("read-only/kept"), "k\n");
    for (const char* folder : {"private", "read-only", "sub/nested", "sub/empty-folder", "sub", "dir \xff"})
        setModifiedTime(at(folder), 1'234'567'890);
    ::chmod(native(at("read-only")).constData(), 0555);
    ::chmod(native(at("sub/nested")).constData(), 0750);
    setModifiedTime(root, 1'234'567'890);
}

qint64 sampleTreeFileBytes(qint64 bigFileSize)
{
    return 6 + 0 + bigFileSize + 18 + 7 + 5 + 8 + 10 + 70000 + 6 + 262144 + 22 + 2 + 2;
}

Snapshot snapshot(const QString& root)
{
    Snapshot result;
    walk(native(root), QByteArray(), result);
    return result;
}

QString differences(const Snapshot& expected, const Snapshot& actual)
{
    const auto describe = [](const Snapshot& snapshot, const QByteArray& key) {
        const auto found = snapshot.find(key);
        if (found == snapshot.end()) return QStringLiteral("nothing");
        const Item& item = found->second;
        return QChar(item.kind) + u' ' + QString::fromLatin1(item.digest.left(16)) + " mode "
            + QString::number(item.mode, 8) + " owner " + QString::number(item.owner) + " time "
            + QString::number(item.modifiedNanoseconds) + u' ' + QString::fromLatin1(item.attributes);
    };
    std::set<QByteArray> keys;
    for (const Snapshot* snapshot : {&expected, &actual})
        for (const auto& [key, item] : *snapshot) keys.insert(key);
    QStringList lines;
    for (const QByteArray& key : keys)
        if (!expected.contains(key) || !actual.contains(key) || !(expected.at(key) == actual.at(key)))
            lines.append(u'\'' + FilePaths::displayName(FilePaths::fromNative(key)) + "': " + describe(expected, key)
                         + " -> " + describe(actual, key));
    return lines.join(u'\n');
}

Snapshot part(const Snapshot& whole, const QByteArray& relative)
{
    Snapshot result;
    for (const auto& [key, item] : whole) {
        if (key == relative)
            result[QByteArray()] = Item{item.kind, item.kind == 'l' || item.kind == 'f' ? item.digest : QByteArray(), 0, 0, 0, {}};
        else if (key.startsWith(relative + '/'))
            result[key.mid(relative.size() + 1)] = item;
    }
    return result;
}

} // namespace TestTree

namespace TestPrivileges {

void runAsNobody(const std::function<void()>& body)
{
    // File-system ids belong to one thread on Linux; the rest of the tests keep root's.
    std::thread worker([&] {
        ::setfsgid(65534);
        ::setfsuid(65534);
        body();
    });
    worker.join();
}

bool runWithSmallFileSystem(const QString& mountPoint, qint64 sizeBytes, const std::function<void()>& body)
{
    bool isMounted = false;
    // The namespace belongs to this thread alone and ends with it, taking the
    // mount along.
    std::thread worker([&] {
        if (::unshare(CLONE_NEWNS) != 0) return;
        if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return;
        const QByteArray options = "size=" + QByteArray::number(sizeBytes);
        if (::mount("tmpfs", native(mountPoint).constData(), "tmpfs", 0, options.constData()) != 0) return;
        isMounted = true;
        body();
        ::umount2(native(mountPoint).constData(), MNT_DETACH);
    });
    worker.join();
    return isMounted;
}

} // namespace TestPrivileges
