#include "TransferServiceTest.h"

#include <cerrno>

namespace {

class FileTransferLinkTest : public TransferServiceTest {};

TEST_F(FileTransferLinkTest, LinksPointToTheSourceAndTakeNumberedNamesEvenForANameTakenMeanwhile)
{
    const QString bad = FilePaths::fromNative(QByteArray("bad \xff"));
    TestTree::writeFile(src("a.txt"), "a");
    TestTree::makeFolder(src(bad));
    TestTree::writeFile(dst("a.txt"), "taken");
    // Someone takes a planned name just before the link is made.
    calls->beforeCall(Call::makeSymbolicLink, 2, [&] { TestTree::writeFile(dst(bad), "theirs"); });

    const auto result = link({src("a.txt"), src("missing"), src(bad), src("a.txt")});
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->createdURLs, QStringList({dst("a 2.txt"), dst(bad + " 2"), dst("a 3.txt")}));
    EXPECT_EQ(result->skippedURLs, QStringList({src("missing")}));
    EXPECT_EQ(TestTree::linkTarget(dst("a 2.txt")), src("a.txt"));
    EXPECT_EQ(TestTree::linkTarget(dst(bad + " 2")), src(bad));
    EXPECT_EQ(TestTree::readFile(dst("a.txt")) + TestTree::readFile(dst(bad)), "takentheirs");
    const std::vector<FileTransferProgress> expected{{0, 4, "a.txt"}, {1, 4, "a.txt"}, {1, 4, "missing"},
                                                     {2, 4, bad}, {2, 4, bad}, {3, 4, "a.txt"},
                                                     {3, 4, "a.txt"}};
    EXPECT_EQ(reports, expected);
}

TEST_F(FileTransferLinkTest, AFailureOrAStopKeepsNoLink)
{
    for (const char* name : {"a", "b", "c"}) TestTree::writeFile(src(name), name);
    TestTree::writeFile(dst("keep"), "k");
    calls->failCall(Call::makeSymbolicLink, 3, EIO);
    const auto failed = link({src("a"), src("b"), src("c")});
    ASSERT_FALSE(failed.has_value());
    EXPECT_EQ(failed.error(), systemError(EIO, dst("c")));
    EXPECT_EQ(TestTree::childNames(destination), QStringList({"keep"}));

    calls->beforeCall(Call::makeSymbolicLink, 5, [&] { stop.request_stop(); });
    const auto stopped = link({src("a"), src("b"), src("c")});
    ASSERT_FALSE(stopped.has_value());
    EXPECT_EQ(stopped.error(), FileTransferError(FileTransferStopped{}));
    EXPECT_EQ(TestTree::childNames(destination), QStringList({"keep"}));
    EXPECT_EQ(TestTree::childNames(source), QStringList({"a", "b", "c"}));
}

} // namespace
