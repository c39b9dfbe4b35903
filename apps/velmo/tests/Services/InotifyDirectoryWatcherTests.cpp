#include "Services/InotifyDirectoryWatcher.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <atomic>

TEST(InotifyDirectoryWatcher, ReportsChangesOfTheDirectContentsOnly)
{
    TemporaryFolder tmp;
    tmp.folder("deep");
    InotifyDirectoryWatcher watcher;
    std::atomic<int> changes = 0;
    auto token = watcher.watch(tmp.path(), [&] { ++changes; });
    ASSERT_TRUE(token);
    tmp.file("new-file");
    ASSERT_TRUE(waitUntil([&] { return changes > 0; }));

    const int before = changes;
    tmp.file("deep/nested"); // below the folder: not its business
    QTest::qWait(50);
    EXPECT_EQ(changes, before);
}

TEST(InotifyDirectoryWatcher, SharedWatchesCountReferencesAndCancelTwiceIsSafe)
{
    TemporaryFolder tmp;
    InotifyDirectoryWatcher watcher;
    std::atomic<int> first = 0, second = 0;
    auto a = watcher.watch(tmp.path(), [&] { ++first; });
    auto b = watcher.watch(tmp.path(), [&] { ++second; });
    a->cancel();
    a->cancel();
    tmp.file("x");
    ASSERT_TRUE(waitUntil([&] { return second > 0; }));
    EXPECT_EQ(first, 0);
    b.reset(); // dropping the last reference ends the watch
    const int seen = second;
    tmp.file("y");
    QTest::qWait(50);
    EXPECT_EQ(second, seen);
    EXPECT_FALSE(watcher.watch(tmp.path() + "/missing", [] {}));
    EXPECT_FALSE(watcher.watch(tmp.file("plain-file"), [] {}));
}

TEST(InotifyDirectoryWatcher, ReportsTheFolderGoing)
{
    TemporaryFolder tmp;
    const QString folder = tmp.folder("doomed");
    InotifyDirectoryWatcher watcher;
    std::atomic<int> changes = 0;
    auto token = watcher.watch(folder, [&] { ++changes; });
    QDir(folder).removeRecursively();
    EXPECT_TRUE(waitUntil([&] { return changes > 0; }));
}
