#include "SizeMapTestTree.h"

#include <SizeMap/SizeMapSunburstLayoutService.h>

#include <gtest/gtest.h>

#include <QSet>

#include <algorithm>

namespace {

using Kind = SizeMapSunburstSegment::Kind;

QList<SizeMapSunburstSegment> ofKind(const QList<SizeMapSunburstSegment>& segments, Kind kind, int ring = 0)
{
    QList<SizeMapSunburstSegment> found;
    for (const auto& s : segments)
        if (s.kind == kind && (ring == 0 || s.ringIndex == ring)) found.append(s);
    return found;
}

QString upperID(const QUuid& id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

TEST(SizeMapSunburstLayout, NothingToDrawForAMissingOrEmptyFocus)
{
    SizeMapTestTree t(0);
    t.file(t.tree.rootID, QStringLiteral("empty"), 0);
    const SizeMapSunburstLayoutService layout;
    EXPECT_TRUE(layout.makeSegments(t.tree, t.tree.rootID).isEmpty());
    EXPECT_TRUE(layout.makeSegments(t.tree, QUuid::createUuid()).isEmpty());
}

// The innermost ring closes into a full circle only when the focused folder is (almost)
// wholly one leaf.
struct DominantCase {
    const char* name;
    qint64 biggest;
    bool biggestIsFolderWithChildren;
    int otherFiles;
    bool expectFullRing;
};

class SizeMapDominantChild : public ::testing::TestWithParam<DominantCase> {};

TEST_P(SizeMapDominantChild, DecidesBetweenFullRingAndNormalRings)
{
    const DominantCase& c = GetParam();
    SizeMapTestTree t(10000);
    QUuid biggest;
    if (c.biggestIsFolderWithChildren) {
        biggest = t.folder(t.tree.rootID, QStringLiteral("big"), c.biggest);
        t.file(biggest, QStringLiteral("inner"), c.biggest);
    } else {
        biggest = t.file(t.tree.rootID, QStringLiteral("big"), c.biggest);
    }
    for (int i = 0; i < c.otherFiles; ++i)
        t.file(t.tree.rootID, QStringLiteral("small%1").arg(i), (10000 - c.biggest) / c.otherFiles);

    const auto segments = SizeMapSunburstLayoutService().makeSegments(t.tree, t.tree.rootID);
    if (c.expectFullRing) {
        ASSERT_EQ(segments.size(), 1);
        EXPECT_EQ(segments[0].kind, Kind::focusedLeaf);
        EXPECT_EQ(segments[0].id, upperID(biggest) + QStringLiteral("-focused-leaf"));
        EXPECT_EQ(segments[0].backingNodeID, biggest);
        EXPECT_EQ(segments[0].startDegrees, 0);
        EXPECT_EQ(segments[0].endDegrees, 360);
    } else {
        ASSERT_FALSE(segments.isEmpty());
        EXPECT_TRUE(ofKind(segments, Kind::focusedLeaf).isEmpty());
        EXPECT_EQ(segments[0].id, upperID(biggest));
        EXPECT_EQ(segments[0].startDegrees, 12);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, SizeMapDominantChild,
    ::testing::Values(DominantCase {"onlyFile", 3000, false, 0, true},
                      DominantCase {"fileAt97Percent", 9700, false, 10, true},
                      DominantCase {"fileAt96Percent", 9600, false, 10, false},
                      DominantCase {"folderAt97Percent", 9700, true, 10, false}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(SizeMapSunburstLayout, OpenRingWithGapsCapAndAggregateLast)
{
    // 100 equal children: 84 drawn, the other 16 as one aggregate closing the ring at 348.
    SizeMapTestTree t(1000);
    for (int i = 0; i < 100; ++i) t.file(t.tree.rootID, QStringLiteral("f%1").arg(i, 3, 10, QLatin1Char('0')), 10);

    const auto segments = SizeMapSunburstLayoutService().makeSegments(t.tree, t.tree.rootID);
    ASSERT_EQ(segments.size(), 85);
    const double available = 336 - 0.075 * 84;
    for (qsizetype i = 0; i < 84; ++i) {
        EXPECT_EQ(segments[i].kind, Kind::node);
        EXPECT_NEAR(segments[i].endDegrees - segments[i].startDegrees, available / 100, 1e-9);
        if (i > 0) {
            EXPECT_NEAR(segments[i].startDegrees - segments[i - 1].endDegrees, 0.075, 1e-9);
        }
    }
    EXPECT_EQ(segments.front().startDegrees, 12);
    const auto& other = segments.back();
    EXPECT_EQ(other.kind, Kind::aggregatedOther);
    EXPECT_EQ(other.id, upperID(t.tree.rootID) + QStringLiteral("-other-1"));
    EXPECT_EQ(other.itemCount, 16);
    EXPECT_EQ(other.allocatedSize, 160);
    EXPECT_FALSE(other.backingNodeID);
    EXPECT_NEAR(other.startDegrees, segments[83].endDegrees + 0.075, 1e-9);
    EXPECT_DOUBLE_EQ(other.endDegrees, 348);
    EXPECT_DOUBLE_EQ(other.angularInsetDegrees, 0.08);
}

TEST(SizeMapSunburstLayout, SortsBySizeThenNameAndAggregatesTinyChildren)
{
    SizeMapTestTree t(100000);
    for (const char* name : {"beta", "Delta", "Alpha", "charlie"}) t.file(t.tree.rootID, QString::fromLatin1(name), 20000);
    t.file(t.tree.rootID, QStringLiteral("zulu"), 19000);
    for (int i = 0; i < 30; ++i) t.file(t.tree.rootID, QStringLiteral("tiny%1").arg(i), 10); // 0.01% each
    t.file(t.tree.rootID, QStringLiteral("nothing"), 0);

    const auto segments = SizeMapSunburstLayoutService().makeSegments(t.tree, t.tree.rootID);
    QStringList names;
    for (const auto& s : segments) names.append(s.displayName);
    EXPECT_EQ(names, (QStringList {"Alpha", "beta", "charlie", "Delta", "zulu", "smaller objects..."}));
    EXPECT_EQ(segments.back().itemCount, 30);
    EXPECT_EQ(segments.back().allocatedSize, 300);
}

// Folders whose files end before the outer ring, so the edge gets caps; and one file on
// the innermost ring, which never does.
SizeMapTestTree cappedTree()
{
    SizeMapTestTree t(1100);
    const QUuid docs = t.folder(t.tree.rootID, QStringLiteral("docs"), 600);
    const QUuid media = t.folder(t.tree.rootID, QStringLiteral("media"), 400);
    t.file(t.tree.rootID, QStringLiteral("readme"), 100);
    for (int i = 0; i < 12; ++i) t.file(docs, QStringLiteral("d%1").arg(i), 50);
    const QUuid deep = t.folder(media, QStringLiteral("deep"), 300);
    t.file(deep, QStringLiteral("x"), 300);
    t.file(media, QStringLiteral("clip"), 100);
    return t;
}

TEST(SizeMapSunburstLayout, SameTreeGivesEqualSegmentsWithCapsOnlyBeyondInnerLeaves)
{
    // Built twice from scratch, so nothing but the ids can make the caps agree.
    const auto first = SizeMapSunburstLayoutService().makeSegments(cappedTree().tree, cappedTree().tree.rootID);
    const auto second = SizeMapSunburstLayoutService().makeSegments(cappedTree().tree, cappedTree().tree.rootID);
    EXPECT_EQ(first, second);

    QHash<QUuid, SizeMapSunburstSegment> leaves;
    for (const auto& s : ofKind(first, Kind::node)) leaves.insert(*s.backingNodeID, s);
    QSet<QString> cappedNames;
    for (qsizetype i = 0; i < first.size(); ++i) {
        const auto& cap = first[i];
        if (cap.kind != Kind::terminalCap) continue;
        const auto& leaf = leaves[*cap.backingNodeID];
        cappedNames.insert(leaf.displayName);
        EXPECT_EQ(cap.ringIndex, leaf.ringIndex + 1);
        EXPECT_EQ(cap.radialStart, leaf.ringIndex);
        EXPECT_GE(cap.startDegrees, leaf.startDegrees);
        EXPECT_LE(cap.endDegrees, leaf.endDegrees);
        // A tall cap has its shadow just before it; heights come from the id alone.
        const qsizetype dash = cap.id.lastIndexOf(u'-');
        const double unit =
            SizeMapSunburstLayoutService::deterministicUnit(cap.id.first(dash - 9), cap.id.mid(dash + 1).toInt());
        EXPECT_DOUBLE_EQ(cap.radialEnd, unit * 1.18 + 0.55 + leaf.ringIndex);
        const bool shadowed = i > 0 && first[i - 1].kind == Kind::terminalShadow;
        EXPECT_EQ(shadowed, unit > 0.58) << cap.id.toStdString();
        if (shadowed) {
            EXPECT_FALSE(first[i - 1].backingNodeID);
        }
    }
    EXPECT_TRUE(cappedNames.contains(QStringLiteral("d0")));
    EXPECT_TRUE(cappedNames.contains(QStringLiteral("x")));
    EXPECT_TRUE(cappedNames.contains(QStringLiteral("clip")));
    EXPECT_FALSE(cappedNames.contains(QStringLiteral("readme")));
}

TEST(SizeMapSunburstLayout, NoCapsWhenTheLeafIsOnTheLastRing)
{
    SizeMapSunburstLayoutService layout;
    layout.maximumDepth = 2;
    const auto segments = layout.makeSegments(cappedTree().tree, cappedTree().tree.rootID);
    EXPECT_TRUE(ofKind(segments, Kind::terminalCap).isEmpty());
    EXPECT_TRUE(std::all_of(segments.begin(), segments.end(), [](const auto& s) { return s.ringIndex <= 2; }));
}

// A leaf of span 18 or more gets one cap; from 2.4 to just below 18, three.
class SizeMapCapCount : public ::testing::TestWithParam<std::pair<double, int>> {};

TEST_P(SizeMapCapCount, FollowsTheLeafsSpan)
{
    const auto [chartEnd, expectedCaps] = GetParam();
    SizeMapTestTree t(20);
    const QUuid folder = t.folder(t.tree.rootID, QStringLiteral("only"), 20);
    const QUuid leaf = t.file(folder, QStringLiteral("a"), 1); // a twentieth of the chart
    t.file(folder, QStringLiteral("b"), 19);
    SizeMapSunburstLayoutService layout;
    layout.chartStartDegrees = 0;
    layout.chartEndDegrees = chartEnd;
    layout.siblingGapDegrees = 0;

    int caps = 0;
    for (const auto& s : layout.makeSegments(t.tree, t.tree.rootID))
        if (s.kind == Kind::terminalCap && s.backingNodeID == leaf) {
            EXPECT_EQ(s.id, upperID(leaf) + QStringLiteral("-terminal-%1").arg(caps));
            ++caps;
        }
    EXPECT_EQ(caps, expectedCaps);
}

INSTANTIATE_TEST_SUITE_P(Spans, SizeMapCapCount,
                         ::testing::Values(std::pair {360.0, 1}, std::pair {358.0, 3}, std::pair {40.0, 2},
                                           std::pair {16.0, 1}));

TEST(SizeMapSunburstLayout, BrokenTreesStayBounded)
{
    // A folder listed as its own child, and a child id without a record.
    SizeMapTestTree t(100);
    const QUuid loop = t.folder(t.tree.rootID, QStringLiteral("loop"), 100);
    t.tree.childIDsByParentID[loop].append(loop);
    t.tree.childIDsByParentID[loop].append(QUuid::createUuid());
    SizeMapSunburstLayoutService layout;
    layout.maximumDepth = 1000000;
    const auto segments = layout.makeSegments(t.tree, t.tree.rootID);
    EXPECT_EQ(segments.size(), 2);
}

TEST(SizeMapSunburstLayout, UnitsAndCacheKeyAreDerivedFromTextOnly)
{
    // FNV-1a of "ABC-2" and of "Velmo-0", modulo 10,000.
    EXPECT_DOUBLE_EQ(SizeMapSunburstLayoutService::deterministicUnit(u"ABC", 2), 0.0432);
    EXPECT_DOUBLE_EQ(SizeMapSunburstLayoutService::deterministicUnit(u"Velmo", 0), 0.6597);

    SizeMapTestTree t(777);
    const QUuid child = t.file(t.tree.rootID, QStringLiteral("c"), 777);
    EXPECT_EQ(SizeMapSunburstLayoutService::segmentCacheKey(t.tree, child), upperID(child) + QStringLiteral("-2-777"));
}

} // namespace
