#include "TransferServiceTest.h"

#include <cerrno>

namespace {

using TestTree::snapshot;

class FileTransferCopyTest : public TransferServiceTest {};

TEST_F(FileTransferCopyTest, CopiesTreesExactlyWithOddNamesModesTimesHolesAndLinks)
{
    TestTree::buildSampleTree(src("tree"));
    TestTree::writeFile(src("-n"), "flag-like name", 0600);
    const auto before = snapshot(source);

    const auto result = copy({src("tree"), src("-n")});
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->createdURLs, QStringList({dst("tree"), dst("-n")}));
    EXPECT_TRUE(result->skippedURLs.isEmpty());
    EXPECT_EQ(TestTree::differences(before, snapshot(source)), "");
    // Folder modes and times, owners and attributes included.
    EXPECT_EQ(TestTree::differences(before, snapshot(destination)), "");
    // Links were copied as links, targets untouched, never followed.
    EXPECT_EQ(TestTree::linkTarget(dst("tree/sub/link-to-folder")), "nested");
    EXPECT_EQ(TestTree::linkTarget(dst("tree/sub/dangling")), "/nonexistent/target");
    // The holes stayed holes: 4 KiB of data in 256 KiB.
    EXPECT_LE(TestTree::allocatedBlocks(dst("tree/sparse.img")), TestTree::allocatedBlocks(src("tree/sparse.img")));
    EXPECT_LT(TestTree::allocatedBlocks(dst("tree/sparse.img")), 256 * 2);
}

TEST_F(FileTransferCopyTest, ConflictsTakeNumberedNamesThatFitAndNothingIsOverwritten)
{
    TestTree::makeFolder(src("tree"));
    TestTree::writeFile(src("tree/inside"), "new");
    TestTree::writeFile(src("a.txt"), "new");
    TestTree::makeFolder(dst("tree"));
    TestTree::writeFile(dst("tree/inside"), "old");
    TestTree::writeFile(dst("a.txt"), "old");
    // 251 bytes of two-byte characters and ".txt": 255, the most a name may hold.
    const QString longName = QString(125, QChar(0xE9)) + QStringLiteral("x.txt");
    TestTree::writeFile(src(longName), "long");
    TestTree::writeFile(dst(longName), "taken");
    const auto destinationBefore = snapshot(destination);

    const auto result = copy({src("tree"), src("a.txt"), src("a.txt"), src(longName)});
    ASSERT_TRUE(result.has_value());
    // The long name loses whole characters from its end to make room for " 2".
    const QString numberedLongName = QString(124, QChar(0xE9)) + QStringLiteral(" 2.txt");
    EXPECT_EQ(result->createdURLs, QStringList({dst("tree 2"), dst("a 2.txt"), dst("a 3.txt"), dst(numberedLongName)}));
    EXPECT_EQ(TestTree::readFile(dst(numberedLongName)), "long");
    EXPECT_EQ(TestTree::readFile(dst("tree/inside")), "old");
    EXPECT_EQ(TestTree::readFile(dst("a.txt")), "old");
    EXPECT_EQ(TestTree::readFile(dst("tree 2/inside")), "new");
    EXPECT_EQ(TestTree::readFile(dst("a 3.txt")), "new");
    for (const auto& [path, item] : destinationBefore) EXPECT_EQ(snapshot(destination).at(path), item);
}

TEST_F(FileTransferCopyTest, ANameTakenAfterPlanningIsPassedOverNotReplaced)
{
    TestTree::writeFile(src("a.txt"), "mine");
    TestTree::makeFolder(src("dir"));
    // Someone creates the planned names just before the copy creates them.
    calls->beforeCall(Call::linkUnnamed, 1, [&] { TestTree::writeFile(dst("a.txt"), "theirs"); });
    calls->beforeCall(Call::makeDirectory, 1, [&] { TestTree::writeFile(dst("dir"), "theirs too"); });

    const auto result = copy({src("a.txt"), src("dir")});
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->createdURLs, QStringList({dst("a 2.txt"), dst("dir 2")}));
    EXPECT_EQ(TestTree::readFile(dst("a.txt")), "theirs");
    EXPECT_EQ(TestTree::readFile(dst("a 2.txt")), "mine");
    EXPECT_EQ(TestTree::readFile(dst("dir")), "theirs too");
}

TEST_F(FileTransferCopyTest, ReportsTopLevelItemsForSeveralSourcesAndEntriesForOneAHundredthAtATime)
{
    TestTree::writeFile(src("one"), "1");
    TestTree::writeFile(src("two"), "2");
    ASSERT_TRUE(copy({src("one"), src("two")}).has_value());
    EXPECT_EQ(reports, (std::vector<FileTransferProgress>{{0, 2, "one"}, {1, 2, "two"}, {2, 2, "two"}}));
    reports.clear();
    EXPECT_EQ(copy({}), FileCopyResult{});
    EXPECT_TRUE(reports.empty());

    // One folder: its entries count, every one up to 100, then every hundredth of the plan.
    for (const int entryCount : {100, 250}) {
        const QString folder = src(QStringLiteral("n%1").arg(entryCount));
        TestTree::makeFolder(folder);
        for (int index = 1; index < entryCount; ++index)
            TestTree::writeFile(folder + QStringLiteral("/f%1").arg(index), QByteArray::number(index));
        reports.clear();
        ASSERT_TRUE(copy({folder}).has_value());
        std::vector<qint64> expected, reported;
        for (qint64 count = 0; count <= entryCount; count += entryCount / 100) expected.push_back(count);
        for (const auto& report : reports) reported.push_back(report.completedItemCount);
        EXPECT_EQ(reported, expected);
        EXPECT_EQ(reports.front().currentItemName, FilePaths::lastComponent(folder));
        EXPECT_EQ(reports.back().totalItemCount, entryCount);
    }
}

TEST_F(FileTransferCopyTest, SkipsWhatCannotBeReadOrCopiedAndStillSucceeds)
{
    TestTree::writeFile(src("unreadable"), "u");
    TestTree::makeFolder(src("tree"));
    TestTree::makeFifo(src("tree/pipe"));
    TestTree::writeFile(src("tree/kept"), "k");
    TestTree::writeFile(src("tree/locked"), "l");
    calls->failPath(Call::open, "/unreadable", EACCES);
    calls->failPath(Call::isReadable, "/unreadable", EACCES);
    calls->failPath(Call::open, "/locked", EACCES);
    calls->failPath(Call::isReadable, "/locked", EACCES);

    const auto result = copy({src("unreadable"), src("tree"), scratch.path()});
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->createdURLs, QStringList({dst("tree")}));
    // The scratch folder holds the destination: refused first, silently.
    // Planning skips the pipe before copying finds the locked file.
    EXPECT_EQ(result->skippedURLs,
              QStringList({scratch.path(), src("unreadable"), src("tree/pipe"), src("tree/locked")}));
    EXPECT_EQ(TestTree::childNames(destination), QStringList({"tree"}));
    EXPECT_EQ(TestTree::childNames(dst("tree")), QStringList({"kept"}));
}

TEST_F(FileTransferCopyTest, APermissionErrorOnAReadableSourceFailsTheWholeBatch)
{
    TestTree::writeFile(src("first"), "1");
    TestTree::writeFile(src("second"), "2");
    calls->failPath(Call::linkUnnamed, "/second", EACCES); // the destination refuses, the source is fine

    const auto result = copy({src("first"), src("second")});
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error(), systemError(EACCES, dst("second")));
    EXPECT_TRUE(TestTree::childNames(destination).isEmpty());
}

TEST_F(FileTransferCopyTest, AFileTakesItsNameOnlyWhenComplete)
{
    TestTree::writeFile(src("big.bin"), QByteArray(1 << 20, 'b'));
    // Unnamed files, then a file system without them (hidden temporary names).
    for (const bool hasUnnamedFiles : {true, false}) {
        SCOPED_TRACE(hasUnnamedFiles ? "unnamed files" : "temporary names");
        if (!hasUnnamedFiles) calls->failPath(Call::createUnnamed, "", EOPNOTSUPP);
        QStringList seenWhileWriting;
        calls->beforeCall(Call::copyRange, calls->count(Call::copyRange) + 1,
                          [&] { seenWhileWriting = TestTree::childNames(destination); });
        ASSERT_TRUE(copy({src("big.bin")}).has_value());
        QStringList visible = seenWhileWriting;
        visible.removeIf([](const QString& name) { return name.startsWith(u'.'); });
        EXPECT_EQ(visible, hasUnnamedFiles ? QStringList() : QStringList({"big.bin"}));
        EXPECT_EQ(seenWhileWriting.size() != visible.size(), !hasUnnamedFiles);
    }
    // Nothing partial is left behind.
    EXPECT_EQ(TestTree::childNames(destination), QStringList({"big 2.bin", "big.bin"}));
}

TEST_F(FileTransferCopyTest, AnEarlyEndOfTheKernelsCopyIsReadOnAndAShortReadFails)
{
    TestTree::writeFile(src("data"), QByteArray(300000, 'x'));
    // The kernel's copy stops at once: reading and writing takes over.
    calls->endEarly(Call::copyRange, 0);
    ASSERT_TRUE(copy({src("data")}).has_value());
    EXPECT_EQ(TestTree::readFile(dst("data")), TestTree::readFile(src("data")));

    // Reading ends early as well: the copy is short, so it fails and leaves nothing.
    calls->endEarly(Call::read, 0);
    const auto result = copy({src("data")});
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(TestTree::childNames(destination), QStringList({"data"}));
}

TEST_F(FileTransferCopyTest, UnreadableItemsAreSkippedAndSetIdBitsDroppedForAnUnprivilegedUser)
{
    TestTree::makeFolder(src("tree"));
    TestTree::writeFile(src("tree/open"), "o");
    TestTree::writeFile(src("tree/set-id"), "s", 06755); // root's: nobody cannot keep the owner
    TestTree::writeFile(src("tree/locked-file"), "l", 0000);
    TestTree::makeFolder(src("tree/locked-folder"), 0755);
    TestTree::writeFile(src("tree/locked-folder/inside"), "i");
    ::chmod(FilePaths::toNative(src("tree/locked-folder")).constData(), 0000);
    ::chmod(FilePaths::toNative(scratch.path()).constData(), 0755);
    ::chmod(FilePaths::toNative(destination).constData(), 0777);

    std::expected<FileCopyResult, FileTransferError> result;
    TestPrivileges::runAsNobody([&] { result = copy({src("tree")}); });
    ASSERT_TRUE(result.has_value()) << errorCode(result.error());
    EXPECT_EQ(result->createdURLs, QStringList({dst("tree")}));
    EXPECT_EQ(result->skippedURLs, QStringList({src("tree/locked-folder"), src("tree/locked-file")}));
    EXPECT_EQ(TestTree::childNames(dst("tree")), QStringList({"open", "set-id"}));
    if (::geteuid() == 0) {
        EXPECT_EQ(snapshot(dst("tree")).at("set-id").mode, mode_t(S_IFREG | 0755));
    }
}

TEST_F(FileTransferCopyTest, FillingARealSmallFileSystemLeavesNothingBehind)
{
    TestTree::buildSampleTree(src("tree"));
    TestTree::buildSampleTree(src("again"));
    const auto before = snapshot(source);
    // Room for the first tree but not for both.
    const qint64 room = TestTree::sampleTreeFileBytes() + 256 * 1024;
    std::expected<FileCopyResult, FileTransferError> result;
    std::expected<FileCopyResult, FileTransferError> retry;
    QStringList leftOver{"not run"};
    QString copiedDifferences;
    const bool mounted = TestPrivileges::runWithSmallFileSystem(destination, room, [&] {
        result = copy({src("tree"), src("again")});
        leftOver = TestTree::childNames(destination);
        retry = copy({src("tree")});
        copiedDifferences = TestTree::differences(TestTree::part(before, "tree"), snapshot(dst("tree")));
    });
    if (!mounted) GTEST_SKIP() << "mounting a tmpfs is not permitted here; the injected ENOSPC tests still ran";
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(errorCode(result.error()), ENOSPC);
    EXPECT_TRUE(leftOver.isEmpty()) << leftOver.join(", ").toStdString();
    EXPECT_EQ(TestTree::differences(before, snapshot(source)), "");
    // All the room came back: one tree fits again, complete.
    ASSERT_TRUE(retry.has_value());
    EXPECT_EQ(copiedDifferences, "");
}

} // namespace
