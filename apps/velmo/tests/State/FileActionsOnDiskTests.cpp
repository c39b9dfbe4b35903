#include "PathKit/FilePaths.h"
#include "Services/DirectoryListingService.h"
#include "Services/InMemoryFilePasteboard.h"
#include "Services/PosixFileTransferService.h"
#include "Services/WorkspaceFileActionService.h"
#include "State/FilePaneStore.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QByteArray native(const QString& path)
{
    return FilePaths::toNative(path);
}

// Writes by bytes, so that any name works, with a modification time of its own.
void write(const QString& path, const QByteArray& content, qint64 mtime = 1'600'000'000)
{
    TestTree::writeFile(path, content);
    const struct timespec times[2] = {{mtime, 0}, {mtime, 0}};
    ::utimensat(AT_FDCWD, native(path).constData(), times, 0);
}

// A file's content and modification time, "unreadable" for a folder, or "missing".
QString state(const QString& path)
{
    struct stat st {};
    const int fd = ::open(native(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0 || ::fstat(fd, &st) != 0) return "missing";
    QByteArray content(st.st_size, '\0');
    const bool read = ::read(fd, content.data(), size_t(content.size())) == content.size();
    ::close(fd);
    return read ? QString::fromUtf8(content) + '@' + QString::number(st.st_mtim.tv_sec) : "unreadable";
}

bool exists(const QString& path)
{
    return state(path) != "missing";
}

using TestTree::childNames;

class FileActionsOnDisk : public ::testing::Test {
protected:
    FileActionsOnDisk()
    {
        FilePaneServices services;
        services.listing = std::make_shared<DirectoryListingService>();
        services.watcher = std::make_shared<FakeDirectoryWatcher>();
        services.transfer = std::make_shared<PosixFileTransferService>();
        services.pasteboard = pasteboard;
        services.fileActions = std::make_shared<WorkspaceFileActionService>(pasteboard, FreedesktopTrash(trash));
        FilePaneStore::Configuration configuration;
        configuration.folderURL = here;
        pane = std::make_unique<FilePaneStore>(PaneID::left, services, configuration);
    }

    // Waits for the running operation and the reload after it.
    void settle() { ASSERT_TRUE(waitUntil([this] { return !pane->isBusy() && !pane->isLoading(); })); }
    void show(const QString& folder)
    {
        pane->navigate(folder);
        settle();
    }
    void selectAll()
    {
        QSet<QString> ids;
        for (const auto& entry : pane->entries()) ids.insert(entry->id);
        pane->setSelectedEntryIDs(ids);
    }
    QString toast() const { return pane->actionToast() ? pane->actionToast()->text : QString(); }

    TemporaryFolder tmp;
    QString here = tmp.folder("here");
    QString there = tmp.folder("there");
    QString trash = tmp / "Trash";
    std::shared_ptr<InMemoryFilePasteboard> pasteboard = std::make_shared<InMemoryFilePasteboard>();
    std::unique_ptr<FilePaneStore> pane;
};

} // namespace

TEST_F(FileActionsOnDisk, PastedCopyLandsSelectedAndItsUndoTrashesOnlyTheCopies)
{
    write(here + "/a.txt", "alpha");
    tmp.file("here/d/inner.txt", "inner");
    show(here);
    selectAll();
    pane->copySelectionToPasteboard();
    show(there);
    pane->pasteItems();
    settle();
    EXPECT_EQ(state(there + "/a.txt"), "alpha@1600000000");
    EXPECT_EQ(state(there + "/d/inner.txt").section('@', 0, 0), "inner");
    EXPECT_EQ(pane->selectedEntryIDs(), QSet<QString>({there + "/a.txt", there + "/d"}));

    pane->undoLastAction();
    settle();
    EXPECT_EQ(childNames(there), QStringList());
    EXPECT_EQ(childNames(trash + "/info"), QStringList({"a.txt.trashinfo", "d.trashinfo"}));
    EXPECT_EQ(state(here + "/a.txt"), "alpha@1600000000");
    EXPECT_TRUE(exists(here + "/d/inner.txt"));
    EXPECT_FALSE(pane->canUndo());
}

TEST_F(FileActionsOnDisk, PastedCutMovesEmptiesTheClipboardAndUndoPutsEverythingBack)
{
    write(here + "/a.txt", "alpha", 1'500'000'000);
    tmp.folder("here/sub");
    write(here + "/sub/b.txt", "beta", 1'400'000'000);
    show(here);
    selectAll();
    pane->cutSelectionToPasteboard();
    show(there);
    pane->pasteItems();
    settle();
    EXPECT_EQ(childNames(here), QStringList());
    EXPECT_EQ(state(there + "/sub/b.txt"), "beta@1400000000");
    EXPECT_TRUE(pasteboard->readFileURLs().isEmpty());

    pane->undoLastAction();
    settle();
    EXPECT_EQ(childNames(there), QStringList());
    EXPECT_EQ(state(here + "/a.txt"), "alpha@1500000000");
    EXPECT_EQ(state(here + "/sub/b.txt"), "beta@1400000000");
    EXPECT_FALSE(pane->canUndo());
}

TEST_F(FileActionsOnDisk, UndoOfAMoveWhoseWayBackIsHalfGoneKeepsEachFileInOnePlace)
{
    const QString other = tmp.folder("other");
    write(here + "/a.txt", "alpha");
    write(other + "/b.txt", "beta");
    show(there);
    pane->startMoveTransfer(FileTransferKind::move, {here + "/a.txt", other + "/b.txt"}, there, true);
    settle();
    ASSERT_EQ(childNames(there), QStringList({"a.txt", "b.txt"}));
    ASSERT_EQ(::rmdir(native(other).constData()), 0);

    pane->undoLastAction();
    settle();
    for (const auto& [moved, original] : {std::pair {there + "/a.txt", here + "/a.txt"}, {there + "/b.txt", other + "/b.txt"}})
        EXPECT_NE(exists(moved), exists(original)) << moved.toStdString();
    EXPECT_EQ(state(here + "/a.txt"), "alpha@1600000000");
    EXPECT_EQ(state(there + "/b.txt"), "beta@1600000000");
    EXPECT_EQ(toast(), "Could not undo 1 move(s).");
    ASSERT_EQ(pane->undoStack().size(), 1u);
    EXPECT_EQ(pane->undoStack().back(), (FilePaneUndoAction {FilePaneUndoAction::Move {{{there + "/b.txt", other + "/b.txt"}}}}));

    // Once its folder is back, the rest of the undo goes through.
    tmp.folder("other");
    pane->undoLastAction();
    settle();
    EXPECT_EQ(state(other + "/b.txt"), "beta@1600000000");
    EXPECT_FALSE(pane->canUndo());
}

TEST_F(FileActionsOnDisk, RefusedActionsSayWhyAndLoseNothing)
{
    write(here + "/a.txt", "alpha");
    write(here + "/b.txt", "beta");
    write(here + "/gone.txt", "gone");
    show(here);

    // A cut whose source went away meanwhile: the rest moves, the missing one is named.
    pane->setSelectedEntryIDs({here + "/a.txt", here + "/gone.txt"});
    pane->cutSelectionToPasteboard();
    ::unlink(native(here + "/gone.txt").constData());
    show(there);
    pane->pasteItems();
    settle();
    EXPECT_EQ(toast(), "Skipped 1 item that couldn't be moved: gone.txt");
    EXPECT_EQ(childNames(there), QStringList {"a.txt"});
    EXPECT_EQ(state(there + "/a.txt"), "alpha@1600000000");

    // A destination that vanished: a toast, nothing made, the source intact.
    const QString doomed = tmp.folder("doomed");
    show(doomed);
    ASSERT_EQ(::rmdir(native(doomed).constData()), 0);
    pasteboard->clearContents();
    pasteboard->writeFileURLs({here + "/b.txt"});
    pane->pasteItems();
    settle();
    EXPECT_TRUE(toast().startsWith("Could not copy items: ")) << toast().toStdString();
    EXPECT_FALSE(exists(doomed));
    EXPECT_EQ(state(here + "/b.txt"), "beta@1600000000");

    // Creating in it fails the same way.
    pane->createFolder("new");
    EXPECT_TRUE(toast().startsWith("Could not create new: No such file or folder")) << toast().toStdString();
    pane->createFile("new.txt");
    EXPECT_TRUE(toast().startsWith("Could not create new.txt: No such file or folder")) << toast().toStdString();
    EXPECT_FALSE(exists(doomed));
}

TEST_F(FileActionsOnDisk, AnOpenFolderRenamedStaysOpenAndATrashedOneLeavesTheTree)
{
    tmp.file("here/top/inner/deep.txt", "x");
    show(here);
    const auto rowIDs = [this] {
        QStringList ids;
        for (const auto& row : pane->treeRows()) ids << row.entry->id.mid(here.size());
        return ids;
    };
    const auto openRow = [this](const QString& id) {
        for (const auto& row : pane->treeRows())
            if (row.entry->id == id) pane->expandInlineFolder(*row.entry);
        ASSERT_TRUE(waitUntil([&] { return pane->inlineTree().childrenByFolderPath.contains(id); }));
    };
    openRow(here + "/top");
    openRow(here + "/top/inner");
    EXPECT_EQ(rowIDs(), QStringList({"/top", "/top/inner", "/top/inner/deep.txt"}));

    ASSERT_TRUE(pane->rename(*pane->treeRows()[1].entry, "moved"));
    settle();
    ASSERT_TRUE(waitUntil([&] { return rowIDs() == QStringList({"/top", "/top/moved", "/top/moved/deep.txt"}); }));
    EXPECT_TRUE(pane->isInlineExpanded(here + "/top/moved"));

    pane->setSelectedEntryIDs({here + "/top/moved"});
    pane->moveSelectionToTrash();
    settle();
    EXPECT_EQ(rowIDs(), QStringList({"/top"}));
    EXPECT_EQ(pane->inlineTreeMemory().expansions().value(here), QSet<QString>({here + "/top"}));
    EXPECT_EQ(pane->inlineWatchedPaths(), QStringList({here + "/top"}));
}
