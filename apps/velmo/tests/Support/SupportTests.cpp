#include "Support/BackgroundTask.h"
#include "Support/ByteCountFormatter.h"
#include "Support/FileHierarchy.h"
#include "Support/PropertyListReader.h"
#include "Support/SerialExecutor.h"
#include "Support/SettingsDefaultsStore.h"
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

// A binary list of {"CFBundleVersion": "7", "N": 300}, laid out by hand.
QByteArray handMadeBinaryPlist()
{
    QByteArray bytes("bplist00");
    QList<int> offsets;
    offsets << bytes.size();
    bytes.append(char(0xD2)).append(char(1)).append(char(2)).append(char(3)).append(char(4)); // dict: keys 1,2 values 3,4
    offsets << bytes.size();
    bytes.append(char(0x5F)).append(char(0x10)).append(char(15)).append("CFBundleVersion"); // ascii, long length
    offsets << bytes.size();
    bytes.append(char(0x51)).append("N");
    offsets << bytes.size();
    bytes.append(char(0x51)).append("7");
    offsets << bytes.size();
    bytes.append(char(0x11)).append(char(0x01)).append(char(0x2C)); // 2-byte int 300
    const int tableOffset = bytes.size();
    for (int offset : offsets) bytes.append(char(offset));
    QByteArray trailer(32, 0);
    trailer[6] = 1; // offset size
    trailer[7] = 1; // ref size
    trailer[15] = char(offsets.size());
    trailer[23] = 0; // top object
    trailer[31] = char(tableOffset);
    return bytes + trailer;
}

TEST(PropertyListReader, ReadsBinaryListsAndRejectsDamagedOnes)
{
    auto value = PropertyListReader::parse(handMadeBinaryPlist());
    ASSERT_TRUE(value);
    EXPECT_EQ(value->toMap()["CFBundleVersion"].toString(), "7");
    EXPECT_EQ(value->toMap()["N"].toLongLong(), 300);

    QByteArray truncated = handMadeBinaryPlist();
    truncated.chop(40);
    EXPECT_FALSE(PropertyListReader::parse(truncated));
    QByteArray selfReferencing = handMadeBinaryPlist();
    selfReferencing[9] = 0; // the dictionary's first key points at the dictionary
    EXPECT_FALSE(PropertyListReader::parse(selfReferencing));
}

TEST(DefaultsStore, ReadsBackTypedValuesFromAnIniFile)
{
    TemporaryFolder folder;
    const QString path = folder.path() + "/settings.ini";
    {
        SettingsDefaultsStore store(path);
        store.setValue("velmo.files.showHiddenFiles", true);
        store.setValue("velmo.layout.sidebarWidth", 240.5);
        store.setData("velmo.session", QByteArray("{\"tabs\":[]}"));
    }
    SettingsDefaultsStore reread(path);
    EXPECT_TRUE(reread.boolValue("velmo.files.showHiddenFiles", false));
    EXPECT_DOUBLE_EQ(reread.doubleValue("velmo.layout.sidebarWidth", 0), 240.5);
    EXPECT_EQ(reread.data("velmo.session"), QByteArray("{\"tabs\":[]}"));
    EXPECT_FALSE(reread.data("velmo.missing"));
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

TEST(SerialExecutor, RunsOneCallAtATimeAndGoesAwayWithoutWaitingForIt)
{
    auto executor = std::make_unique<SerialExecutor>();
    std::atomic<int> running = 0, mostAtOnce = 0, done = 0;
    for (int i = 0; i < 3; ++i)
        executor->start([&] {
            mostAtOnce = std::max(mostAtOnce.load(), ++running);
            QThread::yieldCurrentThread();
            --running;
            ++done;
        });
    ASSERT_TRUE(waitUntil([&] { return done == 3; }));
    EXPECT_EQ(mostAtOnce, 1);

    // A call stuck in a system call (a dead network mount) must not hold up the
    // owner going away; calls not yet started are dropped.
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
