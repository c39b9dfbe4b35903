// Both engines and du on the same real trees.
#include "CScanKit/sg_scan.h"
#include "FileSizeScanner/FastScanEngine.h"
#include "FileSizeScanner/LocalFileSystemProvider.h"
#include "FileSizeScanner/ScanEngine.h"
#include "FileSizeScanner/StableScanNodeID.h"
#include "ScanStreamReading.h"
#include "ScanTestTree.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <limits>
#include <ostream>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

namespace {

constexpr qint64 kMaxSize = std::numeric_limits<qint64>::max();

struct Totals {
    qint64 allocated = -1;
    qint64 logical = -1;
    int items = -1;
    bool operator==(const Totals&) const = default;
};

[[maybe_unused]] void PrintTo(const Totals& totals, std::ostream* out)
{
    *out << "allocated " << totals.allocated << ", logical " << totals.logical << ", items " << totals.items;
}

Totals walkerTotals(const std::string& path, int32_t threads)
{
    sg_scan_result_t result {};
    int32_t cancel = 0;
    Totals totals;
    if (sg_full_scan_with_threads(path.c_str(), &result, &cancel, threads) == SG_SCAN_DONE)
        totals = {qint64(result.nodes[0].allocated_size), qint64(result.nodes[0].logical_size),
                  sg_get_items_scanned(&result)};
    sg_scan_result_free(&result);
    return totals;
}

ScanUpdate::Finished finishedScan(ScanEngineProviding& engine, const std::string& path)
{
    auto stream = engine.startScan(QString::fromStdString(path));
    const auto updates = readAll(stream);
    const auto* finished = updates.empty() ? nullptr : std::get_if<ScanUpdate::Finished>(&updates.back().value);
    return finished ? *finished : ScanUpdate::Finished {};
}

Totals totalsOf(const ScanUpdate::Finished& finished, const std::string& path)
{
    const auto node = finished.tree.node(StableScanNodeID::forPath(QString::fromStdString(path)));
    return node ? Totals {node->allocatedSize, node->logicalSize, finished.summary.itemsScanned} : Totals {};
}

// Finished scans of `path` by the fast engine and by the recursive one over the local file system.
std::pair<ScanUpdate::Finished, ScanUpdate::Finished> bothEngines(const std::string& path)
{
    FastScanEngine fast;
    ScanEngine recursive(std::make_shared<LocalFileSystemProvider>());
    return {finishedScan(fast, path), finishedScan(recursive, path)};
}

} // namespace

TEST(ScanEngines, AgreeWithDuOnOneRealTree)
{
    ScanTestTree tree;
    tree.sample();

    alarm(120); // a scan stuck on the pipe ends the test program instead of hanging it
    const auto [fast, recursive] = bothEngines(tree.path());
    for (const std::string folder : {"", "docs", "docs/Tool.app"}) {
        const DuTotals du = duTotals(tree.path(folder));
        EXPECT_EQ(totalsOf(fast, tree.path(folder)), (Totals {du.allocated, du.logical, 12})) << folder;
        EXPECT_EQ(totalsOf(recursive, tree.path(folder)), (Totals {du.allocated, du.logical, 12})) << folder;
    }
    EXPECT_EQ(fast.summary.directoriesScanned, recursive.summary.directoriesScanned);
    EXPECT_EQ(fast.summary.filesScanned, recursive.summary.filesScanned);
    EXPECT_EQ(fast.summary.unreadableCount + recursive.summary.unreadableCount, 0);
    EXPECT_EQ(fast.summary.totalAllocatedSize, duTotals(tree.path()).allocated);
    const auto package = fast.tree.node(StableScanNodeID::forPath(QString::fromStdString(tree.path("docs/Tool.app"))));
    EXPECT_EQ(package->kind, ScanNodeKind::package);
    EXPECT_FALSE(fast.tree.childIDsByParentID.contains(package->id));

    // A package as the root is one record sized like du.
    const auto [fastPackage, recursivePackage] = bothEngines(tree.path("docs/Tool.app"));
    const DuTotals du = duTotals(tree.path("docs/Tool.app"));
    EXPECT_EQ(totalsOf(fastPackage, tree.path("docs/Tool.app")), (Totals {du.allocated, du.logical, 1}));
    EXPECT_EQ(totalsOf(recursivePackage, tree.path("docs/Tool.app")), (Totals {du.allocated, du.logical, 1}));
    EXPECT_EQ(fastPackage.tree.nodesByID.size(), 1);
    alarm(0);
}

// `truncate -s 8E` is refused (one byte too many); the largest file tmpfs takes is 8 EiB - 1.
TEST(ScanEngines, SizesHoldAtTheLargestValueInsteadOfWrapping)
{
    ScanTestTree tree; // memory-backed, where such sparse files cost nothing
    tree.folder("big");
    tree.folder("Huge.app");
    for (const std::string name : {"big/one", "big/two", "Huge.app/inside"}) {
        const int fd = open(tree.path(name).c_str(), O_WRONLY | O_CREAT, 0644);
        const bool made = fd >= 0 && ftruncate(fd, kMaxSize) == 0;
        if (fd >= 0) close(fd);
        if (!made) GTEST_SKIP() << "no file system here takes a file of 8 EiB";
    }
    EXPECT_EQ(walkerTotals(tree.path(), 2).logical, kMaxSize);
    const auto [fast, recursive] = bothEngines(tree.path());
    for (const auto* finished : {&fast, &recursive}) {
        for (const std::string relative : {"", "big", "Huge.app"})
            EXPECT_EQ(totalsOf(*finished, tree.path(relative)).logical, kMaxSize) << relative;
        EXPECT_EQ(totalsOf(*finished, tree.path()).allocated, duTotals(tree.path()).allocated);
    }
}

TEST(ScanEngines, PseudoFileSystemsAreEmptyLeavesAndOtherVolumesAreCrossed)
{
    // A root on a pseudo file system is not entered at all: /proc/kcore alone claims 128 TiB.
    const auto [fastProc, recursiveProc] = bothEngines("/proc");
    EXPECT_EQ(fastProc.tree.nodesByID.size(), 1);
    EXPECT_EQ(recursiveProc.tree.nodesByID.size(), 1);

    // Below an ordinary folder: a tmpfs volume is crossed, a proc mount is an empty leaf.
    ScanTestTree tree(QStringLiteral("/tmp"));
    tree.folder("volume");
    tree.folder("proc");
    tree.file("plain", 5000);
    const std::string root = tree.path();
    const int status = runInChild([&] {
        if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return 77;
        if (mount("none", (root + "/volume").c_str(), "tmpfs", 0, nullptr) != 0
            || mount("proc", (root + "/proc").c_str(), "proc", 0, nullptr) != 0)
            return 77;
        ScanTestTree inside(QString::fromStdString(root + "/volume"));
        inside.file("data", 300000);
        // du would walk into proc; without it du sees what a scan must count.
        const qint64 duAllocated = duTotals(root, "--exclude=proc").allocated;
        const auto [fast, recursive] = bothEngines(root);
        const QUuid procID = StableScanNodeID::forPath(QString::fromStdString(root + "/proc"));
        int failures = 0;
        failures |= (walkerTotals(root, 2).allocated != duAllocated) << 0;
        failures |= (totalsOf(fast, root).allocated != duAllocated) << 1;
        failures |= (totalsOf(recursive, root).allocated != duAllocated) << 2;
        failures |= (!fast.tree.node(procID) || fast.tree.node(procID)->childCount != 0) << 3;
        failures |= (!recursive.tree.node(procID) || recursive.tree.node(procID)->childCount != 0) << 4;
        failures |= (totalsOf(fast, root + "/volume").logical < 300000) << 5;
        return failures;
    });
    if (status == 77) GTEST_SKIP() << "no private mount namespace here";
    EXPECT_EQ(status, 0);
}
