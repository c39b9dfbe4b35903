#include "FileSizeScanner/LocalFileSystemProvider.h"
#include "ScanTestTree.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace {

std::optional<ChildEntry> entryNamed(const QList<ChildEntry>& entries, const QString& name)
{
    for (const ChildEntry& entry : entries)
        if (entry.values.name == name) return entry;
    return std::nullopt;
}

} // namespace

// Sizes are compared with du on real trees in ScanEngineAgreementTests.
TEST(LocalFileSystemProvider, ChildEntriesReportTypesFlagsAndFailures)
{
    ScanTestTree tree;
    tree.file(".dot", 5);
    tree.file("listed", 6);
    tree.file("plain", 7000);
    tree.folder("Bundle.bundle");
    tree.symlink("Bundle.bundle", "link");
    tree.file(".hidden", "listed\nnot-there\n");
    const LocalFileSystemProvider fs;
    const auto entries = fs.childEntries(tree.root() + "/");
    ASSERT_TRUE(entries);
    EXPECT_EQ(entries->size(), 6);

    EXPECT_TRUE(entryNamed(*entries, ".dot")->values.isHidden);
    EXPECT_TRUE(entryNamed(*entries, "listed")->values.isHidden);
    const auto plain = entryNamed(*entries, "plain");
    EXPECT_FALSE(plain->values.isHidden);
    EXPECT_EQ(plain->url, tree.root() + "/plain");
    EXPECT_EQ(plain->values.fileSize, 7000);
    EXPECT_FALSE(plain->values.totalFileSize);

    const auto bundle = entryNamed(*entries, "Bundle.bundle");
    EXPECT_TRUE(bundle->values.isDirectory);
    EXPECT_TRUE(bundle->values.isPackage);
    const auto link = entryNamed(*entries, "link");
    EXPECT_FALSE(link->values.isDirectory);
    EXPECT_FALSE(link->values.isPackage);
    EXPECT_EQ(link->values.fileSize, 13);

    const QString missing = tree.root() + "/missing";
    EXPECT_EQ(fs.childEntries(missing).error(), (FileSystemError {ENOENT, missing}));
    EXPECT_EQ(fs.resourceValues(missing).error(), (FileSystemError {ENOENT, missing}));

    const auto values = fs.resourceValues(tree.root() + "/Bundle.bundle/.");
    ASSERT_TRUE(values);
    EXPECT_EQ(values->name, "Bundle.bundle");
    EXPECT_TRUE(values->isDirectory && values->isPackage && values->isReadable);
}

TEST(LocalFileSystemProvider, FoldersWhoseNamesCannotBeReachedFailAsWholes)
{
    ScanTestTree tree;
    tree.folder("locked", 0700);
    tree.file("locked/f", 1);
    tree.folder("unsearchable", 0744); // names readable by others, entries not reachable
    tree.file("unsearchable/f", 1);
    const QString root = tree.root();
    const int status = runAsNobody([&] {
        const LocalFileSystemProvider fs;
        int failures = 0;
        for (const QString name : {"locked", "unsearchable"}) {
            const auto entries = fs.childEntries(root + "/" + name);
            failures += entries || entries.error().code != EACCES;
            // Its attributes can still be read, which is all du needs to count it.
            const auto values = fs.resourceValues(root + "/" + name);
            failures += !values || !values->isReadable;
        }
        return failures;
    });
    EXPECT_EQ(status, 0);
}
