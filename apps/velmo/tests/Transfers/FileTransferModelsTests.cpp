#include "Models/FileDestinationNamer.h"
#include "Models/FileTransferModels.h"
#include "PathKit/FilePaths.h"
#include "TransferTestSupport.h"

#include <gtest/gtest.h>


namespace {

TEST(FileTransferActivity, CountsItemsAndTellsProgressNameAndStop)
{
    auto activity = [](FileTransferKind kind, qint64 count) { return FileTransferActivity::started(kind, count, "/dest"); };
    EXPECT_EQ(activity(FileTransferKind::copy, 1).title(), "Copying 1 item");
    EXPECT_EQ(activity(FileTransferKind::pasteMove, 12).title(), "Moving pasted 12 items");
    FileTransferActivity run = activity(FileTransferKind::copy, 10);
    EXPECT_NE(run.id, activity(FileTransferKind::copy, 10).id);
    EXPECT_EQ(run.detail(), "0 of 10");
    run.progress = {3, 10, QStringLiteral("name.txt")};
    run.isCancelling = true;
    EXPECT_EQ(run.detail(), "3 of 10 - name.txt - Cancelling...");
}

TEST(FileDestinationNamer, NumbersBeforeTheLastExtensionOnly)
{
    EXPECT_EQ(FileDestinationNamer::numberedName("report.pdf", 2), "report 2.pdf");
    EXPECT_EQ(FileDestinationNamer::numberedName("archive.tar.gz", 2), "archive.tar 2.gz");
    EXPECT_EQ(FileDestinationNamer::numberedName("Folder", 3), "Folder 3");
    EXPECT_EQ(FileDestinationNamer::numberedName(".profile", 2), ".profile 2");
    EXPECT_EQ(FileDestinationNamer::numberedName(".config.json", 2), ".config 2.json");
    // A name that looks like a format string stays as it is.
    EXPECT_EQ(FileDestinationNamer::numberedName("%1 %2.txt", 10), "%1 %2 10.txt");
    // 255 bytes of "e" with a combining accent: the number takes whole letters'
    // room, never half of one.
    const QString accented = QStringLiteral("e\u0301").repeated(85);
    EXPECT_EQ(FileDestinationNamer::numberedName(accented, 2), QStringLiteral("e\u0301").repeated(84) + " 2");
    // Bytes that are not UTF-8 count one each.
    const QString raw = FilePaths::fromNative(QByteArray(251, '\xff') + ".bin");
    EXPECT_EQ(FilePaths::toNative(FileDestinationNamer::numberedName(raw, 10)), QByteArray(248, '\xff') + " 10.bin");
}

TEST(FileDestinationNamer, SkipsTakenNumbersAndNeverTriesThePlainName)
{
    TemporaryFolder scratch;
    // The plain name is free, yet the namer starts at 2: the caller found it taken.
    EXPECT_EQ(FileDestinationNamer::numberedDestinationURL(scratch.path(), "a.txt"), scratch / "a 2.txt");
    TestTree::writeFile(scratch / "a 2.txt", "x");
    TestTree::makeFolder(scratch / "a 3.txt");
    EXPECT_EQ(FileDestinationNamer::numberedDestinationURL(scratch.path(), "a.txt"), scratch / "a 4.txt");
}

} // namespace
