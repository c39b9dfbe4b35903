#include "Services/DirectoryListingService.h"
#include "Services/InotifyDirectoryWatcher.h"
#include "State/FilePaneStore.h"
#include "TestSupport.h"

#include <QFile>
#include <QSignalSpy>

#include <gtest/gtest.h>

namespace {

// A pane on a real folder with the real listing service and watcher, once its
// first listing is in.
std::unique_ptr<FilePaneStore> livePane(const QString& folder)
{
    FilePaneServices services;
    services.listing = std::make_shared<DirectoryListingService>();
    services.watcher = std::make_shared<InotifyDirectoryWatcher>();
    FilePaneStore::Configuration configuration;
    configuration.folderURL = folder;
    configuration.directoryRefreshDebounceNanoseconds = 20'000'000;
    auto pane = std::make_unique<FilePaneStore>(PaneID::left, services, configuration);
    pane->startLoad(folder);
    if (!waitUntil([&] { return pane->loadState() == FilePaneLoadState::ready(); }) || !pane->watchedURL()) return {};
    return pane;
}

bool showsRow(const FilePaneStore& pane, const QString& name)
{
    return rowNames(pane).contains(name);
}

} // namespace

TEST(LiveFolder, RowsFollowChangesMadeByOtherPrograms)
{
    TemporaryFolder tmp;
    tmp.file("keep.txt");
    tmp.file("doomed.txt");
    auto pane = livePane(tmp.path());
    ASSERT_TRUE(pane);
    ASSERT_EQ(pane->treeRows().size(), 2u);
    pane->setSelectedEntryIDs({tmp.path() + "/keep.txt", tmp.path() + "/doomed.txt"});
    pane->setFilterText(".txt");

    tmp.file("arrived.txt");
    tmp.file("other.dat");
    QFile::remove(tmp.path() + "/doomed.txt");
    ASSERT_TRUE(waitUntil([&] { return showsRow(*pane, "arrived.txt") && !showsRow(*pane, "doomed.txt"); }));
    // Listed, but the filter stays on.
    EXPECT_TRUE(std::ranges::any_of(pane->entries(), [](const auto& entry) { return entry->name == "other.dat"; }));
    EXPECT_FALSE(showsRow(*pane, "other.dat"));
    EXPECT_EQ(pane->filterText(), ".txt");
    EXPECT_EQ(pane->selectedEntryIDs(), QSet<QString>({tmp.path() + "/keep.txt"}));
}

TEST(LiveFolder, AFolderDeletedWhileOnShowFailsWithItsReason)
{
    TemporaryFolder tmp;
    const QString folder = tmp.folder("vanishing");
    tmp.file("vanishing/a");
    auto pane = livePane(folder);
    ASSERT_TRUE(pane);
    ASSERT_EQ(pane->treeRows().size(), 1u);
    QDir(folder).removeRecursively();
    ASSERT_TRUE(waitUntil([&] { return pane->loadState().isFailed(); }));
    EXPECT_EQ(pane->loadState().failureMessage, "Not a folder: " + folder);
    EXPECT_TRUE(pane->treeRows().empty());
}
