#include "FileSizeScanner/FastScanEngine.h"
#include "FileSizeScanner/LocalFileSystemProvider.h"
#include "FileSizeScanner/ScanTreeBuilder.h"
#include "FileSizeScanner/StableScanNodeID.h"
#include "ScanStreamReading.h"
#include "ScanTestTree.h"

#include <gtest/gtest.h>

#include <cstring>
#include <mutex>
#include <utility>

namespace {

QString q(const std::string& path)
{
    return QString::fromStdString(path);
}

const ScanUpdate::Finished& finishedOf(const std::vector<ScanUpdate>& updates)
{
    static const ScanUpdate::Finished none;
    if (updates.empty()) return none;
    const auto* finished = std::get_if<ScanUpdate::Finished>(&updates.back().value);
    return finished ? *finished : none;
}

} // namespace

TEST(FastScanEngine, AnEmptyFolderIsOneRecordAndRootsThatAreNoFolderFail)
{
    ScanTestTree tree;
    tree.folder("empty");
    tree.file("file", 3);
    FastScanEngine engine;
    auto stream = engine.startScan(q(tree.path("empty")) + "/");
    const auto updates = readAll(stream);
    ASSERT_EQ(updates.size(), 3u);
    EXPECT_EQ(std::get<ScanUpdate::Started>(updates[0].value).rootURL, q(tree.path("empty")));
    EXPECT_EQ(std::get<ProgressSnapshot>(updates[1].value), (ProgressSnapshot {1, 1, 0, 0, q(tree.path("empty"))}));
    const auto& finished = finishedOf(updates);
    ASSERT_EQ(finished.tree.nodesByID.size(), 1);
    EXPECT_EQ(finished.tree.rootNode()->displayName, "empty");
    EXPECT_EQ(finished.tree.rootID, StableScanNodeID::forPath(q(tree.path("empty"))));

    for (const std::string& path : {tree.path("missing"), tree.path("file")}) {
        auto failing = engine.startScan(q(path));
        const auto failed = readAll(failing);
        ASSERT_EQ(failed.size(), 2u);
        EXPECT_EQ(std::get<ScanUpdate::Failed>(failed.back().value).failure, ScanFailure::rootInaccessible(q(path)));
    }
}

// Then, once the walk has ended, the drawable part of the finished tree.
TEST(FastScanEngine, LiveTreesGrowUpToTheLimitAndKeepTheFinalIdentifiers)
{
    FastScanEngine engine(
        {.pollInterval = std::chrono::milliseconds(1), .threadCount = 1, .drawableLimits = ScanTreeBuilder::DrawableLimits {}});
    auto stream = engine.startScan(q(largeTree().path()));
    const auto updates = readAll(stream);
    const auto& finished = finishedOf(updates);
    ASSERT_EQ(finished.tree.nodesByID.size(), 400 * 251 + 1);

    auto trees = updatesOf<ScanUpdate::IntermediateTree>(updates);
    ASSERT_FALSE(trees.empty());
    const ScanUpdate::IntermediateTree drawable = trees.back();
    ASSERT_TRUE(drawable.isDrawablePart);
    for (const ScanNodeRecord& record : std::as_const(drawable.tree.nodesByID)) {
        if (!drawable.standInIDs.contains(record.id)) {
            EXPECT_EQ(finished.tree.node(record.id), record);
        }
    }
    trees.pop_back();

    // The walk of 100,000 entries on one thread outlasts many 1 ms polls.
    ASSERT_FALSE(trees.empty());
    qsizetype previous = 0;
    bool sawLimit = false;
    for (const ScanUpdate::IntermediateTree& live : trees) {
        EXPECT_FALSE(live.isDrawablePart);
        const qsizetype size = live.tree.nodesByID.size();
        EXPECT_FALSE(sawLimit) << "no live tree after the limit was reached";
        EXPECT_GT(size, previous);
        EXPECT_LE(size, 5000);
        sawLimit = size == 5000;
        previous = size;
        EXPECT_EQ(live.tree.rootID, finished.tree.rootID);
        for (auto it = live.tree.nodesByID.cbegin(); it != live.tree.nodesByID.cend(); ++it) {
            const auto final = finished.tree.node(it.key());
            ASSERT_TRUE(final);
            EXPECT_EQ(final->url, it->url);
            EXPECT_EQ(final->parentID, it->parentID);
        }
    }
    EXPECT_GT(updatesOf<ProgressSnapshot>(updates).size(), 1u);
}

TEST(FastScanEngine, CancellingEndsTheStreamWithCancelled)
{
    FastScanEngine engine({.pollInterval = std::chrono::milliseconds(1), .threadCount = 1});
    auto stream = engine.startScan(q(largeTree().path()));
    auto first = stream.next();
    ASSERT_TRUE(first && std::holds_alternative<ScanUpdate::Started>(first->value));
    stream.cancel();
    const auto rest = readAll(stream);
    ASSERT_FALSE(rest.empty());
    EXPECT_TRUE(std::holds_alternative<ScanUpdate::Cancelled>(rest.back().value));
    EXPECT_TRUE(updatesOf<ScanUpdate::Finished>(rest).empty());
}

namespace {

// The local file system, except that reading a folder waits until the test releases it.
struct StuckFileSystem : FileSystemProviding {
    explicit StuckFileSystem(std::shared_future<void> released)
        : released(std::move(released))
    {
    }
    std::expected<QList<ChildEntry>, FileSystemError> childEntries(const QString& path) const override
    {
        std::call_once(reachedOnce, [this] { reached.set_value(); });
        released.wait();
        return local.childEntries(path);
    }
    std::expected<NodeResourceValues, FileSystemError> resourceValues(const QString& path) const override
    {
        return local.resourceValues(path);
    }

    std::shared_future<void> released;
    LocalFileSystemProvider local;
    mutable std::once_flag reachedOnce;
    mutable std::promise<void> reached;
};

} // namespace

// Package sizing runs after the walk, where the walker's own cancel word no longer reaches.
TEST(FastScanEngine, StoppingWhilePackagesAreSized)
{
    ScanTestTree tree;
    tree.folder("Tool.app");
    tree.file("Tool.app/binary", 100);
    for (const bool closeInstead : {false, true}) {
        std::promise<void> release;
        auto fs = std::make_shared<StuckFileSystem>(release.get_future().share());
        const std::weak_ptr<const void> held = fs;
        expectStopsWhileStuck(
            [&, reached = fs->reached.get_future().share()] {
                auto stream = FastScanEngine({.packageFileSystem = std::exchange(fs, nullptr)}).startScan(q(tree.path()));
                reached.wait();
                return stream;
            },
            release, held, closeInstead);
    }
}

TEST(ScanTreeBuilder, SnapshotRootNamesFallBackToThePath)
{
    sg_flat_node_t nodes[2] {};
    nodes[0].parent_index = -1;
    nodes[0].obj_type = SG_OBJ_DIRECTORY;
    nodes[0].child_count = 1;
    nodes[0].allocated_size = 4096;
    std::strcpy(nodes[1].name, "etc");
    nodes[1].parent_index = 0;
    nodes[1].obj_type = SG_OBJ_DIRECTORY;

    const auto tree = ScanTreeBuilder::fromSnapshot(nodes, 2, "/");
    ASSERT_TRUE(tree);
    EXPECT_EQ(tree->rootNode()->displayName, "/");
    EXPECT_EQ(tree->rootNode()->url, "/");
    const auto children = tree->children(tree->rootID);
    ASSERT_EQ(children.size(), 1);
    EXPECT_EQ(children[0].url, "/etc");
    EXPECT_EQ(children[0].id, StableScanNodeID::forPath(u"/etc"));

    EXPECT_EQ(ScanTreeBuilder::fromSnapshot(nodes, 1, "/tmp/x")->rootNode()->displayName, "x");
    EXPECT_FALSE(ScanTreeBuilder::fromSnapshot(nodes, 0, "/"));
}
