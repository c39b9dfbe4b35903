#include "PathKit/FilePaths.h"
#include "Services/InotifyDirectoryWatcher.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <QFile>

#include <atomic>
#include <cstdio>

namespace {

// Returns once every event queued so far has been handed to its callbacks: the
// reader reads in order and calls watches in the order they were made, so a
// change in a folder watched last is reported after everything before it.
bool drainEvents(InotifyDirectoryWatcher& watcher, const TemporaryFolder& tmp)
{
    static int round = 0;
    const QString fence = tmp.folder(QStringLiteral("fence-%1").arg(++round));
    std::atomic<bool> seen = false;
    auto token = watcher.watch(fence, [&] { seen = true; });
    tmp.file(QStringLiteral("fence-%1/x").arg(round));
    return token && waitUntil([&] { return seen.load(); });
}

} // namespace

TEST(InotifyDirectoryWatcher, TokensShareAWatchAndTheLastOneEndsIt)
{
    TemporaryFolder tmp;
    const QString folder = tmp.folder("watched");
    InotifyDirectoryWatcher watcher;
    std::atomic<int> first = 0, second = 0;
    auto a = watcher.watch(folder, [&] { ++first; });
    auto b = watcher.watch(folder, [&] { ++second; });
    ASSERT_TRUE(a && b);
    a->cancel();
    a->cancel(); // twice is safe
    tmp.file("watched/x");
    ASSERT_TRUE(waitUntil([&] { return second > 0; }));
    EXPECT_EQ(first, 0);

    b.reset(); // dropping the last reference ends the watch
    const int seen = second;
    tmp.file("watched/y");
    ASSERT_TRUE(drainEvents(watcher, tmp));
    EXPECT_EQ(second, seen);
    EXPECT_FALSE(watcher.watch(tmp.path() + "/missing", [] {}));
    EXPECT_FALSE(watcher.watch(tmp.file("plain-file"), [] {}));
}

TEST(InotifyDirectoryWatcher, AnOverflowedQueueWakesEveryWatch)
{
    // Past its queue limit the kernel drops events and says only that it did;
    // every folder may have missed a change. The queue is filled while the
    // reader is held up in a callback.
    QFile limitFile(QStringLiteral("/proc/sys/fs/inotify/max_queued_events"));
    const int limit = limitFile.open(QIODevice::ReadOnly) ? limitFile.readAll().trimmed().toInt() : 0;
    if (limit <= 0 || limit > 1 << 18) GTEST_SKIP() << "inotify queue limit " << limit;

    TemporaryFolder tmp;
    const QString busy = tmp.folder("busy");
    const QString quiet = tmp.folder("quiet");
    InotifyDirectoryWatcher watcher;
    std::atomic<bool> held = false, release = false;
    std::atomic<int> quietChanges = 0;
    auto holding = watcher.watch(busy, [&] {
        held = true;
        release.wait(false);
    });
    auto other = watcher.watch(quiet, [&] { ++quietChanges; });
    const QByteArray a = FilePaths::toNative(tmp.file("busy/a")), b = FilePaths::toNative(busy + "/b");
    ASSERT_TRUE(waitUntil([&] { return held.load(); }));
    // A rename is two events that the kernel never merges.
    for (int i = 0; i < limit / 2 + 16; ++i) {
        const bool back = i % 2;
        std::rename((back ? b : a).constData(), (back ? a : b).constData());
    }
    release = true;
    release.notify_all();
    EXPECT_TRUE(waitUntil([&] { return quietChanges > 0; }));
}
