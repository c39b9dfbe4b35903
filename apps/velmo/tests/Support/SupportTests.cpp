#include "Support/BackgroundTask.h"
#include "Support/ByteCountFormatter.h"
#include "Support/FileHierarchy.h"
#include "Support/PropertyListReader.h"
#include "Support/SerialExecutor.h"
#include "Support/VelmoFormatters.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <semaphore>

TEST(ByteCountFormatter, UsesDecimalUnitsWithFileStyleRounding)
{
    EXPECT_EQ(ByteCountFormatter::string(0), "Zero KB");
    EXPECT_EQ(ByteCountFormatter::string(1), "1 byte");
    EXPECT_EQ(ByteCountFormatter::string(999), "999 bytes");
    EXPECT_EQ(ByteCountFormatter::string(1499), "1 KB");
    EXPECT_EQ(ByteCountFormatter::string(999'999), "1 MB");
    EXPECT_EQ(ByteCountFormatter::string(1'250'000), "1.3 MB");
    EXPECT_EQ(ByteCountFormatter::string(1'234'567'890), "1.23 GB");
    EXPECT_EQ(ByteCountFormatter::string(-2000), "-2 KB");
}

TEST(VelmoFormatters, DatesAndRelativeDates)
{
    EXPECT_EQ(VelmoFormatters::date(std::nullopt), "--");
    const QDateTime now = QDateTime::fromSecsSinceEpoch(1'700'000'000, Qt::UTC);
    EXPECT_EQ(VelmoFormatters::relativeDate(now.addSecs(-3 * 3600), now), "3 hr. ago");
    EXPECT_EQ(VelmoFormatters::relativeDate(now.addDays(-2), now), "2 days ago");
    EXPECT_EQ(VelmoFormatters::relativeDate(now.addSecs(120), now), "in 2 min.");
}

TEST(FileHierarchy, StripsDescendantsAndRewritesPathsUnderAMovedFolder)
{
    EXPECT_EQ(FileHierarchy::strippingDescendants(QStringList {"/a/b", "/a", "/ab", "/a"}),
              QStringList({"/a", "/ab", "/a"}));
    EXPECT_EQ(FileHierarchy::strippingDescendants(QStringList {"/", "/x"}), QStringList({"/"}));

    EXPECT_EQ(FileHierarchy::rewriting("/a/b/c", "/a/b", "/z"), "/z/c");
    EXPECT_EQ(FileHierarchy::rewriting("/a/b", "/a/b", "/z"), "/z");
    EXPECT_EQ(FileHierarchy::rewriting("/a/bc", "/a/b", "/z"), "/a/bc");
}

TEST(PropertyListReader, ReadsXmlDictionaries)
{
    const QByteArray xml = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0"><dict>
  <key>CFBundleShortVersionString</key><string>2.4.1</string>
  <key>Count</key><integer>42</integer>
  <key>Flags</key><array><true/><false/><real>1.5</real></array>
</dict></plist>)";
    auto value = PropertyListReader::parse(xml);
    ASSERT_TRUE(value);
    const QVariantMap map = value->toMap();
    EXPECT_EQ(map["CFBundleShortVersionString"].toString(), "2.4.1");
    EXPECT_EQ(map["Count"].toLongLong(), 42);
    EXPECT_EQ(map["Flags"].toList().size(), 3);
    EXPECT_FALSE(PropertyListReader::parse("<plist><dict><key>a</key></dict></plist>"));
}

TEST(PropertyListReader, ReadsBinaryListsAndRejectsDamagedOnes)
{
    // {"CFBundleVersion": "7", "N": 300}, laid out by hand.
    const QByteArray objects("bplist00"
                             "\xD2\x01\x02\x03\x04"             // dictionary: keys 1, 2; values 3, 4
                             "\x5F\x10\x0F" "CFBundleVersion"  // ASCII string, length given apart
                             "\x51N" "\x51" "7"                 // "N", "7"
                             "\x11\x01\x2C"                     // 2-byte integer 300
                             "\x08\x0D\x1F\x21\x23",            // where each object starts
                             43);
    // Trailer: offset and reference sizes 1, five objects, the top one 0, table at 38.
    const QByteArray plist = objects + QByteArray(6, 0) + "\x01\x01" + QByteArray(7, 0) + "\x05"
        + QByteArray(15, 0) + "\x26";
    auto value = PropertyListReader::parse(plist);
    ASSERT_TRUE(value);
    EXPECT_EQ(value->toMap()["CFBundleVersion"].toString(), "7");
    EXPECT_EQ(value->toMap()["N"].toLongLong(), 300);

    EXPECT_FALSE(PropertyListReader::parse(plist.chopped(40)));
    QByteArray selfReferencing = plist;
    selfReferencing[9] = 0; // the dictionary's first key points at the dictionary
    EXPECT_FALSE(PropertyListReader::parse(selfReferencing));
}

TEST(BackgroundTask, DeliversOnTheMainThreadAndDropsLateResults)
{
    QThreadPool pool;
    QObject context;
    const auto mainThread = QThread::currentThread();
    QThread* deliveredOn = nullptr;
    int delivered = 0;
    BackgroundTask::run(&pool, &context, [](std::stop_token) { return 7; }, [&](int value) {
        deliveredOn = QThread::currentThread();
        delivered = value;
    });
    ASSERT_TRUE(waitUntil([&] { return delivered == 7; }));
    EXPECT_EQ(deliveredOn, mainThread);

    // Cancelled after the work finished but before delivery: dropped.
    std::atomic<bool> release = false;
    bool lateDelivered = false;
    TaskHandle handle = BackgroundTask::run(&pool, &context, [&](std::stop_token) {
        while (!release) QThread::yieldCurrentThread();
        return 1;
    }, [&](int) { lateDelivered = true; });
    handle.cancel();
    release = true;
    pool.waitForDone();
    QCoreApplication::processEvents();
    EXPECT_FALSE(lateDelivered);

    // The context went away: dropped, no crash.
    auto* gone = new QObject;
    bool goneDelivered = false;
    BackgroundTask::run(&pool, gone, [](std::stop_token) { return 1; }, [&](int) { goneDelivered = true; });
    delete gone;
    pool.waitForDone();
    QCoreApplication::processEvents();
    EXPECT_FALSE(goneDelivered);
}

TEST(SerialExecutor, GoesAwayWithoutWaitingForARunningCall)
{
    // A call stuck in a system call (a dead network mount) must not hold up the
    // owner going away; calls not yet started are dropped.
    auto executor = std::make_unique<SerialExecutor>();
    std::binary_semaphore unstuck(0);
    std::atomic<bool> started = false, finished = false, unstuckInTime = false, laterRan = false;
    executor->start([&] {
        started = true;
        unstuckInTime = unstuck.try_acquire_for(std::chrono::seconds(10));
        finished = true;
    });
    executor->start([&] { laterRan = true; });
    ASSERT_TRUE(waitUntil([&] { return started.load(); }));
    executor.reset();
    unstuck.release();
    ASSERT_TRUE(waitUntil([&] { return finished.load(); }, 15'000));
    EXPECT_TRUE(unstuckInTime);
    EXPECT_FALSE(laterRan);
}
