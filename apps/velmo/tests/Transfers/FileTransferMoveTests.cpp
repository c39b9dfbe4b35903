#include "TransferServiceTest.h"

#include <cerrno>

#include <sys/sysmacros.h>

namespace {

using TestTree::snapshot;

class FileTransferMoveTest : public TransferServiceTest {};

TEST_F(FileTransferMoveTest, MovesTreesEntryByEntryAndRemovesTheEmptiedSources)
{
    TestTree::buildSampleTree(src("tree"));
    TestTree::writeFile(src("a.txt"), "a");
    TestTree::writeFile(dst("a.txt"), "already there");
    const auto before = snapshot(source);

    const auto result = move({src("tree"), src("a.txt")});
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->moves, (std::vector<FileMoveResult>{{src("tree"), dst("tree")}, {src("a.txt"), dst("a 2.txt")}}));
    EXPECT_TRUE(TestTree::childNames(source).isEmpty());
    EXPECT_EQ(TestTree::differences(TestTree::part(before, "tree"), snapshot(dst("tree"))), "");
    EXPECT_EQ(TestTree::readFile(dst("a.txt")), "already there");
    EXPECT_EQ(reports.back(), (FileTransferProgress{2, 2, "a.txt"}));
}

TEST_F(FileTransferMoveTest, AnItemAlreadyInTheDestinationStaysWithoutATrace)
{
    TestTree::writeFile(dst("here"), "h");
    const auto result = move({dst("here"), destination});
    ASSERT_TRUE(result.has_value());
    // The folder itself is refused as a move into itself; "here" is simply dropped.
    EXPECT_EQ(*result, (FileMoveBatchResult{{}, {destination}}));
    EXPECT_EQ(TestTree::childNames(destination), QStringList({"here"}));
    EXPECT_TRUE(reports.empty());
}

TEST_F(FileTransferMoveTest, AFolderThatGainsAFileDuringTheMoveIsPutBackWhole)
{
    TestTree::buildSampleTree(src("tree"));
    const auto before = snapshot(source);
    // Just before the first source folder is removed, a file appears in another.
    calls->beforeCall(Call::removeDirectory, 1, [&] { TestTree::writeFile(src("tree/sub/late"), "late"); });

    const auto result = move({src("tree")});
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error(), systemError(ENOTEMPTY, src("tree/sub")));
    auto expected = before;
    expected["tree/sub/late"] = snapshot(source).at("tree/sub/late");
    EXPECT_EQ(TestTree::differences(expected, snapshot(source)), "");
    EXPECT_TRUE(TestTree::childNames(destination).isEmpty());
}

TEST_F(FileTransferMoveTest, AcrossFileSystemsASourceGoesOnlyOnceItsCopyIsCompleteAndFlushed)
{
    TestTree::buildSampleTree(src("tree"));
    const auto before = snapshot(source);
    calls->failPath(Call::renameExclusive, "", EXDEV);
    // The kernel's copy answers "done" at once, as some file systems do.
    calls->endEarly(Call::copyRange, 0);

    ASSERT_TRUE(move({src("tree")}).has_value());
    EXPECT_EQ(TestTree::differences(before, snapshot(destination)), "");
    EXPECT_TRUE(TestTree::childNames(source).isEmpty());
    // Every copy's data, then every folder it went into, is flushed before any source goes.
    const auto firstRemoval = std::find_if(calls->log.begin(), calls->log.end(), [&](const auto& call) {
        return (call.first == Call::unlink || call.first == Call::removeDirectory)
            && call.second.startsWith(FilePaths::toNative(source));
    });
    ASSERT_NE(firstRemoval, calls->log.end());
    const auto flushes = [&](Call kind) {
        return std::count_if(calls->log.begin(), firstRemoval, [&](const auto& call) { return call.first == kind; });
    };
    const auto files = std::count_if(before.begin(), before.end(), [](const auto& item) { return item.second.kind == 'f'; });
    EXPECT_EQ(flushes(Call::syncData), files);
    EXPECT_GE(flushes(Call::sync), 8);      // their folders and the folders' parents

    // Reading ends early too: the copies are short, so nothing is removed anywhere.
    TestTree::buildSampleTree(src("again"));
    const auto again = snapshot(source);
    calls->endEarly(Call::read, 0);
    ASSERT_FALSE(move({src("again")}).has_value());
    EXPECT_EQ(TestTree::differences(again, snapshot(source)), "");
    EXPECT_EQ(TestTree::childNames(destination), QStringList({"tree"}));
}

TEST_F(FileTransferMoveTest, AFileThatGrowsWhileCopiedIsCopiedButNotMovedAway)
{
    TestTree::writeFile(src("log"), "first\n");
    // Another program appends once the copy has read to the end, before it is checked.
    const auto appendAfterReading = [&] {
        calls->beforeCall(Call::fileStatus, calls->count(Call::fileStatus) + 1, [&] {
            TestTree::writeFile(src("log"), TestTree::readFile(src("log")) + "more\n");
        });
    };
    appendAfterReading();
    ASSERT_TRUE(service.copyItems({src("log")}, destination, stop.get_token()).has_value());
    EXPECT_EQ(TestTree::readFile(dst("log")), "first\n");

    calls->failPath(Call::renameExclusive, "", EXDEV);
    appendAfterReading();
    ASSERT_FALSE(move({src("log")}).has_value());
    EXPECT_EQ(TestTree::readFile(src("log")), "first\nmore\nmore\n");
    EXPECT_EQ(TestTree::childNames(destination), QStringList({"log"}));
}

TEST_F(FileTransferMoveTest, SpecialFilesAreMadeAnewAndNeverOpened)
{
    TestTree::makeFolder(src("specials"));
    TestTree::makeFifo(src("specials/pipe"));
    // A device node where the tests may make one (as root): opening it would reach its driver.
    const bool hasDevice = ::mknod(FilePaths::toNative(src("specials/device")).constData(), S_IFCHR | 0640, makedev(1, 3)) == 0;
    const auto before = snapshot(source);
    calls->failPath(Call::renameExclusive, "", EXDEV);

    ASSERT_TRUE(move({src("specials")}).has_value());
    EXPECT_EQ(TestTree::differences(TestTree::part(before, "specials"), snapshot(dst("specials"))), "");
    EXPECT_EQ(TestTree::childNames(dst("specials")).size(), hasDevice ? 2 : 1);
    for (const auto& [call, path] : calls->log) {
        const bool opens = call == Call::open || call == Call::create;
        EXPECT_FALSE(opens && (path.contains("pipe") || path.contains("device"))) << path.constData();
    }
}

TEST_F(FileTransferMoveTest, WhatCannotGoBackStaysAtTheDestinationIntact)
{
    TestTree::buildSampleTree(src("tree"));
    const auto before = snapshot(source);
    // The fourth move fails, and so does every move back.
    calls->failCall(Call::renameExclusive, 4, EIO);
    calls->failPath(Call::renameExclusive, "/dest/tree/", EIO);

    ASSERT_FALSE(move({src("tree")}).has_value());
    // Every file exists once, whole: at its source, or where the move left it.
    const auto now = snapshot(source);
    const auto there = snapshot(dst("tree"));
    for (const auto& [path, item] : TestTree::part(before, "tree")) {
        if (item.kind == 'd') continue;
        const bool atSource = now.contains("tree/" + path) && now.at("tree/" + path) == item;
        const bool atDestination = there.contains(path) && there.at(path) == item;
        EXPECT_TRUE(atSource != atDestination) << path.toStdString();
    }
    EXPECT_EQ(calls->count(Call::renameExclusive), 7); // three moves, the failed one, three tries back
}

TEST_F(FileTransferMoveTest, AnUnreadableFolderFailsTheMoveForAnUnprivilegedUser)
{
    TestTree::makeFolder(src("tree"), 0777);
    TestTree::writeFile(src("tree/file"), "f");
    TestTree::makeFolder(src("tree/locked"), 0755);
    TestTree::writeFile(src("tree/locked/inside"), "i");
    ::chmod(FilePaths::toNative(src("tree/locked")).constData(), 0000);
    ::chmod(FilePaths::toNative(scratch.path()).constData(), 0755);
    ::chmod(FilePaths::toNative(source).constData(), 0777);
    ::chmod(FilePaths::toNative(destination).constData(), 0777);
    const auto before = snapshot(source);

    std::expected<FileMoveBatchResult, FileTransferError> result;
    TestPrivileges::runAsNobody([&] { result = move({src("tree")}); });
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error(), systemError(EACCES, src("tree/locked")));
    EXPECT_EQ(TestTree::differences(before, snapshot(source)), "");
    EXPECT_TRUE(TestTree::childNames(destination).isEmpty());
}

} // namespace
