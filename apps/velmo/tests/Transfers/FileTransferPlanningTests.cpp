#include "FaultInjectingFileSystemCalls.h"
#include "PathKit/FilePaths.h"
#include "Services/FileTransferPlanner.h"
#include "Services/FileTransferSafety.h"
#include "TransferTestSupport.h"

#include <gtest/gtest.h>

#include <cerrno>


namespace {

using Call = FaultInjectingFileSystemCalls::Call;

TEST(FileTransferSafety, RefusesAFolderIntoItselfByWholeComponents)
{
    const auto partition = FileTransferSafety::partitionTransferableSources(
        {"/a/b", "/a/bc", "/a/b/c", "/x/y", "/a"}, "/a/b/c", true);
    EXPECT_EQ(partition.transferable, QStringList({"/a/bc", "/x/y"}));
    EXPECT_EQ(partition.skipped, QStringList({"/a/b", "/a/b/c", "/a"}));
    // "/a/b" is no ancestor of "/a/bc": a text prefix is not a path prefix.
    EXPECT_TRUE(FileTransferSafety::partitionTransferableSources({"/a/b"}, "/a/bc", true).skipped.isEmpty());
}

TEST(FileTransferSafety, FoldsCaseOnlyWhenTheVolumeDoes)
{
    EXPECT_EQ(FileTransferSafety::partitionTransferableSources({"/a/B"}, "/a/b/c", true).transferable,
              QStringList({"/a/B"}));
    EXPECT_EQ(FileTransferSafety::partitionTransferableSources({"/a/B"}, "/a/b/c", false).skipped,
              QStringList({"/a/B"}));
}

TEST(FileTransferSafety, SeesThroughLinksInThePathAndReadsNotYetMadeFolders)
{
    TemporaryFolder scratch;
    TestTree::makeFolder(scratch / "real");
    TestTree::makeLink(FilePaths::toNative(scratch / "real"), scratch / "alias");
    EXPECT_TRUE(FileTransferSafety::isSameOrDescendant(scratch / "real", scratch / "alias/inner/deeper", true));
    EXPECT_TRUE(FileTransferSafety::isSameOrDescendant(scratch / "alias", scratch / "real", true));
    EXPECT_FALSE(FileTransferSafety::isSameOrDescendant(scratch / "real", scratch.path(), true));
    // The folder does not exist yet: the nearest existing one tells the volume.
    EXPECT_EQ(FileTransferSafety::volumeSupportsCaseSensitiveNames(scratch / "not/yet/made"), std::optional(true));
}

class FileTransferPlannerTest : public ::testing::Test {
protected:
    TemporaryFolder scratch;
    FaultInjectingFileSystemCalls calls;
    FileTransferPlanner planner{calls};
    QString destination = scratch / "dest";

    void SetUp() override
    {
        TestTree::makeFolder(scratch / "src");
        TestTree::makeFolder(destination);
    }
    std::expected<FileTransferPlanBatch, FileTransferError> plan(const QStringList& sources,
                                                                 FileTransferPlanOptions options = {},
                                                                 std::stop_token stop = {})
    {
        return planner.planBatch(sources, destination, options, stop);
    }
};

TEST_F(FileTransferPlannerTest, ListsParentsFirstChildrenByNaturalNameAndNeverFollowsLinks)
{
    const QString folder = scratch / "src/Folder";
    TestTree::makeFolder(folder);
    TestTree::writeFile(folder + "/File10.txt", "10");
    TestTree::writeFile(folder + "/file2.txt", "2");
    TestTree::makeFolder(folder + "/b");
    TestTree::writeFile(folder + "/b/inner", "i");
    TestTree::makeLink(FilePaths::toNative(scratch / "src"), folder + "/a-link");

    const auto batch = plan({folder + "/"});
    ASSERT_TRUE(batch.has_value());
    ASSERT_EQ(batch->plans.size(), 1u);
    const FileTransferPlan& only = batch->plans.front();
    EXPECT_EQ(only.sourceURL, folder);
    EXPECT_EQ(only.destinationURL, destination + "/Folder");
    const std::vector<FileTransferEntry> expected{
        {folder, destination + "/Folder", true},
        {folder + "/a-link", destination + "/Folder/a-link", false},
        {folder + "/b", destination + "/Folder/b", true},
        {folder + "/b/inner", destination + "/Folder/b/inner", false},
        {folder + "/file2.txt", destination + "/Folder/file2.txt", false},
        {folder + "/File10.txt", destination + "/Folder/File10.txt", false},
    };
    ASSERT_EQ(only.entries.size(), expected.size());
    for (size_t index = 0; index < expected.size(); ++index) {
        EXPECT_EQ(only.entries[index].sourceURL, expected[index].sourceURL);
        EXPECT_EQ(only.entries[index].destinationURL, expected[index].destinationURL);
        EXPECT_EQ(only.entries[index].isDirectory, expected[index].isDirectory);
    }
}

TEST_F(FileTransferPlannerTest, SkippedSpecialFilesReserveNothing)
{
    TestTree::makeFolder(scratch / "src/one");
    TestTree::makeFifo(scratch / "src/one/p");
    TestTree::writeFile(scratch / "src/p", "file");
    const QStringList sources{scratch / "src/one/p", scratch / "src/p"};

    const auto skipping = plan(sources, {.skipUnsupportedSpecialFiles = true});
    ASSERT_TRUE(skipping.has_value());
    EXPECT_EQ(skipping->skippedURLs, QStringList({scratch / "src/one/p"}));
    ASSERT_EQ(skipping->plans.size(), 1u);
    EXPECT_EQ(skipping->plans[0].destinationURL, destination + "/p");

    const auto keeping = plan(sources);
    ASSERT_TRUE(keeping.has_value());
    ASSERT_EQ(keeping->plans.size(), 2u);
    EXPECT_EQ(keeping->plans[1].destinationURL, destination + "/p 2");
}

} // namespace
