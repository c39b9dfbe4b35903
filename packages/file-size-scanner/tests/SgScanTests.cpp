#include "CScanKit/sg_scan.h"
#include "ScanTestTree.h"
#include "sg_scan_internal.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <set>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
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

} // namespace

TEST(SgScan, AFinishedWalkIsConsistentCountsLikeDuAndFlagsWhatItFinds)
{
    ScanTestTree tree;
    tree.sample();
    tree.file(".profile", 10);
    const std::string longName(255, 'n');
    tree.file("docs/" + longName, 3);
    tree.symlink(".", "loop");
    tree.file("x.app", 5); // a file with a package suffix stays a file
    tree.file(".hidden", "x.app\n");

    alarm(60); // a scan stuck on the pipe ends the test program instead of hanging it
    Scan scan(tree.path());
    alarm(0);
    ASSERT_EQ(scan.status, SG_SCAN_DONE);
    expectConsistent(scan.result);
    const DuTotals du = duTotals(tree.path()), package = duTotals(tree.path("docs/Tool.app"));
    const sg_flat_node_t* thing = scan.find("Tool.app");
    ASSERT_NE(thing, nullptr);
    EXPECT_EQ(qint64(scan.result.nodes[0].allocated_size), du.allocated - package.allocated + qint64(thing->allocated_size));
    EXPECT_EQ(qint64(scan.result.nodes[0].logical_size), du.logical - package.logical + qint64(thing->logical_size));
    EXPECT_EQ(thing->obj_type, SG_OBJ_PACKAGE);
    EXPECT_EQ(thing->child_count, 0);
    EXPECT_EQ(scan.find("Contents"), nullptr);

    EXPECT_EQ(sg_get_items_scanned(&scan.result), scan.result.node_count);
    EXPECT_EQ(sg_get_dirs_scanned(&scan.result), 4); // root, docs, empty, more; the package counts as a file
    EXPECT_EQ(sg_get_files_scanned(&scan.result), scan.result.node_count - 4);
    EXPECT_EQ(sg_get_unreadable_count(&scan.result), 0);
    // The running byte count reaches everything but the root folder's own blocks.
    struct stat root {};
    ASSERT_EQ(::stat(tree.path().c_str(), &root), 0);
    EXPECT_EQ(sg_get_allocated_scanned(&scan.result) + uint64_t(root.st_blocks) * 512, scan.result.nodes[0].allocated_size);
    EXPECT_EQ(scan.find("link-to-folder")->obj_type, SG_OBJ_SYMLINK);
    EXPECT_EQ(scan.find("link-to-folder")->logical_size, 2u); // the link's own text, never its target
    EXPECT_EQ(scan.find("pipe")->obj_type, SG_OBJ_OTHER);
    EXPECT_NE(scan.find(longName), nullptr);
    EXPECT_EQ(scan.find("x.app")->obj_type, SG_OBJ_FILE);
    EXPECT_EQ(scan.find("x.app")->is_hidden, 1); // listed in .hidden
    EXPECT_EQ(scan.find(".profile")->is_hidden, 1);
    EXPECT_EQ(scan.find("a.txt")->is_hidden, 0);
}

TEST(SgScan, RootsThatAreNoFolderFailAndSpecialRootsFinishAtOnce)
{
    ScanTestTree tree;
    tree.file("file", 1);
    EXPECT_EQ(Scan(tree.path("file")).status, SG_SCAN_FAILED);
    EXPECT_EQ(Scan(tree.path("missing")).status, SG_SCAN_FAILED);

    tree.folder("empty");
    Scan trailing(tree.path("empty") + "/");
    EXPECT_EQ(trailing.status, SG_SCAN_DONE);
    EXPECT_EQ(trailing.result.node_count, 1);
    EXPECT_EQ(trailing.result.children_count, 0);
    EXPECT_STREQ(trailing.result.nodes[0].name, "");

    // A package root, and a root on a pseudo file system (/proc/kcore alone claims 128 TiB),
    // are one node, not walked.
    tree.folder("Foo.framework");
    tree.file("Foo.framework/lib", 100);
    for (const std::string& root : {tree.path("Foo.framework"), std::string("/proc")}) {
        Scan single(root);
        EXPECT_EQ(single.status, SG_SCAN_DONE);
        EXPECT_EQ(single.result.node_count, 1) << root;
        EXPECT_EQ(single.result._scan_mutex, nullptr);
        sg_flat_node_t buffer[4];
        EXPECT_EQ(sg_snapshot_nodes(&single.result, buffer, 4), 0);
    }
}

TEST(SgScan, PackageNamesMatchSuffixesIgnoringCase)
{
    for (const char* name : {".app", "A.app", "x.FRAMEWORK", "b.Bundle", "p.prefpane", "i.pkg", "s.saver"})
        EXPECT_NE(sg_is_package_name(name), 0) << name;
    for (const char* name : {"app", ".ap", "x.apps", "x.app.txt", "pkg", "", "framework"})
        EXPECT_EQ(sg_is_package_name(name), 0) << name;
}

TEST(SgScan, ListingBuffersGrowForABigFolderAndShrinkBackAfterIt)
{
    ScanTestTree tree;
    tree.folder("exact");
    tree.manyFiles("exact", SG_INITIAL_LIST_CAPACITY);
    tree.folder("over");
    tree.manyFiles("over", 2 * SG_INITIAL_LIST_CAPACITY + 1);

    // A worker's buffers grow for the big folder (several directory reads) and give the
    // memory back with the next one.
    int32_t count = -1;
    sg_lister_t lister;
    ASSERT_EQ(sg_lister_init(&lister), 0);
    for (const auto& [folder, expected] : {std::pair {"over", 2 * SG_INITIAL_LIST_CAPACITY + 1}, {"exact", SG_INITIAL_LIST_CAPACITY}}) {
        const int fd = open(tree.path(folder).c_str(), O_RDONLY | O_DIRECTORY);
        EXPECT_EQ(sg_lister_read(&lister, fd, nullptr, nullptr, &count), SG_LIST_OK);
        close(fd);
        EXPECT_EQ(count, expected);
        std::set<std::string> names;
        for (int32_t i = 0; i < count; ++i) names.insert(lister.entries[i].name);
        EXPECT_EQ(int32_t(names.size()), expected); // names from every read survive the next one
        EXPECT_EQ(lister.capacity, std::string(folder) == "over" ? 4 * SG_INITIAL_LIST_CAPACITY : SG_INITIAL_LIST_CAPACITY);
    }
    sg_lister_free(&lister);

    Scan scan(tree.path());
    EXPECT_EQ(scan.result.node_count, 3 + 3 * SG_INITIAL_LIST_CAPACITY + 1);
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
    std::vector<sg_flat_node_t> buffer(20000);
    std::thread walker([&] {
        sg_full_scan_with_threads(tree.path().c_str(), &result, &cancel, 2);
        done = true;
    });
    // Workers write their batches outside the lock; a snapshot must still never see a half-written one.
    int partial = 0;
    for (int32_t count; !done;) {
        if ((count = sg_snapshot_nodes(&result, buffer.data(), int32_t(buffer.size()))) < 1) continue;
        partial += count < 60 * 151 + 1;
        int32_t children = 0;
        uint64_t leaves = 0;
        for (int32_t i = 0; i < count; ++i) {
            const sg_flat_node_t& node = buffer[size_t(i)];
            ASSERT_TRUE(i == 0 || (node.parent_index < i && node.name[0] != '\0' && node.obj_type != 0)) << i;
            children += node.child_count;
            if (node.child_count == 0) leaves += node.allocated_size;
        }
        ASSERT_EQ(children, count - 1);
        ASSERT_GE(buffer[0].allocated_size, leaves);
    }
    walker.join();
    EXPECT_GT(partial, 0); // the tree is big enough that the walk outlasts many snapshots

    // Once finished, a snapshot copies the rolled-up sizes without adding them up again, and
    // a prefix counts only the children it holds.
    const int32_t count = sg_snapshot_nodes(&result, buffer.data(), int32_t(buffer.size()));
    ASSERT_EQ(count, result.node_count);
    for (int32_t i = 0; i < count; ++i) {
        EXPECT_EQ(buffer[size_t(i)].first_child, -1);
        EXPECT_EQ(buffer[size_t(i)].child_count, result.nodes[i].child_count);
        EXPECT_EQ(buffer[size_t(i)].logical_size, result.nodes[i].logical_size);
    }
    EXPECT_EQ(sg_snapshot_nodes(&result, buffer.data(), 3), 3);
    EXPECT_EQ(buffer[0].child_count, 2);
    sg_scan_result_free(&result);
}

TEST(SgScan, CancelFreesTheArrays)
{
    for (int32_t threads : {1, 2}) {
        sg_scan_result_t result {};
        int32_t cancel = 0;
        std::atomic<int32_t> status = 99;
        std::thread walker([&] { status = sg_full_scan_with_threads(largeTree().path().c_str(), &result, &cancel, threads); });
        while (sg_get_items_scanned(&result) < 2000 && status == 99) std::this_thread::yield();
        sg_request_cancel(&cancel);
        walker.join();
        EXPECT_EQ(status, SG_SCAN_CANCELLED);
        EXPECT_EQ(result.nodes, nullptr);
        EXPECT_EQ(result.node_count, 0);
        sg_flat_node_t buffer[2];
        EXPECT_EQ(sg_snapshot_nodes(&result, buffer, 2), 0);
        sg_scan_result_free(&result);
        sg_scan_result_free(&result); // idempotent
    }
}

// A chain 3,000 folders deep: paths far past PATH_MAX, far more folders waiting for their
// siblings than descriptors allow. Every thread count and descriptor limit sees all of it.
class SgScanDeepTree : public ::testing::TestWithParam<std::pair<int32_t, rlim_t>> {
protected:
    static void SetUpTestSuite()
    {
        tree_ = new ScanTestTree();
        tree_->folder("top");
        tree_->deepChain("top", 3000, "level");
        du_ = duTotals(tree_->path("top"));
    }
    static void TearDownTestSuite()
    {
        delete tree_;
        tree_ = nullptr;
    }
    static ScanTestTree* tree_;
    static DuTotals du_;
};
ScanTestTree* SgScanDeepTree::tree_ = nullptr;
DuTotals SgScanDeepTree::du_;

TEST_P(SgScanDeepTree, TotalsEqualDu)
{
    const auto [threads, descriptorLimit] = GetParam();
    ASSERT_GT(du_.allocated, 0);
    const std::string root = tree_->path("top");
    const int status = runInChild([&] {
        const rlimit limit {descriptorLimit, descriptorLimit};
        if (descriptorLimit != RLIM_INFINITY && setrlimit(RLIMIT_NOFILE, &limit) != 0) return 100;
        Scan scan(root, threads);
        const int32_t items = sg_get_items_scanned(&scan.result);
        std::fprintf(stderr, "status %d items %d unreadable %d allocated %llu logical %llu\n", scan.status, items,
                     sg_get_unreadable_count(&scan.result), (unsigned long long)scan.result.nodes[0].allocated_size,
                     (unsigned long long)scan.result.nodes[0].logical_size);
        return (scan.status != SG_SCAN_DONE) | (items != 3000 * 4 + 1) << 1 | (sg_get_unreadable_count(&scan.result) != 0) << 2
            | (qint64(scan.result.nodes[0].allocated_size) != du_.allocated) << 3
            | (qint64(scan.result.nodes[0].logical_size) != du_.logical) << 4;
    });
    EXPECT_EQ(status, 0) << "threads " << threads << ", descriptor limit " << descriptorLimit;
}

INSTANTIATE_TEST_SUITE_P(ThreadsAndDescriptorLimits, SgScanDeepTree,
                         ::testing::Values(std::pair {1, RLIM_INFINITY}, std::pair {2, RLIM_INFINITY},
                                           std::pair {1, rlim_t(64)}, std::pair {2, rlim_t(64)},
                                           std::pair {8, rlim_t(64)}));
