#include "FileSizeScanner/LocalFileSystemProvider.h"
#include "FileSizeScanner/ScanTreeBuilder.h"
#include "ScanTestTree.h"

#include <SizeMap/SizeMapSunburstLayoutService.h>

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>

namespace {

QString q(const std::string& path)
{
    return QString::fromStdString(path);
}

// A tree whose chart has arcs of every kind: a folder with more children big enough to draw
// than the chart shows (sizes tied in whole pages), a chain deeper than the rings, a folder
// of many small and empty files, a package, and folders of mixed sizes.
void makeChartTree(const ScanTestTree& tree)
{
    tree.folder("wide");
    for (int i = 0; i < 100; ++i) tree.file("wide/w" + std::to_string(i), 40000 + (i % 7) * 4096);
    std::string chain = "deep";
    for (int level = 0; level < 9; ++level, chain += "/d") {
        tree.folder(chain);
        tree.file(chain + "/big", 200000 - level * 10000);
        for (int k = 0; k < 3; ++k) tree.file(chain + "/s" + std::to_string(k), 1 + k * 5000);
    }
    tree.folder("many");
    for (int i = 0; i < 400; ++i) tree.file("many/m" + std::to_string(i), 1 + i);
    tree.manyFiles("many", 50, "empty");
    tree.folder("Tool.app");
    tree.file("Tool.app/binary", 300000);
    std::mt19937 random(7);
    tree.folder("mixed");
    for (int f = 0; f < 30; ++f) {
        const std::string folder = "mixed/f" + std::to_string(f);
        tree.folder(folder);
        for (int k = 0; k < 10; ++k) tree.file(folder + "/" + std::to_string(k), qint64(random() % 60000) + 1);
    }
}

} // namespace

// The drawable part of a finished walk is drawn exactly as the whole tree, for the chart's
// own settings and for others; only packing children into stand-ins may change how many
// items an arc of smaller objects counts, never its angle or size.
TEST(DrawableTree, DrawsTheRootAsTheWholeTreeDoes)
{
    ScanTestTree tree;
    makeChartTree(tree);
    struct Case {
        const char* name;
        SizeMapSunburstLayoutService layout;
        qsizetype budget;
    };
    const SizeMapSunburstLayoutService chart;
    SizeMapSunburstLayoutService coarse;
    coarse.maximumDepth = 3;
    coarse.minimumFraction = 0.02;
    coarse.maximumVisibleChildrenPerParent = 5;
    SizeMapSunburstLayoutService narrow;
    narrow.minimumAngleDegrees = 4;
    narrow.chartEndDegrees = 120;
    const Case cases[] = {
        {"the chart's", chart, 50000},
        {"the chart's, all packed", chart, 0},
        {"coarse", coarse, 50000},
        {"coarse, all packed", coarse, 0},
        {"narrow, all packed", narrow, 0},
    };

    sg_scan_result_t result {};
    int32_t cancel = 0;
    ASSERT_EQ(sg_full_scan_with_threads(tree.path().c_str(), &result, &cancel, 1), SG_SCAN_DONE);
    const QString root = q(tree.path());
    ScanTreeBuilder::sizePackages(&result, root, LocalFileSystemProvider());
    std::vector<ScanTreeBuilder::DrawableTree> drawables;
    for (const Case& c : cases) {
        ScanTreeBuilder::DrawableLimits limits = c.layout.drawableLimits();
        limits.undrawnChildrenBudget = c.budget;
        drawables.push_back(*ScanTreeBuilder::drawableFromScanResult(&result, root, limits));
    }
    const auto whole = ScanTreeBuilder::fromScanResult(&result, root);
    sg_scan_result_free(&result);
    ASSERT_TRUE(whole);

    for (std::size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(cases[i].name);
        const Case& c = cases[i];
        const ScanTreeBuilder::DrawableTree& drawable = drawables[i];
        EXPECT_EQ(drawable.standInIDs.isEmpty(), c.budget > 0);
        // Every other record is the whole tree's, with the final sizes (the package's too).
        for (const ScanNodeRecord& record : std::as_const(drawable.tree.nodesByID)) {
            if (drawable.standInIDs.contains(record.id)) {
                EXPECT_FALSE(whole->nodesByID.contains(record.id));
                EXPECT_TRUE(record.url.isEmpty());
            } else {
                EXPECT_EQ(whole->node(record.id), record) << record.url.toStdString();
            }
        }

        const auto expected = c.layout.makeSegments(*whole, whole->rootID);
        auto drawn = c.layout.makeSegments(drawable.tree, drawable.tree.rootID);
        ASSERT_EQ(drawn.size(), expected.size());
        if (!drawable.standInIDs.isEmpty())
            for (qsizetype s = 0; s < drawn.size(); ++s) drawn[s].itemCount = expected[s].itemCount;
        EXPECT_EQ(drawn, expected);
        EXPECT_GT(expected.size(), 10);
    }
}
