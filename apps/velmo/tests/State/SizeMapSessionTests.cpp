#include "App/StateDump.h"
#include "FileSizeScanner/ScanUpdateChannel.h"
#include "FileSizeScanner/StableScanNodeID.h"
#include "PathKit/FilePaths.h"
#include "State/SizeMapSession.h"
#include "State/VelmoStore.h"
#include "Support/InMemoryDefaultsStore.h"
#include "TestSupport.h"

#include <QJsonArray>
#include <QProcess>

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <mutex>

#include <unistd.h>

namespace {

// An engine whose updates the test sends by hand: one channel per scan.
class ScriptedScanEngine final : public ScanEngineProviding {
public:
    ScanUpdateStream startScan(const QString& rootPath) override
    {
        roots.push_back(rootPath);
        channels.push_back(std::make_shared<ScanUpdateChannel>());
        return ScanUpdateStream(channels.back(), producer ? producer() : std::jthread {});
    }
    std::vector<QString> roots;
    std::vector<std::shared_ptr<ScanUpdateChannel>> channels;
    // The scan's own thread, when the test wants one (a scan stuck in the kernel).
    std::function<std::jthread()> producer;
};

// Posts as the session does, counting what the reading thread hands over.
SizeMapSession::MainThreadDelivery countingDelivery(std::shared_ptr<std::atomic<int>> count)
{
    return [count](std::function<void()> apply) {
        ++*count;
        QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(apply), Qt::QueuedConnection);
    };
}

// For a hand-over from the reading thread that must stay unapplied: no event loop runs.
bool spinUntil(const std::function<bool()>& done)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!done() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
    return done();
}

QUuid nodeID(const QString& path)
{
    return StableScanNodeID::forUrl(path);
}

// A tree under `root` holding files of 100 bytes at the relative paths, with their folders.
ScanTree treeOf(const QString& root, const QStringList& files)
{
    ScanTree tree;
    tree.rootID = nodeID(root);
    tree.nodesByID.insert(tree.rootID, {tree.rootID, std::nullopt, root, root, ScanNodeKind::directory});
    for (const QString& file : files) {
        QUuid parent = tree.rootID;
        const QStringList names = file.split(u'/');
        QString url = root;
        for (qsizetype i = 0; i < names.size(); ++i) {
            url += u'/' + names[i];
            const QUuid id = nodeID(url);
            if (!tree.nodesByID.contains(id)) {
                const auto kind = i + 1 == names.size() ? ScanNodeKind::file : ScanNodeKind::directory;
                tree.nodesByID.insert(id, {id, parent, url, names[i], kind});
                tree.childIDsByParentID[parent].append(id);
                tree.nodesByID[parent].childCount += 1;
            }
            parent = id;
        }
        for (std::optional<QUuid> id = parent; id; id = tree.nodesByID[*id].parentID) tree.nodesByID[*id].allocatedSize += 100;
    }
    return tree;
}

ScanUpdate live(const ScanTree& tree)
{
    return {ScanUpdate::IntermediateTree {tree}};
}

ScanUpdate finished(const ScanTree& tree, int items = 0)
{
    ScanSummary summary;
    summary.itemsScanned = items;
    summary.totalAllocatedSize = tree.rootNode()->allocatedSize;
    return {ScanUpdate::Finished {tree, summary}};
}

// What du says of a folder: the first field of its one line.
qint64 du(const QStringList& options, const QString& folder)
{
    QProcess process;
    process.start(QStringLiteral("du"), options + QStringList {QStringLiteral("-s"), folder});
    if (!process.waitForFinished(30000) || process.exitCode() != 0) return -1;
    return QString::fromUtf8(process.readAllStandardOutput()).section(u'\t', 0, 0).toLongLong();
}

bool waitForScan(const SizeMapSession& session)
{
    return waitUntil([&] { return !session.isScanning(); }, 30000);
}

} // namespace

// ---------------------------------------------------------------- on real folders

TEST(SizeMapSessionOnDisk, AFinishedScanHasDuTotalsAndFocusSurvivesRescans)
{
    TemporaryFolder root;
    root.file("a/b/one.txt", QByteArray(4097, 'x'));
    root.file("a/b/two.bin", QByteArray(100000, 'y'));
    root.file("a/empty.txt", {});
    root.file(".hidden", "h");
    root.folder("c/d");
    root.link("a/link", "b/one.txt");
    {
        // A sparse file: large logically, little allocated.
        const QByteArray sparse = FilePaths::toNative(root / "sparse");
        TestTree::writeFile(root / "sparse", "z");
        ASSERT_EQ(::truncate(sparse.constData(), 10'000'000), 0);
    }

    SizeMapSession session(root.path(), std::nullopt, nullptr);
    session.startScan();
    ASSERT_TRUE(waitForScan(session));
    ASSERT_EQ(session.phase(), SizeMapSession::ScanPhase::finished) << session.errorMessage().value_or("").toStdString();
    EXPECT_EQ(session.summary()->totalAllocatedSize, du({"-B1"}, root.path()));
    EXPECT_EQ(session.tree()->rootNode()->logicalSize, du({"-b"}, root.path()));
    EXPECT_EQ(session.sizeSoFar(), session.summary()->totalAllocatedSize);
    EXPECT_EQ(session.foldersScanned(), 5); // the root, a, a/b, c, c/d
    EXPECT_TRUE(session.chromeStatus().endsWith(QStringLiteral(" items")));

    // A folder with children takes the focus; a file is only selected.
    session.openOrSelectNode(nodeID(root / "a/b"));
    session.openOrSelectNode(nodeID(root / "a/b/two.bin"));
    EXPECT_EQ(session.focusedNode()->url, root / "a/b");
    EXPECT_EQ(session.selectedNode()->url, root / "a/b/two.bin");
    EXPECT_EQ(session.focusedChildren().front().displayName, "two.bin"); // the larger first

    session.startScan();
    EXPECT_EQ(session.scanGeneration(), 2u);
    ASSERT_TRUE(waitForScan(session));
    EXPECT_EQ(session.focusedNode()->url, root / "a/b");
    EXPECT_EQ(session.selectedNode()->url, root / "a/b/two.bin");

    // What is gone after a rescan lets go: the selection clears, the focus falls to what remains.
    ASSERT_TRUE(QDir(root / "a").removeRecursively());
    session.startScan();
    ASSERT_TRUE(waitForScan(session));
    EXPECT_EQ(session.focusedNodeID(), session.tree()->rootID);
    EXPECT_FALSE(session.selectedNodeID());
}

TEST(SizeMapSessionOnDisk, BreadcrumbsKeepTheTrailAndScanAnewAboveTheRoot)
{
    TemporaryFolder top;
    top.file("scan/x/y/file", "data");
    top.file("beside", "more");
    const QString root = top / "scan";
    SizeMapSession session(root, std::nullopt, nullptr);
    session.startScan();
    ASSERT_TRUE(waitForScan(session));

    session.openOrSelectNode(nodeID(root + "/x"));
    session.openOrSelectNode(nodeID(root + "/x/y"));
    session.focusParent();
    const auto crumbs = session.displayBreadcrumbs();
    ASSERT_GE(crumbs.size(), 4);
    EXPECT_EQ(crumbs.front().id, "volume");
    EXPECT_EQ(crumbs.front().url, "/");
    // The deeper place stays on the trail after going up, to go back down.
    EXPECT_EQ(crumbs.back().id, "path-" + root + "/x/y");
    EXPECT_FALSE(crumbs.back().isActive);
    EXPECT_TRUE(crumbs[crumbs.size() - 2].isActive);
    for (const auto& crumb : crumbs) {
        // Inside the scanned folder an entry focuses its node; above it, only a path.
        EXPECT_EQ(crumb.nodeID.has_value(), FilePaths::isAncestorOrSelf(root, *crumb.url)) << crumb.id.toStdString();
    }
    session.activateBreadcrumb(crumbs.back());
    EXPECT_EQ(session.focusedNode()->url, root + "/x/y");

    // The scanned folder's parent starts a new scan there.
    const auto above = std::find_if(crumbs.begin(), crumbs.end(), [&](const auto& c) { return c.url == top.path(); });
    ASSERT_NE(above, crumbs.end());
    session.activateBreadcrumb(*above);
    EXPECT_EQ(session.folderURL(), top.path());
    EXPECT_EQ(session.title(), FilePaths::lastComponent(top.path()));
    EXPECT_EQ(session.scanGeneration(), 2u);
    ASSERT_TRUE(waitForScan(session));
    EXPECT_EQ(session.focusedNodeID(), nodeID(top.path()));
    EXPECT_EQ(session.displayBreadcrumbs().back().id, "path-" + top.path());
    EXPECT_EQ(session.tree()->children(nodeID(top.path())).size(), 2);
}

// ---------------------------------------------------------------- scripted scans

TEST(SizeMapSessionUpdates, LiveTreesKeepFocusAndStaleGenerationsAreDropped)
{
    auto engine = std::make_shared<ScriptedScanEngine>();
    auto delivered = std::make_shared<std::atomic<int>>(0);
    SizeMapSession session("/data", std::nullopt, engine);
    session.setMainThreadDelivery(countingDelivery(delivered));
    session.startScan();
    // The chart has a root at once.
    EXPECT_EQ(session.focusedNodeID(), nodeID("/data"));
    EXPECT_EQ(session.progressText(), "Scanning");
    const ScanTree full = treeOf("/data", {"a/b/c", "a/d", "e"});
    auto applied = [&](const ScanUpdate& update, const std::function<bool()>& done) {
        engine->channels.back()->send(update);
        return waitUntil(done);
    };

    ASSERT_TRUE(applied(live(full), [&] { return session.tree()->nodesByID.size() == 6; }));
    session.openOrSelectNode(nodeID("/data/a"));
    session.openOrSelectNode(nodeID("/data/a/d"));
    session.openOrSelectNode(nodeID("/data/a/d")); // a file: selected, never focused
    EXPECT_EQ(session.focusedNodeID(), nodeID("/data/a"));
    EXPECT_EQ(session.selectedNodeID(), nodeID("/data/a/d"));
    // Missing from one live tree: the root and no selection; back in the next: back in focus.
    ASSERT_TRUE(applied(live(treeOf("/data", {"e"})), [&] { return session.focusedNodeID() == nodeID("/data"); }));
    EXPECT_FALSE(session.selectedNodeID());
    ASSERT_TRUE(applied(live(full), [&] { return session.focusedNodeID() == nodeID("/data/a"); }));
    EXPECT_EQ(session.selectedNodeID(), nodeID("/data/a/d"));

    // An update of the first scan already on its way when Rescan is pressed is dropped.
    const int before = *delivered;
    engine->channels[0]->send(finished(treeOf("/data", {"stale"})));
    ASSERT_TRUE(spinUntil([&] { return *delivered == before + 1; }));
    session.startScan();
    EXPECT_TRUE(engine->channels[0]->isClosed());
    QCoreApplication::processEvents();
    EXPECT_EQ(session.tree()->nodesByID.size(), 1);
    EXPECT_TRUE(session.isScanning());

    // The complete tree of the new scan: the focus survived, the vanished file is let go.
    ASSERT_TRUE(applied(finished(treeOf("/data", {"a/b/c", "e"})), [&] { return !session.isScanning(); }));
    EXPECT_EQ(session.phase(), SizeMapSession::ScanPhase::finished);
    EXPECT_EQ(session.focusedNodeID(), nodeID("/data/a"));
    EXPECT_FALSE(session.selectedNodeID());
}

// The drawable part of a finished walk, shown until the whole tree comes: the side list
// keeps the rows it had, and a stand-in is never focused or selected, so never revealed
// or trashed.
TEST(SizeMapSessionUpdates, TheDrawablePartKeepsTheRowsAndNoStandInIsChosen)
{
    auto engine = std::make_shared<ScriptedScanEngine>();
    SizeMapSession session("/data", std::nullopt, engine);
    session.startScan();
    auto applied = [&](const ScanUpdate& update, const std::function<bool()>& done) {
        engine->channels.back()->send(update);
        return waitUntil(done);
    };
    ASSERT_TRUE(applied(live(treeOf("/data", {"a/x", "b"})), [&] { return session.tree()->nodesByID.size() == 4; }));
    const QList<ScanNodeRecord> rows = session.focusedChildren();

    const QUuid standIn = nodeID("/data/s"), innerStandIn = nodeID("/data/c/t");
    const ScanUpdate drawable {ScanUpdate::IntermediateTree {treeOf("/data", {"a/x", "b", "c/y", "c/t", "s"}), true,
                                                            {standIn, innerStandIn}}};
    ASSERT_TRUE(applied(drawable, [&] { return session.showsDrawablePart(); }));
    EXPECT_EQ(session.focusedChildren(), rows);
    session.openOrSelectNode(standIn);
    session.selectNode(standIn);
    session.focusNode(standIn);
    EXPECT_EQ(session.focusedNodeID(), nodeID("/data"));
    EXPECT_FALSE(session.selectedNodeID());
    // Elsewhere the rows are the drawable part's own, without its stand-ins.
    session.openOrSelectNode(nodeID("/data/c"));
    ASSERT_EQ(session.focusedChildren().size(), 1);
    EXPECT_EQ(session.focusedChildren()[0].id, nodeID("/data/c/y"));

    ASSERT_TRUE(applied(finished(treeOf("/data", {"a/x", "b", "c/y", "c/z"})), [&] { return !session.isScanning(); }));
    EXPECT_FALSE(session.showsDrawablePart());
    EXPECT_EQ(session.focusedChildren().size(), 2);
    session.focusParent();
    EXPECT_EQ(session.focusedChildren().size(), 3);
}

TEST(SizeMapSessionUpdates, ABusyWindowGetsTheNewestUpdatesAndTheEnd)
{
    auto engine = std::make_shared<ScriptedScanEngine>();
    auto delivered = std::make_shared<std::atomic<int>>(0);
    SizeMapSession session("/data", std::nullopt, engine);
    session.setMainThreadDelivery(countingDelivery(delivered));
    session.startScan();
    // Sent while the window runs no event loop.
    for (int items = 1; items <= 50; ++items)
        engine->channels[0]->send({ProgressSnapshot {items, 1, items - 1, 2, QStringLiteral("/data/a/current")}});
    engine->channels[0]->send(finished(treeOf("/data", {}), 51));
    ASSERT_TRUE(waitUntil([&] { return !session.isScanning(); }));
    // One in the window's hands, and the stream's newest eight.
    EXPECT_LE(*delivered, 9);
    EXPECT_EQ(session.progressText(), "50 items • 2 skipped • current");
    EXPECT_EQ(session.chromeStatus(), "0 KB • 51 items");
}

TEST(SizeMapSessionUpdates, StopAndCloseReturnWhileTheScanIsStuck)
{
    auto gate = std::make_shared<std::latch>(1);
    auto engine = std::make_shared<ScriptedScanEngine>();
    // A scan thread that ignores every request to stop until the test lets it go.
    engine->producer = [gate] { return std::jthread([gate] { gate->wait(); }); };
    {
        SizeMapSession session("/data", std::nullopt, engine);
        session.startScan();
        session.stopScan(SizeMapSession::kStoppedMessage);
        EXPECT_EQ(session.phase(), SizeMapSession::ScanPhase::stopped);
        EXPECT_EQ(session.errorMessage(), SizeMapSession::kStoppedMessage);
        EXPECT_TRUE(engine->channels[0]->isClosed());
        session.startScan();
        EXPECT_EQ(session.errorMessage(), std::nullopt);
    } // closing the tab with the second scan stuck
    EXPECT_TRUE(engine->channels[1]->isClosed());
    gate->count_down();
}

// ---------------------------------------------------------------- in the store

namespace {

class SizeMapTabFixture : public ::testing::Test {
protected:
    std::unique_ptr<VelmoStore> makeStore()
    {
        listing->folders[home.path()] = makeFileEntries(home.path(), {"Documents/", "a.txt"});
        VelmoStoreDependencies d = fakeStoreDependencies(defaults, listing);
        d.defaultFolderURL = home.path();
        d.restoresSession = true;
        d.scanEngineFactory = [this] { return engines.emplace_back(std::make_shared<ScriptedScanEngine>()); };
        return std::make_unique<VelmoStore>(std::move(d));
    }

    TemporaryFolder home;
    std::shared_ptr<InMemoryDefaultsStore> defaults = std::make_shared<InMemoryDefaultsStore>();
    std::shared_ptr<FakeListingService> listing = std::make_shared<FakeListingService>();
    std::vector<std::shared_ptr<ScriptedScanEngine>> engines;
};

} // namespace

TEST_F(SizeMapTabFixture, OpensFromTheSelectionAndIsNotStored)
{
    const QString documents = home.folder("Documents");
    const QString other = home.folder("other");
    {
        auto store = makeStore();
        store->loadInitialPanes();
        listing->answerAll();
        FilePaneStore* pane = store->pane(PaneID::left);
        EXPECT_EQ(store->activeSizeMapTargetURL(), home.path());
        pane->setSelectedEntryIDs({home / "a.txt"});
        EXPECT_EQ(store->activeSizeMapSelectionURL(), std::nullopt);
        pane->setSelectedEntryIDs({documents});
        ASSERT_EQ(store->activeSizeMapTargetURL(), documents);
        const QUuid browserID = store->activeTabID();

        WindowTab* idle = store->openSizeMapTab(*store->activeSizeMapTargetURL(), false);
        EXPECT_EQ(store->activeTabID(), idle->id());
        EXPECT_EQ(idle->title(), "Documents");
        EXPECT_EQ(idle->sizeMapSession()->originBrowserTabID(), browserID);
        EXPECT_EQ(store->activeSizeMapTargetURL(), std::nullopt);
        EXPECT_TRUE(engines[0]->roots.empty());
        WindowTab* scanning = store->openSizeMapTab(other, true);
        EXPECT_EQ(engines[1]->roots, std::vector<QString> {other});

        // The dump tells what the chart shows; nothing before the chart reports.
        const auto dumped = [&](int tab, const char* key) {
            const QJsonObject item = StateDump::dump(*store).value("tabs").toArray().at(tab).toObject();
            return item.value("sizeMap").toObject().value(QLatin1String(key));
        };
        EXPECT_EQ(dumped(1, "scanState"), "idle");
        EXPECT_EQ(dumped(1, "segmentsDrawn").toInt(), 0);
        idle->sizeMapSession()->reportSegmentsDrawn(17);
        EXPECT_EQ(dumped(1, "segmentsDrawn").toInt(), 17);
        EXPECT_EQ(dumped(2, "scanState"), "scanning");

        // Closing returns at once; reopening scans again with a new engine.
        EXPECT_EQ(store->closeTab(scanning->id()), TabCloseResult::closed);
        EXPECT_TRUE(engines[1]->channels[0]->isClosed());
        WindowTab* reopened = store->reopenLastClosedTab();
        ASSERT_TRUE(reopened && reopened->sizeMapSession());
        EXPECT_TRUE(reopened->sizeMapSession()->isScanning());
        EXPECT_EQ(engines.back()->roots, std::vector<QString> {other});
        store->selectTab(idle->id());
        store->teardown();
    }
    // Size maps are not part of a stored session: a restart brings back the browser tab only.
    engines.clear();
    auto restored = makeStore();
    ASSERT_EQ(restored->tabs().size(), 1u);
    EXPECT_TRUE(restored->tabs()[0]->isBrowser());
    for (const auto& engine : engines) EXPECT_TRUE(engine->roots.empty());
}
