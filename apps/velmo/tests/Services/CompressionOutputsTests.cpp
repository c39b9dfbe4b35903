#include "PathKit/FilePaths.h"
#include "Services/CompressionOutputs.h"
#include "TestSupport.h"

#include <QFileInfo>

#include <gtest/gtest.h>

namespace {

struct ExportCase {
    const char* source;
    const char* suffix;
    const char* extension;
    const char* expected; // relative to the source's folder; empty: an error
    int errorCode;
};

TEST(CompressionOutputs, TheExportNameSitsBesideTheSourceAndNeverIsTheSource)
{
    const ExportCase cases[] = {
        {"/p/photo.jpeg", "_compressed", "webp", "/p/photo_compressed.webp", 0},
        {"/p/archive.tar.gz", "-small", "png", "/p/archive.tar-small.png", 0},
        {"/p/noextension", "_c", "jpg", "/p/noextension_c.jpg", 0},
        {"/p/photo.jpg", "", "jpg", "", 3},
        {"/p/manual.pdf", "", "pdf", "", 3},
        {"/p/photo.jpg", "a/b", "jpg", "", 2},
        {"/p/photo.jpg", "x:y", "jpg", "", 2},
    };
    for (const auto& c : cases) {
        const auto path = CompressionOutputs::exportPath(c.source, c.suffix, c.extension);
        if (c.errorCode) {
            ASSERT_FALSE(path) << c.source << " " << c.suffix;
            EXPECT_EQ(path.error().code, c.errorCode);
        } else {
            ASSERT_TRUE(path) << c.source;
            EXPECT_EQ(*path, QString::fromUtf8(c.expected));
        }
    }
    EXPECT_EQ(CompressionOutputs::exportPath("/p/a.jpg", "a/b", "jpg").error().message,
              "Suffix cannot contain path separators.");
    EXPECT_EQ(CompressionOutputs::exportPath("/p/a.jpg", "", "jpg").error().message,
              "Output would overwrite the original file.");
}

// A result saved over an existing file: the old one goes to the trash whole, the
// new one takes the name, no temporary file stays, the cache keeps its result.
TEST(CompressionOutputs, SavingOverAnExistingFileTrashesItAndLeavesNoTemporaries)
{
    TemporaryFolder home, trashFolder;
    const FreedesktopTrash trash(trashFolder.path());
    const auto cache = CompressionOutputs::makeCacheFolder(home / "cache", "session");
    ASSERT_TRUE(cache);
    EXPECT_EQ(QFileInfo(*cache).permissions() & (QFile::ReadOther | QFile::ReadGroup), 0);
    const auto result = CompressionOutputs::writeResult(*cache, "new bytes", "jpg");
    ASSERT_TRUE(result);

    const QByteArray oddName("old\xff name.jpg");
    const QString target = FilePaths::fromNative(FilePaths::toNative(home.path()) + '/' + oddName);
    TestTree::writeFile(target, "precious old bytes");
    ASSERT_TRUE(CompressionOutputs::save(*result, target, trash));
    EXPECT_EQ(TestTree::readFile(target), "new bytes");
    EXPECT_EQ(TestTree::readFile(trashFolder / "files/" + FilePaths::fromNative(oddName)), "precious old bytes");
    EXPECT_EQ(TestTree::childNames(home.path()), (QStringList {"cache", FilePaths::fromNative(oddName)}));

    // Saving again into a folder that is gone fails and leaves the cache as it was.
    EXPECT_FALSE(CompressionOutputs::save(*result, home / "gone/x.jpg", trash));
    EXPECT_EQ(TestTree::readFile(*result), "new bytes");

    CompressionOutputs::removeCacheFolder(*cache);
    EXPECT_FALSE(QFileInfo::exists(*cache));
}

TEST(CompressionOutputs, TheCacheFolderIsRemovedOnlyWithWhatItWrote)
{
    TemporaryFolder home;
    const auto cache = CompressionOutputs::makeCacheFolder(home.path(), "s");
    ASSERT_TRUE(cache);
    ASSERT_TRUE(CompressionOutputs::writeResult(*cache, "r", "png"));
    home.file("s/someone-elses.txt", "keep");
    CompressionOutputs::removeCacheFolder(*cache);
    EXPECT_EQ(TestTree::childNames(*cache), QStringList {"someone-elses.txt"});
}

} // namespace
