#include "FileSizeScanner/StableScanNodeID.h"
#include "Services/FreedesktopTrash.h"
#include "Services/InMemoryFilePasteboard.h"
#include "Services/WorkspaceFileActionService.h"
#include "State/SizeMapSession.h"
#include "State/VelmoStore.h"
#include "Support/InMemoryDefaultsStore.h"
#include "TestSupport.h"
#include "Views/MainWindow.h"
#include "Views/SizeMapChartView.h"
#include "Views/SizeMapView.h"

#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

namespace {

// A window with a size map of a real folder, scanned for real; its animations run
// on a manual clock.
class SizeMapViews : public ::testing::Test {
protected:
    SizeMapViews()
    {
        for (const char* name : {"photos/a.jpg", "photos/b.jpg", "photos/2019/c.jpg", "notes.txt", "big.bin"})
            tmp.file(name, QByteArray(name == std::string("big.bin") ? 40000 : 9000, 'x'));
        VelmoStoreDependencies d;
        d.clock = clock;
        d.defaults = std::make_shared<InMemoryDefaultsStore>();
        d.directoryWatcherFactory = [](PaneID) { return std::make_shared<FakeDirectoryWatcher>(); };
        d.pasteboard = std::make_shared<InMemoryFilePasteboard>();
        auto actions = std::make_shared<WorkspaceFileActionService>(d.pasteboard, FreedesktopTrash(trash.path()));
        d.fileActionServiceFactory = [actions](PaneID) { return actions; };
        d.operations = executor;
        d.initialFolders = {tmp.path(), tmp.path()};
        store = std::make_unique<VelmoStore>(std::move(d));
        window = std::make_unique<MainWindow>(store.get());
        window->resize(1000, 700);
        window->show();
        store->loadInitialPanes();
        EXPECT_TRUE(waitUntil([this] { return !store->pane(PaneID::left)->isLoading(); }));
        browserTabID = store->activeTabID();
        sizeMapTabID = store->openSizeMapTab(tmp.path(), true)->id();
        session = store->activeTab()->sizeMapSession();
        view = window->findChild<SizeMapView*>();
        chart = view->chart();
        settle();
    }
    ~SizeMapViews() override { store->teardown(); }

    // The scan has ended and its last layout is on screen, at rest.
    void settle()
    {
        ASSERT_TRUE(waitUntil([this] { return !session->isScanning() && !chart->isLayingOut(); }));
        clock->advanceMilliseconds(1000);
        ASSERT_FALSE(chart->isAnimating());
    }
    QUuid node(const QString& relative) const { return StableScanNodeID::forUrl(tmp / relative); }
    void click(const char* button) { QTest::mouseClick(view->findChild<QPushButton*>(button), Qt::LeftButton); }

    TemporaryFolder tmp;
    TemporaryFolder trash;
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::shared_ptr<ManualExecutor> executor = std::make_shared<ManualExecutor>();
    std::unique_ptr<VelmoStore> store;
    std::unique_ptr<MainWindow> window;
    QUuid browserTabID;
    QUuid sizeMapTabID;
    SizeMapSession* session = nullptr;
    SizeMapView* view = nullptr;
    SizeMapChartView* chart = nullptr;
};

} // namespace

TEST_F(SizeMapViews, ANewFocusMorphsAndSwingsInOnTheClockThenRestsOnTheNewLayout)
{
    const QImage before = chart->grab().toImage();
    ASSERT_FALSE(chart->segments().isEmpty());
    EXPECT_EQ(chart->drawnSegments(), chart->segments());

    session->focusNode(node("photos"));
    ASSERT_TRUE(waitUntil([this] { return !chart->isLayingOut(); }));
    EXPECT_TRUE(chart->isAnimating());
    EXPECT_EQ(chart->navigationProgress(), 0);
    clock->advanceMilliseconds(144);
    const auto midway = chart->drawnSegments();
    ASSERT_EQ(midway.size(), chart->segments().size());
    EXPECT_NE(midway, chart->segments());
    EXPECT_GT(chart->navigationProgress(), 0);
    EXPECT_LT(chart->navigationProgress(), 1);

    clock->advanceMilliseconds(400);
    EXPECT_FALSE(chart->isAnimating());
    EXPECT_EQ(chart->drawnSegments(), chart->segments());
    EXPECT_EQ(chart->navigationProgress(), 1);

    // Backspace goes back up; the chart is the same picture as before, pixel for pixel.
    QTest::keyClick(view->childList(), Qt::Key_Backspace);
    EXPECT_EQ(session->focusedNodeID(), session->tree()->rootID);
    ASSERT_TRUE(waitUntil([this] { return !chart->isLayingOut(); }));
    clock->advanceMilliseconds(1000);
    EXPECT_EQ(chart->grab().toImage(), before);
}

TEST_F(SizeMapViews, RevealAndTrashGoThroughTheBrowserPaneSoUndoBringsTheFileBack)
{
    session->openOrSelectNode(node("notes.txt"));
    click("revealInPane");
    EXPECT_EQ(store->activeTabID(), browserTabID);
    FilePaneStore* pane = store->activeTab()->browserPanes()->activePane();
    EXPECT_EQ(pane->selectedEntryIDs(), QSet<QString> {tmp / "notes.txt"});

    store->selectTab(sizeMapTabID);
    session->openOrSelectNode(node("photos/2019"));
    session->openOrSelectNode(node("photos/2019/c.jpg"));
    // Delete is the window's Move to Trash, which a size map takes for its selection.
    QTest::keyClick(view->childList(), Qt::Key_Delete);
    // The pane lists the file's folder first, then trashes it with its own flow.
    ASSERT_TRUE(waitUntil([&] {
        executor->runAll();
        return !TestTree::exists(tmp / "photos/2019/c.jpg") && !pane->isBusy();
    }));
    EXPECT_EQ(TestTree::childNames(trash / "files"), QStringList {"c.jpg"});
    // The map scans again, without the file.
    settle();
    EXPECT_FALSE(session->tree()->node(node("photos/2019/c.jpg")));

    pane->undoLastAction();
    executor->runAll();
    EXPECT_TRUE(waitUntil([&] { return TestTree::exists(tmp / "photos/2019/c.jpg"); }));
}
