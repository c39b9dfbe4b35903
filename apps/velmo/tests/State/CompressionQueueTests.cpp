#include "PathKit/FilePaths.h"
#include "State/CompressionQueue.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace TestTree;

namespace {

// A kind whose "compression" writes "<quality>:" and the source's bytes; files named
// *.bad cannot be read and *.fail fail to compress.
struct FakeKind {
    struct Settings {
        int quality = 50;
        QString fileSuffix = QStringLiteral("_small");
        bool operator==(const Settings&) const = default;
    };
    struct Task : CompressionTask<Settings> {
        int runsApplied = 0;
    };
    using Info = qint64;
    using Produced = QByteArray;
    struct Processing {};

    static constexpr CompressionQueueTexts texts {"image", "Adding images...", "No new images added.",
                                                 "No compressed images to save.", "Images: ", "Image Compression"};

    static std::expected<Info, QString> read(const Processing&, const QString& path)
    {
        if (path.endsWith(u".bad")) return std::unexpected(QStringLiteral("unreadable"));
        return readFile(path).size();
    }
    static void makeTask(const Info& size, Task& task) { task.originalSize = size; }
    static std::expected<Produced, QString> produce(const Processing&, const QString& path, const Settings& settings,
                                                    const QString&, std::stop_token)
    {
        if (path.endsWith(u".fail")) return std::unexpected(QStringLiteral("Encoder failed."));
        return QByteArray::number(settings.quality) + ':' + readFile(path);
    }
    static std::expected<QString, QString> commit(Produced& bytes, const QString& folder)
    {
        auto path = CompressionOutputs::writeResult(folder, bytes, QStringLiteral("out"));
        if (!path) return std::unexpected(path.error().message);
        return *path;
    }
    static void discard(Produced&) {}
    static void apply(const Produced& bytes, Task& task)
    {
        task.compressedSize = bytes.size();
        task.outputFileExtension = QStringLiteral("out");
        ++task.runsApplied;
    }
    static QString signature(const Settings& settings, bool livePreview)
    {
        return (livePreview ? QStringLiteral("live-preview|") : QString()) + QString::number(settings.quality);
    }
    static QString exportExtension(const Task& task) { return task.outputFileExtension.value_or(QStringLiteral("out")); }
    static QString suffix(const Settings& settings) { return settings.fileSuffix; }
};

using Queue = CompressionQueue<FakeKind>;

struct QueueFixture : ::testing::Test {
    TemporaryFolder folder;
    std::shared_ptr<ManualExecutor> executor = std::make_shared<ManualExecutor>();

    QString path(const QString& name) const { return FilePaths::appending(folder.path(), name); }
    std::unique_ptr<Queue> make(const QStringList& names, FakeKind::Settings settings = {})
    {
        QStringList urls;
        for (const QString& name : names) urls << path(name);
        return std::make_unique<Queue>(
            urls, std::nullopt, settings,
            Queue::Dependencies {std::make_shared<FakeKind::Processing>(), executor, path("cache"), path("trash")});
    }
    // Runs the work queued and what its results queue in turn.
    void settle()
    {
        do executor->runAll();
        while (!executor->queue.empty());
    }
    QStringList cacheFiles(const Queue& queue) const { return childNames(queue.cacheDirectory()); }
};

TEST_F(QueueFixture, AddingReportsWhatCannotBeQueuedAndCompressesTheRestIntoThePrivateCache)
{
    writeFile(path("a.jpg"), "aaaa");
    writeFile(path("b.jpg"), "bb");
    writeFile(path("c.bad"), "c");
    auto queue = make({"a.jpg", "c.bad", "a.jpg", "b.jpg"});
    EXPECT_EQ(queue->statusMessage(), QStringLiteral("Adding images..."));
    settle();

    ASSERT_EQ(queue->tasks().size(), 2u);
    EXPECT_EQ(queue->statusMessage(), QStringLiteral("Added 2 images."));
    EXPECT_EQ(queue->importIssues(), (std::vector<CompressionIssue> {{"c.bad", "Unsupported file type"},
                                                                    {"a.jpg", "Already in queue"}}));
    EXPECT_EQ(queue->title(), QStringLiteral("Images: a.jpg (2)"));
    EXPECT_EQ(queue->restorableSourceURLs(), QStringList({path("a.jpg"), path("b.jpg")}));
    for (const auto& task : queue->tasks()) {
        EXPECT_EQ(task.status, CompressionTaskStatus::done);
        EXPECT_TRUE(Queue::isUpToDate(task));
        EXPECT_EQ(readFile(*task.compressedFileURL), "50:" + readFile(task.sourceURL));
    }
    EXPECT_EQ(QFileInfo(queue->cacheDirectory()).permissions() & 0077, 0);
    EXPECT_EQ(readFile(path("a.jpg")), "aaaa");

    queue->addURLs({path("b.jpg")});
    settle();
    EXPECT_EQ(queue->statusMessage(), QStringLiteral("No new images added."));
}

// Two quick changes of the settings: the first run, ending last, neither replaces the
// newer result nor leaves its file behind; a removed task's late run leaves nothing.
TEST_F(QueueFixture, OnlyTheNewestRunOfATaskLands)
{
    writeFile(path("a.jpg"), "a");
    writeFile(path("b.jpg"), "b");
    auto queue = make({"a.jpg", "b.jpg"});
    settle();
    const QUuid a = queue->tasks()[0].id, b = queue->tasks()[1].id;

    queue->updateSettings({.quality = 10}, {a});
    queue->recompress(a, true);
    queue->updateSettings({.quality = 20}, {a});
    queue->recompress(a, true);
    queue->recompress(b);
    ASSERT_EQ(executor->queue.size(), 3u);
    auto first = std::move(executor->queue.front());
    executor->queue.pop_front();
    queue->removeTask(b);
    settle(); // the newer run of a and the run of the removed b
    first();
    QCoreApplication::processEvents();

    ASSERT_EQ(queue->tasks().size(), 1u);
    const auto& task = queue->tasks()[0];
    EXPECT_EQ(readFile(*task.compressedFileURL), "20:a");
    EXPECT_EQ(task.runsApplied, 2);
    EXPECT_FALSE(Queue::isUpToDate(task)) << "a live preview is not the final result";
    EXPECT_EQ(cacheFiles(*queue), QStringList {FilePaths::lastComponent(*task.compressedFileURL)});
}

// Saving: stale results are renewed first, a name already taken goes to the trash, a
// suffix that would overwrite the source or holds a separator fails with its reason,
// and the status line counts.
TEST_F(QueueFixture, SavingRenewsStaleResultsKeepsWhatItReplacesAndCounts)
{
    writeFile(path("a.out"), "a");
    writeFile(path("b.out"), "b");
    writeFile(path("c.fail"), "c");
    writeFile(path("a_small.out"), "older");
    auto queue = make({"a.out", "b.out", "c.fail"});
    settle();
    const QUuid a = queue->tasks()[0].id, b = queue->tasks()[1].id, c = queue->tasks()[2].id;
    EXPECT_EQ(queue->task(c)->status, CompressionTaskStatus::error);
    EXPECT_EQ(queue->task(c)->errorMessage, QStringLiteral("Encoder failed."));

    queue->updateSettings({.quality = 70, .fileSuffix = QStringLiteral("_small")}, {a});
    queue->saveTasks({a, b, c});
    EXPECT_TRUE(queue->isSaving());
    settle();
    EXPECT_FALSE(queue->isSaving());
    EXPECT_EQ(queue->statusMessage(), QStringLiteral("Saved 2 images."));
    EXPECT_EQ(readFile(path("a_small.out")), "70:a");
    EXPECT_EQ(readFile(path("b_small.out")), "50:b");
    EXPECT_EQ(childNames(path("trash/files")), QStringList {"a_small.out"});
    EXPECT_EQ(readFile(path("trash/files/a_small.out")), "older");

    queue->updateSettings({.quality = 50, .fileSuffix = QString()}, {b});
    queue->saveTasks({b});
    settle();
    EXPECT_EQ(queue->statusMessage(), QStringLiteral("Save failed for b.out."));
    EXPECT_EQ(readFile(path("b.out")), "b");

    queue->updateSettings({.quality = 50, .fileSuffix = QStringLiteral("x/y")});
    queue->saveTasks({a, b});
    settle();
    EXPECT_EQ(queue->statusMessage(), QStringLiteral("2 images failed."));
    EXPECT_EQ(queue->exportIssues()[0].reason, QStringLiteral("Suffix cannot contain path separators."));
}

TEST_F(QueueFixture, ClosingRemovesTheCacheEvenWithARunUnderWay)
{
    writeFile(path("a.jpg"), "a");
    auto queue = make({"a.jpg"});
    settle();
    queue->recompress(queue->tasks()[0].id);
    const QString cache = queue->cacheDirectory();
    auto late = std::move(executor->queue.front());
    executor->queue.pop_front();
    queue.reset();
    settle();
    late();
    QCoreApplication::processEvents();
    EXPECT_FALSE(exists(cache));
    EXPECT_EQ(childNames(path("cache")), QStringList());
}

} // namespace
