#include "FaultInjectingFileSystemCalls.h"
#include "PathKit/FilePaths.h"
#include "Services/FileTransferPlanner.h"
#include "Services/FileTransferSafety.h"
#include "TransferTestSupport.h"

#include <gtest/gtest.h>

#include <cerrno>


namespace {

using Call = FaultInjectingFileSystemCalls::Call;

TEST(FileTransferSafety, RefusesAFolderIntoItselfByWholeComponentsFoldingCaseOnlyWhenTheVolumeDoes)
{
    struct Case {
        QStringList sources;
        QString destination;
        bool caseSensitive;
        FileTransferPartition expected;
    };
    const Case cases[] = {
        {{"/a/b", "/a/bc", "/a/b/c", "/x/y", "/a"}, "/a/b/c", true, {{"/a/bc", "/x/y"}, {"/a/b", "/a/b/c", "/a"}}},
        // A text prefix is not a path prefix.
        {{"/a/b"}, "/a/bc", true, {{"/a/b"}, {}}},
        {{"/a/B"}, "/a/b/c", true, {{"/a/B"}, {}}},
        {{"/a/B"}, "/a/b/c", false, {{}, {"/a/B"}}},
    };
    for (const Case& each : cases)
        EXPECT_EQ(FileTransferSafety::partitionTransferableSources(each.sources, each.destination, each.caseSensitive),
                  each.expected) << each.sources.join(", ").toStdString();
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
    auto plan(const QStringList& sources, FileTransferPlanOptions options = {})
    {
        return planner.planBatch(sources, destination, options, {});
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
    EXPECT_EQ(only.entries, expected);
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
