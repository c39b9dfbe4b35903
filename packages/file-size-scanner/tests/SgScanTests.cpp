#include "CScanKit/sg_scan.h"
#include "ScanTestTree.h"
#include "sg_scan_internal.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <map>
#include <set>
#include <sys/stat.h>
#include <thread>
#include <vector>

namespace {

// Owns a result for one test and frees it however the test ends.
struct Scan {
    sg_scan_result_t result {};
    int32_t cancel = 0;
    int32_t status = 99;

    explicit Scan(const std::string& path, int32_t threads = 0)
    {
        status = sg_full_scan_with_threads(path.c_str(), &result, &cancel, threads);
    }
    Scan() = default;
    ~Scan() { sg_scan_result_free(&result); }

    const sg_flat_node_t* find(const std::string& name) const
    {
        for (int32_t i = 0; i < result.node_count; ++i)
            if (name == result.nodes[i].name) return &result.nodes[i];
        return nullptr;
    }
};

// The structural promises a finished result keeps: parents first, children contiguous and
// complete, and every folder's sizes the sum of its own and its children's.
void expectConsistent(const sg_scan_result_t& result)
{
    ASSERT_GE(result.node_count, 1);
    EXPECT_EQ(result.nodes[0].parent_index, -1);
    int32_t total = 0;
    for (int32_t i = 0; i < result.node_count; ++i) {
        const sg_flat_node_t& node = result.nodes[i];
        if (i > 0) {
            ASSERT_LT(node.parent_index, i);
        }
        ASSERT_GE(node.first_child, 0);
        total += node.child_count;
        uint64_t allocated = 0, logical = 0;
        for (int32_t k = 0; k < node.child_count; ++k) {
            const sg_flat_node_t& child = result.nodes[result.children[node.first_child + k]];
            ASSERT_EQ(child.parent_index, i);
            allocated += child.allocated_size;
            logical += child.logical_size;
        }
        // A folder's total is its own size plus its children's.
        EXPECT_GE(node.allocated_size, allocated);
        EXPECT_GE(node.logical_size, logical);
    }
    EXPECT_EQ(total, result.children_count);
    EXPECT_EQ(total, result.node_count - 1);
}

uint64_t ownAllocated(const std::string& path)
{
    struct stat st {};
    lstat(path.c_str(), &st);
    return uint64_t(st.st_blocks) * 512;
}

} // namespace

TEST(SgScan, TotalsMatchDuAcrossLinksEmptyFoldersLongNamesAndHardLinks)
{
    ScanTestTree tree;
    tree.folder("docs");
    tree.folder("docs/empty");
    tree.folder("docs/deep");
    tree.folder("docs/deep/er");
    tree.file("docs/deep/er/data.bin", 70000);
    tree.file("docs/a.txt", 1234);
    tree.sparseFile("docs/sparse.img", 5 << 20);
    tree.file(".profile", 10);
    const std::string longName(255, 'n');
    tree.file("docs/" + longName, 3);
    tree.hardLink("docs/a.txt", "docs/deep/a-again.txt");
    tree.symlink("docs", "link-to-folder");
    tree.symlink("docs/a.txt", "link-to-file");
    tree.symlink("missing-target", "dangling");
    tree.symlink(".", "loop");
    tree.file("x.app", 5); // a file with a package suffix stays a file

    Scan scan(tree.path());
    ASSERT_EQ(scan.status, SG_SCAN_DONE);
    expectConsistent(scan.result);
    const DuTotals du = duTotals(tree.path());
    EXPECT_EQ(qint64(scan.result.nodes[0].allocated_size), du.allocated);
    EXPECT_EQ(qint64(scan.result.nodes[0].logical_size), du.logical);

    EXPECT_EQ(sg_get_items_scanned(&scan.result), scan.result.node_count);
    EXPECT_EQ(sg_get_dirs_scanned(&scan.result), 5); // root, docs, empty, deep, er
    EXPECT_EQ(sg_get_files_scanned(&scan.result), scan.result.node_count - 5);
    EXPECT_EQ(sg_get_unreadable_count(&scan.result), 0);

    const sg_flat_node_t* link = scan.find("link-to-folder");
    ASSERT_NE(link, nullptr);
    EXPECT_EQ(link->obj_type, SG_OBJ_SYMLINK);
    EXPECT_EQ(link->child_count, 0);
    EXPECT_EQ(link->logical_size, 4u); // the link's own text, never its target
    EXPECT_NE(scan.find(longName.c_str()), nullptr);
    EXPECT_EQ(scan.find("x.app")->obj_type, SG_OBJ_FILE);
    EXPECT_EQ(scan.find("x.app")->is_package, 0);
    EXPECT_EQ(scan.find(".profile")->is_hidden, 1);
    EXPECT_EQ(scan.find("a.txt")->is_hidden, 0);
    EXPECT_EQ(scan.find("empty")->child_count, 0);
}

TEST(SgScan, PackagesAreLeavesCountedAsFilesWithTheirOwnSizeOnly)
{
    ScanTestTree tree;
    tree.folder("Thing.APP");
    tree.folder("Thing.APP/Contents");
    tree.file("Thing.APP/Contents/binary", 50000);
    tree.folder("plain");
    tree.file("plain/f", 10);

    Scan scan(tree.path());
    ASSERT_EQ(scan.status, SG_SCAN_DONE);
    const sg_flat_node_t* package = scan.find("Thing.APP");
    ASSERT_NE(package, nullptr);
    EXPECT_EQ(package->obj_type, SG_OBJ_PACKAGE);
    EXPECT_EQ(package->is_package, 1);
    EXPECT_EQ(package->child_count, 0);
    EXPECT_EQ(package->allocated_size, ownAllocated(tree.path("Thing.APP")));
    EXPECT_EQ(scan.find("Contents"), nullptr);
    EXPECT_EQ(sg_get_dirs_scanned(&scan.result), 2);  // root and plain
    EXPECT_EQ(sg_get_files_scanned(&scan.result), 2); // the package and f
}

TEST(SgScan, RootsThatAreNoFolderFailAndSpecialRootsFinishAtOnce)
{
    ScanTestTree tree;
    tree.file("file", 1);
    EXPECT_EQ(Scan(tree.path("file")).status, SG_SCAN_FAILED);
    EXPECT_EQ(Scan(tree.path("missing")).status, SG_SCAN_FAILED);

    tree.folder("empty");
    Scan empty(tree.path("empty"));
    EXPECT_EQ(empty.status, SG_SCAN_DONE);
    EXPECT_EQ(empty.result.node_count, 1);
    EXPECT_EQ(empty.result.children_count, 0);
    EXPECT_STREQ(empty.result.nodes[0].name, "empty");

    tree.folder("Foo.framework");
    tree.file("Foo.framework/lib", 100);
    Scan package(tree.path("Foo.framework"));
    EXPECT_EQ(package.status, SG_SCAN_DONE);
    EXPECT_EQ(package.result.node_count, 1);
    EXPECT_EQ(package.result.nodes[0].obj_type, SG_OBJ_PACKAGE);
    EXPECT_EQ(package.result._scan_mutex, nullptr);
    sg_flat_node_t buffer[4];
    EXPECT_EQ(sg_snapshot_nodes(&package.result, buffer, 4), 0);

    Scan trailing(tree.path("empty") + "/");
    EXPECT_EQ(trailing.status, SG_SCAN_DONE);
    EXPECT_STREQ(trailing.result.nodes[0].name, "");
}

TEST(SgScan, PackageNamesMatchSuffixesIgnoringCase)
{
    for (const char* name : {".app", "A.app", "x.FRAMEWORK", "b.Bundle", "p.prefpane", "i.pkg", "s.saver"})
        EXPECT_NE(sg_is_package_name(name), 0) << name;
    for (const char* name : {"app", ".ap", "x.apps", "x.app.txt", "pkg", "", "framework"})
        EXPECT_EQ(sg_is_package_name(name), 0) << name;
}

TEST(SgScan, ListingBufferIsRetriedOnlyWhenTheFolderHasMoreEntriesThanRoom)
{
    ScanTestTree tree;
    tree.folder("exact");
    tree.manyFiles("exact", SG_INITIAL_LIST_CAPACITY);
    tree.folder("over");
    tree.manyFiles("over", SG_INITIAL_LIST_CAPACITY + 1);

    std::vector<sg_list_entry_t> entries(2 * SG_INITIAL_LIST_CAPACITY);
    int32_t count = -1;
    EXPECT_EQ(sg_list_directory(tree.path("exact").c_str(), entries.data(), SG_INITIAL_LIST_CAPACITY, &count), SG_LIST_OK);
    EXPECT_EQ(count, SG_INITIAL_LIST_CAPACITY);
    EXPECT_EQ(sg_list_directory(tree.path("over").c_str(), entries.data(), SG_INITIAL_LIST_CAPACITY, &count),
              SG_LIST_TOO_SMALL);
    EXPECT_EQ(sg_list_directory(tree.path("over").c_str(), entries.data(), 2 * SG_INITIAL_LIST_CAPACITY, &count),
              SG_LIST_OK);
    EXPECT_EQ(count, SG_INITIAL_LIST_CAPACITY + 1);
    EXPECT_EQ(sg_list_directory(tree.path("missing").c_str(), entries.data(), 8, &count), SG_LIST_UNREADABLE);

    Scan scan(tree.path());
    EXPECT_EQ(scan.result.node_count, 3 + 2 * SG_INITIAL_LIST_CAPACITY + 1);
}

TEST(SgScan, UnreadableFoldersAreCountedLeavesAndTotalsStillMatchDu)
{
    ScanTestTree tree;
    tree.folder("open");
    tree.file("open/f", 3000);
    tree.folder("locked", 0700);
    tree.file("locked/secret", 9000);
    tree.folder("unsearchable", 0744); // names readable by others, entries not reachable
    tree.file("unsearchable/inner", 7000);
    tree.folder("locked-names", 0711);  // reachable, but the names cannot be read
    tree.file("locked-names/hidden", 5000);

    const std::string root = tree.path();
    const int status = runAsNobody([&] {
        sg_scan_result_t result {};
        int32_t cancel = 0;
        if (sg_full_scan(root.c_str(), &result, &cancel) != SG_SCAN_DONE) return 1;
        int failures = 0;
        failures += sg_get_unreadable_count(&result) != 3;
        for (int32_t i = 1; i < result.node_count; ++i) {
            const std::string name = result.nodes[i].name;
            if (name == "locked" || name == "unsearchable" || name == "locked-names") failures += result.nodes[i].child_count != 0;
            if (name == "secret" || name == "inner" || name == "hidden") ++failures;
        }
        const DuTotals du = duTotals(root); // du as the same user sees the same walls
        failures += qint64(result.nodes[0].allocated_size) != du.allocated;
        failures += qint64(result.nodes[0].logical_size) != du.logical;
        sg_scan_result_free(&result);
        return failures;
    });
    EXPECT_EQ(status, 0);
}

TEST(SgScan, SnapshotOfAPrefixRollsUpWhatItCopied)
{
    ScanTestTree tree;
    tree.folder("a");
    tree.file("a/one", 100);
    tree.folder("a/b");
    tree.file("a/b/two", 200);
    Scan scan(tree.path(), 1);
    ASSERT_EQ(scan.status, SG_SCAN_DONE);

    std::vector<sg_flat_node_t> all(size_t(scan.result.node_count));
    ASSERT_EQ(sg_snapshot_nodes(&scan.result, all.data(), scan.result.node_count), scan.result.node_count);
    for (int32_t i = 0; i < scan.result.node_count; ++i) {
        EXPECT_EQ(all[size_t(i)].first_child, -1);
        EXPECT_EQ(all[size_t(i)].child_count, scan.result.nodes[i].child_count);
        EXPECT_EQ(all[size_t(i)].logical_size, scan.result.nodes[i].logical_size); // not rolled up twice
    }
    sg_flat_node_t two[2];
    ASSERT_EQ(sg_snapshot_nodes(&scan.result, two, 2), 2);
    EXPECT_EQ(two[0].child_count, 1);
}

TEST(SgScan, SnapshotsDuringAWalkAreWholeBatchesWithConsistentSums)
{
    ScanTestTree tree;
    for (int d = 0; d < 60; ++d) {
        tree.folder("d" + std::to_string(d));
        tree.manyFiles("d" + std::to_string(d), 150);
    }
    sg_scan_result_t result {};
    int32_t cancel = 0;
    std::atomic<bool> done = false;
    std::thread walker([&] {
        sg_full_scan_with_threads(tree.path().c_str(), &result, &cancel, 2);
        done = true;
    });
    std::vector<sg_flat_node_t> buffer(4000);
    int snapshots = 0;
    while (!done) {
        const int32_t count = sg_snapshot_nodes(&result, buffer.data(), int32_t(buffer.size()));
        if (count < 1) continue;
        ++snapshots;
        int32_t children = 0;
        uint64_t leaves = 0;
        for (int32_t i = 0; i < count; ++i) {
            children += buffer[size_t(i)].child_count;
            if (buffer[size_t(i)].child_count == 0) leaves += buffer[size_t(i)].allocated_size;
        }
        ASSERT_EQ(children, count - 1);
        ASSERT_GE(buffer[0].allocated_size, leaves);
    }
    walker.join();
    EXPECT_GE(snapshots, 0);
    sg_scan_result_free(&result);
}

// A tree big enough that a walk takes much longer than the cancel budget.
class SgScanLargeTree : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        tree_ = new ScanTestTree();
        tree_->folder("flat");
        tree_->manyFiles("flat", 100000);
        for (int d = 0; d < 40; ++d) {
            const std::string folder = "tree/" + std::to_string(d);
            if (d == 0) tree_->folder("tree");
            tree_->folder(folder);
            tree_->manyFiles(folder, 250);
        }
    }
    static void TearDownTestSuite()
    {
        delete tree_;
        tree_ = nullptr;
    }
    static ScanTestTree* tree_;
};
ScanTestTree* SgScanLargeTree::tree_ = nullptr;

TEST_F(SgScanLargeTree, HundredThousandEntriesInOneFolderMatchDu)
{
    Scan scan(tree_->path("flat"));
    ASSERT_EQ(scan.status, SG_SCAN_DONE);
    EXPECT_EQ(scan.result.node_count, 100001);
    EXPECT_EQ(scan.result.nodes[0].child_count, 100000);
    const DuTotals du = duTotals(tree_->path("flat"));
    EXPECT_EQ(qint64(scan.result.nodes[0].allocated_size), du.allocated);
    EXPECT_EQ(qint64(scan.result.nodes[0].logical_size), du.logical);
}

TEST_F(SgScanLargeTree, CancelReturnsQuicklyAndFreesTheArrays)
{
    for (int32_t threads : {1, 2}) {
        sg_scan_result_t result {};
        int32_t cancel = 0;
        std::atomic<int64_t> returnedAt = 0;
        std::atomic<int32_t> status = 99;
        using Clock = std::chrono::steady_clock;
        std::thread walker([&] {
            status = sg_full_scan_with_threads(tree_->path().c_str(), &result, &cancel, threads);
            returnedAt = Clock::now().time_since_epoch().count();
        });
        while (sg_get_items_scanned(&result) < 2000 && status == 99) std::this_thread::yield();
        const auto requestedAt = Clock::now();
        sg_request_cancel(&cancel);
        walker.join();
        const auto latency = Clock::duration(returnedAt.load()) - requestedAt.time_since_epoch();
        EXPECT_LT(std::chrono::duration_cast<std::chrono::milliseconds>(latency).count(), 100) << threads;
        EXPECT_EQ(status, SG_SCAN_CANCELLED);
        EXPECT_EQ(result.nodes, nullptr);
        EXPECT_EQ(result.node_count, 0);
        sg_flat_node_t buffer[2];
        EXPECT_EQ(sg_snapshot_nodes(&result, buffer, 2), 0);
        sg_scan_result_free(&result);
        sg_scan_result_free(&result); // idempotent
    }
}
