#include "FileSizeScanner/ScanEngine.h"
#include "FileSizeScanner/StableScanNodeID.h"
#include "ScanStreamReading.h"

#include <gtest/gtest.h>

#include <QHash>

#include <cerrno>

namespace {

// An in-memory file system: folders map to their entries; a folder may fail to list or
// wait for the test before answering (telling the test when the scan got there).
class FakeFileSystem : public FileSystemProviding {
public:
    void folder(const QString& path, QList<ChildEntry> entries) { folders_.insert(path, std::move(entries)); }
    void failing(const QString& path) { failing_.insert(path, true); }
    void blockUntil(const QString& path, std::shared_future<void> release) { blocked_.insert(path, release); }
    std::future<void> reached() { return reached_.get_future(); }
    void value(const QString& path, NodeResourceValues values) { values_.insert(path, values); }

    std::expected<QList<ChildEntry>, FileSystemError> childEntries(const QString& path) const override
    {
        if (const auto blocked = blocked_.find(path); blocked != blocked_.end()) {
            reached_.set_value();
            blocked->wait();
        }
        if (failing_.contains(path) || !folders_.contains(path)) return std::unexpected(FileSystemError {EACCES, path});
        return folders_.value(path);
    }

    std::expected<NodeResourceValues, FileSystemError> resourceValues(const QString& path) const override
    {
        if (!values_.contains(path)) return std::unexpected(FileSystemError {ENOENT, path});
        return values_.value(path);
    }

private:
    QHash<QString, QList<ChildEntry>> folders_;
    QHash<QString, bool> failing_;
    QHash<QString, std::shared_future<void>> blocked_;
    mutable std::promise<void> reached_;
    QHash<QString, NodeResourceValues> values_;
};

ChildEntry fileEntry(const QString& folder, const QString& name, qint64 size)
{
    return {folder + "/" + name, {.name = name, .fileAllocatedSize = size * 2, .fileSize = size}};
}

ChildEntry folderEntry(const QString& folder, const QString& name, bool isPackage = false)
{
    return {folder + "/" + name,
            {.name = name, .isDirectory = true, .isPackage = isPackage, .fileAllocatedSize = 4096, .fileSize = 4096}};
}

QUuid idOf(const QString& path)
{
    return StableScanNodeID::forPath(path);
}

std::shared_ptr<FakeFileSystem> sampleFileSystem()
{
    auto fs = std::make_shared<FakeFileSystem>();
    fs->value("/r", {.name = "r", .isDirectory = true});
    fs->folder("/r", {fileEntry("/r", "top", 10), folderEntry("/r", "a"), folderEntry("/r", "b"),
                      folderEntry("/r", "Kit.app", true),
                      {"/r/secret", {.name = "secret", .isReadable = false, .fileSize = 999}}});
    fs->folder("/r/a", {fileEntry("/r/a", "x", 100), folderEntry("/r/a", "deep")});
    fs->folder("/r/a/deep", {folderEntry("/r/a/deep", "deeper")});
    fs->folder("/r/a/deep/deeper", {folderEntry("/r/a/deep/deeper", "deepest"), fileEntry("/r/a/deep/deeper", "y", 1)});
    fs->folder("/r/a/deep/deeper/deepest", {fileEntry("/r/a/deep/deeper/deepest", "z", 1000)});
    fs->failing("/r/b");
    fs->value("/r/Kit.app", {.name = "Kit.app", .isDirectory = true, .isPackage = true});
    fs->folder("/r/Kit.app", {fileEntry("/r/Kit.app", "inside", 5)});
    return fs;
}

} // namespace

TEST(ScanEngine, BuildsTheTreeWithBranchSizesAndCountsWhatItCouldNotRead)
{
    ScanEngine engine(sampleFileSystem());
    auto stream = engine.startScan("/r/");
    const auto updates = readAll(stream);
    ASSERT_GE(updates.size(), 4u);
    EXPECT_TRUE(std::holds_alternative<ScanUpdate::Started>(updates.front().value));
    EXPECT_TRUE(updatesOf<ScanUpdate::IntermediateTree>(updates).empty());
    const auto progress = updatesOf<ProgressSnapshot>(updates);
    ASSERT_GE(progress.size(), 2u);
    EXPECT_EQ(progress.front(), (ProgressSnapshot {1, 1, 0, 0, std::nullopt}));
    EXPECT_EQ(progress.back().currentURL, QString("/r"));

    const auto& finished = std::get<ScanUpdate::Finished>(updates.back().value);
    const ScanTree& tree = finished.tree;
    // Like du: every record's own size, folders included (six of 4096: a, deep, deeper,
    // deepest, b, the package), and the package's content.
    EXPECT_EQ(tree.rootNode()->logicalSize, 10 + 100 + 1 + 1000 + 6 * 4096 + 5);
    EXPECT_EQ(tree.rootNode()->allocatedSize, 20 + 200 + 2 + 2000 + 6 * 4096 + 10);
    EXPECT_EQ(tree.node(idOf("/r/Kit.app"))->logicalSize, 4096 + 5);
    EXPECT_EQ(tree.rootNode()->childCount, 4);
    EXPECT_EQ(tree.node(idOf("/r/a/deep"))->logicalSize, 3 * 4096 + 1001);
    EXPECT_EQ(tree.node(idOf("/r/b"))->childCount, 0);
    EXPECT_EQ(tree.node(idOf("/r/Kit.app"))->kind, ScanNodeKind::package);
    EXPECT_FALSE(tree.node(idOf("/r/Kit.app/inside")));
    EXPECT_FALSE(tree.node(idOf("/r/secret")));
    EXPECT_EQ(tree.childIDsByParentID.value(tree.rootID),
              (QList<QUuid> {idOf("/r/top"), idOf("/r/a"), idOf("/r/b"), idOf("/r/Kit.app")}));
    EXPECT_EQ(tree.pathTo(idOf("/r/a/deep/deeper/deepest/z")).size(), 6);

    // Items: root, 5 entries of /r (the unreadable one included), 2 + 1 + 2 + 1 below /a.
    EXPECT_EQ(finished.summary.itemsScanned, 12);
    EXPECT_EQ(finished.summary.directoriesScanned, 6);
    EXPECT_EQ(finished.summary.filesScanned, 5);
    EXPECT_EQ(finished.summary.unreadableCount, 2); // the secret entry and folder b
    EXPECT_EQ(finished.summary.totalAllocatedSize, tree.rootNode()->allocatedSize);
}

TEST(ScanEngine, RootFailuresEndTheStream)
{
    auto fs = std::make_shared<FakeFileSystem>();
    fs->value("/file", {.name = "file"});
    fs->value("/unlistable", {.name = "unlistable", .isDirectory = true});
    ScanEngine engine(fs);
    const std::pair<QString, ScanFailure> cases[] = {
        {"/file", ScanFailure::rootInaccessible("/file")},
        {"/missing", ScanFailure::rootInaccessible("/missing")},
        {"/unlistable", ScanFailure::ioError("/unlistable")},
    };
    for (const auto& [path, failure] : cases) {
        auto stream = engine.startScan(path);
        const auto updates = readAll(stream);
        ASSERT_FALSE(updates.empty());
        EXPECT_EQ(std::get<ScanUpdate::Failed>(updates.back().value).failure, failure) << path.toStdString();
    }
}

TEST(ScanEngine, StoppingWhileAFolderReadIsStuck)
{
    for (const bool closeInstead : {false, true}) {
        auto fs = sampleFileSystem();
        std::promise<void> release;
        fs->blockUntil("/r/a/deep", release.get_future().share());
        const std::weak_ptr<const void> held = fs;
        expectStopsWhileStuck(
            [&, reached = fs->reached().share()] {
                auto stream = ScanEngine(std::move(fs)).startScan("/r");
                reached.wait();
                return stream;
            },
            release, held, closeInstead);
    }
}
