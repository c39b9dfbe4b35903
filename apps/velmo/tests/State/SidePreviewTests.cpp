#include "PathKit/FilePaths.h"
#include "State/FilePaneStore.h"
#include "State/VelmoStore.h"
#include "Support/InMemoryDefaultsStore.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

namespace {

class SidePreviewFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        listing->folders[home.path()]
            = makeFileEntries(home.path(), {"a.pdf", "b.pdf", "c.jpg", "d.mp4", "notes.txt", "folder.pdf/"});
        VelmoStoreDependencies d = fakeStoreDependencies(defaults, listing);
        d.defaultFolderURL = home.path();
        store = std::make_unique<VelmoStore>(std::move(d));
        store->loadInitialPanes();
        listing->answerAll();
        store->activate(PaneID::left);
    }
    void select(const QStringList& names, PaneID pane = PaneID::left)
    {
        QSet<QString> ids;
        for (const QString& name : names) ids.insert(FilePaths::appending(home.path(), name));
        store->pane(pane)->setSelectedEntryIDs(ids);
    }
    // What the other pane shows: "pdf:a.pdf", or "" for its listing.
    QString shown() const
    {
        const auto preview = store->activeSidePreview();
        return preview ? rawValue(preview->kind) + u':' + preview->fileName : QString();
    }

    TemporaryFolder home;
    std::shared_ptr<InMemoryDefaultsStore> defaults = std::make_shared<InMemoryDefaultsStore>();
    std::shared_ptr<FakeListingService> listing = std::make_shared<FakeListingService>();
    std::unique_ptr<VelmoStore> store;
};

} // namespace

TEST_F(SidePreviewFixture, AutoOpenFollowsTheSelectionAndAHandClosedPreviewStaysClosedForItsFileOnly)
{
    store->setAutoOpenSidePreviews(true);
    select({"a.pdf"});
    EXPECT_EQ(shown(), "pdf:a.pdf");
    EXPECT_EQ(store->activeSidePreviewPaneID(), PaneID::right);

    store->toggleSidePreviewForActiveSelection();
    EXPECT_EQ(shown(), "");
    select({"a.pdf"}); // the same file again: still closed
    EXPECT_EQ(shown(), "");
    select({"b.pdf"}); // another file: open again
    EXPECT_EQ(shown(), "pdf:b.pdf");
    select({"a.pdf"}); // the choice for a.pdf was forgotten on moving away
    EXPECT_EQ(shown(), "pdf:a.pdf");

    select({"c.jpg"});
    EXPECT_EQ(shown(), "image:c.jpg");
    select({"d.mp4"});
    EXPECT_EQ(shown(), "video:d.mp4");
    select({"a.pdf", "b.pdf"});
    EXPECT_EQ(shown(), "");
    select({"notes.txt"});
    EXPECT_EQ(shown(), "");
    select({"folder.pdf"});
    EXPECT_EQ(shown(), "");
    EXPECT_TRUE(store->autoOpenSidePreview(SidePreviewKind::video)) << "closing never changes the preference";
}

TEST_F(SidePreviewFixture, WithoutAutoOpenTheToggleOpensUntilTheSelectionMoves)
{
    select({"a.pdf"});
    EXPECT_EQ(shown(), "");
    store->toggleSidePreview(PaneID::left);
    EXPECT_EQ(shown(), "pdf:a.pdf");
    // Clicking into the preview makes its pane active; it still shows the left pane's file.
    store->activate(PaneID::right);
    EXPECT_EQ(shown(), "pdf:a.pdf");
    store->activate(PaneID::left);
    select({"b.pdf"});
    EXPECT_EQ(shown(), "");

    // The image strip lists the pane's images and videos in row order.
    select({"c.jpg"});
    store->toggleSidePreviewForActiveSelection();
    const auto strip = store->activeMediaFilmstripPreview();
    ASSERT_TRUE(strip);
    QStringList names;
    for (const auto& entry : strip->entries) names << entry->name;
    EXPECT_EQ(names, QStringList({"c.jpg", "d.mp4"}));
    store->selectMediaFilmstripEntry(strip->entries[1]->id);
    EXPECT_EQ(shown(), "") << "the toggle was for c.jpg";
}

TEST_F(SidePreviewFixture, TheThreeStoredKeysActAsOneSwitch)
{
    defaults->setValue("velmo.preview.autoOpenVideoSidePreview", true);
    VelmoStoreDependencies d = fakeStoreDependencies(defaults, listing);
    d.defaultFolderURL = home.path();
    VelmoStore other(std::move(d));
    EXPECT_TRUE(other.autoOpenSidePreview(SidePreviewKind::pdf));
    other.setAutoOpenSidePreviews(false);
    EXPECT_FALSE(defaults->boolValue("velmo.preview.autoOpenVideoSidePreview", true));
    EXPECT_FALSE(defaults->boolValue("velmo.preview.autoOpenPDFSidePreview", true));
}
